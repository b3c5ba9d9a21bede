#include "search/model_hessian.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "link/memory.h"
#include "search/wilson_b.h"

namespace qsolve {
namespace {

constexpr double kFixedDistance = 1000.0, kFixedAngle = 500.0, kFixedDihedral = 200.0;
constexpr double kForceUnit = 815.77860416;  ///< kcal/mol in the unit of the bends and torsions
constexpr double kStretchFactor = 1.734;
constexpr double kHeavyBend = 0.25, kLightBend = 0.16;
constexpr double kTorsion = 0.07, kTorsionSlope = 0.0023;
constexpr double kLeastRoot = 1e-3;    ///< of the distance less B, at the pole of the stretches
constexpr double kLeastCareful = 0.9;  ///< the same, where the rule ends: no bond is so short
constexpr double kNearest = 1e-3;      ///< bohr; no distance is taken shorter
constexpr int kLastElement = 18;       ///< argon, the last one with constants of its own

/// The unit of the stretches, and bohr in the unit of the distances. In Angstrom the first is not
/// the second's square times that of bohr: a stretch is 1 to 1.3 times as stiff as a true one
/// there, which makes good first steps.
struct Units {
    double dStretch, dBohr;
};
constexpr Units kInAngstrom = {2913.1978487257193, 1.889725985};
constexpr Units kInBohr = {1631.55720832, 1.0};

/// B, by the rows of the periodic table of both atoms.
constexpr double kB[3][3] = {{-0.244, 0.352, 0.66}, {0.352, 1.085, 1.522}, {0.66, 1.522, 2.068}};

constexpr double kCovalentRadius[kLastElement] = {0.32, 0.6,  1.2,  1.05, 0.81, 0.77,
                                                  0.74, 0.74, 0.72, 0.72, 1.5,  1.4,
                                                  1.3,  1.17, 1.1,  1.04, 0.99, 0.99};

int RowOfElement(int nZ) {
    return nZ <= 2 ? 0 : nZ <= 10 ? 1 : 2;
}

double Stretch(const Units& units, const ModelKind& kind, int nZa, int nZb, double r) {
    if (std::max(nZa, nZb) > kLastElement) return kFixedDistance;
    double d = units.dBohr * std::fmax(r, kNearest / units.dBohr) -
               kB[RowOfElement(nZa)][RowOfElement(nZb)];
    if (kind.fCareful) d = std::fmax(d, kLeastCareful);
    const double dRoot = std::copysign(std::fmax(std::abs(d), kLeastRoot), d);
    return units.dStretch * kStretchFactor / (dRoot * dRoot * dRoot);
}

double Bend(int nZa, int nZb, int nZc) {
    if (std::max({nZa, nZb, nZc}) > kLastElement) return kFixedAngle;
    return (std::min(nZa, nZc) > 2 ? kHeavyBend : kLightBend) * kForceUnit;
}

/// By the distance of the middle atoms, beyond the sum of their covalent radii.
double Torsion(const Units& units, const int* nZ, double r) {
    if (std::max({nZ[0], nZ[1], nZ[2], nZ[3]}) > kLastElement) return kFixedDihedral;
    const double dSum = kCovalentRadius[nZ[1] - 1] + kCovalentRadius[nZ[2] - 1];
    return (kTorsion - kTorsionSlope * (units.dBohr * r - dSum)) * kForceUnit;
}

double Distance(const double* a, const double* b) {
    double d = 0.0;
    for (int x = 0; x < 3; ++x) d += (a[x] - b[x]) * (a[x] - b[x]);
    return std::sqrt(d);
}

}  // namespace

int FillModelForces(int nAtoms, const int* nZ, const double* vXyz, const InternalRecord* pRecords,
                    const ModelKind& kind, double* vForce) {
    const bool fSchlegel = kind.fSchlegel;
    const Units& units = kind.fBohr ? kInBohr : kInAngstrom;
    int n = 0;
    for (int k = 0; k < nAtoms; ++k) {
        const InternalRecord& r = pRecords[k];
        if (r.nBondAtom == 0) continue;
        const int b = r.nBondAtom - 1, c = r.nAngleAtom - 1, d = r.nDihedralAtom - 1;
        vForce[n++] = fSchlegel ? Stretch(units, kind, nZ[k], nZ[b], r.dDistance) : kFixedDistance;
        if (c < 0) continue;
        vForce[n++] = fSchlegel ? Bend(nZ[k], nZ[b], nZ[c]) : kFixedAngle;
        if (d < 0) continue;
        const int nFour[4] = {nZ[k], nZ[b], nZ[c], nZ[d]};
        vForce[n++] = fSchlegel ? Torsion(units, nFour, Distance(vXyz + 3 * b, vXyz + 3 * c))
                                : kFixedDihedral;
    }
    return n;
}

void BuildModelHessian(int nAtoms, const int* nZ, const double* vXyz, const ModelKind& kind,
                       double* mHessian) {
    const std::size_t nSize = static_cast<std::size_t>(std::max(nAtoms, 1));
    Array<InternalRecord> pRecords;
    Array<BRow> pRows;
    Array<double> vForce;
    pRecords.Take(nSize, kWork);
    pRows.Take(nSize, 3, kWork);
    vForce.Take(nSize, 3, kWork);
    BuildInternalConnectivity(nAtoms, vXyz, pRecords.Data());
    ComputeInternalCoordinates(nAtoms, vXyz, pRecords.Data());
    FillModelForces(nAtoms, nZ, vXyz, pRecords.Data(), kind, vForce.Data());
    const int nRows = BuildBMatrix(nAtoms, vXyz, pRecords.Data(), pRows.Data());
    TransformHessianToCartesian(nAtoms, nRows, pRows.Data(), vForce.Data(), mHessian);
}

}  // namespace qsolve
