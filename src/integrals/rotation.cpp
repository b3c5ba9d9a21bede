#include "integrals/rotation.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "numeric/row.h"

namespace qsolve {
namespace {

/// Vectors closer to the z axis than this, bohr, count as lying on it.
constexpr double kOnAxis = 1e-10;

/// sqrt(3) / 2, rounded as the rotation has always used it.
constexpr double kHalfRoot3 = 0.8660254037841;

struct Angles {
    double dCosPhi, dSinPhi, dCosTheta, dSinTheta;
};

Angles PolarAngles(const double* pVector, double dDistance) {
    const double dRho = std::hypot(pVector[0], pVector[1]);
    if (dRho >= kOnAxis)
        return {pVector[0] / dRho, pVector[1] / dRho, pVector[2] / dDistance, dRho / dDistance};
    const double dUp = pVector[2] > 0.0 ? 1.0 : -1.0;
    return {dUp, 0.0, dUp, 0.0};
}

void FillP(const Angles& a, double* mRotation) {
    const double c = a.dCosPhi, s = a.dSinPhi, C = a.dCosTheta, S = a.dSinTheta;
    const double mP[3][kLocalFunctions] = {
        // delta-1, pi-1, sigma, pi-2, delta-2
        {0.0, -s, S * c, C * c, 0.0},
        {0.0, c, S * s, C * s, 0.0},
        {0.0, 0.0, C, -S, 0.0},
    };
    std::copy_n(&mP[0][0], 3 * kLocalFunctions, Row(mRotation, kLocalFunctions, kShellBegin[1]));
}

void FillD(const Angles& a, double* mRotation) {
    const double c = a.dCosPhi, s = a.dSinPhi, C = a.dCosTheta, S = a.dSinTheta;
    const double c2 = 2.0 * c * c - 1.0, s2 = 2.0 * s * c;
    const double C2 = 2.0 * C * C - 1.0, S2 = 2.0 * S * C, k = kHalfRoot3;
    const double mD[5][kLocalFunctions] = {
        // delta-1, pi-1, sigma, pi-2, delta-2
        {0.0, 0.0, C * C - 0.5 * S * S, -k * S2, k * S * S},
        {s * S, -s * C, k * c * S2, c * C2, -0.5 * c * S2},
        {-S * c, C * c, k * s * S2, s * C2, -0.5 * s * S2},
        {-C * s2, -S * s2, k * c2 * S * S, 0.5 * c2 * S2, c2 * (C * C + 0.5 * S * S)},
        {C * c2, S * c2, k * s2 * S * S, 0.5 * s2 * S2, s2 * (C * C + 0.5 * S * S)},
    };
    std::copy_n(&mD[0][0], 5 * kLocalFunctions, Row(mRotation, kLocalFunctions, kShellBegin[2]));
}

// ---- generators ---------------------------------------------------------------------------------

using Matrix3 = std::array<std::array<double, 3>, 3>;
using Generator = std::array<std::array<double, kAtomOrbitals>, kAtomOrbitals>;

/// The d orbitals as quadratic forms r^T Q r in their order, all with the trace of Q Q equal to
/// 1/2.
constexpr std::array<Matrix3, 5> QuadraticForms() {
    constexpr double h = 0.5, t = 0.28867513459481287;  // 1 / (2 sqrt 3)
    return {{
        {{{-t, 0, 0}, {0, -t, 0}, {0, 0, 2 * t}}},
        {{{0, 0, h}, {0, 0, 0}, {h, 0, 0}}},
        {{{0, 0, 0}, {0, 0, h}, {0, h, 0}}},
        {{{h, 0, 0}, {0, -h, 0}, {0, 0, 0}}},
        {{{0, h, 0}, {h, 0, 0}, {0, 0, 0}}},
    }};
}

constexpr Matrix3 Product(const Matrix3& a, const Matrix3& b) {
    Matrix3 c{};
    for (std::size_t i = 0; i < 3; ++i)
        for (std::size_t j = 0; j < 3; ++j)
            for (std::size_t k = 0; k < 3; ++k) c[i][j] += a[i][k] * b[k][j];
    return c;
}

/// w x r for a unit vector w along an axis, as a matrix on r.
constexpr Matrix3 CrossMatrix(std::size_t nAxis) {
    Matrix3 w{};
    w[(nAxis + 2) % 3][(nAxis + 1) % 3] = 1.0;
    w[(nAxis + 1) % 3][(nAxis + 2) % 3] = -1.0;
    return w;
}

/// A rotation O carries p orbitals as it carries vectors, and a quadratic form Q to O Q O^T, which
/// to first order is Q + (W Q - Q W).
constexpr Generator MakeGenerator(std::size_t nAxis) {
    Generator g{};
    const Matrix3 w = CrossMatrix(nAxis);
    for (std::size_t i = 0; i < 3; ++i)
        for (std::size_t j = 0; j < 3; ++j) g[1 + i][1 + j] = w[i][j];
    const auto forms = QuadraticForms();
    for (std::size_t nTo = 0; nTo < 5; ++nTo)
        for (std::size_t nFrom = 0; nFrom < 5; ++nFrom) {
            const Matrix3 wq = Product(w, forms[nFrom]), qw = Product(forms[nFrom], w);
            double dTrace = 0.0;
            for (std::size_t i = 0; i < 3; ++i)
                for (std::size_t j = 0; j < 3; ++j)
                    dTrace += forms[nTo][i][j] * (wq[j][i] - qw[j][i]);
            g[4 + nTo][4 + nFrom] = 2.0 * dTrace;
        }
    return g;
}
constexpr Generator kGenerator[3] = {MakeGenerator(0), MakeGenerator(1), MakeGenerator(2)};

}  // namespace

void BuildRotation(const double* pVector, double dDistance, int nShells, double* mRotation) {
    std::fill_n(mRotation, kAtomOrbitals * kLocalFunctions, 0.0);
    mRotation[kSigma] = 1.0;
    if (nShells < 2) return;
    const Angles angles = PolarAngles(pVector, dDistance);
    FillP(angles, mRotation);
    if (nShells > 2) FillD(angles, mRotation);
}

void BuildRotation(const double* vDirection, double* mRotation, int nOrbitals) {
    constexpr LocalFunction kFunctionOf[kAtomOrbitals] = {kSigma, kPi2, kPi1,    kSigma, kSigma,
                                                          kPi2,   kPi1, kDelta2, kDelta1};
    const int nShells = nOrbitals > kShellBegin[2] ? 3 : nOrbitals > kShellBegin[1] ? 2 : 1;
    double mFunctions[kAtomOrbitals * kLocalFunctions];
    BuildRotation(vDirection, 1.0, nShells, mFunctions);
    std::fill_n(mRotation, kAtomOrbitals * kAtomOrbitals, 0.0);
    for (int l = 0; l < nShells; ++l)
        for (int a = kShellBegin[l]; a < kShellBegin[l + 1]; ++a)
            for (int i = kShellBegin[l]; i < kShellBegin[l + 1]; ++i)
                Row(mRotation, kAtomOrbitals, a)[i] =
                    Row(mFunctions, kLocalFunctions, i)[kFunctionOf[a]];
}

void RotateInfinitesimally(int nAxis, int nShellsRow, int nShellsColumn, const double* mBlock,
                           double* mRotated) {
    std::fill_n(mRotated, kAtomOrbitals * kAtomOrbitals, 0.0);
    const Generator& g = kGenerator[nAxis];
    for (int lr = 0; lr < nShellsRow; ++lr)
        for (int lc = 0; lc < nShellsColumn; ++lc)
            for (int i = kShellBegin[lr]; i < kShellBegin[lr + 1]; ++i)
                for (int j = kShellBegin[lc]; j < kShellBegin[lc + 1]; ++j) {
                    double dSum = 0.0;
                    for (int k = kShellBegin[lr]; k < kShellBegin[lr + 1]; ++k)
                        dSum += g[static_cast<std::size_t>(i)][static_cast<std::size_t>(k)] *
                                Row(mBlock, kAtomOrbitals, k)[j];
                    for (int k = kShellBegin[lc]; k < kShellBegin[lc + 1]; ++k)
                        dSum += Row(mBlock, kAtomOrbitals, i)[k] *
                                g[static_cast<std::size_t>(j)][static_cast<std::size_t>(k)];
                    Row(mRotated, kAtomOrbitals, i)[j] = dSum;
                }
}

}  // namespace qsolve
