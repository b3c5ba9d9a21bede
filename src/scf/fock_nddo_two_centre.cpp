#include "scf/fock_nddo_two_centre.h"

#include <algorithm>

#include "algebra/mirror.h"
#include "integrals/nddo_store.h"
#include "job/state.h"
#include "link/link.h"
#include "numeric/pair_block.h"
#include "numeric/row.h"
#include "scf/state.h"
#include "setup/state.h"

namespace qsolve {
namespace {

// Work charged for an atom, for each orbital.
constexpr std::size_t kChargeMindo = 10, kChargeNddo = 50;

/// All orbitals of two atoms repel by one value; the densities are the electrons on the atoms.
void AddPairMindo(const PairBlock& pair) {
    const double g = *pair.pBlock;
    for (int i = 0; i < pair.nA; ++i)
        for (int k = 0; k < pair.nB; ++k)
            Row(pair.pFock, pair.nStep, i)[k] -= g * Row(pair.pSpin, pair.nStep, i)[k];
    *pair.vPotentialA += g * *pair.vDensityB;
    *pair.vPotentialB += g * *pair.vDensityA;
}

bool IsMindo() {
    return system.MethodId == kMindo3;
}

int FirstOrbitalAt(int nPosition) {
    return setup.Map.pFirstOrbital[nPosition] - 1;
}

/// 0 for a dummy.
int OrbitalsAt(int nPosition) {
    return setup.Map.pLastOrbital[nPosition] - FirstOrbitalAt(nPosition);
}

int ProductsAt(int nPosition) {
    const int n = OrbitalsAt(nPosition);
    return IsMindo() ? std::min(n, 1) : ProductsOf(n);
}

/// Density of an atom's products: P_ij and P_ji together for two orbitals. MINDO/3: electrons.
void TakeProducts(const ListedAtom& atom, const double* mDensityT, int n, double* v) {
    double dElectrons = 0.0;
    for (int i = 0; i < atom.nOrbitals; ++i) {
        const double* p = Row(mDensityT, n, atom.nFirst + i) + atom.nFirst;
        dElectrons += p[i];
        if (IsMindo()) continue;
        for (int j = 0; j < i; ++j) *v++ = 2.0 * p[j];
        *v++ = p[i];
    }
    if (IsMindo() && atom.nOrbitals > 0) *v = dElectrons;
}

/// Adds the potential of an atom's products to its block of the Fock matrix.
void AddPotential(const ListedAtom& atom, const double* v, double* mFock, int n) {
    for (int i = 0; i < atom.nOrbitals; ++i) {
        if (IsMindo()) Row(mFock, n, atom.nFirst + i)[atom.nFirst + i] += *v;
        for (int j = 0; j <= i && !IsMindo(); ++j) {
            const double d = *v++;
            Row(mFock, n, atom.nFirst + i)[atom.nFirst + j] += d;
            if (j != i) Row(mFock, n, atom.nFirst + j)[atom.nFirst + i] += d;
        }
    }
}

/// The densities of all products, atom after atom, and after them their potentials.
struct Buffer {
    double* pDensity;
    double* pPotential;
};

Buffer FillBuffer(const double* mDensityT, int n) {
    const int nAtoms = system.nSelected;
    std::size_t nProducts = 0;
    for (int i = 0; i < nAtoms; ++i) nProducts += static_cast<std::size_t>(ProductsAt(i));
    const std::size_t nBytes =
        std::max(2 * nProducts * sizeof(double), FockBufferBytes(system.MethodId, n, nAtoms));
    if (scf.pWork.Size() * sizeof(double) < nBytes) Fatal(kMsgBufferOverflow);

    const Buffer buffer{scf.pWork.Data(), scf.pWork.Data() + nProducts};
    double* v = buffer.pDensity;
    for (int i = 0; i < nAtoms; ++i) {
        TakeProducts(AtomAt(i), mDensityT, n, v);
        v += ProductsAt(i);
    }
    std::fill_n(buffer.pPotential, nProducts, 0.0);
    return buffer;
}

/// Exchange and potentials of an atom with all before it in the list. nProducts of theirs come
/// before its own.
void AddPairsOf(int iA, std::size_t nProducts, const Buffer& buffer, const double* mDensitySpin,
                const double* vTwoCentre, const int* pPairIndex, double* mFock, int n) {
    const int nFirstA = FirstOrbitalAt(iA);
    const int* pIndex =
        pPairIndex + static_cast<std::size_t>(iA) * static_cast<std::size_t>(system.nSelected);
    const bool fMindo = IsMindo();
    PairBlock pair = {};  // A is the atom, B one before it
    pair.nA = OrbitalsAt(iA);
    pair.nStep = n;
    pair.vDensityA = buffer.pDensity + nProducts;
    pair.vPotentialA = buffer.pPotential + nProducts;
    pair.vDensityB = buffer.pDensity;
    pair.vPotentialB = buffer.pPotential;
    for (int iB = 0; iB < iA; ++iB) {
        const int nProductsB = ProductsAt(iB);
        if (pIndex[iB] != kNoBlock) {
            const int nFirstB = FirstOrbitalAt(iB);
            pair.nB = OrbitalsAt(iB);
            pair.pBlock = vTwoCentre + pIndex[iB];
            pair.pSpin = Row(mDensitySpin, n, nFirstA) + nFirstB;
            pair.pFock = Row(mFock, n, nFirstA) + nFirstB;
            if (fMindo)
                AddPairMindo(pair);
            else
                AddPairBlock(pair);
        }
        pair.vDensityB += nProductsB;
        pair.vPotentialB += nProductsB;
    }
}

}  // namespace

std::size_t FockBufferBytes(int nMethod, int nOrbitals, int nAtoms) {
    const auto n = static_cast<std::size_t>(nOrbitals),
               nSelected = static_cast<std::size_t>(nAtoms);
    if (nMethod == kMindo3) return 8 * n + 16;
    return 8 * (n * n + 2 * nSelected + 2);
}

void BuildFockTwoCentre(double* mFock, const double* mDensityT, const double* mDensitySpin,
                        const double* vTwoCentre, const int* pPairIndex, int nLeading) {
    const Buffer buffer = FillBuffer(mDensityT, nLeading);
    const std::size_t nCharge =
        (IsMindo() ? kChargeMindo : kChargeNddo) * static_cast<std::size_t>(nLeading);
    std::size_t nProducts = 0;
    for (int iA = 0; iA < system.nSelected; ++iA) {
        AddPairsOf(iA, nProducts, buffer, mDensitySpin, vTwoCentre, pPairIndex, mFock, nLeading);
        nProducts += static_cast<std::size_t>(ProductsAt(iA));
        Yield(nCharge);
    }
    CopyLowerToUpper(mFock, nLeading, nLeading);
    const double* v = buffer.pPotential;
    for (int iA = 0; iA < system.nSelected; ++iA) {
        AddPotential(AtomAt(iA), v, mFock, nLeading);
        v += ProductsAt(iA);
    }
}

}  // namespace qsolve
