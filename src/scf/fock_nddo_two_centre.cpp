#include "scf/fock_nddo_two_centre.h"

#include <algorithm>
#include <cmath>

#include "algebra/mirror.h"
#include "integrals/nddo_store.h"
#include "job/state.h"
#include "link/link.h"
#include "numeric/pair_block.h"
#include "numeric/pool.h"
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

/// Atoms are worked on in strips, each with a sum of its own for the potentials, so that threads
/// can share them. How many follows from the atoms alone, and so do the bits of the sums.
constexpr int kMostStrips = 8, kAtomsOfStrip = 24;

int StripsOf(int nAtoms) {
    return std::clamp(nAtoms / kAtomsOfStrip, 1, kMostStrips);
}

/// First atom of a strip: strips have about the same number of pairs.
int FirstOfStrip(int nAtoms, int i) {
    const double dShare = static_cast<double>(i) / StripsOf(nAtoms);
    return static_cast<int>(std::sqrt(dShare) * nAtoms + 0.5);
}

/// The densities of all products, atom after atom, and after them their potentials by strips.
struct Buffer {
    std::size_t nProducts;
    double* pDensity;
    double* Potential(int nStrip) const {
        return pDensity + (static_cast<std::size_t>(nStrip) + 1) * nProducts;
    }
};

Buffer FillBuffer(const double* mDensityT, int n) {
    const int nAtoms = system.nSelected, nStrips = StripsOf(nAtoms);
    std::size_t nProducts = 0;
    for (int i = 0; i < nAtoms; ++i) nProducts += static_cast<std::size_t>(ProductsAt(i));
    const std::size_t nDoubles = (static_cast<std::size_t>(nStrips) + 1) * nProducts;
    const std::size_t nBytes =
        std::max(nDoubles * sizeof(double), FockBufferBytes(system.MethodId, n, nAtoms));
    if (scf.pWork.Size() * sizeof(double) < nBytes) Fatal(kMsgBufferOverflow);

    const Buffer buffer{nProducts, scf.pWork.Data()};
    double* v = buffer.pDensity;
    for (int i = 0; i < nAtoms; ++i) {
        TakeProducts(AtomAt(i), mDensityT, n, v);
        v += ProductsAt(i);
    }
    std::fill(buffer.Potential(0), buffer.Potential(nStrips), 0.0);
    return buffer;
}

/// Exchange and potentials of an atom with all before it in the list. nProducts of theirs come
/// before its own; pPotential is where the sums go.
void AddPairsOf(int iA, std::size_t nProducts, const Buffer& buffer, double* pPotential,
                const double* mDensitySpin, const double* vTwoCentre, const int* pPairIndex,
                double* mFock, int n) {
    if (ProductsAt(iA) == 0) return;  // a dummy; there may be many
    const int nFirstA = FirstOrbitalAt(iA);
    const int* pIndex =
        pPairIndex + static_cast<std::size_t>(iA) * static_cast<std::size_t>(system.nSelected);
    const bool fMindo = IsMindo();
    PairBlock pair = {};  // A is the atom, B one before it
    pair.nA = OrbitalsAt(iA);
    pair.nStep = n;
    pair.vDensityA = buffer.pDensity + nProducts;
    pair.vPotentialA = pPotential + nProducts;
    pair.vDensityB = buffer.pDensity;
    pair.vPotentialB = pPotential;
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
    const int nAtoms = system.nSelected, nStrips = StripsOf(nAtoms);
    ForEachTaskIf(nStrips > 1, nStrips, [&](int nStrip) {
        std::size_t nProducts = 0;
        for (int iA = 0; iA < FirstOfStrip(nAtoms, nStrip + 1); ++iA) {
            if (iA >= FirstOfStrip(nAtoms, nStrip))
                AddPairsOf(iA, nProducts, buffer, buffer.Potential(nStrip), mDensitySpin,
                           vTwoCentre, pPairIndex, mFock, nLeading);
            nProducts += static_cast<std::size_t>(ProductsAt(iA));
        }
    });
    Yield((IsMindo() ? kChargeMindo : kChargeNddo) * static_cast<std::size_t>(nLeading) *
          static_cast<std::size_t>(nAtoms));
    double* vSum = buffer.Potential(0);
    for (int i = 1; i < nStrips; ++i)
        for (std::size_t k = 0; k < buffer.nProducts; ++k) vSum[k] += buffer.Potential(i)[k];
    CopyLowerToUpper(mFock, nLeading, nLeading);
    const double* v = vSum;
    for (int iA = 0; iA < system.nSelected; ++iA) {
        AddPotential(AtomAt(iA), v, mFock, nLeading);
        v += ProductsAt(iA);
    }
}

}  // namespace qsolve
