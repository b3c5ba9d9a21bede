#include "search/internal_coordinates.h"

#include <algorithm>
#include <cmath>

#include "numeric/matrix3.h"

namespace qsolve {
namespace {

constexpr double kNearlyLinear = 0.2617994, kNearlyStraight = 2.8797932;  ///< radians
constexpr double kLooserLimit = 0.087266;
constexpr double kHalfTurn = 3.1415926;
constexpr double kFullTurn = 6.2831853, kTwoPi = 6.283185307179586;
constexpr double kFlat = 0.0004;        ///< radians; a dihedral of this size is none
constexpr double kNoProjection = 1e-6;  ///< in the unit of the places
constexpr double kFar = 100.0, kStillFar = 99.0;

double SquareBetween(const double* a, const double* b) {
    double d = 0.0;
    for (int x = 0; x < 3; ++x) d += (a[x] - b[x]) * (a[x] - b[x]);
    return d;
}

/// Position, from 0, of the nearest earlier atom, without those that hang on themselves unless
/// there are no others.
int NearestEarlier(int k, const double* vXyz, const InternalRecord* pRecords) {
    int nBest = -1, nNearest = 0;
    double dBest = 1e30, dNearest = 1e30;
    for (int j = 0; j < k; ++j) {
        const double d = SquareBetween(vXyz + 3 * k, vXyz + 3 * j);
        if (d < dNearest) dNearest = d, nNearest = j;
        const bool fSelf = pRecords[j].nBondAtom == j + 1 || pRecords[j].nAngleAtom == j + 1;
        if (!fSelf && d < dBest) dBest = d, nBest = j;
    }
    return nBest >= 0 ? nBest : nNearest;
}

/// Another reference for the dihedral of atom k, whose middle atoms nearly lie in a line with the
/// one it has. Position from 1, or 0 for none.
int FindDihedralAtom(int k, const double* vXyz, const InternalRecord& record) {
    const double* vBond = vXyz + 3 * (record.nBondAtom - 1);
    const double* vAngle = vXyz + 3 * (record.nAngleAtom - 1);
    for (const double dLimit : {kNearlyLinear, kLooserLimit}) {
        double dBest = kFar;
        int nBest = 0;
        for (int j = 0; j < k; ++j) {
            if (j + 1 == record.nBondAtom || j + 1 == record.nAngleAtom) continue;
            const double dAngle = AngleAt(vBond, vAngle, vXyz + 3 * j);
            const double d = std::sqrt(SquareBetween(vAngle, vXyz + 3 * j));
            if (dAngle > dLimit && dAngle < kHalfTurn - dLimit && d < dBest) {
                dBest = d;
                nBest = j + 1;
            }
        }
        if (dBest < kStillFar) return nBest;
    }
    return 0;
}

void ComputeDihedral(int k, const double* vXyz, InternalRecord& record) {
    const auto place = [&](int nPosition) { return vXyz + 3 * (nPosition - 1); };
    const double dMiddle =
        AngleAt(place(record.nBondAtom), place(record.nAngleAtom), place(record.nDihedralAtom));
    if (dMiddle < kNearlyLinear || dMiddle > kNearlyStraight) {
        const int nOther = FindDihedralAtom(k, vXyz, record);
        if (nOther != 0) record.nDihedralAtom = nOther;
    }
    record.dDihedral = DihedralOf(vXyz + 3 * k, place(record.nBondAtom), place(record.nAngleAtom),
                                  place(record.nDihedralAtom));
}

}  // namespace

double AngleAt(const double* a, const double* vMiddle, const double* c) {
    const double A = SquareBetween(a, vMiddle), C = SquareBetween(c, vMiddle);
    const double B = SquareBetween(a, c), dRoot = std::sqrt(A * C);
    const double dCosine = dRoot < 1e-10 ? 1e10 : (A + C - B) / (2.0 * dRoot);
    return std::acos(std::clamp(dCosine, -1.0, 1.0));
}

double DihedralOf(const double* a, const double* b, const double* c, const double* d) {
    double u[3], v[3], vAxis[3];
    for (int x = 0; x < 3; ++x) u[x] = a[x] - b[x], vAxis[x] = c[x] - b[x], v[x] = d[x] - c[x];
    const double dAxis = std::sqrt(Dot3(vAxis, vAxis));
    if (dAxis == 0.0) return 0.0;
    for (double& e : vAxis) e /= dAxis;
    double vAcross[3];
    const double dU = Dot3(u, vAxis), dV = Dot3(v, vAxis);
    for (int x = 0; x < 3; ++x) u[x] -= dU * vAxis[x], v[x] -= dV * vAxis[x];
    if (std::sqrt(Dot3(u, u)) < kNoProjection || std::sqrt(Dot3(v, v)) < kNoProjection) return 0.0;
    Cross3(vAxis, u, vAcross);
    double dAngle = std::atan2(Dot3(vAcross, v), Dot3(u, v));
    if (std::abs(dAngle) < kFlat) return 0.0;
    if (dAngle < 0.0) dAngle += kTwoPi;
    return dAngle >= kFullTurn ? 0.0 : dAngle;
}

void BuildInternalConnectivity(int nAtoms, const double* vXyz, InternalRecord* pRecords) {
    for (int k = 0; k < nAtoms; ++k) {
        InternalRecord& record = pRecords[k];
        record = {.nBondAtom = 2, .nAngleAtom = 3, .nDihedralAtom = 4};
        if (k == 0) continue;
        const int j = NearestEarlier(k, vXyz, pRecords);
        record.nBondAtom = j + 1;
        if (k > 1) record.nAngleAtom = pRecords[j].nBondAtom;
        if (k > 2) record.nDihedralAtom = pRecords[j].nAngleAtom;
    }
    if (nAtoms > 0) pRecords[0].nBondAtom = 0;
    for (int k = 0; k < std::min(nAtoms, 2); ++k) pRecords[k].nAngleAtom = 0;
    for (int k = 0; k < std::min(nAtoms, 3); ++k) pRecords[k].nDihedralAtom = 0;
}

void ComputeInternalCoordinates(int nAtoms, const double* vXyz, InternalRecord* pRecords) {
    for (int k = 1; k < nAtoms; ++k) {
        InternalRecord& record = pRecords[k];
        const double* vBond = vXyz + 3 * (record.nBondAtom - 1);
        record.dDistance = std::sqrt(SquareBetween(vXyz + 3 * k, vBond));
        if (k > 1) record.dAngle = AngleAt(vXyz + 3 * k, vBond, vXyz + 3 * (record.nAngleAtom - 1));
        if (k > 2) ComputeDihedral(k, vXyz, record);
    }
}

int CountInternalCoordinates(int nAtoms, const InternalRecord* pRecords) {
    int n = 0;
    for (int k = 0; k < nAtoms; ++k)
        n += (pRecords[k].nBondAtom != 0) + (pRecords[k].nAngleAtom != 0) +
             (pRecords[k].nDihedralAtom != 0);
    return n;
}

}  // namespace qsolve
