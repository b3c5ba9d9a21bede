#include "integrals/diatomic_block.h"

#include <algorithm>
#include <cmath>

#include "integrals/ab_integrals.h"
#include "numeric/row.h"
#include "setup/parameters.h"

namespace qsolve {
namespace {

constexpr int kBlockSize = kAtomOrbitals * kAtomOrbitals;
constexpr int kLightElements = 18;

/// Local integrals of an atom pair, [l of B][l of A][m].
using LocalTable = double[3][3][3];

struct LocalIntegrals {
    LocalTable dValue;
    LocalTable dSlope;  ///< derivatives with respect to the distance
};

/// One shell of an atom: the functions whose sum it is.
struct ShellView {
    const SlaterFunction* pTerms;
    const double* pCoefs;
    int nTerms;
};

ShellView ShellOf(const AtomShells& atom, int l) {
    static constexpr double kOne = 1.0;
    if (l == 0) return {&atom.s, &kOne, 1};
    if (l == 1) return {&atom.p, &kOne, 1};
    return {atom.d, atom.dCoefD, atom.nTermsD};
}

bool IsOutOfReach(const AtomShells& a, const AtomShells& b, double dDistance) {
    return a.nShells == 0 || b.nShells == 0 || !(dDistance >= kNearest && dDistance < kFarthest);
}

double Length(const double* v) {
    return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
}

void AddShellPair(const ShellView& a, const ShellView& b, PairAuxiliaries& auxiliaries,
                  double* pValue, double* pSlope) {
    for (int i = 0; i < a.nTerms; ++i)
        for (int j = 0; j < b.nTerms; ++j) {
            const ShellPairOverlap s = OverlapShells(a.pTerms[i], b.pTerms[j], auxiliaries);
            const double dWeight = a.pCoefs[i] * b.pCoefs[j];
            for (int m = 0; m < 3; ++m) {
                pValue[m] += dWeight * s.dValue[m];
                pSlope[m] += dWeight * s.dSlope[m];
            }
        }
}

/// Fills local for all pairs of shells, contracted over double-zeta d functions, weighted, and with
/// the sign (-1)^(lb + m) that turns it to one common axis.
void FillLocal(const AtomShells& a, const AtomShells& b, double dDistance,
               const OverlapWeights& weights, bool fSlope, LocalIntegrals& local) {
    std::fill_n(&local.dValue[0][0][0], 27, 0.0);
    std::fill_n(&local.dSlope[0][0][0], 27, 0.0);
    PairAuxiliaries auxiliaries;
    auxiliaries.dDistance = dDistance;
    auxiliaries.fSlope = fSlope;
    auxiliaries.nTop = a.fLight && b.fLight ? a.s.nPrincipal + b.s.nPrincipal : kTopAuxiliary;
    for (int la = 0; la < a.nShells; ++la)
        for (int lb = 0; lb < b.nShells; ++lb) {
            double* pValue = local.dValue[lb][la];
            double* pSlope = local.dSlope[lb][la];
            AddShellPair(ShellOf(a, la), ShellOf(b, lb), auxiliaries, pValue, pSlope);
            for (int m = (lb + 1) % 2; m < 3; m += 2) {
                pValue[m] = -pValue[m];
                pSlope[m] = -pSlope[m];
            }
        }
    const double dWeights[2] = {weights.dSigma, weights.dPi};
    for (int m = 0; m < 2; ++m) {
        local.dValue[1][1][m] *= dWeights[m];
        local.dSlope[1][1][m] *= dWeights[m];
    }
}

// ---- pairs of s and p shells --------------------------------------------------------------------
//
// With e the unit vector from A to B the block is, in local integrals turned to the common axis,
//     (s s) = ss, (p_i of A, s) = ps e_i, (s, p_j of B) = sp e_j,
//     (p_i of A, p_j of B) = pi delta_ij + (sigma - pi) e_i e_j.

void FillBlockSp(const LocalTable& t, const double* e, double* mBlock) {
    std::fill_n(mBlock, kBlockSize, 0.0);
    mBlock[0] = t[0][0][0];
    const double dDifference = t[1][1][0] - t[1][1][1];
    for (int j = 0; j < 3; ++j) {
        mBlock[1 + j] = t[0][1][0] * e[j];
        double* pRow = Row(mBlock, kAtomOrbitals, 1 + j);
        pRow[0] = t[1][0][0] * e[j];
        for (int i = 0; i < 3; ++i) pRow[1 + i] = dDifference * e[i] * e[j];
        pRow[1 + j] += t[1][1][1];
    }
}

/// Derivative of FillBlockSp along axis c of the vector from A to B.
void FillBlockSlopeSp(const LocalIntegrals& local, const double* e, double dDistance, int c,
                      double* mBlock) {
    double de[3];  // derivative of e
    for (int i = 0; i < 3; ++i) de[i] = ((i == c ? 1.0 : 0.0) - e[i] * e[c]) / dDistance;

    FillBlockSp(local.dSlope, e, mBlock);
    for (int i = 0; i < kBlockSize; ++i) mBlock[i] *= e[c];

    const LocalTable& t = local.dValue;
    const double dDifference = t[1][1][0] - t[1][1][1];
    for (int j = 0; j < 3; ++j) {
        mBlock[1 + j] += t[0][1][0] * de[j];
        double* pRow = Row(mBlock, kAtomOrbitals, 1 + j);
        pRow[0] += t[1][0][0] * de[j];
        for (int i = 0; i < 3; ++i) pRow[1 + i] += dDifference * (de[i] * e[j] + e[i] * de[j]);
    }
}

// ---- pairs with d shells ------------------------------------------------------------------------

/// Turns local integrals on the common axis into the molecular frame.
void RotateBlock(const LocalTable& t, int nShellsA, int nShellsB, const double* mRotation,
                 double* mBlock) {
    std::fill_n(mBlock, kBlockSize, 0.0);
    for (int lb = 0; lb < nShellsB; ++lb)
        for (int la = 0; la < nShellsA; ++la) {
            const double* m = t[lb][la];
            for (int b = kShellBegin[lb]; b < kShellBegin[lb + 1]; ++b)
                for (int a = kShellBegin[la]; a < kShellBegin[la + 1]; ++a) {
                    const double* x = Row(mRotation, kLocalFunctions, a);
                    const double* y = Row(mRotation, kLocalFunctions, b);
                    Row(mBlock, kAtomOrbitals, b)[a] =
                        m[0] * x[kSigma] * y[kSigma] +
                        m[1] * (x[kPi1] * y[kPi1] + x[kPi2] * y[kPi2]) +
                        m[2] * (x[kDelta1] * y[kDelta1] + x[kDelta2] * y[kDelta2]);
                }
        }
}

/// The derivatives along the vector from A to B: the local integrals change along it, and across it
/// the whole block turns with it, by the angle (e x c) / R for a step along c.
void FillBlockSlopesD(const LocalIntegrals& local, const AtomShells& a, const AtomShells& b,
                      const double* e, double dDistance, const double* mRotation,
                      double* const (&mBlocks)[3]) {
    double mValue[kBlockSize], mSlope[kBlockSize], mTurned[3][kBlockSize];
    RotateBlock(local.dValue, a.nShells, b.nShells, mRotation, mValue);
    RotateBlock(local.dSlope, a.nShells, b.nShells, mRotation, mSlope);
    for (int k = 0; k < 3; ++k) RotateInfinitesimally(k, b.nShells, a.nShells, mValue, mTurned[k]);
    for (int c = 0; c < 3; ++c) {
        const int u = (c + 1) % 3, v = (c + 2) % 3;
        // e x c has the component e_v along u and -e_u along v.
        const double dU = e[v] / dDistance, dV = -e[u] / dDistance;
        for (int i = 0; i < kBlockSize; ++i)
            mBlocks[c][i] = e[c] * mSlope[i] + dU * mTurned[u][i] + dV * mTurned[v][i];
    }
}

}  // namespace

AtomShells MakeAtomShells(int nMethod, int nElement, int nOrbitals,
                          const ShellExponents& exponents) {
    AtomShells atom;
    if (nElement < 1 || nElement > kRows || nOrbitals < 1) return atom;
    const int n = kPrincipalQuantum[nElement - 1];
    atom.nShells = std::min(n, nOrbitals >= 9 ? 3 : nOrbitals >= 4 ? 2 : 1);
    atom.fLight = nElement <= kLightElements && atom.nShells < 3;
    atom.s = MakeSlaterFunction(n, 0, exponents.dZetaS);
    if (atom.nShells > 1) atom.p = MakeSlaterFunction(n, 1, exponents.dZetaP);
    if (atom.nShells < 3) return atom;

    const int nD = DShellNumber(nMethod, nElement - 1);
    const bool fDouble = std::abs(exponents.dCoefD1) > kSmallestCoefficient &&
                         std::abs(exponents.dCoefD2) > kSmallestCoefficient;
    atom.nTermsD = fDouble ? 2 : 1;
    atom.d[0] = MakeSlaterFunction(nD, 2, std::max(exponents.dZetaD1, kSmallestZetaD));
    atom.d[1] = MakeSlaterFunction(nD, 2, std::max(exponents.dZetaD2, kSmallestZetaD));
    atom.dCoefD[0] = fDouble ? exponents.dCoefD1 : 1.0;
    atom.dCoefD[1] = fDouble ? exponents.dCoefD2 : 0.0;
    return atom;
}

void ComputeDiatomicOverlap(const AtomShells& a, const AtomShells& b, const double* pVector,
                            const OverlapWeights& weights, double* mBlock) {
    const double dDistance = Length(pVector);
    if (IsOutOfReach(a, b, dDistance)) {
        std::fill_n(mBlock, kBlockSize, 0.0);
        return;
    }
    LocalIntegrals local;
    FillLocal(a, b, dDistance, weights, false, local);
    if (a.nShells < 3 && b.nShells < 3) {
        const double e[3] = {pVector[0] / dDistance, pVector[1] / dDistance,
                             pVector[2] / dDistance};
        FillBlockSp(local.dValue, e, mBlock);
        return;
    }
    double mRotation[kAtomOrbitals * kLocalFunctions];
    BuildRotation(pVector, dDistance, std::max(a.nShells, b.nShells), mRotation);
    RotateBlock(local.dValue, a.nShells, b.nShells, mRotation, mBlock);
}

void ComputeDiatomicOverlapDerivative(const AtomShells& a, const AtomShells& b,
                                      const double* pVector, const OverlapWeights& weights,
                                      double* mBlockX, double* mBlockY, double* mBlockZ) {
    double* const mBlocks[3] = {mBlockX, mBlockY, mBlockZ};
    const double dDistance = Length(pVector);
    if (IsOutOfReach(a, b, dDistance)) {
        for (double* m : mBlocks) std::fill_n(m, kBlockSize, 0.0);
        return;
    }
    LocalIntegrals local;
    FillLocal(a, b, dDistance, weights, true, local);
    const double e[3] = {pVector[0] / dDistance, pVector[1] / dDistance, pVector[2] / dDistance};
    if (a.nShells < 3 && b.nShells < 3) {
        for (int c = 0; c < 3; ++c) FillBlockSlopeSp(local, e, dDistance, c, mBlocks[c]);
    } else {
        double mRotation[kAtomOrbitals * kLocalFunctions];
        BuildRotation(pVector, dDistance, std::max(a.nShells, b.nShells), mRotation);
        FillBlockSlopesD(local, a, b, e, dDistance, mRotation, mBlocks);
    }
    // So far along the vector, that is for a step of B.
    for (double* m : mBlocks)
        for (int i = 0; i < kBlockSize; ++i) m[i] = -m[i];
}

}  // namespace qsolve
