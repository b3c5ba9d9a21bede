#include "integrals/nddo_derivative_d.h"

#include <algorithm>

#include "integrals/multipole_table.h"
#include "integrals/nddo_pair_d.h"
#include "integrals/overlap_matrix.h"
#include "link/link.h"

namespace qsolve {
namespace {

constexpr int kN = kAtomOrbitals;
constexpr int kSquare = kN * kN;

constexpr int kX = 0, kY = 1;  ///< axes of the local frame
constexpr int kXOrbital = 1, kYOrbital = 2, kZOrbital = 3;

int ShellsOf(const NddoAtom& atom) {
    return HighestShellOf(atom.Listed.nOrbitals) + 1;
}

/// The local blocks of a pair: the integrals, and their derivatives with respect to the distance.
struct LocalBlocks {
    double v[kMostProducts * kMostProducts];
    double vSlope[kMostProducts * kMostProducts];
};

/// False with a text where they cannot be had.
bool FillBlocks(const NddoAtom& a, const NddoAtom& b, double dDistance, LocalBlocks& blocks) {
    const MultipoleTerms termsA = MultipoleTermsOf(a), termsB = MultipoleTermsOf(b);
    const int nKindA = termsA.nKind, nKindB = termsB.nKind;
    const double dBohr = dDistance * kBohrPerAngstrom;
    double v[kInteractions], vSlope[kInteractions];
    if (!ComputeMultipoleInteractions(termsA, termsB, dBohr, v) ||
        !ExpandLocalBlock(nKindA, nKindB, v, blocks.v)) {
        ErrorFormat(kMsgMultipoleIntegrals);
        return false;
    }
    if (!ComputeMultipoleDerivatives(termsA, termsB, dBohr, vSlope)) {
        ErrorFormat(kMsgMultipoleDerivatives);
        return false;
    }
    for (double& d : vSlope) d *= kBohrPerAngstrom;
    if (!ExpandLocalBlock(nKindA, nKindB, vSlope, blocks.vSlope)) {
        ErrorFormat(kMsgMultipoleDerivativesRotated);
        return false;
    }
    LocalCharges charges;
    MakeLocalCharges(a, b, charges);
    double vRi[kLocalIntegrals], vRiSlope[kLocalIntegrals];
    ComputeLocalDerivatives(charges, dDistance, vRi, vRiSlope);
    CopySpLocalIntegrals(nKindA, nKindB, vRi, blocks.v);
    CopySpLocalIntegrals(nKindA, nKindB, vRiSlope, blocks.vSlope);
    return true;
}

/// mLocal = r^T m r.
void TurnIntoFrame(const OrbitalRotation& r, const double* m, double* mLocal) {
    double mHalf[kSquare] = {};
    for (int mu = 0; mu < kN; ++mu)
        for (int i = 0; i < kN; ++i)
            for (int nu = 0; nu < kN; ++nu) mHalf[i * kN + nu] += r.m[mu][i] * m[mu * kN + nu];
    std::fill_n(mLocal, kSquare, 0.0);
    for (int i = 0; i < kN; ++i)
        for (int nu = 0; nu < kN; ++nu)
            for (int j = 0; j < kN; ++j) mLocal[i * kN + j] += mHalf[i * kN + nu] * r.m[nu][j];
}

/// The densities in the local frame, and the derivatives of E with respect to them.
struct LocalPair {
    PairDensityD D;
    double vA[kSquare] = {}, vB[kSquare] = {};
    double k[2][kSquare] = {};
    double dAlong = 0.0;  ///< of E with respect to the distance
};

/// Adds the exchange of (ij|kl) in one order of its indices.
void AddExchange(int i, int j, int k, int l, double w, double dSlope, LocalPair& pair) {
    for (int s = 0; s < pair.D.nSpins; ++s) {
        const double* P = pair.D.mSpin[s];
        pair.dAlong -= pair.D.dExchange * dSlope * P[i * kN + k] * P[j * kN + l];
        pair.k[s][i * kN + k] -= 2.0 * pair.D.dExchange * w * P[j * kN + l];
    }
}

/// Adds what the integral (ij|kl) gives, in all orders of its indices.
void AddIntegral(int i, int j, int k, int l, double w, double dSlope, LocalPair& pair) {
    const double A = pair.D.mA[i * kN + j] * (i == j ? 1.0 : 2.0);
    const double B = pair.D.mB[k * kN + l] * (k == l ? 1.0 : 2.0);
    pair.dAlong += dSlope * A * B;
    pair.vA[i * kN + j] += w * B;
    if (i != j) pair.vA[j * kN + i] += w * B;
    pair.vB[k * kN + l] += w * A;
    if (k != l) pair.vB[l * kN + k] += w * A;
    AddExchange(i, j, k, l, w, dSlope, pair);
    if (i != j) AddExchange(j, i, k, l, w, dSlope, pair);
    if (k != l) AddExchange(i, j, l, k, w, dSlope, pair);
    if (i != j && k != l) AddExchange(j, i, l, k, w, dSlope, pair);
}

void AddIntegrals(const NddoAtom& a, const NddoAtom& b, const LocalBlocks& blocks,
                  LocalPair& pair) {
    int n = 0;
    for (int i = 0; i < a.Listed.nOrbitals; ++i)
        for (int j = 0; j <= i; ++j)
            for (int k = 0; k < b.Listed.nOrbitals; ++k)
                for (int l = 0; l <= k; ++l, ++n) {
                    const double w = blocks.v[n], dSlope = blocks.vSlope[n];
                    if (w != 0.0 || dSlope != 0.0) AddIntegral(i, j, k, l, w, dSlope, pair);
                }
}

/// The change of E when the densities turn about a local axis, to first order in the angle.
double TurnAbout(int nAxis, int nShellsA, int nShellsB, const LocalPair& pair) {
    double mTurned[kSquare], d = 0.0;
    const auto add = [&](int nRows, int nColumns, const double* m, const double* v) {
        RotateInfinitesimally(nAxis, nRows, nColumns, m, mTurned);
        for (int n = 0; n < kSquare; ++n) d += v[n] * mTurned[n];
    };
    add(nShellsA, nShellsA, pair.D.mA, pair.vA);
    add(nShellsB, nShellsB, pair.D.mB, pair.vB);
    for (int s = 0; s < pair.D.nSpins; ++s) add(nShellsA, nShellsB, pair.D.mSpin[s], pair.k[s]);
    return d;
}

}  // namespace

void ComputePairDerivativesD(const NddoAtom& a, const NddoAtom& b, const PairGeometry& geometry,
                             const PairDensityD& density, PairDerivative& derivative) {
    derivative = PairDerivative{};
    LocalBlocks blocks;
    if (!FillBlocks(a, b, geometry.dDistance, blocks)) return;
    derivative.dSs = blocks.v[0];
    derivative.dSsDerivative = blocks.vSlope[0];
    const int nShellsA = ShellsOf(a), nShellsB = ShellsOf(b);
    const OrbitalRotation r = RotationAlong(geometry.vDirection, std::max(nShellsA, nShellsB));
    LocalPair pair;
    pair.D.nSpins = density.nSpins;
    pair.D.dExchange = density.dExchange;
    TurnIntoFrame(r, density.mA, pair.D.mA);
    TurnIntoFrame(r, density.mB, pair.D.mB);
    for (int s = 0; s < density.nSpins; ++s) TurnIntoFrame(r, density.mSpin[s], pair.D.mSpin[s]);
    AddIntegrals(a, b, blocks, pair);

    // A step of A along x turns the frame about y by step/R, which is to turn the densities back;
    // one along y turns it about x the other way.
    const double dAcrossX = -TurnAbout(kY, nShellsA, nShellsB, pair) / geometry.dDistance;
    const double dAcrossY = TurnAbout(kX, nShellsA, nShellsB, pair) / geometry.dDistance;
    for (int k = 0; k < 3; ++k)
        derivative.vOfA[k] = pair.dAlong * r.m[k + 1][kZOrbital] +
                             dAcrossX * r.m[k + 1][kXOrbital] + dAcrossY * r.m[k + 1][kYOrbital];
}

}  // namespace qsolve
