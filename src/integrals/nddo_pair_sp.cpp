#include "integrals/nddo_pair_sp.h"

#include <cmath>

#include "integrals/local_charges.h"
#include "integrals/mindo3.h"
#include "integrals/nddo_core_core.h"
#include "integrals/overlap_matrix.h"
#include "job/state.h"

namespace qsolve {
namespace {

/// What a unit vector on the z axis may have across it.
constexpr double kOnAxis = 1e-12;

constexpr int kProducts = 10;  ///< of s and p

/// v[i] becomes 27.211396 / sqrt(v[i]), and 0 for a radicand of 0 or less.
void TakeQuotients(int n, double* v) {
    for (int i = 0; i < n; ++i) {
        const double x = v[i] > 0.0 ? v[i] : 1.0;
        v[i] = v[i] > 0.0 ? kElectronVoltBohr / std::sqrt(x) : 0.0;
    }
}

/// The expansion of the products of s and p in molecular axes over those in the local frame,
/// m[local][molecular]; local products in the same order with sigma, pi and pi' for x, y and z.
struct ProductRotation {
    double m[kProducts][kProducts];
};

enum LocalProduct { kSS, kPs, kPP, kQs, kQP, kQQ, kTs, kTP, kTQ, kTT };

ProductRotation RotationOf(const LocalFrame& f) {
    ProductRotation t = {};
    t.m[kSS][0] = 1.0;
    for (int i = 0; i < 3; ++i) {
        const int nS = ProductNumber(i + 1, 0);
        t.m[kPs][nS] = f.e[i];
        t.m[kQs][nS] = f.y[i];
        t.m[kTs][nS] = f.z[i];
        for (int j = 0; j <= i; ++j) {
            const int n = ProductNumber(i + 1, j + 1);
            t.m[kPP][n] = f.e[i] * f.e[j];
            t.m[kQQ][n] = f.y[i] * f.y[j];
            t.m[kTT][n] = f.z[i] * f.z[j];
            t.m[kQP][n] = f.e[i] * f.y[j] + f.y[i] * f.e[j];
            t.m[kTP][n] = f.e[i] * f.z[j] + f.z[i] * f.e[j];
            t.m[kTQ][n] = f.y[i] * f.z[j] + f.z[i] * f.y[j];
        }
    }
    return t;
}

/// The block with the products of A in the local frame and those of B in molecular axes.
void RotateColumns(const ProductRotation& t, const double* g, double half[kProducts][kProducts]) {
    for (int n = 0; n < kProducts; ++n) {
        const double s = t.m[kSS][n], ps = t.m[kPs][n], pp = t.m[kPP][n];
        const double qq = t.m[kQQ][n], tt = t.m[kTT][n], dAcross = qq + tt;
        half[kSS][n] = g[0] * s + g[4] * ps + g[10] * pp + g[11] * dAcross;
        half[kPs][n] = g[1] * s + g[5] * ps + g[12] * pp + g[13] * dAcross;
        half[kPP][n] = g[2] * s + g[7] * ps + g[15] * pp + g[17] * dAcross;
        half[kQQ][n] = g[3] * s + g[8] * ps + g[16] * pp + g[18] * qq + g[20] * tt;
        half[kTT][n] = g[3] * s + g[8] * ps + g[16] * pp + g[20] * qq + g[18] * tt;
        half[kQs][n] = g[6] * t.m[kQs][n] + g[14] * t.m[kQP][n];
        half[kTs][n] = g[6] * t.m[kTs][n] + g[14] * t.m[kTP][n];
        half[kQP][n] = g[9] * t.m[kQs][n] + g[19] * t.m[kQP][n];
        half[kTP][n] = g[9] * t.m[kTs][n] + g[19] * t.m[kTP][n];
        half[kTQ][n] = g[21] * t.m[kTQ][n];
    }
}

/// Row of a molecular product in the block: the sum of the local rows with its coefficients.
void SumRows(const ProductRotation& t, const double half[kProducts][kProducts], int nProduct,
             const int* vLocal, int nLocal, double* pRow) {
    double v[kProducts] = {};
    for (int k = 0; k < nLocal; ++k) {
        const double c = t.m[vLocal[k]][nProduct];
        const double* h = half[vLocal[k]];
        for (int n = 0; n < kProducts; ++n) v[n] += c * h[n];
    }
    for (int n = 0; n < kProducts; ++n) pRow[n] = v[n];
}

void RotateBlockSpSp(const LocalFrame& frame, const double* vRi, double* pBlock) {
    constexpr int vOfSs[] = {kSS};
    constexpr int vOfPs[] = {kPs, kQs, kTs};
    constexpr int vOfPp[] = {kPP, kQP, kQQ, kTP, kTQ, kTT};
    const ProductRotation t = RotationOf(frame);
    double half[kProducts][kProducts];
    RotateColumns(t, vRi, half);
    SumRows(t, half, 0, vOfSs, 1, pBlock);
    for (int i = 1; i <= 3; ++i) {
        const int nS = ProductNumber(i, 0);
        SumRows(t, half, nS, vOfPs, 3, pBlock + kProducts * nS);
        for (int j = 1; j <= i; ++j) {
            const int n = ProductNumber(i, j);
            SumRows(t, half, n, vOfPp, 6, pBlock + kProducts * n);
        }
    }
}

void ComputePairMindo(const NddoAtom& a, const NddoAtom& b, double R, double* pBlock,
                      PairTerms& terms) {
    const double dGamma = MindoCoulomb(a, b, R);
    *pBlock = dGamma;
    for (int n = 0; n < ProductsOf(a.Listed.nOrbitals); ++n) terms.vE1b[n] = 0.0;
    for (int n = 0; n < ProductsOf(b.Listed.nOrbitals); ++n) terms.vE2a[n] = 0.0;
    for (int i = 0; i < a.Listed.nOrbitals; ++i)
        terms.vE1b[ProductNumber(i, i)] = -b.dCore * dGamma;
    for (int i = 0; i < b.Listed.nOrbitals; ++i)
        terms.vE2a[ProductNumber(i, i)] = -a.dCore * dGamma;
    terms.dPairEnergy = MindoCoreCore(a, b, R, dGamma);
}

}  // namespace

void ComputeLocalIntegrals(const NddoAtom& a, const NddoAtom& b, double dDistance, double* vRi) {
    double v[kMostTerms];
    FillSquares(a, b, dDistance * kBohrPerAngstrom, v);
    TakeQuotients(TermsOf(a, b), v);
    SumTerms(a.HasP(), b.HasP(), v, vRi);
}

LocalFrame FrameOf(const double* vDirection) {
    LocalFrame f = {
        {vDirection[0], vDirection[1], vDirection[2]}, {0.0, 1.0, 0.0}, {1.0, 0.0, 0.0}};
    const double a = std::sqrt(f.e[0] * f.e[0] + f.e[1] * f.e[1]);
    if (a < kOnAxis) {
        f.e[2] = f.e[2] < 0.0 ? -1.0 : 1.0;
        return f;
    }
    const double dSign = f.e[0] < 0.0 ? -1.0 : 1.0;
    f.y[0] = -f.e[1] * dSign / a;
    f.y[1] = std::abs(f.e[0]) / a;
    f.z[0] = -f.e[0] * f.e[2] / a;
    f.z[1] = -f.e[1] * f.e[2] / a;
    f.z[2] = a;
    return f;
}

void RotateWithMonopole(const LocalFrame& f, const double* vRi, double* pBlock) {
    pBlock[0] = vRi[0];
    for (int i = 0; i < 3; ++i) {
        pBlock[ProductNumber(i + 1, 0)] = vRi[1] * f.e[i];
        for (int j = 0; j <= i; ++j)
            pBlock[ProductNumber(i + 1, j + 1)] =
                vRi[2] * f.e[i] * f.e[j] + vRi[3] * (f.y[i] * f.y[j] + f.z[i] * f.z[j]);
    }
}

void ComputePairSp(const NddoAtom& a, const NddoAtom& b, const PairGeometry& geometry,
                   double* pBlock, PairTerms& terms) {
    const double R = geometry.dDistance;
    if (system.MethodId == kMindo3) {
        ComputePairMindo(a, b, R, pBlock, terms);
        return;
    }
    double g[kLocalIntegrals];
    ComputeLocalIntegrals(a, b, R, g);
    const bool fP = a.HasP() || b.HasP();
    const LocalFrame frame = fP ? FrameOf(geometry.vDirection) : LocalFrame{};
    if (a.HasP() && b.HasP())
        RotateBlockSpSp(frame, g, pBlock);
    else if (a.HasP())
        RotateWithMonopole(frame, g, pBlock);
    else if (b.HasP()) {
        const double vOfB[] = {g[0], g[4], g[10], g[11]};
        RotateWithMonopole(frame, vOfB, pBlock);
    } else
        pBlock[0] = g[0];
    for (int m = 0; m < a.nProducts; ++m) terms.vE1b[m] = -b.dCore * pBlock[m * b.nProducts];
    for (int n = 0; n < b.nProducts; ++n) terms.vE2a[n] = -a.dCore * pBlock[n];
    terms.dPairEnergy = NddoCoreCore(a, b, R, g[0]);
}

}  // namespace qsolve
