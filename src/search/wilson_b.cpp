#include "search/wilson_b.h"

#include <algorithm>
#include <cmath>

#include "numeric/matrix3.h"
#include "numeric/row.h"

namespace qsolve {
namespace {

constexpr double kNoSine = 1e-40;
constexpr double kLargest = 10.0;   ///< element of B that is believed
constexpr double kInsteadOf = 1.0;  ///< and what counts for a larger one
constexpr double kNearest = 1e-3;   ///< distances below it are taken as this

/// Unit vector from a to b; returns the distance.
double Direction(const double* a, const double* b, double* e) {
    double dSquare = 0.0;
    for (int x = 0; x < 3; ++x) {
        e[x] = b[x] - a[x];
        dSquare += e[x] * e[x];
    }
    const double d = std::fmax(std::sqrt(dSquare), kNearest);
    for (int x = 0; x < 3; ++x) e[x] /= d;
    return d;
}

void FillDistance(const double* a, const double* b, BRow& row) {
    double e[3];
    Direction(a, b, e);
    for (int x = 0; x < 3; ++x) {
        row.vS[0][x] = -e[x];
        row.vS[1][x] = e[x];
    }
}

/// Angle a, b, c at b.
void FillAngle(const double* a, const double* b, const double* c, BRow& row) {
    double u[3], v[3];
    const double dA = Direction(b, a, u), dC = Direction(b, c, v);
    const double dCosine = std::clamp(Dot3(u, v), -1.0, 1.0);
    const double dSine = std::sqrt(1.0 - dCosine * dCosine);
    if (dSine <= kNoSine) return;
    for (int x = 0; x < 3; ++x) {
        row.vS[0][x] = (dCosine * u[x] - v[x]) / (dA * dSine);
        row.vS[2][x] = (dCosine * v[x] - u[x]) / (dC * dSine);
        row.vS[1][x] = -row.vS[0][x] - row.vS[2][x];
    }
}

/// Dihedral a, b, c, d about the line from b to c.
void FillDihedral(const double* a, const double* b, const double* c, const double* d, BRow& row) {
    double u[3], w[3], v[3], vFirst[3], vSecond[3];
    const double dU = Direction(b, a, u), dW = Direction(b, c, w), dV = Direction(c, d, v);
    const double dCosFirst = Dot3(u, w), dCosSecond = Dot3(v, w);
    const double dSinFirst = 1.0 - dCosFirst * dCosFirst,
                 dSinSecond = 1.0 - dCosSecond * dCosSecond;
    if (dSinFirst <= kNoSine || dSinSecond <= kNoSine) return;
    Cross3(u, w, vFirst);
    Cross3(v, w, vSecond);
    for (int x = 0; x < 3; ++x) {
        const double dEndA = vFirst[x] / (dU * dSinFirst), dEndD = vSecond[x] / (dV * dSinSecond);
        const double dFirst = dCosFirst * vFirst[x] / (dW * dSinFirst);
        const double dSecond = dCosSecond * vSecond[x] / (dW * dSinSecond);
        row.vS[0][x] = dEndA;
        row.vS[3][x] = -dEndD;
        row.vS[1][x] = -dEndA + dFirst - dSecond;
        row.vS[2][x] = dEndD - dFirst + dSecond;
    }
}

void TurnRow(double dValue, BRow& row) {
    if (!(dValue < 0.0)) return;
    for (auto& s : row.vS)
        for (double& d : s) d = -d;
}

}  // namespace

int BuildBMatrix(int nAtoms, const double* vXyz, const InternalRecord* pRecords, BRow* pRows) {
    int n = 0;
    for (int k = 0; k < nAtoms; ++k) {
        const InternalRecord& r = pRecords[k];
        const int nAtom[4] = {k, r.nBondAtom - 1, r.nAngleAtom - 1, r.nDihedralAtom - 1};
        const auto place = [&](int i) { return vXyz + 3 * nAtom[i]; };
        const auto start = [&](int nCount) -> BRow& {
            BRow& row = pRows[n++] = BRow{.nAtoms = nCount};
            std::copy_n(nAtom, nCount, row.nAtom);
            return row;
        };
        if (r.nBondAtom == 0) continue;
        FillDistance(vXyz + 3 * k, place(1), start(2));
        TurnRow(r.dDistance, pRows[n - 1]);
        if (r.nAngleAtom == 0) continue;
        FillAngle(vXyz + 3 * k, place(1), place(2), start(3));
        TurnRow(r.dAngle, pRows[n - 1]);
        if (r.nDihedralAtom == 0) continue;
        FillDihedral(vXyz + 3 * k, place(1), place(2), place(3), start(4));
        TurnRow(r.dDihedral, pRows[n - 1]);
    }
    return n;
}

void TransformHessianToCartesian(int nAtoms, int nRows, const BRow* pRows, const double* vForce,
                                 double* mHessian) {
    const int n = 3 * nAtoms;
    std::fill(mHessian, Row(mHessian, n, n), 0.0);
    for (int k = 0; k < nRows; ++k) {
        const BRow& row = pRows[k];
        double v[12];
        for (int c = 0; c < 3 * row.nAtoms; ++c) {
            v[c] = row.vS[c / 3][c % 3];
            if (std::abs(v[c]) > kLargest) v[c] = kInsteadOf;
        }
        const auto coordinate = [&](int c) { return 3 * row.nAtom[c / 3] + c % 3; };
        for (int c = 0; c < 3 * row.nAtoms; ++c)
            for (int d = 0; d < 3 * row.nAtoms; ++d)
                Row(mHessian, n, coordinate(c))[coordinate(d)] += vForce[k] * v[c] * v[d];
    }
}

}  // namespace qsolve
