#include "integrals/nddo_pair_d.h"

#include <algorithm>
#include <cmath>

#include "integrals/nddo_core_core.h"
#include "integrals/nddo_pair_sp.h"
#include "integrals/overlap_matrix.h"
#include "integrals/rotation.h"
#include "link/link.h"
#include "setup/state.h"

namespace qsolve {
namespace {

// ---- products under rotation -------------------------------------------------------------------

/// Local orbitals as functions of the local frame, whose x axis is pi-2 and whose y axis is pi-1.
constexpr LocalFunction kFunctionOf[kAtomOrbitals] = {kSigma, kPi2, kPi1,    kSigma, kSigma,
                                                      kPi2,   kPi1, kDelta2, kDelta1};

/// Products of the orbitals of two shells, or of one with itself, go over into one another.
constexpr int kMostInClass = 15;
struct ProductClass {
    int nCount = 0;
    int i[kMostInClass] = {}, j[kMostInClass] = {};  ///< orbitals of each, i >= j
};

constexpr int kShells = 3;
constexpr int ClassNumber(int li, int lj) {
    return li * (li + 1) / 2 + lj;
}

struct ProductClasses {
    ProductClass Class[kShells * (kShells + 1) / 2];
};
constexpr ProductClasses ClassesOfProducts() {
    ProductClasses all;
    for (int i = 0; i < kAtomOrbitals; ++i)
        for (int j = 0; j <= i; ++j) {
            ProductClass& c = all.Class[ClassNumber(AngularOf(i), AngularOf(j))];
            c.i[c.nCount] = i;
            c.j[c.nCount++] = j;
        }
    return all;
}
constexpr ProductClasses kClasses = ClassesOfProducts();

/// Coefficient of the local product of i and j in the molecular product of mu and nu.
double ProductCoefficient(const OrbitalRotation& r, int mu, int nu, int i, int j) {
    const double d = r.m[mu][i] * r.m[nu][j];
    return i != j && AngularOf(i) == AngularOf(j) ? d + r.m[mu][j] * r.m[nu][i] : d;
}

/// Turns the products that the rows of a block belong to into molecular axes; columns stay.
void RotateRows(const OrbitalRotation& r, int nRows, int nColumns, const double* pBlock,
                double* pRotated) {
    std::fill_n(pRotated, nRows * nColumns, 0.0);
    for (const ProductClass& c : kClasses.Class) {
        if (ProductNumber(c.i[0], c.j[0]) >= nRows) continue;
        for (int n = 0; n < c.nCount; ++n) {
            double* pRow = pRotated + ProductNumber(c.i[n], c.j[n]) * nColumns;
            for (int k = 0; k < c.nCount; ++k) {
                const double d = ProductCoefficient(r, c.i[n], c.j[n], c.i[k], c.j[k]);
                const double* pLocal = pBlock + ProductNumber(c.i[k], c.j[k]) * nColumns;
                for (int m = 0; m < nColumns; ++m) pRow[m] += d * pLocal[m];
            }
        }
    }
}

// ---- places of the local integrals of s and p --------------------------------------------------

constexpr int kProductsSp = ProductsOf(4);

// Local products: sigma is z, pi is x and pi' is y.
constexpr int kSS = ProductNumber(0, 0), kSSigma = ProductNumber(3, 0);
constexpr int kSPi = ProductNumber(1, 0), kSPiPrime = ProductNumber(2, 0);
constexpr int kSigmaSigma = ProductNumber(3, 3), kPiPi = ProductNumber(1, 1);
constexpr int kPiPiPrime = ProductNumber(2, 1), kPrimePrime = ProductNumber(2, 2);
constexpr int kSigmaPi = ProductNumber(3, 1), kSigmaPiPrime = ProductNumber(3, 2);

/// A product of A, one of B and the number of their integral.
struct SpPlace {
    int nA, nB, nRi;
};
// clang-format off
constexpr SpPlace kSpPlaces[] = {
    {kSS, kSS, 0}, {kSSigma, kSS, 1}, {kSigmaSigma, kSS, 2}, {kPiPi, kSS, 3}, {kPrimePrime, kSS, 3},
    {kSS, kSSigma, 4}, {kSSigma, kSSigma, 5}, {kSPi, kSPi, 6}, {kSPiPrime, kSPiPrime, 6},
    {kSigmaSigma, kSSigma, 7}, {kPiPi, kSSigma, 8}, {kPrimePrime, kSSigma, 8},
    {kSigmaPi, kSPi, 9}, {kSigmaPiPrime, kSPiPrime, 9},
    {kSS, kSigmaSigma, 10}, {kSS, kPiPi, 11}, {kSS, kPrimePrime, 11},
    {kSSigma, kSigmaSigma, 12}, {kSSigma, kPiPi, 13}, {kSSigma, kPrimePrime, 13},
    {kSPi, kSigmaPi, 14}, {kSPiPrime, kSigmaPiPrime, 14},
    {kSigmaSigma, kSigmaSigma, 15}, {kPiPi, kSigmaSigma, 16}, {kPrimePrime, kSigmaSigma, 16},
    {kSigmaSigma, kPiPi, 17}, {kSigmaSigma, kPrimePrime, 17},
    {kPiPi, kPiPi, 18}, {kPrimePrime, kPrimePrime, 18},
    {kSigmaPi, kSigmaPi, 19}, {kSigmaPiPrime, kSigmaPiPrime, 19},
    {kPiPi, kPrimePrime, 20}, {kPrimePrime, kPiPi, 20}, {kPiPiPrime, kPiPiPrime, 21},
};
// clang-format on

int ProductsOfKind(int nKind) {
    return nKind == 2 ? kMostProducts : nKind == 1 ? kProductsSp : 1;
}

bool IsKind(int nKind) {
    return nKind >= 0 && nKind <= kHighestKind;
}

/// The block of a pair in molecular axes; false with a text where it cannot be had.
bool ComputeBlock(const NddoAtom& a, const NddoAtom& b, const PairGeometry& geometry,
                  double* pBlock) {
    const MultipoleTerms termsA = MultipoleTermsOf(a), termsB = MultipoleTermsOf(b);
    const int nKindA = termsA.nKind, nKindB = termsB.nKind;
    double vInteraction[kInteractions], vLocal[kMostProducts * kMostProducts];
    const double dBohr = geometry.dDistance * kBohrPerAngstrom;
    if (!ComputeMultipoleInteractions(termsA, termsB, dBohr, vInteraction) ||
        !ExpandLocalBlock(nKindA, nKindB, vInteraction, vLocal)) {
        ErrorFormat(kMsgMultipoleIntegrals);
        return false;
    }
    double vRi[kLocalIntegrals];
    ComputeLocalIntegrals(a, b, geometry.dDistance, vRi);
    CopySpLocalIntegrals(nKindA, nKindB, vRi, vLocal);
    if (RotateLocalBlock(nKindA, nKindB, vLocal, geometry.vDirection, pBlock)) return true;
    ErrorFormat(kMsgIntegralRotation);
    return false;
}

}  // namespace

OrbitalRotation RotationAlong(const double* vDirection, int nShells) {
    double mFunctions[kAtomOrbitals * kLocalFunctions];
    BuildRotation(vDirection, 1.0, nShells, mFunctions);
    OrbitalRotation r;
    for (int l = 0; l < nShells; ++l)
        for (int i = kShellBegin[l]; i < kShellBegin[l + 1]; ++i)
            for (int j = kShellBegin[l]; j < kShellBegin[l + 1]; ++j)
                r.m[i][j] = mFunctions[i * kLocalFunctions + kFunctionOf[j]];
    return r;
}

MultipoleTerms MultipoleTermsOf(const NddoAtom& atom) {
    const NddoExtended& row = setup.pExtended[atom.Listed.Row()];
    MultipoleTerms terms;
    terms.nKind = HighestShellOf(atom.Listed.nOrbitals);
    terms.dSeparation[kDipoleSp] = row.dD1sp;
    terms.dSeparation[kDipolePd] = row.dD1pd;
    terms.dSeparation[kQuadrupolePp] = row.dD2pp;
    terms.dSeparation[kQuadrupoleSd] = row.dD2sd;
    terms.dSeparation[kQuadrupoleDd] = row.dD2dd;
    terms.dRho[kMonopoleS] = 0.5 / row.dRho0ss;
    terms.dRho[kMonopoleD] = 0.5 / row.dRho0dd;
    terms.dRho[kDipoleSp] = 0.5 / row.dRho1sp;
    terms.dRho[kDipolePd] = 0.5 / row.dRho1pd;
    terms.dRho[kQuadrupolePp] = 0.5 / row.dRho2pp;
    terms.dRho[kQuadrupoleSd] = 0.5 / row.dRho2sd;
    terms.dRho[kQuadrupoleDd] = 0.5 / row.dRho2dd;
    return terms;
}

void CopySpLocalIntegrals(int nKindA, int nKindB, const double* vRi, double* vLocalBlock) {
    const int nSpA = nKindA > 0 ? kProductsSp : 1, nSpB = nKindB > 0 ? kProductsSp : 1;
    const int nColumns = ProductsOfKind(nKindB);
    for (int n = 0; n < nSpA; ++n) std::fill_n(vLocalBlock + n * nColumns, nSpB, 0.0);
    for (const SpPlace& place : kSpPlaces)
        if (place.nA < nSpA && place.nB < nSpB)
            vLocalBlock[place.nA * nColumns + place.nB] = vRi[place.nRi];
}

bool RotateLocalBlock(int nKindA, int nKindB, const double* vLocalBlock, const double* vDirection,
                      double* pBlock) {
    if (!IsKind(nKindA) || !IsKind(nKindB)) return false;
    if (!std::isfinite(vDirection[0] + vDirection[1] + vDirection[2])) return false;
    const int nProductsA = ProductsOfKind(nKindA), nProductsB = ProductsOfKind(nKindB);
    const OrbitalRotation r = RotationAlong(vDirection, std::max(nKindA, nKindB) + 1);
    double vHalf[kMostProducts * kMostProducts], vTurned[kMostProducts * kMostProducts];
    RotateRows(r, nProductsA, nProductsB, vLocalBlock, vHalf);
    TransposeBlock(vHalf, nProductsA, nProductsB, vTurned);
    RotateRows(r, nProductsB, nProductsA, vTurned, vHalf);
    TransposeBlock(vHalf, nProductsB, nProductsA, pBlock);
    return true;
}

void ComputePairD(const NddoAtom& a, const NddoAtom& b, const PairGeometry& geometry,
                  double* pBlock, PairTerms& terms) {
    if (!a.HasD() && !b.HasD()) ErrorFormat(kMsgIntegralRoutine);
    terms.dPairEnergy = 0.0;
    std::fill_n(pBlock, a.nProducts * b.nProducts, 0.0);
    std::fill_n(terms.vE1b, kMostProducts, 0.0);
    std::fill_n(terms.vE2a, kMostProducts, 0.0);
    if (!ComputeBlock(a, b, geometry, pBlock)) return;
    for (int m = 0; m < a.nProducts; ++m) terms.vE1b[m] = -b.dCore * pBlock[m * b.nProducts];
    for (int n = 0; n < b.nProducts; ++n) terms.vE2a[n] = -a.dCore * pBlock[n];
    terms.dPairEnergy = NddoCoreCore(a, b, geometry.dDistance, pBlock[0]);
}

void LogPair(int nNumberA, int nNumberB, const NddoAtom& a, const NddoAtom& b, const double* pBlock,
             const PairTerms& terms) {
    LogFormat(kMsgPairIntegrals, nNumberA, nNumberB);
    for (int i = 0; i < a.nProducts * b.nProducts; ++i)
        LogFormat(kMsgPairIntegral, i + 1, pBlock[i]);
    LogFormat(kMsgPairAttraction);
    for (int i = 0; i < kMostProducts; ++i)
        LogFormat(kMsgPairAttractionRow, i + 1, terms.vE1b[i], terms.vE2a[i]);
}

}  // namespace qsolve
