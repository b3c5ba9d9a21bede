#include "integrals/one_centre.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <numbers>
#include <set>
#include <vector>

#include "integrals/atom_list.h"
#include "setup/state.h"
#include "tests/support/fresh_state.h"

namespace qsolve {
namespace {

constexpr int kIron = 26;
constexpr double kGss = 0.31, kGsd = 0.42, kGdd = 0.57;  // hartree

// ---- the same integrals from Gaunt coefficients, by quadrature over the sphere -----------------

/// Real spherical harmonic of degree l and order m, positive for cosines and negative for sines.
double Harmonic(int l, int m, double dTheta, double dPhi) {
    const auto nAbs = static_cast<unsigned>(std::abs(m));
    const double d = std::sph_legendre(static_cast<unsigned>(l), nAbs, dTheta);
    if (m == 0) return d;
    const double dSign = nAbs % 2 == 0 ? 1.0 : -1.0;  // without the phase of Condon and Shortley
    const double dAngle = m > 0 ? std::cos(m * dPhi) : std::sin(-m * dPhi);
    return std::numbers::sqrt2 * dSign * d * dAngle;
}

struct Lm {
    int l, m;
};
constexpr Lm kOrbital[9] = {{0, 0}, {1, 1},  {1, -1}, {1, 0}, {2, 0},
                            {2, 1}, {2, -1}, {2, 2},  {2, -2}};

/// Points and weights that integrate polynomials of degree 13 and less over the sphere exactly.
struct SpherePoint {
    double dTheta, dPhi, dWeight;
};
std::vector<SpherePoint> SpherePoints() {
    constexpr double x[] = {0.0, 0.4058451513773972, 0.7415311855993945, 0.9491079123427585};
    constexpr double w[] = {0.4179591836734694, 0.3818300505051189, 0.2797053914892766,
                            0.1294849661688697};
    constexpr int kPhi = 16;
    std::vector<SpherePoint> points;
    for (int i = -3; i <= 3; ++i)
        for (int k = 0; k < kPhi; ++k)
            points.push_back({std::acos(i < 0 ? -x[-i] : x[i]), 2 * std::numbers::pi * k / kPhi,
                              w[std::abs(i)] * 2 * std::numbers::pi / kPhi});
    return points;
}

/// Integral of Y_i Y_k,q Y_j, for all pairs of orbitals and all k up to 4: [i][j][k k + k + q].
using Gaunt = std::array<std::array<std::array<double, 25>, 9>, 9>;
const Gaunt& Coefficients() {
    static const Gaunt gaunt = [] {
        Gaunt g = {};
        for (const SpherePoint& p : SpherePoints()) {
            double y[25];
            for (int k = 0; k <= 4; ++k)
                for (int q = -k; q <= k; ++q) y[k * k + k + q] = Harmonic(k, q, p.dTheta, p.dPhi);
            for (std::size_t i = 0; i < 9; ++i)
                for (std::size_t j = 0; j < 9; ++j) {
                    const auto [li, mi] = kOrbital[i];
                    const auto [lj, mj] = kOrbital[j];
                    const double d = p.dWeight * y[li * li + li + mi] * y[lj * lj + lj + mj];
                    for (std::size_t k = 0; k < 25; ++k) g[i][j][k] += d * y[k];
                }
        }
        return g;
    }();
    return gaunt;
}

/// Radial integral R^k of (ij|kl), hartree; 0 where the method neglects it.
double Radial(int li, int lj, int lk, int ll, int k) {
    const ZindoRow& row = setup.pZindo[kIron - 1];
    const double c = kHartreePerEv;
    if (li == lj && lk == ll) {
        const int a = std::min(li, lk), b = std::max(li, lk);
        if (k == 0) return b < 2 ? kGss : a < 2 ? kGsd : kGdd;
        if (k == 2 && a == 1) return c * (b == 1 ? row.dSlaterF2pp : row.dSlaterF2pd);
        if (k == 2 && a == 2) return c * row.dSlaterF2dd;
        return k == 4 && a == 2 ? c * row.dSlaterF4dd : 0.0;
    }
    if (std::minmax(li, lj) != std::minmax(lk, ll)) return 0.0;
    const int n = std::min(li, lj) + 2 * std::max(li, lj);
    if (n == 2) return k == 1 ? c * row.dSlaterG1sp : 0.0;
    if (n == 4) return k == 2 ? c * row.dSlaterG2sd : 0.0;
    return k == 1 ? c * row.dSlaterG1pd : k == 3 ? c * row.dSlaterG3pd : 0.0;
}

using RadialFunction = double (*)(int li, int lj, int lk, int ll, int k);

double Direct(int i, int j, int k, int l, RadialFunction radial = Radial) {
    const auto& a = Coefficients()[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)];
    const auto& b = Coefficients()[static_cast<std::size_t>(k)][static_cast<std::size_t>(l)];
    double d = 0.0;
    for (int n = 0; n <= 4; ++n) {
        const double dRadial =
            radial(kOrbital[i].l, kOrbital[j].l, kOrbital[k].l, kOrbital[l].l, n);
        double dAngular = 0.0;
        for (int q = 0; q < 2 * n + 1; ++q) {
            const auto t = static_cast<std::size_t>(n * n + q);
            dAngular += a[t] * b[t];
        }
        d += 4 * std::numbers::pi / (2 * n + 1) * dAngular * dRadial;
    }
    return d;
}

// ---- tests -------------------------------------------------------------------------------------

class OneCentre : public FreshState {
  protected:
    OneCentre() {
        setup.pZindo.Take(kRows, kSetUp);
        ZindoRow& row = setup.pZindo[kIron - 1];  // eV, of the size that transition metals have
        row.dSlaterF2pp = 4.1;
        row.dSlaterG1sp = 3.7;
        row.dSlaterF2pd = 1.9;
        row.dSlaterF2dd = 7.3;
        row.dSlaterF4dd = 4.6;
        row.dSlaterG1pd = 0.83;
        row.dSlaterG2sd = 0.71;
        row.dSlaterG3pd = 0.57;
    }

