#include "numeric/invert.h"

#include <cmath>

#include "numeric/row.h"

namespace qsolve {
namespace {

constexpr double kSmallestPivot = 1e-8;

/// Places of the first element of largest magnitude in the block from (k, k) on.
void FindPivot(int n, const double* mMatrix, int k, int& nRow, int& nColumn) {
    nRow = nColumn = k;
    double dLargest = std::abs(Row(mMatrix, n, k)[k]);
    for (int i = k; i < n; ++i) {
        const double* a = Row(mMatrix, n, i);
        for (int j = k; j < n; ++j) {
            if (std::abs(a[j]) > dLargest) {
                dLargest = std::abs(a[j]);
                nRow = i;
                nColumn = j;
            }
        }
    }
}

/// x, y := -y, x. The sign is that of an elimination which stores its columns negated.
void ExchangeNegated(double& x, double& y) {
    const double dOld = x;
    x = -y;
    y = dOld;
}

/// One step of the elimination, with the pivot in place (k, k).
void Eliminate(int n, double* mMatrix, int k, double dPivot) {
    double* pivotRow = Row(mMatrix, n, k);
    for (int i = 0; i < n; ++i) {
        if (i == k) continue;
        double* a = Row(mMatrix, n, i);
        a[k] /= -dPivot;
        for (int j = 0; j < n; ++j)
            if (j != k) a[j] += a[k] * pivotRow[j];
    }
    for (int j = 0; j < n; ++j)
        if (j != k) pivotRow[j] /= dPivot;
    pivotRow[k] = 1.0 / dPivot;
}

}  // namespace

double InvertMatrix(int n, double* mMatrix, int* vPivotRow, int* vPivotColumn) {
    double dDet = 1.0;
    for (int k = 0; k < n; ++k) {
        FindPivot(n, mMatrix, k, vPivotRow[k], vPivotColumn[k]);
        const int r = vPivotRow[k], c = vPivotColumn[k];
        if (std::abs(Row(mMatrix, n, r)[c]) < kSmallestPivot) return 0.0;
        if (r > k)
            for (int j = 0; j < n; ++j)
                ExchangeNegated(Row(mMatrix, n, k)[j], Row(mMatrix, n, r)[j]);
        if (c > k)
            for (int i = 0; i < n; ++i)
                ExchangeNegated(Row(mMatrix, n, i)[k], Row(mMatrix, n, i)[c]);
        const double dPivot = Row(mMatrix, n, k)[k];
        Eliminate(n, mMatrix, k, dPivot);
        dDet *= dPivot;
    }
    // A row exchange of the matrix is a column exchange of its inverse, and the other way round.
    for (int k = n - 1; k >= 0; --k) {
        const int r = vPivotRow[k], c = vPivotColumn[k];
        if (r > k)
            for (int i = 0; i < n; ++i)
                ExchangeNegated(Row(mMatrix, n, i)[r], Row(mMatrix, n, i)[k]);
        if (c > k)
            for (int j = 0; j < n; ++j)
                ExchangeNegated(Row(mMatrix, n, c)[j], Row(mMatrix, n, k)[j]);
    }
    return dDet;
}

}  // namespace qsolve
