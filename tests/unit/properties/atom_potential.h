#pragma once

#include <algorithm>
#include <cmath>
#include <vector>

#include "properties/atom_density.h"
#include "tests/support/quadrature.h"

/// Atoms with a density made by hand, and the integral by which their potential is checked.

namespace qsolve {

/// An atom of 1, 4 or 9 orbitals with the shells of a transition metal, a double-zeta d shell among
/// them, and a density of all different elements.
inline AtomDensity HandMadeAtom(int nOrbitals, int nPrincipal = 4) {
    AtomDensity atom;
    atom.nOrbitals = nOrbitals;
    atom.Shells[0] = {nPrincipal, 1, {1.35, 0.0}, {1.0, 0.0}};
    if (nOrbitals > 1) atom.Shells[1] = {nPrincipal, 1, {1.1, 0.0}, {1.0, 0.0}};
    if (nOrbitals > 4) atom.Shells[2] = {nPrincipal - 1, 2, {4.7, 1.9}, {0.45, 0.7}};
    for (int i = 0; i < nOrbitals; ++i)
        for (int j = 0; j <= i; ++j)
            atom.mDensity[kAtomOrbitals * i + j] = atom.mDensity[kAtomOrbitals * j + i] =
                i == j ? 0.3 + 0.1 * i : 0.2 * std::sin(3.0 * i + 7.0 * j + 1);
    return atom;
}

/// The density in space, from the orbitals' values.
inline double DensityAt(const AtomDensity& atom, double x, double y, double z) {
    double vValue[kAtomOrbitals] = {}, dSum = 0.0;
    for (int i = 0; i < atom.nOrbitals; ++i) {
        const ShellTerms& shell = atom.Shells[i < 1 ? 0 : i < 4 ? 1 : 2];
        for (int t = 0; t < shell.nTerms; ++t)
            vValue[i] +=
                shell.dWeight[t] * SlaterOrbital(shell.nPrincipal, shell.dZeta[t], i, x, y, z);
    }
    for (int i = 0; i < atom.nOrbitals; ++i)
        for (int j = 0; j < atom.nOrbitals; ++j)
            dSum += atom.mDensity[kAtomOrbitals * i + j] * vValue[i] * vValue[j];
    return dSum;
}

/// The potential of the electrons at a point, from their density in space. The decay is that of the
/// widest orbital.
inline double AttractionByQuadrature(const AtomDensity& atom, const double* pVector) {
    double dDecay = 1e9;
    for (const ShellTerms& shell : atom.Shells)
        for (int t = 0; t < shell.nTerms; ++t) dDecay = std::min(dDecay, 2.0 * shell.dZeta[t]);
    return IntegrateOverDistance(
        pVector, dDecay, 9, [&](double x, double y, double z) { return DensityAt(atom, x, y, z); });
}

/// Points in all directions, on the axes too, from the nucleus to 99 bohr.
inline std::vector<std::vector<double>> PointsAround() {
    std::vector<std::vector<double>> points;
    for (double r : {0.0011, 0.05, 0.3, 0.8, 1.3, 2.0, 3.7, 9.0, 31.0, 99.0})
        for (const auto& d : {std::vector{0.6, -0.48, 0.64},
                              {0.0, 0.0, 1.0},
                              {0.0, 0.0, -1.0},
                              {0.0, -1.0, 0.0},
                              {1e-12, 0.0, 1.0},
                              {-0.36, 0.48, -0.8}})
            points.push_back({r * d[0], r * d[1], r * d[2]});
    return points;
}

}  // namespace qsolve