    /// All integrals of an atom by the table: [i][j][k][l].
    static std::vector<double> FullTable(int nOrbitals) {
        double W[kOneCentreValues] = {};
        BuildOneCentreIntegrals(kIron, nOrbitals, kGss, kGsd, kGdd, W);
        return FullTable(OneCentreIntegralsOf(nOrbitals), W);
    }

    static std::vector<double> FullTable(const OneCentreList& list, const double* W) {
        std::vector<double> m(9 * 9 * 9 * 9, 0.0);
        const auto At = [&](int i, int j, int k, int l) -> double& {
            return m[static_cast<std::size_t>(((i * 9 + j) * 9 + k) * 9 + l)];
        };
        for (int t = 0; t < list.nCount; ++t) {
            const auto [i, j, k, l, n] = list.pEntries[t];
            At(i, j, k, l) = At(j, i, k, l) = At(i, j, l, k) = At(j, i, l, k) = W[n];
            At(k, l, i, j) = At(l, k, i, j) = At(k, l, j, i) = At(l, k, j, i) = W[n];
        }
        return m;
    }
};

TEST_F(OneCentre, QuadratureKnowsThatHarmonicsAreOrthonormal) {
    for (std::size_t i = 0; i < 9; ++i)
        for (std::size_t j = 0; j < 9; ++j)
            EXPECT_NEAR(Coefficients()[i][j][0] * std::sqrt(4 * std::numbers::pi), i == j, 1e-13);
}

TEST_F(OneCentre, EveryIntegralEqualsItsExpansionInGauntCoefficients) {
    const std::vector<double> m = FullTable(9);
    std::size_t t = 0;
    // The roots in the list have eight digits.
    for (int i = 0; i < 9; ++i)
        for (int j = 0; j < 9; ++j)
            for (int k = 0; k < 9; ++k)
                for (int l = 0; l < 9; ++l, ++t)
                    ASSERT_NEAR(m[t], Direct(i, j, k, l), 1e-8) << i << j << "|" << k << l;
}

TEST_F(OneCentre, AtomsWithoutDHaveTheIntegralsOfTheirOrbitals) {
    for (const int n : {1, 4}) {
        const std::vector<double> m = FullTable(n);
        std::size_t t = 0;
        for (int i = 0; i < 9; ++i)
            for (int j = 0; j < 9; ++j)
                for (int k = 0; k < 9; ++k)
                    for (int l = 0; l < 9; ++l, ++t) {
                        const bool fOwn = std::max({i, j, k, l}) < n;
                        ASSERT_NEAR(m[t], fOwn ? Direct(i, j, k, l) : 0.0, 1e-8);
                    }
    }
}

TEST_F(OneCentre, ListHoldsEachIntegralOnceInCanonicalOrder) {
    const OneCentreList list = OneCentreIntegralsOf(9);
    std::set<std::array<int, 4>> seen;
    for (int t = 0; t < list.nCount; ++t) {
        const OneCentreEntry& e = list.pEntries[t];
        EXPECT_TRUE(e.i >= e.j && e.k >= e.l);
        EXPECT_TRUE(e.i > e.k || (e.i == e.k && e.j >= e.l));
        EXPECT_TRUE(seen.insert({e.i, e.j, e.k, e.l}).second);
    }
    EXPECT_EQ(OneCentreIntegralsOf(1).nCount, 1);
    EXPECT_EQ(OneCentreIntegralsOf(4).nCount, 16);
}

TEST_F(OneCentre, EveryValueOfTheListIsUsed) {
    const OneCentreList list = OneCentreIntegralsOf(9);
    std::set<int> used;
    for (int t = 0; t < list.nCount; ++t) used.insert(list.pEntries[t].nValue);
    for (int n = 0; n < kOneCentreValues; ++n) EXPECT_EQ(used.count(n), 1u) << n;
    EXPECT_EQ(used.size(), static_cast<std::size_t>(kOneCentreValues));
}

TEST_F(OneCentre, SecondCoulombValueOfTheListIsTheFirst) {
    double W[kOneCentreValues] = {};
    BuildOneCentreIntegrals(kIron, 9, kGss, kGsd, kGdd, W);
    EXPECT_EQ(W[2], kGss);
    EXPECT_EQ(W[0], kGss);
}

TEST_F(OneCentre, ValuesOfMissingShellsAreNotWritten) {
    for (const auto& [nOrbitals, nWritten] : {std::pair{1, 1}, {4, 6}, {9, 45}}) {
        double W[kOneCentreValues];
        std::fill_n(W, kOneCentreValues, -7.0);
        BuildOneCentreIntegrals(kIron, nOrbitals, kGss, kGsd, kGdd, W);
        for (int n = 0; n < kOneCentreValues; ++n) EXPECT_EQ(W[n] == -7.0, n >= nWritten) << n;
    }
}

// ---- with nothing neglected --------------------------------------------------------------------

/// Slater-Condon constants of an atom by shells, 0 to 2: R^k(ab, cd) with a <= b, c <= d and (a, b)
/// not after (c, d). All differ, so that none can stand for another.
const std::map<std::array<int, 5>, double>& Constants() {
    static const std::map<std::array<int, 5>, double> constants = {
        {{0, 0, 0, 0, 0}, 12.2}, {{0, 0, 1, 1, 0}, 8.9}, {{0, 0, 2, 2, 0}, 8.8},
        {{1, 1, 1, 1, 0}, 7.9},  {{1, 1, 2, 2, 0}, 7.6}, {{2, 2, 2, 2, 0}, 7.4},
        {{1, 1, 1, 1, 2}, 4.2},  {{1, 1, 2, 2, 2}, 4.0}, {{2, 2, 2, 2, 2}, 3.9},
        {{2, 2, 2, 2, 4}, 2.5},  {{0, 1, 0, 1, 1}, 7.8}, {{0, 2, 0, 2, 2}, 3.3},
        {{1, 2, 1, 2, 1}, 5.3},  {{1, 2, 1, 2, 3}, 3.2}, {{0, 1, 1, 2, 1}, 4.9},
        {{0, 2, 1, 1, 2}, 3.6},  {{0, 2, 2, 2, 2}, 3.4}};
    return constants;
}

double RadialNddo(int li, int lj, int lk, int ll, int k) {
    std::pair<int, int> a = std::minmax({li, lj}), b = std::minmax({lk, ll});
    if (b < a) std::swap(a, b);
    const auto found = Constants().find({a.first, a.second, b.first, b.second, k});
    return found == Constants().end() ? 0.0 : found->second;
}

class OneCentreNddo : public OneCentre {
  protected:
    OneCentreNddo() {
        Array<NddoExtended>& rows = parameters.Derived.pExtended;
        rows.Take(kRows, kSetUp);
        setup.pExtended = rows.Data();
        NddoExtended& x = rows[kIron - 1];
        const auto R = [](int a, int b, int c, int d, int k) { return RadialNddo(a, b, c, d, k); };
        x.dF0ss = R(0, 0, 0, 0, 0), x.dF0sp = R(0, 0, 1, 1, 0), x.dF0sd = R(0, 0, 2, 2, 0);
        x.dF0pp = R(1, 1, 1, 1, 0), x.dF0pd = R(1, 1, 2, 2, 0), x.dF0dd = R(2, 2, 2, 2, 0);
        x.dF2pp = R(1, 1, 1, 1, 2), x.dF2pd = R(1, 1, 2, 2, 2), x.dF2dd = R(2, 2, 2, 2, 2);
        x.dF4dd = R(2, 2, 2, 2, 4);
        x.dG1sp = R(0, 1, 0, 1, 1), x.dG2sd = R(0, 2, 0, 2, 2);
        x.dG1pd = R(1, 2, 1, 2, 1), x.dG3pd = R(1, 2, 1, 2, 3);
        x.dR1sppd = R(0, 1, 1, 2, 1), x.dR2sdpp = R(0, 2, 1, 1, 2), x.dR2sddd = R(0, 2, 2, 2, 2);
    }
};

TEST_F(OneCentreNddo, EveryIntegralEqualsItsExpansionInGauntCoefficients) {
    for (const int nOrbitals : {1, 4, 9}) {
        double W[kOneCentreValuesNddo] = {};
        BuildOneCentreIntegralsNddo(kIron, nOrbitals, W);
        const std::vector<double> m = FullTable(OneCentreIntegralsNddo(nOrbitals), W);
        std::size_t t = 0;
        // The roots in the list have eight digits.
        for (int i = 0; i < 9; ++i)
            for (int j = 0; j < 9; ++j)
                for (int k = 0; k < 9; ++k)
                    for (int l = 0; l < 9; ++l, ++t) {
                        const bool fOwn = std::max({i, j, k, l}) < nOrbitals;
                        const double d = fOwn ? Direct(i, j, k, l, RadialNddo) : 0.0;
                        ASSERT_NEAR(m[t], d, 3e-7) << i << j << "|" << k << l;
                    }
    }
}

TEST_F(OneCentreNddo, EveryValueOfTheListIsUsed) {
    const OneCentreList list = OneCentreIntegralsNddo(9);
    std::set<int> used;
    for (int t = 0; t < list.nCount; ++t) used.insert(list.pEntries[t].nValue);
    EXPECT_EQ(used.size(), static_cast<std::size_t>(kOneCentreValuesNddo));
}

TEST_F(OneCentreNddo, ValuesOfMissingShellsAreNotWritten) {
    for (const auto& [nOrbitals, nWritten] : {std::pair{1, 1}, {4, 6}, {9, 58}}) {
        double W[kOneCentreValuesNddo];
        std::fill_n(W, kOneCentreValuesNddo, -7.0);
        BuildOneCentreIntegralsNddo(kIron, nOrbitals, W);
        for (int n = 0; n < kOneCentreValuesNddo; ++n) EXPECT_EQ(W[n] == -7.0, n >= nWritten) << n;
    }
}

}  // namespace
}  // namespace qsolve
