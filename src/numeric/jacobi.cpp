#include "numeric/jacobi.h"

#include <algorithm>
#include <cmath>

#include "numeric/row.h"

namespace qsolve {
namespace {

/// Convergence is quadratic: a dozen sweeps are enough for any matrix of numbers.
constexpr int kMostSweeps = 50;

double& At(double* m, int n, int i, int j) {
    return Row(m, n, std::max(i, j))[std::min(i, j)];
}

/// Rotates the plane of p and q so that element (p, q) vanishes, with the smaller of both angles.
void RotatePlane(int n, int p, int q, double* mMatrix, double* mVectors) {
    const double a = At(mMatrix, n, p, q);
    if (a == 0.0) return;
    const double dTheta = (At(mMatrix, n, q, q) - At(mMatrix, n, p, p)) / (2.0 * a);
    const double t =
        (dTheta < 0.0 ? -1.0 : 1.0) / (std::abs(dTheta) + std::sqrt(dTheta * dTheta + 1.0));
    const double c = 1.0 / std::sqrt(t * t + 1.0), s = t * c;
    At(mMatrix, n, p, p) -= t * a;
    At(mMatrix, n, q, q) += t * a;
    At(mMatrix, n, p, q) = 0.0;
    for (int k = 0; k < n; ++k) {
        if (k != p && k != q) {
            double &x = At(mMatrix, n, p, k), &y = At(mMatrix, n, q, k);
            const double dX = x;
            x = c * dX - s * y;
            y = s * dX + c * y;
        }
        double &x = Row(mVectors, n, p)[k], &y = Row(mVectors, n, q)[k];
        const double dX = x;
        x = c * dX - s * y;
        y = s * dX + c * y;
    }
}

/// One sweep over all planes; whether there was anything to rotate.
bool Sweep(int n, double* mMatrix, double* mVectors) {
    bool fRotated = false;
    for (int p = 1; p < n; ++p)
        for (int q = 0; q < p; ++q) {
            const double a = std::abs(At(mMatrix, n, p, q));
            const double d = std::abs(At(mMatrix, n, p, p)) + std::abs(At(mMatrix, n, q, q));
            if (d + a == d) continue;  // below the rounding of both values
            RotatePlane(n, p, q, mMatrix, mVectors);
            fRotated = true;
        }
    return fRotated;
}

}  // namespace

void DiagonaliseByJacobi(int n, double* mMatrix, double* mVectors, double* vValues) {
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) Row(mVectors, n, i)[j] = i == j ? 1.0 : 0.0;
    for (int nSweep = 0; nSweep < kMostSweeps && Sweep(n, mMatrix, mVectors); ++nSweep) continue;
    for (int i = 0; i < n; ++i) vValues[i] = Row(mMatrix, n, i)[i];
    for (int i = 0; i < n; ++i) {
        const int k = static_cast<int>(std::min_element(vValues + i, vValues + n) - vValues);
        if (k == i) continue;
        std::swap(vValues[i], vValues[k]);
        std::swap_ranges(Row(mVectors, n, i), Row(mVectors, n, i) + n, Row(mVectors, n, k));
    }
}

}  // namespace qsolve
