#include "scf/simplex.h"

#include <algorithm>
#include <cmath>

#include "numeric/row.h"

namespace qsolve {
namespace {

constexpr int kOrder = kMostMixed + 1;  ///< with the multiplier of the sum
constexpr double kSmallestPivot = 1e-14;

double ValueOf(int n, const double* vLinear, const double* mBend, const double* c) {
    double d = 0.0;
    for (int i = 0; i < n; ++i) {
        d += vLinear[i] * c[i];
        for (int j = 0; j < n; ++j) d -= 0.5 * c[i] * c[j] * Row(mBend, n, i)[j];
    }
    return d;
}

/// The stationary point of the form on one face, whose corners are the bits of nFace. False where
/// there is none within the face.
bool StationaryOn(unsigned nFace, int n, const double* vLinear, const double* mBend, double* c) {
    int vCorner[kMostMixed], m = 0;
    for (int i = 0; i < n; ++i)
        if (nFace >> i & 1U) vCorner[m++] = i;
    double mA[kOrder * kOrder] = {}, vB[kOrder] = {};
    for (int i = 0; i < m; ++i) {
        for (int j = 0; j < m; ++j) Row(mA, kOrder, i)[j] = -Row(mBend, n, vCorner[i])[vCorner[j]];
        Row(mA, kOrder, i)[m] = Row(mA, kOrder, m)[i] = 1.0;
        vB[i] = -vLinear[vCorner[i]];
    }
    vB[m] = 1.0;
    if (!SolveLinear(m + 1, kOrder, mA, vB)) return false;
    std::fill_n(c, n, 0.0);
    for (int i = 0; i < m; ++i) {
        if (!(vB[i] >= 0.0)) return false;
        c[vCorner[i]] = vB[i];
    }
    return true;
}

}  // namespace

bool SolveLinear(int n, int nStep, double* mA, double* vB) {
    double dLargest = 0.0;
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) dLargest = std::max(dLargest, std::abs(Row(mA, nStep, i)[j]));
    for (int k = 0; k < n; ++k) {
        int nPivot = k;
        for (int i = k + 1; i < n; ++i)
            if (std::abs(Row(mA, nStep, i)[k]) > std::abs(Row(mA, nStep, nPivot)[k])) nPivot = i;
        if (!(std::abs(Row(mA, nStep, nPivot)[k]) > kSmallestPivot * dLargest)) return false;
        std::swap_ranges(Row(mA, nStep, k), Row(mA, nStep, k) + n, Row(mA, nStep, nPivot));
        std::swap(vB[k], vB[nPivot]);
        for (int i = k + 1; i < n; ++i) {
            const double f = Row(mA, nStep, i)[k] / Row(mA, nStep, k)[k];
            for (int j = k; j < n; ++j) Row(mA, nStep, i)[j] -= f * Row(mA, nStep, k)[j];
            vB[i] -= f * vB[k];
        }
    }
    for (int k = n - 1; k >= 0; --k) {
        for (int j = k + 1; j < n; ++j) vB[k] -= Row(mA, nStep, k)[j] * vB[j];
        vB[k] /= Row(mA, nStep, k)[k];
    }
    return true;
}

void MinimiseOnSimplex(int n, const double* vLinear, const double* mBend, double* vMixture) {
    double dBest = 0.0, c[kMostMixed];
    bool fAny = false;
    for (unsigned nFace = 1; nFace < 1U << n; ++nFace) {
        if (!StationaryOn(nFace, n, vLinear, mBend, c)) continue;
        const double d = ValueOf(n, vLinear, mBend, c);
        if (fAny && !(d < dBest)) continue;
        fAny = true;
        dBest = d;
        std::copy_n(c, n, vMixture);
    }
    if (fAny) return;  // every corner is a face of its own, unless it is no number
    std::fill_n(vMixture, n, 0.0);
    vMixture[n - 1] = 1.0;
}

}  // namespace qsolve
