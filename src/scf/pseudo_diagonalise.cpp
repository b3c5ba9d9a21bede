#include "scf/pseudo_diagonalise.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "link/link.h"
#include "numeric/kernels.h"
#include "numeric/product.h"
#include "numeric/row.h"
#include "scf/state.h"

namespace qsolve {
namespace {

constexpr double kShareOfLargest = 0.05;  ///< elements below it times the largest are left alone
constexpr int kStrip = 96;                ///< virtual orbitals between two yields

/// f_ij = C_i F C_j: row j - nOcc of vFock belongs to the virtual orbital j.
void TransformFock(int n, int nOcc, const double* mFock, const double* mVectors, double* vFock,
                   double* mWork) {
    for (int j = nOcc; j < n; j += kStrip) {
        const int nStrip = std::min(kStrip, n - j);
        Multiply(nStrip, n, n, Row(mVectors, n, j), mFock, mWork);
        MultiplyByTransposed(nStrip, n, nOcc, mWork, mVectors, Row(vFock, nOcc, j - nOcc));
        Yield(static_cast<std::size_t>(n) * kStrip);
    }
}

/// x := alpha x + beta y, y := alpha y - beta x, by the angle that would clear f between an
/// occupied level and a virtual one, a = e_x - e_y. The sign of beta is the one for a below 0; for
/// a level above its virtual partner it is meant to be the same.
void Rotate(int n, double f, double a, double* x, double* y) {
    const double dRoot = std::sqrt(a * a + 4.0 * f * f);
    const double d = a < 0.0 ? -dRoot : dRoot;
    const double alpha = std::sqrt((a / d + 1.0) / 2.0);
    const double dSine = std::sqrt(std::max(0.0, 1.0 - alpha * alpha));
    const double beta = f < 0.0 ? dSine : -dSine;
    kernels->Rotate(n, alpha, beta, x, y);
}

}  // namespace

void PseudoDiagonalise(int n, int nOcc, const double* mFock, double* mVectors, const double* vLevel,
                       double* vFock, double* mWork) {
    if (nOcc <= 0 || nOcc >= n) return;
    TransformFock(n, nOcc, mFock, mVectors, vFock, mWork);
    double dLargest = 0.0;
    const double* pEnd = Row(vFock, nOcc, n - nOcc);
    for (const double* f = vFock; f != pEnd; ++f) dLargest = std::max(dLargest, std::abs(*f));
    const double dThreshold = kShareOfLargest * dLargest;

    // The elements are those before the sweep: neither they nor the levels follow the rotations.
    for (int j = nOcc; j < n; ++j) {
        const double* vRow = Row(vFock, nOcc, j - nOcc);
        for (int i = 0; i < nOcc; ++i) {
            const double f = vRow[i], a = vLevel[i] - vLevel[j];
            if (std::abs(f) < dThreshold || f == 0.0) continue;
            if (std::abs(f / a) < kRotationFloor) continue;
            Rotate(n, f, a, Row(mVectors, n, i), Row(mVectors, n, j));
        }
        Yield(static_cast<std::size_t>(n));
    }
}

}  // namespace qsolve
