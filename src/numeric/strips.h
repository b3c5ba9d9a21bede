#pragma once

#include <algorithm>

#include "numeric/pool.h"
#include "numeric/row.h"

namespace qsolve {

/// Rows of a strip of an n x n matrix: whole lines of the cache also across the rows, and never
/// more than kMostStrips of them.
constexpr int kMostStrips = 512;
inline int RowsOfStrip(int n) {
    constexpr int kFewestRows = 64, kFewestToShare = 192;
    if (n < kFewestToShare) return std::max(n, 1);
    const int nRows = (n + kMostStrips - 1) / kMostStrips;
    return std::max(kFewestRows, (nRows + 7) / 8 * 8);
}

/// f(nStrip, nFirst, nEnd) for strips of the rows 0 .. n - 1, by several threads where there are
/// some of them. The strips depend on n alone. What f writes is of its strip.
template <class F>
void ForEachStrip(int n, const F& f) {
    const int nRows = RowsOfStrip(n), nStrips = (n + nRows - 1) / nRows;
    ForEachTask(nStrips, [&](int i) { f(i, i * nRows, std::min(n, (i + 1) * nRows)); });
}

/// The sum of f(nFirst, nEnd) over the strips, in an order that depends on n alone.
template <class F>
double SumOverStrips(int n, const F& f) {
    double vSums[kMostStrips];
    ForEachStrip(n, [&](int i, int nFirst, int nEnd) { vSums[i] = f(nFirst, nEnd); });
    double dSum = 0.0;
    for (int i = 0; i * RowsOfStrip(n) < n; ++i) dSum += vSums[i];
    return dSum;
}

/// Copies nRows rows of n numbers.
inline void CopyRows(int nRows, int n, const double* mFrom, double* mTo) {
    ForEachStrip(nRows, [&](int, int nFirst, int nEnd) {
        std::copy(Row(mFrom, n, nFirst), Row(mFrom, n, nEnd), Row(mTo, n, nFirst));
    });
}

/// Sets nRows rows of n numbers to zero.
inline void ClearRows(int nRows, int n, double* m) {
    ForEachStrip(nRows, [&](int, int nFirst, int nEnd) {
        std::fill(Row(m, n, nFirst), Row(m, n, nEnd), 0.0);
    });
}

}  // namespace qsolve
