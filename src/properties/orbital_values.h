#pragma once

#include "properties/atom_density.h"
#include "properties/grid.h"

/// Atomic orbitals in space. A Slater orbital is
///
///     chi = N r^(n-1) exp(-zeta r) Y(x/r, y/r, z/r),    N = (2 zeta)^(n + 1/2) / sqrt((2n)!),
///
/// with the real spherical harmonics in the order s, px, py, pz, d(3z2-r2), d(zx), d(yz),
/// d(x2-y2), d(xy). J. C. Slater, Phys. Rev. 36, 57 (1930). All in bohr.

namespace qsolve {

/// Value at (x, y, z) of one Slater orbital on its atom: shell and type are those of orbital
/// nOrbital, from 0, of the last calculation, the exponent is dZeta, the place that of
/// PlotPositions. 0 for an unknown type, and for a shell that cannot be.
double SlaterOrbitalValue(int nOrbital, double x, double y, double z, double dZeta);

/// The orbitals of one atom, ready for many points.
struct AtomOrbitals {
    double dXyz[3] = {};
    int nFirst = 0;             ///< orbital of the calculation, from 0
    int nOrbitals = 0;          ///< 0, 1, 4 or 9
    ShellTerms Shells[3];       ///< s, p, d
    double dFactor[3][2] = {};  ///< by shell and term: weight times N; 0 for what cannot be
    double dReach = 0.0;        ///< beyond it no value could be told from 0 by a float, bohr
};

/// The orbitals of the atom at a position of the selection list, from 0. The second term of a
/// double-zeta shell is used where its weight is at least dLeastWeight; without it the first has
/// the weight 1.
AtomOrbitals OrbitalsOfAtom(int nPosition, double dLeastWeight);

/// Whether no orbital of the atom has a value at any of the points pStart, pStart + pStep, ... that
/// a float could tell from 0.
bool IsOutOfReach(const AtomOrbitals& atom, const double* pStart, const double* pStep, int nPoints);

/// Values of an atom's orbitals at the points of a strip, by orbital and point.
struct OrbitalValues {
    double mValue[kAtomOrbitals][kStripPoints];
};

/// Fills values with the orbitals of an atom at nPoints points, at most kStripPoints, whose
/// coordinates are in three arrays. A shell without terms has zeros.
void FillOrbitalValues(const AtomOrbitals& atom, int nPoints, const double* vX, const double* vY,
                       const double* vZ, OrbitalValues& values);

/// Fills a grid with a sum over atoms. Part is a struct with AtomOrbitals named Orbitals; add(part,
/// nPoints, values, vSum) adds what the atom gives, from the values of its orbitals, to the sums of
/// the points of a strip. finish(sum) is what stands in the grid. May unwind.
template <class Part, class Add, class Finish>
void FillGrid(const Array<Part>& pParts, float* pGrid, Add add, Finish finish) {
    OrbitalValues values;
    WalkGrid(pGrid, pParts.Size() + 1,
             [&](const double* pStart, const double* pStep, int nPoints, float* pValues) {
                 double vX[kStripPoints], vY[kStripPoints], vZ[kStripPoints];
                 double vSum[kStripPoints] = {};
                 FillPoints(pStart, pStep, nPoints, vX, vY, vZ);
                 for (const Part& part : pParts) {
                     if (IsOutOfReach(part.Orbitals, pStart, pStep, nPoints)) continue;
                     FillOrbitalValues(part.Orbitals, nPoints, vX, vY, vZ, values);
                     add(part, nPoints, values, vSum);
                 }
                 for (int i = 0; i < nPoints; ++i) pValues[i] = static_cast<float>(finish(vSum[i]));
             });
}

}  // namespace qsolve
