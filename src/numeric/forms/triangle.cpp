#include <cstddef>

#include "numeric/forms/forms.h"
#include "numeric/forms/transpose.h"
#include "numeric/forms/wide.h"

namespace qsolve::QSOLVE_FORM {
namespace {

using Lanes = decltype(Wide{} > Wide{});

[[gnu::always_inline]] inline Lanes NumbersOfLanes() {
    Lanes lanes = {};
    for (int t = 0; t < kWide; ++t) lanes[t] = t;
    return lanes;
}

/// sum += x * y over n elements, registers in turn into two sums.
[[gnu::always_inline]] inline void AddDot(int n, const double* x, const double* y, Wide (&sum)[2]) {
    Wide a, b;
    int j = 0;
    for (; j + 2 * kWide <= n; j += 2 * kWide) {
        Load(x + j, a), Load(y + j, b), sum[0] += a * b;
        Load(x + j + kWide, a), Load(y + j + kWide, b), sum[1] += a * b;
    }
    if (j + kWide <= n) {
        Load(x + j, a), Load(y + j, b), sum[0] += a * b;
        j += kWide;
    }
    LoadPart(x + j, n - j, a), LoadPart(y + j, n - j, b);
    sum[1] += a * b;
}

/// Takes nRows x nColumns elements at m, each up to kWide, and zeros beside and below them.
[[gnu::always_inline]] inline void LoadSquare(const double* m, int nStep, int nRows, int nColumns,
                                              Wide (&x)[kWide]) {
#pragma GCC unroll 8
    for (int r = 0; r < kWide; ++r)
        LoadPart(At(m, nStep, Least(r, nRows - 1)), r < nRows ? nColumns : 0, x[r]);
}

/// The transposed of nRows rows and nColumns columns of `m`, into `mTo`; of a square on the
/// diagonal, which then is both, what stands above the diagonal alone.
template <bool kOnDiagonal>
void MirrorSquare(const double* m, int nStep, int nRows, int nColumns, double* mTo) {
    const Lanes lanes = NumbersOfLanes();
    Wide x[kWide];
    LoadSquare(m, nStep, nRows, nColumns, x);
    Transpose(x);
#pragma GCC unroll 8
    for (int r = 0; r < kWide; ++r) {
        if (r >= nColumns) return;
        double* to = At(mTo, nStep, r);
        if (kOnDiagonal) {
            Wide old;
            LoadPart(to, nRows, old);
            x[r] = lanes > r ? x[r] : old;
        }
        StorePart(x[r], nRows, to);
    }
}

}  // namespace

double DotLower(int n, int nFirst, int nEnd, const double* mA, const double* mB) {
    Wide even[2] = {}, odd[2] = {};
    int i = nFirst;
    for (; i + 1 < nEnd; i += 2) {
        AddDot(i + 1, At(mA, n, i), At(mB, n, i), even);
        AddDot(i + 2, At(mA, n, i + 1), At(mB, n, i + 1), odd);
    }
    if (i < nEnd) AddDot(i + 1, At(mA, n, i), At(mB, n, i), even);
    return Sum((even[0] + even[1]) + (odd[0] + odd[1]));
}

double LargestBelow(int n, int nFirst, int nEnd, const double* m) {
    Wide most = {}, x;
    for (int i = nFirst; i < nEnd; ++i)
        for (int j = 0; j < i; j += kWide) {
            LoadPart(At(m, n, i) + j, Least(kWide, i - j), x);
            most = x > most ? x : most;
            most = -x > most ? -x : most;
        }
    double dMost = 0.0;
    for (int t = 0; t < kWide; ++t) dMost = most[t] > dMost ? most[t] : dMost;
    return dMost;
}

void MirrorRows(int nStep, int nFirst, int nEnd, double* m) {
    for (int i = nFirst; i < nEnd; i += kWide) {
        const int nRows = Least(kWide, nEnd - i);
        int j = 0;
        for (; j + kWide <= i; j += kWide)
            MirrorSquare<false>(At(m, nStep, i) + j, nStep, nRows, kWide, At(m, nStep, j) + i);
        // Columns up to the square on the diagonal, where rows begin between two registers.
        if (j < i)
            MirrorSquare<false>(At(m, nStep, i) + j, nStep, nRows, i - j, At(m, nStep, j) + i);
        MirrorSquare<true>(At(m, nStep, i) + i, nStep, nRows, nRows, At(m, nStep, i) + i);
    }
}

}  // namespace qsolve::QSOLVE_FORM
