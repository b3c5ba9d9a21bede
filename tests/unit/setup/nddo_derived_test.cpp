#include "setup/nddo_derived.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <limits>
#include <string>

#include "job/state.h"
#include "link/link.h"
#include "setup/job_tables.h"
#include "setup/radial_integrals.h"
#include "setup/state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/parameter_files.h"
#include "tests/support/point_charges.h"
#include "tests/support/source_folder.h"

namespace qsolve {
namespace {

constexpr double kHartree = 27.211396;  // eV

class NddoDerived : public FreshState {
  protected:
    /// Gives a row of the client's table d orbitals.
    static NddoRow& GiveD(const char* sSymbol) {
        NddoRow& row = parameters.pNddoParams[RowOf(sSymbol)];
        row.dUdd = -20.0;
        row.dBetaD = -5.0;
        row.dZetaD = 1.3;
        row.dGdd = 6.0;
        row.dGsd = 5.5;
        row.dHsd = 0.7;
        return row;
    }

    static const NddoExtended& Derived(const char* sSymbol) {
        return setup.pExtended[RowOf(sSymbol)];
    }
};

class NddoDerivedOf : public NddoDerived, public testing::WithParamInterface<int> {};

/// What the columns of the tables that hold derived values may differ by: half of their last digit
/// and the tolerance of the solver.
constexpr double kPrinted = 3e-6;

TEST_P(NddoDerivedOf, TabulatedValuesComeBackWhenTheyAreMissing) {
    LoadParameters(GetParam());
    Array<NddoRow> tabulated;
    tabulated.Take(kRows, kSetUp);
    for (int i = 0; i < kRows; ++i) {
        NddoRow& row = parameters.pNddoParams[i];
        tabulated[i] = row;
        row.dRho0 = row.dRho1 = row.dRho2 = row.dDipoleDistance = row.dQuadDistance = 0;
    }
    ASSERT_TRUE(DeriveNddoDParameters());
    int nCompared = 0;
    for (int i = 0; i < kRows; ++i) {
        const NddoRow& row = setup.pNddo[i];
        EXPECT_NEAR(row.dRho0, tabulated[i].dRho0, kPrinted) << i;
        if (!setup.pExtended[i].fHasP) continue;
        ++nCompared;
        EXPECT_NEAR(row.dRho1, tabulated[i].dRho1, kPrinted) << i;
        EXPECT_NEAR(row.dDipoleDistance, tabulated[i].dDipoleDistance, kPrinted) << i;
        EXPECT_NEAR(row.dQuadDistance, tabulated[i].dQuadDistance, kPrinted) << i;
        // Not in rows with d, where the table's value is that of its own dGp2, which is replaced.
        if (setup.pExtended[i].fHasD) continue;
        EXPECT_NEAR(row.dRho2, tabulated[i].dRho2, kPrinted) << i;
    }
    EXPECT_GT(nCompared, 60);
}

TEST_P(NddoDerivedOf, ValuesOfTheTableAreKeptInRowsWithoutD) {
    LoadParameters(GetParam());
    NddoRow& carbon = parameters.pNddoParams[RowOf("C")];
    carbon.dRho1 = 0.321;
    carbon.dQuadDistance = 0.987;
    ASSERT_TRUE(DeriveNddoDParameters());
    for (int i = 0; i < kRows; ++i) {
        if (setup.pExtended[i].fHasD) continue;
        EXPECT_EQ(std::memcmp(&setup.pNddo[i], &parameters.pNddoParams[i], sizeof(NddoRow)), 0)
            << i;
    }
}

TEST_P(NddoDerivedOf, AnyNumberOfCallsGivesTheSame) {
    LoadParameters(GetParam());
    GiveD("Cl");
    ASSERT_TRUE(DeriveNddoDParameters());
    Array<NddoRow> rows;
    rows.Take(kRows, kSetUp);
    for (int i = 0; i < kRows; ++i) rows[i] = setup.pNddo[i];
    const NddoExtended chlorine = Derived("Cl");
    ASSERT_TRUE(DeriveNddoDParameters());
    EXPECT_EQ(std::memcmp(rows.Data(), setup.pNddo.Data(), kRows * sizeof(NddoRow)), 0);
    EXPECT_EQ(Derived("Cl").dRho2dd, chlorine.dRho2dd);
    EXPECT_EQ(Derived("Cl").dZetaD, chlorine.dZetaD);
    EXPECT_NE(chlorine.dRho2dd, 0.0);
}

TEST_P(NddoDerivedOf, AnotherTableIsDerivedAnew) {
    LoadParameters(GetParam());
    DeriveNddoDParameters();
    const int nRow = RowOf("C");
    const double dBefore = setup.pExtended[nRow].dD1sp;
    parameters.pNddoParams[nRow].dZetaP *= 2.0;
    DeriveNddoDParameters();
    EXPECT_LT(setup.pExtended[nRow].dD1sp, 0.9 * dBefore);
    EXPECT_EQ(setup.pNddo[nRow].dZetaP, parameters.pNddoParams[nRow].dZetaP);
    parameters.pNddoParams[nRow].dZetaP /= 2.0;
    DeriveNddoDParameters();
    EXPECT_EQ(setup.pExtended[nRow].dD1sp, dBefore);
}

TEST_F(NddoDerived, AnotherMethodWithTheSameTableIsDerivedAnew) {
    LoadParameters(kMndo);
    DeriveNddoDParameters();
    GiveD("S");
    DeriveNddoDParameters();
    const NddoExtended before = Derived("S");
    system.MethodId = kPm3;  // takes integrals of s and p from the functions
    DeriveNddoDParameters();
    EXPECT_NE(Derived("S").dF0sp, before.dF0sp);
}

INSTANTIATE_TEST_SUITE_P(Methods, NddoDerivedOf, testing::Values(kMndo, kAm1, kPm3, kMndoD),
                         [](const auto& test) { return MethodFileName(test.param); });

class MndoD : public NddoDerived, public testing::WithParamInterface<const char*> {
  protected:
    MndoD() {
        LoadParameters(kMndoD);
        fDerived_ = DeriveNddoDParameters();
    }
    bool fDerived_;
};

TEST_P(MndoD, AdditiveTermsReproduceTheOneCentreIntegrals) {
    ASSERT_TRUE(fDerived_);
    const NddoExtended& x = Derived(GetParam());
    const auto dipole = [](double d, double v) {
        return kHartree * SelfInteraction(Dipole(d), 0.5 / v);
    };
    const auto quadrupole = [](double d, double v) {
        return kHartree * SelfInteraction(SquareQuadrupole(d), 0.5 / v);
    };
    // One-centre integrals (sp|sp), (xy|xy) of p, the dipole of p and d, (s dxz|s dxz), and the
    // quadrupole of d, in Slater-Condon parameters. The solver leaves 1e-10 bohr.
    EXPECT_NEAR(dipole(x.dD1sp, x.dRho1sp), x.dG1sp / 3, 1e-6);
    EXPECT_NEAR(quadrupole(x.dD2pp, x.dRho2pp), 3.0 / 25 * x.dF2pp, 1e-6);
    EXPECT_NEAR(dipole(x.dD1pd, x.dRho1pd), 4.0 / 15 * x.dG1pd, 1e-6);
    EXPECT_NEAR(quadrupole(x.dD2sd, x.dRho2sd), x.dG2sd / 5, 1e-6);
    EXPECT_NEAR(quadrupole(x.dD2dd, x.dRho2dd), 3.0 / 49 * x.dF2dd, 1e-6);
    // A charge with itself: 1 / (2 rho).
    EXPECT_NEAR(kHartree * x.dRho0ss, x.dF0ss, 1e-9);
    EXPECT_NEAR(kHartree * x.dRho0dd, x.dF0dd, 1e-9);
    EXPECT_EQ(x.dRho0pp, x.dRho0ss);
}

TEST_P(MndoD, EffectiveExponentsGiveBackTheIntegralsOfTheTable) {
    const NddoExtended& x = Derived(GetParam());
    const NddoRow& sent = parameters.pNddoParams[RowOf(GetParam())];
    EXPECT_NEAR(x.dF0ss, sent.dGss, 1e-9);
    EXPECT_NEAR(x.dF0pp + 4.0 / 25 * x.dF2pp, sent.dGpp, 1e-9);
    EXPECT_NEAR(x.dF0dd + 4.0 / 49 * (x.dF2dd + x.dF4dd), sent.dGdd, 1e-9);
    EXPECT_EQ(x.dF0sp, sent.dGsp);
    EXPECT_EQ(x.dG1sp, 3 * sent.dHsp);
}

// F of two shells is the repulsion of their densities, G that of their product with itself.
TEST_P(MndoD, OneCentreIntegralsAreThoseOfTheirNames) {
    const NddoExtended& x = Derived(GetParam());
    const SlaterShell s{x.nShell, x.dZetaS}, p{x.nShell, x.dZetaP}, d{x.nShellD, x.dZetaD};
    const auto R = [](int k, const auto&... shells) {
        return kHartree * RadialIntegral(k, shells...);
    };
    const auto F = [R](int k, auto a, auto b) { return R(k, a, b, a, b); };
    const auto G = [R](int k, auto a, auto b) { return R(k, a, a, b, b); };
    EXPECT_NEAR(x.dF0pp, F(0, p, p), 1e-9);
    EXPECT_NEAR(x.dF0dd, F(0, d, d), 1e-9);
    EXPECT_NEAR(x.dF0pd, F(0, p, d), 1e-9);
    EXPECT_NEAR(x.dF0sd, F(0, s, d), 1e-9);
    EXPECT_NEAR(x.dF2pp, F(2, p, p), 1e-9);
    EXPECT_NEAR(x.dF2dd, F(2, d, d), 1e-9);
    EXPECT_NEAR(x.dF2pd, F(2, p, d), 1e-9);
    EXPECT_NEAR(x.dF4dd, F(4, d, d), 1e-9);
    EXPECT_NEAR(x.dG1pd, G(1, p, d), 1e-9);
    EXPECT_NEAR(x.dG3pd, G(3, p, d), 1e-9);
    EXPECT_NEAR(x.dG2sd, G(2, s, d), 1e-9);
    EXPECT_NEAR(x.dR1sppd, R(1, s, p, p, d), 1e-9);
    EXPECT_NEAR(x.dR2sdpp, R(2, s, p, d, p), 1e-9);
    EXPECT_NEAR(x.dR2sddd, R(2, s, d, d, d), 1e-9);
}

TEST_P(MndoD, TheRowTakesTheMultipolesOfSAndP) {
    const NddoExtended& x = Derived(GetParam());
    const NddoRow& row = setup.pNddo[RowOf(GetParam())];
    EXPECT_EQ(row.dRho0, x.dRho0ss);
    EXPECT_EQ(row.dRho1, x.dRho1sp);
    EXPECT_EQ(row.dRho2, x.dRho2pp);
    EXPECT_EQ(row.dDipoleDistance, x.dD1sp);
    EXPECT_EQ(row.dQuadDistance, x.dD2pp);
    // (xx|xx) - (xx|yy) = 2 (xy|xy), as in any frame.
    EXPECT_NEAR(row.dGpp - row.dGp2, 6.0 / 25 * x.dF2pp, 1e-9);
}

TEST_P(MndoD, SeparationsAreThoseOfTheOverlapExponents) {
    const NddoExtended& x = Derived(GetParam());
    const NddoRow& row = setup.pNddo[RowOf(GetParam())];
    const double n = x.nShell;  // the d shell is the same in all these elements
    ASSERT_EQ(x.nShellD, x.nShell);
    const auto moment1 = [n](double a, double b) {
        return (2 * n + 1) * std::pow(4 * a * b, n + 0.5) / std::pow(a + b, 2 * n + 2);
    };
    const auto moment2 = [n](double a, double b) {
        const double dFactor = (2 * n + 1) * (2 * n + 2);
        return dFactor * std::pow(4 * a * b, n + 0.5) / std::pow(a + b, 2 * n + 3);
    };
    const double s = row.dZetaS, p = row.dZetaP, d = row.dZetaD;
    EXPECT_NEAR(x.dD1sp, moment1(s, p) / std::sqrt(3), 1e-12);
    EXPECT_NEAR(x.dD1pd, moment1(p, d) / std::sqrt(5), 1e-12);
    EXPECT_NEAR(x.dD2pp, std::sqrt(moment2(p, p) / 5), 1e-12);
    EXPECT_NEAR(x.dD2sd, std::sqrt(moment2(s, d) / std::sqrt(15)), 1e-12);
    EXPECT_NEAR(x.dD2dd, std::sqrt(moment2(d, d) / 7), 1e-12);
}

INSTANTIATE_TEST_SUITE_P(Elements, MndoD, testing::Values("Al", "Si", "P", "S", "Cl", "Br", "I"),
                         [](const auto& test) { return std::string(test.param); });

TEST_F(NddoDerived, EffectiveExponentsAreThePublishedOnes) {
    LoadParameters(kMndoD);
    ASSERT_TRUE(DeriveNddoDParameters());
    std::ifstream file(SourcePath("tests/reference/mndod_internal_exponents.txt"));
    int nElements = 0;
    for (std::string sSymbol; file >> sSymbol;) {
        if (sSymbol[0] == '#') {
            std::getline(file, sSymbol);
            continue;
        }
        double s = 0, p = 0, d = 0;
        file >> s >> p >> d;
        const NddoExtended& x = Derived(sSymbol.c_str());
        // Published with 27.21 eV per hartree; the table's dGdd is made with ours.
        const double dScale = kHartree / 27.21;
        EXPECT_NEAR(x.dZetaS * dScale, s, 2e-6) << sSymbol;
        EXPECT_NEAR(x.dZetaP * dScale, p, 2e-6) << sSymbol;
        EXPECT_NEAR(x.dZetaD, d, 2e-6) << sSymbol;
        ++nElements;
    }
    EXPECT_EQ(nElements, 7);
}

TEST_F(NddoDerived, Pm3TakesSpFromTheFunctionsAndSdFromTheTable) {
    for (const int nMethod : {kAm1, kPm3}) {
        LoadParameters(nMethod);
        const NddoRow sent = GiveD("S");
        ASSERT_TRUE(DeriveNddoDParameters());
        const NddoExtended& x = Derived("S");
        const SlaterShell s{3, x.dZetaS}, p{3, x.dZetaP}, d{3, x.dZetaD};
        const bool fPm3 = nMethod == kPm3;
        const double dF0sp = kHartree * RadialIntegral(0, s, p, s, p);
        const double dF0sd = kHartree * RadialIntegral(0, s, d, s, d);
        EXPECT_DOUBLE_EQ(x.dF0sp, fPm3 ? dF0sp : sent.dGsp);
        EXPECT_DOUBLE_EQ(x.dF0sd, fPm3 ? sent.dGsd : dF0sd);
        EXPECT_EQ(x.dG2sd == 5 * sent.dHsd, fPm3);
        EXPECT_EQ(x.dG1sp == 3 * sent.dHsp, !fPm3);
        EXPECT_TRUE(x.fHasD);
    }
}

TEST_F(NddoDerived, RowsWithoutPHaveAMonopoleOnly) {
    LoadParameters(kAm1);
    parameters.pNddoParams[0].dRho0 = 0;
    ASSERT_TRUE(DeriveNddoDParameters());
    const NddoExtended& hydrogen = Derived("H");
    EXPECT_TRUE(hydrogen.fPrepared);
    EXPECT_FALSE(hydrogen.fHasP);
    EXPECT_NEAR(setup.pNddo[0].dRho0 * kHartree, parameters.pNddoParams[0].dGss, 1e-9);
    EXPECT_EQ(hydrogen.dD1sp, 0.0);
    EXPECT_EQ(hydrogen.dRho1sp, 0.0);
    EXPECT_EQ(hydrogen.dRho2pp, 0.0);
}

TEST_F(NddoDerived, ShellsTooLowForDOrPHaveNone) {
    LoadParameters(kMndoD);
    GiveD("C");
    GiveD("H");
    NddoRow& hydrogen = parameters.pNddoParams[0];
    hydrogen.dUpp = hydrogen.dBetaP = -10;
    hydrogen.dZetaP = 1;
    ASSERT_TRUE(DeriveNddoDParameters());
    EXPECT_FALSE(Derived("C").fHasD);
    EXPECT_TRUE(Derived("C").fHasP);
    EXPECT_FALSE(Derived("H").fHasD);
    EXPECT_FALSE(Derived("H").fHasP);
}

TEST_F(NddoDerived, AnUnsolvableRowIsReportedAndSparesTheOthers) {
    LoadParameters(kMndoD);
    parameters.pNddoParams[RowOf("C")].dHsp = 0;  // no dipole term by its own numbers
    parameters.pNddoParams[RowOf("N")].dZetaS = 1e300;
    EXPECT_FALSE(DeriveNddoDParameters());
    EXPECT_EQ(Derived("C").dRho1sp, 0.0);
    EXPECT_NE(Derived("C").dRho2pp, 0.0);
    EXPECT_NE(Derived("Cl").dRho2dd, 0.0);
    for (int i = 0; i < kRows; ++i) {
        EXPECT_TRUE(std::isfinite(setup.pExtended[i].dD1sp)) << i;
        EXPECT_TRUE(std::isfinite(setup.pNddo[i].dDipoleDistance)) << i;
    }
}

/// A term that was not found is a failure of the whole, also where it is the only one.
TEST_F(NddoDerived, OneTermThatIsNotFoundIsAFailure) {
    LoadParameters(kMndoD);
    ASSERT_TRUE(DeriveNddoDParameters());
    parameters.pNddoParams[RowOf("C")].dHsp = 0;
    EXPECT_FALSE(DeriveNddoDParameters());
    EXPECT_EQ(Derived("C").dRho1sp, 0.0);
}

TEST_F(NddoDerived, AnyNumberInTheTableGivesFiniteRows) {
    for (const double d : {0.0, 1.0, -1.0, 1e-5, 1e38, -1e38, 1e300, 1e-300})
        for (std::size_t k = 0; k < sizeof(NddoRow) / sizeof(double); ++k) {
            LoadParameters(kMndoD);
            NddoRow& row = parameters.pNddoParams[RowOf("Cl")];
            std::memcpy(reinterpret_cast<char*>(&row) + k * sizeof d, &d, sizeof d);
            DeriveNddoDParameters();
            const NddoExtended& x = Derived("Cl");
            for (const double dValue : {x.dZetaS, x.dZetaD, x.dG1pd, x.dR2sddd, x.dD1sp, x.dD2dd,
                                        x.dRho0ss, x.dRho1pd, x.dRho2dd})
                ASSERT_TRUE(std::isfinite(dValue)) << "field " << k << " = " << d;
        }
}

TEST_F(NddoDerived, NoTableIsAFailure) {
    system.MethodId = kMndoD;
    EXPECT_FALSE(DeriveNddoDParameters());
}

}  // namespace
}  // namespace qsolve
