#include "scf/fock_nddo_two_centre.h"

#include <algorithm>

#include "algebra/mirror.h"
#include "integrals/nddo_store.h"
#include "job/state.h"
#include "link/link.h"
#include "numeric/lanes.h"
#include "numeric/row.h"
#include "scf/state.h"
#include "setup/state.h"

namespace qsolve {
namespace {

// Work charged for an atom, for each orbital.
constexpr std::size_t kChargeMindo = 10, kChargeNddo = 50;

/// One pair of atoms, A after B in the list.
struct FockPair {
    const double* pBlock;  ///< products of A by products of B
    const double* pSpin;   ///< spin density in the rows of A and the columns of B
    double* pFock;         ///< the same part of the Fock matrix
    const double* pDensityA;
    const double* pDensityB;  ///< total density of the atoms' products, each counted as it occurs
    double* pPotentialA;
    double* pPotentialB;  ///< repulsion of the products of one atom by the density of the other
};

/// Potentials: a row of the block is read once for both atoms.
template <int nA, int nB>
void AddCoulomb(const FockPair& pair) {
    constexpr int nRows = ProductsOf(nA), nColumns = ProductsOf(nB);
    double vB[nColumns];
    for (int n = 0; n < nColumns; ++n) vB[n] = pair.pPotentialB[n];
    for (int m = 0; m < nRows; ++m) {
        const double* w = pair.pBlock + m * nColumns;
        const double p = pair.pDensityA[m];
        double d = 0.0;
        for (int n = 0; n < nColumns; ++n) {
            d += w[n] * pair.pDensityB[n];
            vB[n] += w[n] * p;
        }
        pair.pPotentialA[m] += d;
    }
    for (int n = 0; n < nColumns; ++n) pair.pPotentialB[n] = vB[n];
}

/// The lower triangle w of a symmetric matrix as a full one.
template <int n>
void Unfold(const double* w, double m[n][n]) {
    for (int i = 0; i < n; ++i)
        for (int j = 0; j <= i; ++j) m[i][j] = m[j][i] = *w++;
}

/// f -= G q for row vectors f and q.
template <int n>
void SubtractProduct(const double G[n][n], const double* q, double* f) {
    for (int s = 0; s < n; ++s)
        for (int k = 0; k < n; ++k) f[k] -= G[s][k] * q[s];
}

template <int nA, int nB>
void SubtractExchange(const FockPair& pair, int nLeading) {
    double q[nA][nB], f[nA][nB];
    for (int i = 0; i < nA; ++i)
        for (int k = 0; k < nB; ++k) {
            q[i][k] = Row(pair.pSpin, nLeading, i)[k];
            f[i][k] = Row(pair.pFock, nLeading, i)[k];
        }
    const double* w = pair.pBlock;
    for (int i = 0; i < nA; ++i)
        for (int j = 0; j <= i; ++j) {
            double G[nB][nB];
            Unfold<nB>(w, G);
            w += ProductsOf(nB);
            SubtractProduct<nB>(G, q[j], f[i]);
            if (j != i) SubtractProduct<nB>(G, q[i], f[j]);
        }
    for (int i = 0; i < nA; ++i)
        for (int k = 0; k < nB; ++k) Row(pair.pFock, nLeading, i)[k] = f[i][k];
}

/// The same for four orbitals on B, a row in one register.
template <int nA>
void SubtractExchangeFour(const FockPair& pair, int nLeading) {
    Four f[nA];
    for (int i = 0; i < nA; ++i) Load(Row(pair.pFock, nLeading, i), f[i]);
    const double* w = pair.pBlock;
    for (int i = 0; i < nA; ++i)
        for (int j = 0; j <= i; ++j) {
            const Four s = {w[0], w[1], w[3], w[6]}, x = {w[1], w[2], w[4], w[7]};
            const Four y = {w[3], w[4], w[5], w[8]}, z = {w[6], w[7], w[8], w[9]};
            w += ProductsOf(kFour);
            const double* q = Row(pair.pSpin, nLeading, j);
            f[i] -= s * q[0] + x * q[1] + y * q[2] + z * q[3];
            if (j == i) continue;
            q = Row(pair.pSpin, nLeading, i);
            f[j] -= s * q[0] + x * q[1] + y * q[2] + z * q[3];
        }
    for (int i = 0; i < nA; ++i) Store(Row(pair.pFock, nLeading, i), f[i]);
}

template <int nA, int nB>
void AddPairOf(const FockPair& pair, int nLeading) {
    AddCoulomb<nA, nB>(pair);
    if constexpr (nB == kFour)
        SubtractExchangeFour<nA>(pair, nLeading);
    else
        SubtractExchange<nA, nB>(pair, nLeading);
}

template <int nA>
void AddPairWith(int nB, const FockPair& pair, int nLeading) {
    switch (nB) {
        case 1:
            return AddPairOf<nA, 1>(pair, nLeading);
        case 4:
            return AddPairOf<nA, 4>(pair, nLeading);
        default:
            return AddPairOf<nA, 9>(pair, nLeading);
    }
}

void AddPair(int nA, int nB, const FockPair& pair, int nLeading) {
    switch (nA) {
        case 1:
            return AddPairWith<1>(nB, pair, nLeading);
        case 4:
            return AddPairWith<4>(nB, pair, nLeading);
        default:
            return AddPairWith<9>(nB, pair, nLeading);
    }
}

/// All orbitals of two atoms repel by one value; the densities are the electrons on the atoms.
void AddPairMindo(int nA, int nB, const FockPair& pair, int nLeading) {
    const double g = *pair.pBlock;
    for (int i = 0; i < nA; ++i)
        for (int k = 0; k < nB; ++k)
            Row(pair.pFock, nLeading, i)[k] -= g * Row(pair.pSpin, nLeading, i)[k];
    *pair.pPotentialA += g * *pair.pDensityB;
    *pair.pPotentialB += g * *pair.pDensityA;
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
    const int nFirstA = FirstOrbitalAt(iA), nA = OrbitalsAt(iA);
    const int* pIndex =
        pPairIndex + static_cast<std::size_t>(iA) * static_cast<std::size_t>(system.nSelected);
    const bool fMindo = IsMindo();
    FockPair pair = {};
    pair.pDensityA = buffer.pDensity + nProducts;
    pair.pPotentialA = buffer.pPotential + nProducts;
    pair.pDensityB = buffer.pDensity;
    pair.pPotentialB = buffer.pPotential;
    for (int iB = 0; iB < iA; ++iB) {
        const int nB = OrbitalsAt(iB), nProductsB = ProductsAt(iB);
        if (pIndex[iB] != kNoBlock) {
            const int nFirstB = FirstOrbitalAt(iB);
            pair.pBlock = vTwoCentre + pIndex[iB];
            pair.pSpin = Row(mDensitySpin, n, nFirstA) + nFirstB;
            pair.pFock = Row(mFock, n, nFirstA) + nFirstB;
            if (fMindo)
                AddPairMindo(nA, nB, pair, n);
            else
                AddPair(nA, nB, pair, n);
        }
        pair.pDensityB += nProductsB;
        pair.pPotentialB += nProductsB;
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
