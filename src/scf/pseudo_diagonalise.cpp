#include "scf/pseudo_diagonalise.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "link/link.h"
#include "numeric/kernels.h"
#include "numeric/pool.h"
#include "numeric/product.h"
#include "numeric/row.h"
#include "scf/state.h"

namespace qsolve {
namespace {

constexpr double kShareOfLargest = 0.05;  ///< elements below it times the largest are left alone
constexpr int kStrip = 192;               ///< virtual orbitals between two yields
constexpr int kWorthThreads = 200;        ///< orbitals from which the threads share them
constexpr int kColumns = 96;              ///< of the orbitals that are rotated together

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

/// x := alpha x + beta y, y := alpha y - beta x, for two rows of the orbitals.
struct Rotation {
    double alpha, beta;
    int nX, nY;
};

/// The rotation by the angle that would clear f between an occupied level and a virtual one, a =
/// e_x - e_y. The sign of beta is the one for a below 0; for a level above its virtual partner it
/// is meant to be the same.
Rotation Clearing(double f, double a, int nX, int nY) {
    const double dRoot = std::sqrt(a * a + 4.0 * f * f);
    const double d = a < 0.0 ? -dRoot : dRoot;
    const double alpha = std::sqrt((a / d + 1.0) / 2.0);
    const double dSine = std::sqrt(std::max(0.0, 1.0 - alpha * alpha));
    return {alpha, f < 0.0 ? dSine : -dSine, nX, nY};
}

// A list of rotations in an array of doubles: an orbital's number fits exactly.
constexpr int kDoublesOfRotation = 4;

void PutRotation(double* vList, int i, const Rotation& rotation) {
    double* p = Row(vList, kDoublesOfRotation, i);
    p[0] = rotation.alpha, p[1] = rotation.beta, p[2] = rotation.nX, p[3] = rotation.nY;
}

Rotation GetRotation(const double* vList, int i) {
    const double* p = Row(vList, kDoublesOfRotation, i);
    return {p[0], p[1], static_cast<int>(p[2]), static_cast<int>(p[3])};
}

/// Chooses the rotations of a sweep, in its order. The elements are those before it: neither they
/// nor the levels follow the rotations. Returns their number.
int ListRotations(int n, int nOcc, const double* vFock, const double* vLevel, double* vList) {
    double dLargest = 0.0;
    const double* pEnd = Row(vFock, nOcc, n - nOcc);
    for (const double* f = vFock; f != pEnd; ++f) dLargest = std::max(dLargest, std::abs(*f));
    const double dThreshold = kShareOfLargest * dLargest;
    int nRotations = 0;
    for (int j = nOcc; j < n; ++j) {
        const double* vRow = Row(vFock, nOcc, j - nOcc);
        for (int i = 0; i < nOcc; ++i) {
            const double f = vRow[i], a = vLevel[i] - vLevel[j];
            if (std::abs(f) < dThreshold || f == 0.0) continue;
            if (std::abs(f / a) < kRotationFloor) continue;
            PutRotation(vList, nRotations++, Clearing(f, a, i, j));
        }
    }
    return nRotations;
}

/// Applies all rotations to a few columns after another, whose part of all orbitals stays in a
/// cache. A column knows nothing of the others, so the threads share them.
void ApplyRotations(int n, int nRotations, const double* vList, double* mVectors) {
    ForEachTaskIf(n >= kWorthThreads, (n + kColumns - 1) / kColumns, [&](int nTask) {
        const int nFirst = nTask * kColumns, nColumns = std::min(kColumns, n - nFirst);
        for (int i = 0; i < nRotations; ++i) {
            const Rotation rotation = GetRotation(vList, i);
            kernels->Rotate(nColumns, rotation.alpha, rotation.beta,
                            Row(mVectors, n, rotation.nX) + nFirst,
                            Row(mVectors, n, rotation.nY) + nFirst);
        }
    });
}

}  // namespace

void PseudoDiagonalise(int n, int nOcc, const double* mFock, double* mVectors, const double* vLevel,
                       double* vFock, double* mWork) {
    if (nOcc <= 0 || nOcc >= n) return;
    TransformFock(n, nOcc, mFock, mVectors, vFock, mWork);
    // There are at most n^2 / 4 of them, which is what the scratch holds.
    const int nRotations = ListRotations(n, nOcc, vFock, vLevel, mWork);
    ApplyRotations(n, nRotations, mWork, mVectors);
    Yield(static_cast<std::size_t>(n) * static_cast<std::size_t>(n - nOcc));
}

}  // namespace qsolve
