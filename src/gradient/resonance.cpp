#include "gradient/resonance.h"

#include "gradient/pair_forces.h"
#include "integrals/cndo_core.h"
#include "integrals/overlap_matrix.h"
#include "job/state.h"
#include "link/link.h"
#include "numeric/row.h"
#include "setup/state.h"

namespace qsolve {
namespace {

constexpr int kBlockSize = kAtomOrbitals * kAtomOrbitals;

/// An atom as the resonance integrals see it.
struct ResonanceAtom {
    ListedAtom Listed;
    AtomShells Shells;
    double vBeta[3];  ///< by s, p and d; MINDO/3: ionisation potentials
};

/// An atom's share in the resonance integrals of its shells, eV.
void FillBeta(int nRow, double* vBeta) {
    const auto Fill = [=](double dS, double dP, double dD) {
        vBeta[0] = dS;
        vBeta[1] = dP;
        vBeta[2] = dD;
    };
    switch (FamilyOf(system.MethodId)) {
        case Family::kCndo: {
            const double dBeta = parameters.pCindoParams[nRow].dBeta;
            return Fill(dBeta, dBeta, dBeta);
        }
        case Family::kZindo: {
            const ZindoRow& row = setup.pZindo[nRow];
            return Fill(row.dBetaS, row.dBetaP, row.dBetaD);
        }
        case Family::kNddo: {
            const NddoRow& row = setup.pNddo[nRow];
            // The fields of the charge separations hold the ionisation potentials of MINDO/3.
            if (system.MethodId == kMindo3)
                return Fill(row.dDipoleDistance, row.dQuadDistance, 0.0);
            return Fill(row.dBetaS, row.dBetaP, row.dBetaD);
        }
        case Family::kNone:
            return Fill(0.0, 0.0, 0.0);
    }
}

ResonanceAtom ResonanceAtomAt(int nPosition) {
    ResonanceAtom atom{AtomAt(nPosition), {}, {}};
    if (atom.Listed.IsDummy()) return atom;
    atom.Shells = ShellsOf(atom.Listed);
    FillBeta(atom.Listed.Row(), atom.vBeta);
    return atom;
}

/// The factor k of a pair, H = k (beta_mu + beta_nu) S, in the unit of the gradient for a
/// derivative of S per bohr.
double PairFactor(const ListedAtom& a, const ListedAtom& b) {
    switch (FamilyOf(system.MethodId)) {
        case Family::kCndo:
            return -CndoResonancePerEv(a.nElement, b.nElement);
        case Family::kZindo:
            return -kResonancePerEv;
        case Family::kNddo:
            if (system.MethodId != kMindo3) return 0.5 * kBohrPerAngstrom;
            return setup.pMindoPairs[MindoPairIndex(a.nElement, b.nElement)].dBetaAB *
                   kBohrPerAngstrom;
        case Family::kNone:
            break;
    }
    return 0.0;
}

/// What each element of the overlap block weighs in the energy: 2 P_mu nu k (beta_mu + beta_nu),
/// rows of B and columns of A as the block has them.
void FillWeights(const ResonanceAtom& a, const ResonanceAtom& b, const double* mDensityT,
                 double* mWeights) {
    const double dTwice = 2.0 * PairFactor(a.Listed, b.Listed);
    for (int i = 0; i < a.Listed.nOrbitals; ++i) {
        const double* P = Row(mDensityT, setup.nOrbitals, a.Listed.nFirst + i) + b.Listed.nFirst;
        const double dBetaA = a.vBeta[AngularOf(i)];
        for (int j = 0; j < b.Listed.nOrbitals; ++j)
            mWeights[kAtomOrbitals * j + i] = dTwice * (dBetaA + b.vBeta[AngularOf(j)]) * P[j];
    }
}

double Contract(const ListedAtom& a, const ListedAtom& b, const double* mWeights,
                const double* mBlock) {
    double dSum = 0.0;
    for (int j = 0; j < b.nOrbitals; ++j)
        for (int i = 0; i < a.nOrbitals; ++i)
            dSum += mWeights[kAtomOrbitals * j + i] * mBlock[kAtomOrbitals * j + i];
    return dSum;
}

/// The derivative of the pair's energy with respect to the position of A.
void DifferentiatePair(const ResonanceAtom& a, const ResonanceAtom& b, const double* mDensityT,
                       const OverlapWeights& weights, double* v) {
    const double dBohr = UsesAtomicUnits(system.MethodId) ? 1.0 : kBohrPerAngstrom;
    double pVector[3], mWeights[kBlockSize], mBlocks[3][kBlockSize];
    for (int c = 0; c < 3; ++c) pVector[c] = b.Listed.pXyz[c] * dBohr - a.Listed.pXyz[c] * dBohr;
    ComputeDiatomicOverlapDerivative(a.Shells, b.Shells, pVector, weights, mBlocks[0], mBlocks[1],
                                     mBlocks[2]);
    FillWeights(a, b, mDensityT, mWeights);
    for (int c = 0; c < 3; ++c) v[c] = Contract(a.Listed, b.Listed, mWeights, mBlocks[c]);
}

}  // namespace

void AddResonanceGradient(const double* mDensityT, double* pGradient) {
    const OverlapWeights weights = WeightsOfJob();
    Array<ResonanceAtom> pAtoms;
    pAtoms.Take(static_cast<std::size_t>(system.nSelected), kWork);
    for (int i = 0; i < system.nSelected; ++i) pAtoms[i] = ResonanceAtomAt(i);
    AddPairForces(static_cast<std::size_t>(setup.nOrbitals), pGradient,
                  [&](int iA, int iB, double* v) {
                      const ResonanceAtom &a = pAtoms[iA], &b = pAtoms[iB];
                      if (!a.Listed.IsDummy() && !b.Listed.IsDummy())
                          DifferentiatePair(a, b, mDensityT, weights, v);
                  });
}

}  // namespace qsolve
