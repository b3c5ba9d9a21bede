#include "integrals/one_centre.h"

#include "integrals/atom_list.h"
#include "integrals/orbital_moments.h"
#include "setup/state.h"

namespace qsolve {
namespace {

// Rounded as published with the list of values.
constexpr double kRoot3 = 1.7320508;
constexpr double kRoot12 = 3.4641016;

constexpr double kRoot15 = 3.872983346207417, kRoot5 = 2.23606797749979;
constexpr double kRoot20 = 4.47213595499958;

/// Constants that the values are linear in: Coulomb integrals, and the Slater-Condon constants with
/// the denominators of their angular factors taken out.
enum Constant {
    kSs,
    kSp,
    kPp,
    kSd,
    kPd,
    kDd,
    kFp,
    kGp,
    kGd,
    kA,
    kB,
    kC,
    kE,
    kF,
    kU,
    kV,
    kW,
    kConstants
};
struct Constants {
    double Value[kConstants] = {};

    constexpr double& operator[](int c) { return Value[c]; }
    constexpr double operator[](int c) const { return Value[c]; }
};

/// The denominators: Fp = F2(pp)/25, Gp = G1(sp)/3, Gd = G2(sd)/5, a = G1(pd)/15, b = G3(pd)/245,
/// c = F2(pd)/35, e = F2(dd)/49, f = F4(dd)/441, u = R1(sp,pd)/15, v = R2(sd,pp)/25,
/// w = R2(sd,dd)/35.
constexpr Constants kDenominator = {{1, 1, 1, 1, 1, 1, 25, 3, 5, 15, 245, 35, 49, 441, 15, 25, 35}};

/// The distinct values that s and p orbitals have, 1 to 5, and the first.
constexpr void FillSp(const Constants& x, double* W) {
    W[1] = x[kGp];
    W[2] = x[kSp];
    W[3] = x[kPp] + 4 * x[kFp];
    W[4] = 3 * x[kFp];
    W[5] = x[kPp] - 2 * x[kFp];
}

/// The distinct exchange values between a d and an s or p orbital, 6 to 19.
constexpr void FillDExchange(const Constants& x, double* W) {
    const double a = x[kA], b = x[kB];
    W[6] = x[kGd];
    W[7] = a + 18 * b;
    W[8] = -kRoot3 * (a + 3 * b);
    W[9] = 3 * a + 24 * b;
    W[10] = 21 * b - 3 * a;
    W[11] = kRoot3 * (2 * a - 9 * b);
    W[12] = 15 * b;
    W[13] = kRoot3 * (a + 3 * b);
    W[14] = 3 * a - 21 * b;
    W[15] = 3 * a - 6 * b;
    W[16] = -15 * b;
    W[17] = 4 * a + 27 * b;
    W[18] = kRoot3 * (12 * b - a);
    W[19] = 6 * b - 3 * a;
}

/// Those with two or four d orbitals that are no exchange between shells, 20 to 44.
constexpr void FillDCoulomb(const Constants& x, double* W) {
    const double pd = x[kPd], dd = x[kDd], c = x[kC], e = x[kE], f = x[kF];
    W[20] = x[kSd];
    W[21] = pd - 2 * c;
    W[22] = pd + 4 * c;
    W[23] = dd + 4 * e + 36 * f;
    W[24] = -kRoot12 * c;
    W[25] = kRoot12 * c;
    W[26] = 4 * e + 15 * f;
    W[27] = kRoot3 * c;
    W[28] = e + 30 * f;
    W[29] = pd + 2 * c;
    W[30] = pd - 4 * c;
    W[31] = dd - 4 * e + 6 * f;
    W[32] = 35 * f;
    W[33] = 3 * c;
    W[34] = kRoot3 * (e - 5 * f);
    W[35] = 3 * e + 20 * f;
    W[36] = -3 * c;
    W[37] = kRoot3 * (5 * f - e);
    W[38] = 15 * f - 3 * e;
    W[39] = dd + 4 * e - 34 * f;
    W[40] = 3 * e - 15 * f;
    W[41] = dd + 2 * e - 24 * f;
    W[42] = kRoot3 * (10 * f - 2 * e);
    W[43] = dd - 2 * e - 4 * f;
    W[44] = kRoot3 * (2 * e - 10 * f);
}

/// Those of three or four kinds of shells, 45 to 57.
constexpr void FillHybrids(const Constants& x, double* W) {
    const double u = x[kU], v = x[kV], w = x[kW];
    W[45] = -kRoot15 * u;
    W[46] = kRoot15 * u;
    W[47] = -kRoot5 * u;
    W[48] = kRoot20 * u;
    W[49] = kRoot15 * v;
    W[50] = -kRoot5 * v;
    W[51] = kRoot20 * v;
    W[52] = -kRoot15 * v;
    W[53] = -kRoot20 * w;
    W[54] = kRoot15 * w;
    W[55] = kRoot5 * w;
    W[56] = -kRoot15 * w;
    W[57] = kRoot20 * w;
}

constexpr void FillValues(const Constants& x, int nOrbitalsOnAtom, double* W) {
    W[0] = x[kSs];
    if (nOrbitalsOnAtom >= 4) FillSp(x, W);
    if (nOrbitalsOnAtom < 9) return;
    FillDExchange(x, W);
    FillDCoulomb(x, W);
}

// ---- the sparse table --------------------------------------------------------------------------

constexpr Constant CoulombConstant(int nLow, int nHigh) {
    if (nHigh == 2) return nLow == 2 ? kDd : nLow == 1 ? kPd : kSd;
    return nHigh == 0 ? kSs : nLow == 0 ? kSp : kPp;
}

/// The constant of an integral over three or four kinds of shells that has R^1(sp,pd), R^2(sd,pp)
/// or R^2(sd,dd).
constexpr Constant HybridConstant(int li, int lj, int lk, int ll, int n) {
    const int nSum = li + lj + lk + ll;
    const bool fD = li == 2 || lj == 2, fOtherD = lk == 2 || ll == 2;
    if (nSum == 6) return n == 2 ? kW : kConstants;
    if (nSum != 4) return kConstants;
    if (n == 1 && (li + lj) % 2 == 1) return fD != fOtherD ? kU : kConstants;
    return n == 2 && (li + lj) % 2 == 0 ? kV : kConstants;
}

/// The constant that stands for R^n of an integral over shells (l_i l_j|l_k l_l); kConstants where
/// there is none.
constexpr Constant RadialConstant(int li, int lj, int lk, int ll, int n) {
    if (li == lj && lk == ll) {  // F^n of two shells
        const int nLow = li < lk ? li : lk, nHigh = li < lk ? lk : li;
        if (n == 0) return CoulombConstant(nLow, nHigh);
        if (n == 2 && nLow == 1) return nHigh == 1 ? kFp : kC;
        if (n == 2 && nLow == 2) return kE;
        if (n == 4 && nLow == 2) return kF;
        return kConstants;
    }
    const bool fSameShells = (li == lk && lj == ll) || (li == ll && lj == lk);
    if (!fSameShells) return HybridConstant(li, lj, lk, ll, n);
    const int nLow = li < lj ? li : lj, nHigh = li < lj ? lj : li;
    if (nLow == 0 && nHigh == 1) return n == 1 ? kGp : kConstants;
    if (nLow == 0 && nHigh == 2) return n == 2 ? kGd : kConstants;
    return n == 1 ? kA : n == 3 ? kB : kConstants;
}

/// An integral as coefficients of the constants.
constexpr Constants Expand(int i, int j, int k, int l) {
    const Moments& ij = kProductMoments.Pair[MomentIndex(i, j)];
    const Moments& kl = kProductMoments.Pair[MomentIndex(k, l)];
    Constants x = {};
    for (int n = (AngularOf(i) + AngularOf(j)) % 2; n <= kHighestRank; n += 2) {
        const Constant c =
            RadialConstant(AngularOf(i), AngularOf(j), AngularOf(k), AngularOf(l), n);
        if (c != kConstants) x[c] += kDenominator[c] * AngularFactor(ij, kl, n);
    }
    return x;
}

/// Coefficients below this are zeros with rounding errors; the roots have eight digits.
constexpr double kNothing = 1e-5;

constexpr double Magnitude(double d) {
    return d < 0 ? -d : d;
}

constexpr bool IsZero(const Constants& x) {
    for (double d : x.Value)
        if (Magnitude(d) > kNothing) return false;
    return true;
}

/// The values of the list, each as coefficients of the constants.
struct Rows {
    Constants Row[kOneCentreValuesNddo] = {};
};
constexpr Rows RowsOfList() {
    Rows rows;
    for (int c = 0; c < kConstants; ++c) {
        Constants unit = {};
        unit[c] = 1.0;
        double W[kOneCentreValuesNddo] = {};
        FillValues(unit, kMomentOrbitals, W);
        FillHybrids(unit, W);
        for (int n = 0; n < kOneCentreValuesNddo; ++n) rows.Row[n][c] = W[n];
    }
    return rows;
}
constexpr Rows kRowsOfList = RowsOfList();

constexpr bool AreEqual(const Constants& x, const Constants& y) {
    for (int c = 0; c < kConstants; ++c)
        if (Magnitude(x[c] - y[c]) > kNothing) return false;
    return true;
}

/// Where an integral stands in the list; -1 where it does not.
constexpr int FindValue(const Constants& x) {
    for (int n = 0; n < kOneCentreValuesNddo; ++n)
        if (AreEqual(x, kRowsOfList.Row[n])) return n;
    return -1;
}

constexpr int kMostEntries = 260;

struct Table {
    OneCentreEntry Entries[kMostEntries] = {};
    int nCount[kMomentOrbitals + 1] =
        {};                 ///< by number of orbitals: entries among the first of them
    bool fComplete = true;  ///< every integral has its value in the list
};

/// The integrals whose highest orbital is i, in canonical order.
constexpr void AddIntegralsOf(int i, Table& table, int& nCount) {
    for (int j = 0; j <= i; ++j)
        for (int k = 0; k <= i; ++k)
            for (int l = 0; l <= (k == i ? j : k); ++l) {
                if ((AngularOf(i) + AngularOf(j) + AngularOf(k) + AngularOf(l)) % 2 != 0) continue;
                const Constants x = Expand(i, j, k, l);
                if (IsZero(x)) continue;
                table.Entries[nCount] = {i, j, k, l, FindValue(x)};
                table.fComplete = table.fComplete && table.Entries[nCount++].nValue >= 0;
            }
}

/// The table with all integrals.
constexpr Table BuildTable() {
    Table table;
    int nCount = 0;
    for (int i = 0; i < kMomentOrbitals; ++i) {
        AddIntegralsOf(i, table, nCount);
        table.nCount[i + 1] = nCount;
    }
    return table;
}
constexpr Table kTable = BuildTable();
static_assert(kTable.fComplete, "every integral stands in the list");

/// Those without the integrals over three or four kinds of shells.
constexpr Table TableWithoutHybrids() {
    Table table;
    int nCount = 0, nAll = 0;
    for (int n = 1; n <= kMomentOrbitals; ++n) {
        for (; nAll < kTable.nCount[n]; ++nAll)
            if (kTable.Entries[nAll].nValue < kOneCentreValues)
                table.Entries[nCount++] = kTable.Entries[nAll];
        table.nCount[n] = nCount;
    }
    return table;
}
constexpr Table kTableWithoutHybrids = TableWithoutHybrids();

}  // namespace

void BuildOneCentreIntegrals(int nElement, int nOrbitalsOnAtom, double dGss, double dGsd,
                             double dGdd, double* vOneCentre) {
    const ZindoRow& row = setup.pZindo[nElement - 1];
    Constants x;
    x[kFp] = row.dSlaterF2pp;
    x[kGp] = row.dSlaterG1sp;
    x[kGd] = row.dSlaterG2sd;
    x[kA] = row.dSlaterG1pd;
    x[kB] = row.dSlaterG3pd;
    x[kC] = row.dSlaterF2pd;
    x[kE] = row.dSlaterF2dd;
    x[kF] = row.dSlaterF4dd;
    for (int c = kFp; c < kConstants; ++c) x[c] *= kHartreePerEv / kDenominator[c];
    x[kSs] = x[kSp] = x[kPp] = dGss;
    x[kSd] = x[kPd] = dGsd;
    x[kDd] = dGdd;
    FillValues(x, nOrbitalsOnAtom, vOneCentre);
}

void BuildOneCentreIntegralsNddo(int nElement, int nOrbitalsOnAtom, double* vOneCentre) {
    const NddoExtended& r = setup.pExtended[nElement - 1];
    Constants x = {{r.dF0ss, r.dF0sp, r.dF0pp, r.dF0sd, r.dF0pd, r.dF0dd, r.dF2pp, r.dG1sp, r.dG2sd,
                    r.dG1pd, r.dG3pd, r.dF2pd, r.dF2dd, r.dF4dd, r.dR1sppd, r.dR2sdpp, r.dR2sddd}};
    for (int c = 0; c < kConstants; ++c) x[c] /= kDenominator[c];
    FillValues(x, nOrbitalsOnAtom, vOneCentre);
    if (nOrbitalsOnAtom >= kMomentOrbitals) FillHybrids(x, vOneCentre);
}

OneCentreList OneCentreIntegralsOf(int nOrbitalsOnAtom) {
    return {kTableWithoutHybrids.Entries, kTableWithoutHybrids.nCount[nOrbitalsOnAtom]};
}

OneCentreList OneCentreIntegralsNddo(int nOrbitalsOnAtom) {
    return {kTable.Entries, kTable.nCount[nOrbitalsOnAtom]};
}

}  // namespace qsolve
