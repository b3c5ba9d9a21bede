#include "integrals/one_centre.h"

#include "integrals/atom_list.h"
#include "setup/state.h"

namespace qsolve {
namespace {

// Rounded as published with the list of values.
constexpr double kRoot3 = 1.7320508;
constexpr double kRoot12 = 3.4641016;

/// Constants that the values are linear in: Coulomb integrals, and the Slater-Condon constants with
/// the denominators of their angular factors taken out.
enum Constant { kGss, kGsd, kGdd, kFp, kGp, kGd, kA, kB, kC, kE, kF, kConstants };
struct Constants {
    double Value[kConstants] = {};

    constexpr double& operator[](int c) { return Value[c]; }
    constexpr double operator[](int c) const { return Value[c]; }
};

/// The denominators: Fp = F2(pp)/25, Gp = G1(sp)/3, Gd = G2(sd)/5, a = G1(pd)/15, b = G3(pd)/245,
/// c = F2(pd)/35, e = F2(dd)/49, f = F4(dd)/441.
constexpr Constants kDenominator = {{1, 1, 1, 25, 3, 5, 15, 245, 35, 49, 441}};

/// The distinct values that s and p orbitals have, 1 to 5, and the first.
constexpr void FillSp(const Constants& x, double* W) {
    W[1] = x[kGp];
    W[2] = x[kGss];
    W[3] = x[kGss] + 4 * x[kFp];
    W[4] = 3 * x[kFp];
    W[5] = x[kGss] - 2 * x[kFp];
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
    const double g = x[kGsd], gdd = x[kGdd], c = x[kC], e = x[kE], f = x[kF];
    W[20] = g;
    W[21] = g - 2 * c;
    W[22] = g + 4 * c;
    W[23] = gdd + 4 * e + 36 * f;
    W[24] = -kRoot12 * c;
    W[25] = kRoot12 * c;
    W[26] = 4 * e + 15 * f;
    W[27] = kRoot3 * c;
    W[28] = e + 30 * f;
    W[29] = g + 2 * c;
    W[30] = g - 4 * c;
    W[31] = gdd - 4 * e + 6 * f;
    W[32] = 35 * f;
    W[33] = 3 * c;
    W[34] = kRoot3 * (e - 5 * f);
    W[35] = 3 * e + 20 * f;
    W[36] = -3 * c;
    W[37] = kRoot3 * (5 * f - e);
    W[38] = 15 * f - 3 * e;
    W[39] = gdd + 4 * e - 34 * f;
    W[40] = 3 * e - 15 * f;
    W[41] = gdd + 2 * e - 24 * f;
    W[42] = kRoot3 * (10 * f - 2 * e);
    W[43] = gdd - 2 * e - 4 * f;
    W[44] = kRoot3 * (2 * e - 10 * f);
}

constexpr void FillValues(const Constants& x, int nOrbitalsOnAtom, double* W) {
    W[0] = x[kGss];
    if (nOrbitalsOnAtom >= 4) FillSp(x, W);
    if (nOrbitalsOnAtom < 9) return;
    FillDExchange(x, W);
    FillDCoulomb(x, W);
}

// ---- angular means, exact, from polynomials ----------------------------------------------------

constexpr int kOrbitals = 9;
constexpr int kPairs = kOrbitals * (kOrbitals + 1) / 2;
constexpr int kHighestRank = 4;

/// c x^nX y^nY z^nZ.
struct Monomial {
    double c = 0.0;
    int nX = 0, nY = 0, nZ = 0;
};

/// A real orbital on the unit sphere, normalised so that its square has the mean 1.
struct Polynomial {
    Monomial Terms[3];
};

constexpr double kThree = 1.7320508075688772, kFive = 2.23606797749979;  // square roots
constexpr Polynomial kOrbital[kOrbitals] = {
    {{{1.0, 0, 0, 0}}},
    {{{kThree, 1, 0, 0}}},
    {{{kThree, 0, 1, 0}}},
    {{{kThree, 0, 0, 1}}},
    {{{kFive, 0, 0, 2}, {-0.5 * kFive, 2, 0, 0}, {-0.5 * kFive, 0, 2, 0}}},
    {{{kThree * kFive, 1, 0, 1}}},
    {{{kThree * kFive, 0, 1, 1}}},
    {{{0.5 * kThree * kFive, 2, 0, 0}, {-0.5 * kThree * kFive, 0, 2, 0}}},
    {{{kThree * kFive, 1, 1, 0}}},
};

/// 1 3 5 ... (n - 1) for even n.
constexpr double OddProduct(int n) {
    double d = 1.0;
    for (int i = 1; i < n; i += 2) d *= i;
    return d;
}

/// Mean of x^nX y^nY z^nZ over the unit sphere.
constexpr double SphereMean(int nX, int nY, int nZ) {
    if (nX % 2 != 0 || nY % 2 != 0 || nZ % 2 != 0) return 0.0;
    return OddProduct(nX) * OddProduct(nY) * OddProduct(nZ) / OddProduct(nX + nY + nZ + 2);
}

/// Moments of a product of two orbitals: the means of x^nX y^nY z^nZ times it.
struct Moments {
    double d[kHighestRank + 1][kHighestRank + 1][kHighestRank + 1] = {};
};

constexpr Moments MomentsOf(const Polynomial& p, const Polynomial& q) {
    Moments m;
    for (const Monomial& s : p.Terms)
        for (const Monomial& t : q.Terms) {
            const double c = s.c * t.c;
            if (c == 0.0) continue;
            for (int x = 0; x <= kHighestRank; ++x)
                for (int y = 0; x + y <= kHighestRank; ++y)
                    for (int z = 0; x + y + z <= kHighestRank; ++z)
                        m.d[x][y][z] +=
                            c * SphereMean(s.nX + t.nX + x, s.nY + t.nY + y, s.nZ + t.nZ + z);
        }
    return m;
}

/// Index of the pair i >= j.
constexpr int PairIndex(int i, int j) {
    return i * (i + 1) / 2 + j;
}

struct PairMoments {
    Moments Pair[kPairs];
};

constexpr PairMoments AllMoments() {
    PairMoments all;
    for (int i = 0; i < kOrbitals; ++i)
        for (int j = 0; j <= i; ++j)
            all.Pair[PairIndex(i, j)] = MomentsOf(kOrbital[i], kOrbital[j]);
    return all;
}
constexpr PairMoments kMoments = AllMoments();

constexpr double kFactorials[] = {1, 1, 2, 6, 24};

/// Mean of the n-th power of the cosine of the angle between the electrons, with the two products
/// as weights: (x x' + y y' + z z')^n by the multinomial theorem.
constexpr double CosinePower(const Moments& ij, const Moments& kl, int n) {
    double d = 0.0;
    for (int x = 0; x <= n; ++x)
        for (int y = 0; x + y <= n; ++y) {
            const int z = n - x - y;
            const double m = ij.d[x][y][z];
            if (m == 0.0) continue;
            d += kFactorials[n] / (kFactorials[x] * kFactorials[y] * kFactorials[z]) * m *
                 kl.d[x][y][z];
        }
    return d;
}

/// Coefficients of the Legendre polynomials, by rank and power.
constexpr double kLegendre[kHighestRank + 1][kHighestRank + 1] = {
    {1.0, 0.0, 0.0, 0.0, 0.0},  {0.0, 1.0, 0.0, 0.0, 0.0},       {-0.5, 0.0, 1.5, 0.0, 0.0},
    {0.0, -1.5, 0.0, 2.5, 0.0}, {0.375, 0.0, -3.75, 0.0, 4.375},
};

constexpr double AngularFactor(const Moments& ij, const Moments& kl, int nRank) {
    double d = 0.0;
    for (int n = nRank % 2; n <= nRank; n += 2) d += kLegendre[nRank][n] * CosinePower(ij, kl, n);
    return d;
}

// ---- the sparse table --------------------------------------------------------------------------

/// The constant that stands for R^n of an integral over shells (l_i l_j|l_k l_l); kConstants where
/// there is none.
constexpr Constant RadialConstant(int li, int lj, int lk, int ll, int n) {
    if (li == lj && lk == ll) {  // F^n of two shells
        const int nLow = li < lk ? li : lk, nHigh = li < lk ? lk : li;
        if (n == 0) return nHigh < 2 ? kGss : nLow < 2 ? kGsd : kGdd;
        if (n == 2 && nLow == 1) return nHigh == 1 ? kFp : kC;
        if (n == 2 && nLow == 2) return kE;
        if (n == 4 && nLow == 2) return kF;
        return kConstants;
    }
    const bool fSameShells = (li == lk && lj == ll) || (li == ll && lj == lk);
    if (!fSameShells) return kConstants;
    const int nLow = li < lj ? li : lj, nHigh = li < lj ? lj : li;
    if (nLow == 0 && nHigh == 1) return n == 1 ? kGp : kConstants;
    if (nLow == 0 && nHigh == 2) return n == 2 ? kGd : kConstants;
    return n == 1 ? kA : n == 3 ? kB : kConstants;
}

/// An integral as coefficients of the constants.
constexpr Constants Expand(int i, int j, int k, int l) {
    const Moments& ij = kMoments.Pair[PairIndex(i, j)];
    const Moments& kl = kMoments.Pair[PairIndex(k, l)];
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
    Constants Row[kOneCentreValues] = {};
};
constexpr Rows RowsOfList() {
    Rows rows;
    for (int c = 0; c < kConstants; ++c) {
        Constants unit = {};
        unit[c] = 1.0;
        double W[kOneCentreValues] = {};
        FillValues(unit, kOrbitals, W);
        for (int n = 0; n < kOneCentreValues; ++n) rows.Row[n][c] = W[n];
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
    for (int n = 0; n < kOneCentreValues; ++n)
        if (AreEqual(x, kRowsOfList.Row[n])) return n;
    return -1;
}

constexpr int kMostEntries = 120;

struct Table {
    OneCentreEntry Entries[kMostEntries] = {};
    int nCount[kOrbitals + 1] = {};  ///< by number of orbitals: entries among the first of them
    bool fComplete = true;           ///< every integral has its value in the list
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

constexpr Table BuildTable() {
    Table table;
    int nCount = 0;
    for (int i = 0; i < kOrbitals; ++i) {
        AddIntegralsOf(i, table, nCount);
        table.nCount[i + 1] = nCount;
    }
    return table;
}
constexpr Table kTable = BuildTable();
static_assert(kTable.fComplete, "every integral stands in the list");

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
    x[kGss] = dGss;
    x[kGsd] = dGsd;
    x[kGdd] = dGdd;
    FillValues(x, nOrbitalsOnAtom, vOneCentre);
}

OneCentreList OneCentreIntegralsOf(int nOrbitalsOnAtom) {
    return {kTable.Entries, kTable.nCount[nOrbitalsOnAtom]};
}

}  // namespace qsolve
