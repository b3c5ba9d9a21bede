#include "scf/whole_hessian.h"

#include <algorithm>
#include <cstddef>

#include "integrals/mo_integral.h"
#include "link/link.h"
#include "numeric/product.h"
#include "numeric/rank_update.h"
#include "numeric/row.h"
#include "scf/rotations.h"

namespace qsolve {
namespace {

std::size_t Size(int n) {
    return static_cast<std::size_t>(n);
}

constexpr int InTriangle(int n) {
    return n * (n + 1) / 2;
}

/// The orbitals of one set as its pairs take them: p is one of the first nOcc and q one of the
/// nVirtual from nFrom on. Open levels are among both.
struct PairsOfSet {
    const Shells& shells;
    int nOcc, nFrom, nVirtual;
    Array<double> mTransposed = {};  ///< N x N, orbital k in column k

    int Count() const { return nOcc * nVirtual; }
    OrbitalColumns From(int nFirst, int nCount) const {
        return {mTransposed.Data() + nFirst, shells.n, nCount};
    }
};

PairsOfSet PairsOf(const Electrons& electrons, int nSet) {
    const Shells& shells = electrons.vShells[nSet];
    const int n = shells.n, nFrom = shells.EndOfShell(0);
    PairsOfSet set{shells, shells.Occupied(), nFrom, n - nFrom};
    const double* mVectors = electrons.pSets[nSet]->mVectors.Data();
    set.mTransposed.TakeUnset(Size(n), Size(n), kWork);
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) Row(set.mTransposed.Data(), n, j)[i] = Row(mVectors, n, i)[j];
    return set;
}

/// Products of all p with all q, a column each, p by p; nStep columns a row.
void FillPairProducts(const PairsOfSet& set, int nStep, double* mProducts) {
    FillMoProducts(set.From(0, set.nOcc), set.From(set.nFrom, set.nVirtual), Triangle::kWhole,
                   mProducts, nStep);
}

/// Products of nCount orbitals from nFirst on, each with those up to itself.
void FillTriangleProducts(const PairsOfSet& set, int nFirst, int nCount, Array<double>& mProducts) {
    const int nStep = InTriangle(nCount);
    const OrbitalColumns orbitals = set.From(nFirst, nCount);
    mProducts.TakeUnset(Size(MoProductSize()), Size(nStep), kWork);
    FillMoProducts(orbitals, orbitals, Triangle::kLower, mProducts.Data(), nStep);
}

/// The integrals A^T G B between products in columns, nA x nB, of which a triangle may be enough.
void FillIntegrals(const Array<double>& mRepulsion, int nA, const Array<double>& mA, int nB,
                   const Array<double>& mB, Triangle triangle, Array<double>& mIntegrals) {
    const int nProducts = MoProductSize();
    Array<double> mPotentials;
    mPotentials.TakeUnset(Size(nProducts), Size(nB), kWork);
    mIntegrals.TakeUnset(Size(nA), Size(nB), kWork);
    Multiply(nProducts, nProducts, nB, mRepulsion.Data(), mB.Data(), mPotentials.Data());
    Product product{nA,
                    nProducts,
                    nB,
                    Transposed(mA.Data(), nA),
                    Plain(mPotentials.Data(), nB),
                    mIntegrals.Data(),
                    nB};
    product.triangle = triangle;
    MakeProduct(product);
    Yield(Size(nProducts) * Size(nB));
    Yield(Size(nA) * Size(nB));
}

/// A row of a lower triangle, n x n, as a full square.
void Unfold(int n, const double* vTriangle, double* mSquare) {
    for (int q = 0; q < n; ++q)
        for (int t = 0; t <= q; ++t) Row(mSquare, n, q)[t] = Row(mSquare, n, t)[q] = *vTriangle++;
}

/// (ps|qt) + (pt|qs) for the pairs p q and s t of one set, with s up to p. pPairs are the integrals
/// (pq|st) between its pairs; both matrices have nStep columns.
void FillExchange(const PairsOfSet& set, const Array<double>& mTriangles, int nStep,
                  const double* pPairs, double* pExchange) {
    const int n = set.nVirtual;
    Array<double> mSquare;
    mSquare.TakeUnset(Size(n), Size(n), kWork);
    for (int p = 0; p < set.nOcc; ++p)
        for (int s = 0; s <= p; ++s) {
            Unfold(n, Row(mTriangles.Data(), InTriangle(n), InTriangle(p) + s), mSquare.Data());
            for (int q = 0; q < n; ++q) {
                const double* ps = Row(mSquare.Data(), n, q);
                const double* qs = Row(pPairs, nStep, s * n + q) + p * n;
                double* x = Row(pExchange, nStep, p * n + q) + s * n;
                for (int t = 0; t < n; ++t) x[t] = ps[t] + qs[t];
            }
        }
}

/// Lists the places of the rotations among all pairs of their set: a pair of open levels is none.
void ListRotations(const PairsOfSet& set, int nFirst, int*& pPlace, double*& pFilling) {
    const Shells& shells = set.shells;
    for (int p = 0; p < set.nOcc; ++p)
        for (int q = shells.EndOfShell(p); q < shells.n; ++q) {
            *pPlace++ = nFirst + p * set.nVirtual + q - set.nFrom;
            *pFilling++ = shells.Filling(p) - shells.Filling(q);
        }
}

/// Takes the rows and columns of a lower triangle that are listed, upwards, together.
void KeepRotations(int nSize, const Array<int>& vPlaces, int nPairs, Array<double>& m) {
    if (nSize == nPairs) return;
    for (int i = 0; i < nSize; ++i)
        for (int j = 0; j <= i; ++j)
            Row(m.Data(), nSize, i)[j] = Row(m.Data(), nPairs, vPlaces[i])[vPlaces[j]];
}

}  // namespace

