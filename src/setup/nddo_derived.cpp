#include "setup/nddo_derived.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>

#include "job/state.h"
#include "setup/additive_terms.h"
#include "setup/radial_integrals.h"
#include "setup/state.h"

namespace qsolve {

namespace {

constexpr double kSmallestParameter = 0.00001;  // what is smaller counts as not there
constexpr double kSmallestKept = 0.0001;        // what is smaller is not kept from the table
/// Least self-interaction of the p quadrupole, eV. A table with dGpp not above dGp2, as several
/// published ones have it, has no additive term by its own numbers; MNDO programs take this value.
constexpr double kLeastQuadrupole = 0.1;

bool HasShell(double dU, double dBeta, double dZeta) {
    return std::abs(dU) > kSmallestParameter && std::abs(dBeta) > kSmallestParameter &&
           std::abs(dZeta) > kSmallestParameter;
}

/// Finds the shells of a row. A p shell begins at n = 2 and a d shell at n = 3; d is of use only
/// beside s, and not to an atom that ends a cut bond, which has s and p whatever its row says.
void FindShells(int nRow, const NddoRow& row, NddoExtended* pX) {
    pX->nShell = kPrincipalQuantum[nRow];
    pX->nShellD = DShellNumber(system.MethodId, nRow);
    pX->fHasP = pX->nShell >= 2 && HasShell(row.dUpp, row.dBetaP, row.dZetaP);
    pX->fHasD = nRow < kCappingOffset && pX->nShellD >= 3 &&
                HasShell(row.dUss, row.dBetaS, row.dZetaS) &&
                HasShell(row.dUdd, row.dBetaD, row.dZetaD);
}

/// Exponents whose Slater functions have the one-centre integrals of the row:
///
///     Gss = F0(ss), Gpp = F0(pp) + 4/25 F2(pp), Gdd = F0(dd) + 4/49 (F2(dd) + F4(dd))
///
/// R^k of a shell is proportional to its exponent.
void FindEffectiveExponents(const NddoRow& row, NddoExtended* pX) {
    const int n = pX->nShell, nD = pX->nShellD;
    const double dS = UnitRadialIntegral(0, n);
    const double dP = UnitRadialIntegral(0, n) + 0.16 * UnitRadialIntegral(2, n);
    const double dD = UnitRadialIntegral(0, nD) +
                      0.0816326530612245 * (UnitRadialIntegral(2, nD) + UnitRadialIntegral(4, nD));
    pX->dZetaS = row.dGss * kHartreePerEv / dS;
    pX->dZetaP = row.dGpp * kHartreePerEv / dP;
    pX->dZetaD = row.dGdd * kHartreePerEv / dD;
}

/// Slater-Condon integrals over the effective exponents, eV. PM3 takes the ones between s and p
/// from the functions and those between s and d from the row, the other methods the other way
/// round.
void FindRadialIntegrals(const NddoRow& row, NddoExtended* pX) {
    const SlaterShell s{pX->nShell, pX->dZetaS};
    const SlaterShell p{pX->nShell, pX->dZetaP};
    const SlaterShell d{pX->nShellD, pX->dZetaD};
    const auto R = [](int k, const SlaterShell& a, const SlaterShell& b, const SlaterShell& c,
                      const SlaterShell& e) {
        return kEvPerHartree * RadialIntegral(k, a, b, c, e);
    };
    const bool fPm3 = system.MethodId == kPm3;
    pX->dF0ss = R(0, s, s, s, s);
    pX->dF0pp = R(0, p, p, p, p);
    pX->dF0dd = R(0, d, d, d, d);
    pX->dF0pd = R(0, p, d, p, d);
    pX->dF2pp = R(2, p, p, p, p);
    pX->dF2dd = R(2, d, d, d, d);
    pX->dF2pd = R(2, p, d, p, d);
    pX->dF4dd = R(4, d, d, d, d);
    pX->dG1pd = R(1, p, p, d, d);
    pX->dG3pd = R(3, p, p, d, d);
    pX->dR1sppd = R(1, s, p, p, d);
    pX->dR2sdpp = R(2, s, p, d, p);
    pX->dR2sddd = R(2, s, d, d, d);
    pX->dF0sp = fPm3 ? R(0, s, p, s, p) : row.dGsp;
    pX->dG1sp = fPm3 ? R(1, s, s, p, p) : 3.0 * row.dHsp;
    pX->dF0sd = fPm3 ? row.dGsd : R(0, s, d, s, d);
    pX->dG2sd = fPm3 ? 5.0 * row.dHsd : R(2, s, s, d, d);
}

/// Separations of s and p, bohr, from the exponents of the overlap.
void FindSpSeparations(const NddoRow& row, NddoExtended* pX) {
    const int n = pX->nShell;
    const double dMoment = ChargeSeparation(n, n, 2, row.dZetaP, row.dZetaP);
    pX->dD1sp = ChargeSeparation(n, n, 1, row.dZetaS, row.dZetaP) / std::sqrt(3.0);
    pX->dD2pp = std::sqrt(dMoment) / std::sqrt(5.0);
}

/// Separations with d, bohr, from the exponents of the overlap.
void FindDSeparations(const NddoRow& row, NddoExtended* pX) {
    const int n = pX->nShell, nD = pX->nShellD;
    const double dMomentSd = ChargeSeparation(n, nD, 2, row.dZetaS, row.dZetaD);
    const double dMomentDd = ChargeSeparation(nD, nD, 2, row.dZetaD, row.dZetaD);
    if (pX->fHasP)
        pX->dD1pd = ChargeSeparation(n, nD, 1, row.dZetaP, row.dZetaD) / 2.23606797749979;
    pX->dD2sd = std::sqrt(dMomentSd / std::sqrt(15.0));
    pX->dD2dd = std::sqrt(dMomentDd) / std::sqrt(7.0);
}

/// Stores 0.5 / x in hartree for an additive term x in bohr; false and 0 where x was not found.
bool Store(double x, double* pRho) {
    *pRho = x > 0.0 ? 0.5 / x : 0.0;
    return x > 0.0;
}

/// The monopoles: 0.5 / x with x = 0.5 / F0 is F0, in hartree.
void FindMonopoles(NddoExtended* pX) {
    pX->dRho0ss = pX->dF0ss * kHartreePerEv;
    pX->dRho0pp = pX->dRho0ss;
    pX->dRho0dd = pX->dF0dd * kHartreePerEv;
}

/// The multipoles of s and p. Their self-interactions are G1(sp)/3 and 3/25 F2(pp).
bool FindSpTerms(double dQuadrupole, NddoExtended* pX) {
    const double dDipole = pX->dG1sp / 3.0 * kHartreePerEv;
    const bool f1 = Store(DipoleAdditiveTerm(pX->dD1sp, dDipole), &pX->dRho1sp);
    const bool f2 =
        Store(QuadrupoleAdditiveTerm(pX->dD2pp, dQuadrupole * kHartreePerEv), &pX->dRho2pp);
    return f1 && f2;
}

/// The multipoles with d. Their self-interactions are 4/15 G1(pd), G2(sd)/5 and 3/49 F2(dd).
bool FindDTerms(NddoExtended* pX) {
    const double dSd = pX->dG2sd / 5.0 * kHartreePerEv;
    const double dDd = 3.0 / 49.0 * pX->dF2dd * kHartreePerEv;
    const bool f1 = Store(QuadrupoleAdditiveTerm(pX->dD2sd, dSd), &pX->dRho2sd);
    const bool f2 = Store(QuadrupoleAdditiveTerm(pX->dD2dd, dDd), &pX->dRho2dd);
    if (!pX->fHasP) return f1 && f2;
    const double dPd = 4.0 / 15.0 * pX->dG1pd * kHartreePerEv;
    return Store(DipoleAdditiveTerm(pX->dD1pd, dPd), &pX->dRho1pd) && f1 && f2;
}

bool DeriveRowWithD(NddoRow* pRow, NddoExtended* pX) {
    FindEffectiveExponents(*pRow, pX);
    FindRadialIntegrals(*pRow, pX);
    FindMonopoles(pX);
    if (pX->fHasP) FindSpSeparations(*pRow, pX);
    FindDSeparations(*pRow, pX);
    const bool fSp = !pX->fHasP || FindSpTerms(0.12 * pX->dF2pp, pX);
    const bool fD = FindDTerms(pX);
    pRow->dRho0 = pX->dRho0ss;
    pRow->dRho1 = pX->dRho1sp;
    pRow->dRho2 = pX->dRho2pp;
    pRow->dDipoleDistance = pX->dD1sp;
    pRow->dQuadDistance = pX->dD2pp;
    pRow->dGp2 = pX->dF0pp - 0.08 * pX->dF2pp;
    return fSp && fD;
}

void Complete(double* pValue, double dDerived) {
    if (std::abs(*pValue) < kSmallestKept) *pValue = dDerived;
}

bool DeriveRowWithoutD(NddoRow* pRow, NddoExtended* pX) {
    pX->dF0ss = pRow->dGss;
    pX->dF0sp = pRow->dGsp;
    pX->dG1sp = 3.0 * pRow->dHsp;
    pX->dF0pp = (pRow->dGpp + 2.0 * pRow->dGp2) / 3.0;
    pX->dF2pp = (pRow->dGpp - pRow->dGp2) * 4.166666666666666;
    FindMonopoles(pX);
    Complete(&pRow->dRho0, pX->dRho0ss);
    if (!pX->fHasP) return true;

    FindSpSeparations(*pRow, pX);
    const bool fSp = FindSpTerms(std::max(0.12 * pX->dF2pp, kLeastQuadrupole), pX);
    Complete(&pRow->dRho1, pX->dRho1sp);
    Complete(&pRow->dRho2, pX->dRho2pp);
    Complete(&pRow->dDipoleDistance, pX->dD1sp);
    Complete(&pRow->dQuadDistance, pX->dD2pp);
    Complete(&pRow->dGp2, pX->dF0pp - 0.08 * pX->dF2pp);
    return fSp;
}

bool IsFinite(const NddoExtended& x) {
    const double vValues[] = {x.dZetaS,  x.dZetaP,  x.dZetaD,  x.dF0ss,   x.dF0pp,   x.dF0dd,
                              x.dF0sp,   x.dF0sd,   x.dF0pd,   x.dF2pp,   x.dF2dd,   x.dF2pd,
                              x.dF4dd,   x.dG1sp,   x.dG1pd,   x.dG2sd,   x.dG3pd,   x.dR1sppd,
                              x.dR2sdpp, x.dR2sddd, x.dD1sp,   x.dD1pd,   x.dD2pp,   x.dD2sd,
                              x.dD2dd,   x.dRho0ss, x.dRho0pp, x.dRho0dd, x.dRho1sp, x.dRho1pd,
                              x.dRho2pp, x.dRho2sd, x.dRho2dd};
    return std::all_of(std::begin(vValues), std::end(vValues),
                       [](double d) { return std::isfinite(d); });
}

bool DeriveRow(int nRow, NddoRow* pRow, NddoExtended* pX) {
    const NddoRow original = *pRow;
    FindShells(nRow, *pRow, pX);
    const bool fSolved = pX->fHasD ? DeriveRowWithD(pRow, pX) : DeriveRowWithoutD(pRow, pX);
    if (!IsFinite(*pX)) {
        *pRow = original;
        *pX = NddoExtended{};
        return false;
    }
    pX->fPrepared = true;
    return fSolved;
}

bool IsKept() {
    const DerivedRows& kept = parameters.Derived;
    return kept.nMethod != 0 && kept.nMethod == system.MethodId &&
           std::memcmp(kept.pTable.Data(), parameters.pNddoParams.Data(),
                       kRows * sizeof(NddoRow)) == 0;
}

void Copy(const Array<NddoRow>& source, Array<NddoRow>* pCopy) {
    if (!*pCopy) pCopy->TakeUnset(kRows, kSetUp);
    std::copy(source.begin(), source.end(), pCopy->begin());
}

/// All rows of the table.
void Derive(DerivedRows* pKept) {
    pKept->nMethod = 0;  // until all of it is there
    pKept->fComplete = false;
    pKept->pExtended.Take(kRows, kSetUp);
    if (!parameters.pNddoParams) return;
    Copy(parameters.pNddoParams, &pKept->pTable);
    Copy(parameters.pNddoParams, &pKept->pNddo);
    bool fComplete = true;
    for (int nRow = 0; nRow < kRows; ++nRow)
        if (!DeriveRow(nRow, &pKept->pNddo[nRow], &pKept->pExtended[nRow])) fComplete = false;
    pKept->fComplete = fComplete;
    pKept->nMethod = system.MethodId;
}

}  // namespace

bool DeriveNddoDParameters() {
    DerivedRows& kept = parameters.Derived;
    if (!parameters.pNddoParams || !IsKept()) {
        setup.pExtended = nullptr;
        Derive(&kept);
    }
    setup.pExtended = kept.pExtended.Data();
    if (parameters.pNddoParams) Copy(kept.pNddo, &setup.pNddo);
    return kept.fComplete;
}

}  // namespace qsolve
