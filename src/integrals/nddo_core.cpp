#include "integrals/nddo_core.h"

#include <algorithm>
#include <cstddef>
#include <limits>

#include "integrals/mindo3.h"
#include "integrals/nddo_classical.h"
#include "integrals/nddo_pair_d.h"
#include "integrals/nddo_pair_sp.h"
#include "job/state.h"
#include "link/link.h"
#include "numeric/pool.h"
#include "numeric/row.h"
#include "setup/state.h"

namespace qsolve {
namespace {

/// Work charged for one pair.
constexpr std::size_t kChargePerPair = 50;

/// Atoms whose pairs are worked on between two yields, and the number of atoms from which the
/// threads share them.
constexpr int kAtomsOfStrip = 16, kWorthThreads = 40;

/// What BuildNddoCore fills.
struct NddoCore {
    double* mCore;
    int nLeading;
    double* vTwoCentre;
    double dEnergy;  ///< core-core repulsion, eV
};

/// Gives each ordered pair its place in the store, the second atom running fastest.
void NumberBlocks(int nAtoms, const NddoAtom* pAtoms, int* pPairIndex) {
    long long nPosition = 0;
    for (int iA = 0; iA < nAtoms; ++iA) {
        for (int iB = 0; iB < nAtoms; ++iB) {
            const NddoAtom &a = pAtoms[iA], &b = pAtoms[iB];
            int& nIndex = *pPairIndex++;
            nIndex = kNoBlock;
            if (iA == iB || a.IsDummy() || b.IsDummy() || AreInOnePlace(a, b)) continue;
            if (nPosition > std::numeric_limits<int>::max()) Fatal(kMsgOutOfMemory);
            nIndex = static_cast<int>(nPosition);
            nPosition += a.nProducts * b.nProducts;
        }
        Yield(static_cast<std::size_t>(nAtoms));
    }
}

double BetaOf(const NddoAtom& atom, int nOrbital) {
    switch (AngularOf(nOrbital)) {
        case 0:
            return atom.pRow->dBetaS;
        case 1:
            return atom.pRow->dBetaP;
        default:
            return atom.pRow->dBetaD;
    }
}

/// Turns the overlap of two atoms into their resonance integrals, in both triangles.
void ScaleToResonance(const NddoAtom& a, const NddoAtom& b, double* mCore, int nLeading) {
    const bool fMindo = system.MethodId == kMindo3;
    for (int i = 0; i < a.Listed.nOrbitals; ++i)
        for (int j = 0; j < b.Listed.nOrbitals; ++j) {
            const int mu = a.Listed.nFirst + i, nu = b.Listed.nFirst + j;
            const double dFactor =
                fMindo ? MindoResonance(a, i, b, j) : 0.5 * (BetaOf(a, i) + BetaOf(b, j));
            Row(mCore, nLeading, mu)[nu] *= dFactor;
            Row(mCore, nLeading, nu)[mu] *= dFactor;
        }
}

/// Number of an atom in the molecule, from 1.
int NumberOf(const NddoAtom& atom) {
    return static_cast<int>((atom.Listed.pXyz - system.pCoords.Data()) / 3) + 1;
}

void ComputePair(const NddoAtom& a, const NddoAtom& b, double* pBlock, PairTerms& terms) {
    if (!a.HasD() && !b.HasD()) {
        ComputePairSp(a, b, GeometryOf(a, b), pBlock, terms);
        return;
    }
    ComputePairD(a, b, GeometryOf(a, b), pBlock, terms);
    if (fDebugTrace != 0) LogPair(NumberOf(a), NumberOf(b), a, b, pBlock, terms);
}

/// Both blocks of a pair and its terms. One order of the atoms gives all.
void FillPair(const NddoAtom& a, const NddoAtom& b, int nBlock, int nTransposed, NddoCore& core,
              PairTerms& terms) {
    double* pBlock = core.vTwoCentre + nBlock;
    ComputePair(a, b, pBlock, terms);
    TransposeBlock(pBlock, a.nProducts, b.nProducts, core.vTwoCentre + nTransposed);
}

void AddTerms(const NddoAtom& a, const NddoAtom& b, const PairTerms& terms, NddoCore& core) {
    AddProducts(a, a.Listed.nOrbitals, terms.vE1b, core.mCore, core.nLeading);
    AddProducts(b, b.Listed.nOrbitals, terms.vE2a, core.mCore, core.nLeading);
    core.dEnergy += terms.dPairEnergy;
}

/// All pairs, a strip of atoms with those before them at a time: the threads share their integrals,
/// and the terms are added in the order of the pairs. What is traced is written in that order too.
void AddPairs(const NddoAtom* pAtoms, const int* pPairIndex, NddoCore& core) {
    const int nAtoms = system.nSelected;
    Array<PairTerms> pTerms;
    pTerms.TakeUnset(static_cast<std::size_t>(std::min(kAtomsOfStrip, nAtoms)),
                     static_cast<std::size_t>(nAtoms), kWork);
    const auto TermsOf = [&](int iFirst, int iA) {
        return pTerms.Data() + static_cast<std::ptrdiff_t>(iA - iFirst) * nAtoms;
    };
    for (int iFirst = 0; iFirst < nAtoms; iFirst += kAtomsOfStrip) {
        const int nStrip = std::min(kAtomsOfStrip, nAtoms - iFirst);
        const bool fShared = nAtoms >= kWorthThreads && fDebugTrace == 0;
        ForEachTaskIf(fShared, nStrip, [&](int nTask) {
            const int iA = iFirst + nTask;
            for (int iB = 0; iB < iA; ++iB) {
                ScaleToResonance(pAtoms[iA], pAtoms[iB], core.mCore, core.nLeading);
                const int nBlock = BlockOf(pPairIndex, nAtoms, iA, iB);
                if (nBlock == kNoBlock) continue;
                FillPair(pAtoms[iA], pAtoms[iB], nBlock, BlockOf(pPairIndex, nAtoms, iB, iA), core,
                         TermsOf(iFirst, iA)[iB]);
            }
        });
        for (int iA = iFirst; iA < iFirst + nStrip; ++iA)
            for (int iB = 0; iB < iA; ++iB)
                if (BlockOf(pPairIndex, nAtoms, iA, iB) != kNoBlock)
                    AddTerms(pAtoms[iA], pAtoms[iB], TermsOf(iFirst, iA)[iB], core);
        Yield(kChargePerPair * static_cast<std::size_t>(nStrip) *
              static_cast<std::size_t>(iFirst + 1));
    }
}

}  // namespace

void BuildNddoCore(double* mCore, double* vTwoCentre, int* pPairIndex, double* pCoreEnergy,
                   int nLeading, int nOrbitals) {
    const int nAtoms = system.nSelected;
    Array<NddoAtom> pAtoms;
    pAtoms.TakeUnset(static_cast<std::size_t>(nAtoms), kWork);
    for (int i = 0; i < nAtoms; ++i) pAtoms[i] = NddoAtomAt(i);
    NumberBlocks(nAtoms, pAtoms.Data(), pPairIndex);

    NddoCore core{mCore, nLeading, vTwoCentre, 0.0};
    AddPairs(pAtoms.Data(), pPairIndex, core);
    // The diagonal still holds the overlap of each orbital with itself.
    for (int mu = 0; mu < nOrbitals; ++mu)
        Row(mCore, nLeading, mu)[mu] += setup.Map.pOrbitalU[mu] - 1.0;
    *pCoreEnergy = core.dEnergy;
    if (system.nSelected == system.nAtoms) return;
    *pCoreEnergy += system.MethodId == kMindo3 ? AddClassicalChargesMindo(mCore, nLeading)
                                               : AddClassicalChargesNddo(mCore, nLeading);
}

}  // namespace qsolve