void FillWholeHessian(const Electrons& electrons, WholeHessian& whole) {
    const std::size_t nSize = CountRotations(electrons);
    const int nSets = electrons.nSets, nProducts = MoProductSize();
    whole.nSize = static_cast<int>(nSize);
    whole.dWeight = electrons.dWeight;
    whole.dEv = electrons.dEv;
    whole.vBend.TakeUnset(nSize, kWork);
    whole.vFillings.TakeUnset(nSize, kWork);
    FillBend(electrons, whole.vBend.Data());

    PairsOfSet sets[2] = {PairsOf(electrons, 0), PairsOf(electrons, nSets - 1)};
    const int nFirst = sets[0].Count(), nPairs = nSets == 2 ? nFirst + sets[1].Count() : nFirst;
    Array<double> mRepulsion, mProducts;
    mRepulsion.TakeUnset(Size(nProducts), Size(nProducts), kWork);
    FillMoRepulsion(mRepulsion.Data());
    mProducts.TakeUnset(Size(nProducts), Size(nPairs), kWork);
    for (int k = 0; k < nSets; ++k)
        FillPairProducts(sets[k], nPairs, mProducts.Data() + k * nFirst);
    FillIntegrals(mRepulsion, nPairs, mProducts, nPairs, mProducts, Triangle::kLower,
                  whole.mIntegrals);
    MirrorLower(nPairs, whole.mIntegrals.Data());

    // Of one set FillExchange makes the triangle that is read; between two sets there is none.
    if (nSets == 1)
        whole.mExchange.TakeUnset(Size(nPairs), Size(nPairs), kWork);
    else
        whole.mExchange.Take(Size(nPairs), Size(nPairs), kWork);
    Array<int> vPlaces;
    vPlaces.TakeUnset(nSize, kWork);
    int* pPlace = vPlaces.Data();
    double* pFilling = whole.vFillings.Data();
    for (int k = 0; k < nSets; ++k) {
        const PairsOfSet& set = sets[k];
        Array<double> mOccupied, mVirtual, mTriangles;
        FillTriangleProducts(set, 0, set.nOcc, mOccupied);
        FillTriangleProducts(set, set.nFrom, set.nVirtual, mVirtual);
        FillIntegrals(mRepulsion, InTriangle(set.nOcc), mOccupied, InTriangle(set.nVirtual),
                      mVirtual, Triangle::kWhole, mTriangles);
        const int nOwn = k * nFirst;
        FillExchange(set, mTriangles, nPairs, Row(whole.mIntegrals.Data(), nPairs, nOwn) + nOwn,
                     Row(whole.mExchange.Data(), nPairs, nOwn) + nOwn);
        ListRotations(set, nOwn, pPlace, pFilling);
    }
    KeepRotations(whole.nSize, vPlaces, nPairs, whole.mIntegrals);
    KeepRotations(whole.nSize, vPlaces, nPairs, whole.mExchange);
}

void FillHessian(const WholeHessian& whole, Turn turn, double* mHessian) {
    const int n = whole.nSize;
    const double dExchange = 2.0 * whole.dWeight;
    const double dCoulomb = turn == Turn::kSame ? dExchange * dExchange : 0.0;
    for (int i = 0; i < n; ++i) {
        const double* c = Row(whole.mIntegrals.Data(), n, i);
        const double *x = Row(whole.mExchange.Data(), n, i), *f = whole.vFillings.Data();
        double* h = Row(mHessian, n, i);
        for (int j = 0; j <= i; ++j) h[j] = f[i] * f[j] * (dCoulomb * c[j] - dExchange * x[j]);
        h[i] += whole.vBend[i];
    }
    MirrorLower(n, mHessian);
}

}  // namespace qsolve
