#include "integrals/nddo_core_core.h"

#include <gtest/gtest.h>

#include <cmath>

#include "integrals/mindo3.h"
#include "integrals/nddo_classical.h"
#include "integrals/nddo_pair_sp.h"
#include "job/state.h"
#include "setup/state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scf_job.h"

namespace qsolve {
namespace {

/// Two atoms of the published tables along x. Energies are compared with the formulas written out.
class CoreCore : public FreshState {
  protected:
    static double Energy(int nMethod, int nA, int nB, double R, double dSs) {
        JobScript script = Molecule(nMethod, {{nA, 0, 0, 0}, {nB, R, 0, 0}});
        script.Options.nSpinTreatment = 1;
        script.Options.nMultiplicity = static_cast<int>(Core(nA) + Core(nB)) % 2 == 0 ? 1 : 2;
        SetUpJob(script);
        const double dAb = NddoCoreCore(NddoAtomAt(0), NddoAtomAt(1), R, dSs);
        EXPECT_DOUBLE_EQ(NddoCoreCore(NddoAtomAt(1), NddoAtomAt(0), R, dSs), dAb);
        return dAb;
    }
    static double Alpha(int nElement) { return setup.pNddo[nElement - 1].dAlpha; }
    static double Core(int nElement) { return kCoreCharge[nElement - 1]; }
    static double Gaussians(int nElement, double R, int nFrom = 0) {
        const GaussianRow& row = parameters.pGaussianParams[nElement - 1];
        double d = 0.0;
        for (int k = nFrom; k < 10; ++k)
            d += row.dK[k] * std::exp(-row.dL[k] * (R - row.dM[k]) * (R - row.dM[k]));
        return d;
    }
};

TEST_F(CoreCore, ScreensWithBothExponentials) {
    const double R = 1.2, E = Energy(kMndo, 6, 8, R, 9.0);
    EXPECT_NEAR(E, 24 * 9.0 * (1 + std::exp(-Alpha(6) * R) + std::exp(-Alpha(8) * R)), 1e-12);
}

TEST_F(CoreCore, OfNitrogenAndOxygenWithHydrogenHasTheDistanceInTheirTerm) {
    const double R = 1.1;
    for (const int nHeavy : {7, 8}) {
        const double E = Energy(kMndo, nHeavy, 1, R, 11.0);
        const double s = R * std::exp(-Alpha(nHeavy) * R) + std::exp(-Alpha(1) * R);
        EXPECT_NEAR(E, Core(nHeavy) * 11.0 * (1 + s), 1e-12) << nHeavy;
    }
    // Carbon next to hydrogen knows no such rule.
    const double E = Energy(kMndo, 6, 1, R, 11.0);
    EXPECT_NEAR(E, 44 * (1 + std::exp(-Alpha(6) * R) + std::exp(-Alpha(1) * R)), 1e-12);
}

TEST_F(CoreCore, TakesThePartOfNitrogenWithHeliumByTheSumOfTheirNumbers) {
    // No table has helium: its row is made for the test.
    SetUpJob(Molecule(kMndo, {{7, 0, 0, 0}, {1, 1, 0, 0}, {1, 0, 1, 0}, {1, 0, 0, 1}}));
    setup.pNddo[1].dAlpha = 3.0;
    const NddoAtom n = NddoAtomAt(0), he = NddoAtomOf(2);
    const double R = 1.7, s = R * std::exp(-n.pRow->dAlpha * R) + std::exp(-3.0 * R);
    EXPECT_NEAR(NddoCoreCore(n, he, R, 5.0), 5 * Core(2) * 5.0 * (1 + s), 1e-12);
}

TEST_F(CoreCore, OfNegativeScreeningRepelsAllTheSame) {
    SetUpJob(Molecule(kMndo, {{6, 0, 0, 0}, {6, 1, 0, 0}}));
    const double R = 0.4, g = -3.0;
    const double s = 2 * std::exp(-Alpha(6) * R);
    EXPECT_NEAR(NddoCoreCore(NddoAtomAt(0), NddoAtomAt(1), R, g), 16 * (g + s * 3.0), 1e-12);
}

TEST_F(CoreCore, AddsTheGaussiansOfBothAtoms) {
    for (const int nMethod : {kAm1, kPm3}) {
        const double R = 1.5, E = Energy(nMethod, 6, 8, R, 8.0);
        const double s = std::exp(-Alpha(6) * R) + std::exp(-Alpha(8) * R);
        const double dGaussians = Gaussians(6, R) + Gaussians(8, R);
        EXPECT_NE(dGaussians, 0.0);
        EXPECT_NEAR(E, 24 * (8.0 * (1 + s) + dGaussians / R), 1e-11) << nMethod;
    }
}

TEST_F(CoreCore, KeepsGaussiansThatHaveDiedAtTheirLeast) {
    const double R = 40.0, E = Energy(kAm1, 6, 6, R, 0.0);
    const GaussianRow& row = parameters.pGaussianParams[5];
    double d = 0.0;
    for (const double K : row.dK) d += 2 * K * std::exp(-25.0);
    EXPECT_GT(std::abs(d), 1e-13);
    EXPECT_NEAR(E / (16 / R * d), 1.0, 1e-12);
}

TEST_F(CoreCore, OfBoronTakesItsGaussiansByThePartner) {
    // First coefficient of the set: by hydrogen, carbon, the halogens and all others.
    for (const int nSum : {6, 11, 14, 22, 40, 58, 12, 10, 7, 13}) {
        const bool fHalogen = nSum == 14 || nSum == 22 || nSum == 40 || nSum == 58;
        const double K = nSum == 6    ? 0.412253
                         : nSum == 11 ? 0.261751
                         : fHalogen   ? 0.359244
                                      : 0.182613;
        EXPECT_EQ(BoronGaussians(nSum)[0].K, K) << nSum;
    }
    const double R = 1.6, E = Energy(kAm1, 5, 6, R, 7.0);
    const double s = std::exp(-Alpha(5) * R) + std::exp(-Alpha(6) * R);
    const auto G = [&](double K, double L, double M) {
        return K * std::exp(-L * (R - M) * (R - M));
    };
    const double dBoron = G(0.261751, 8, 1.063995) + G(0.050275, 5, 1.936492) + Gaussians(5, R, 3);
    EXPECT_NEAR(E, 12 * (7.0 * (1 + s) + (dBoron + Gaussians(6, R)) / R), 1e-11);
    // The table itself stays what the client sent: by itself and nitrogen it is the default set.
    const double E2 = Energy(kAm1, 5, 7, R, 7.0);
    const double dDefault = G(0.182613, 6, 0.727592) + G(0.118587, 6, 1.466639) +
                            G(-0.07328, 5, 1.570975) + Gaussians(5, R, 3);
    const double s2 = std::exp(-Alpha(5) * R) + std::exp(-Alpha(7) * R);
    EXPECT_NEAR(E2, 15 * (7.0 * (1 + s2) + (dDefault + Gaussians(7, R)) / R), 1e-11);
}

// ---- derivatives --------------------------------------------------------------------------------

constexpr double kStep = 1e-3;  ///< of five-point differences, Angstrom

template <class Function>
double Slope(Function f, double R) {
    return (8.0 * (f(R + kStep) - f(R - kStep)) - (f(R + 2.0 * kStep) - f(R - 2.0 * kStep))) /
           (12.0 * kStep);
}

/// Elements of a pair, and distances: of a bond, and where Gaussians are held at exp(-25).
struct CorePair {
    int nMethod, nA, nB;
};
constexpr double kDistances[] = {0.8, 1.1, 1.7, 2.6, 3.9, 7.0};

class CoreCoreSlope : public FreshState, public testing::WithParamInterface<CorePair> {
  protected:
    CoreCoreSlope() {
        SetUpJob(Water(GetParam().nMethod));
        a = NddoAtomOf(GetParam().nA);
        b = NddoAtomOf(GetParam().nB);
    }
    double Ss(double R) const {
        if (system.MethodId == kMindo3) return MindoCoulomb(a, b, R);
        double g[kLocalIntegrals];
        ComputeLocalIntegrals(a, b, R, g);
        return g[0];
    }
    double SsSlope(double R) const {
        return Slope([this](double r) { return Ss(r); }, R);
    }
    NddoAtom a, b;
};

TEST_P(CoreCoreSlope, OfTheExcessIsThatOfTheEnergy) {
    const double ZZ = a.dCore * b.dCore;
    const bool fMindo = system.MethodId == kMindo3;
    const auto excess = [&](double R) {
        const double dEnergy =
            fMindo ? MindoCoreCore(a, b, R, Ss(R)) : NddoCoreCore(a, b, R, Ss(R));
        return dEnergy - ZZ * Ss(R);
    };
    for (const double R : kDistances) {
        const double dSlope = fMindo ? MindoCoreExcessSlope(a, b, R, Ss(R), SsSlope(R))
                                     : NddoCoreExcessSlope(a, b, R, Ss(R), SsSlope(R));
        EXPECT_NEAR(dSlope, Slope(excess, R), 1e-7 * (1.0 + std::abs(dSlope))) << R;
    }
}

TEST_P(CoreCoreSlope, OfAClassicalChargeIsThatOfTheEnergy) {
    const double vDirection[] = {0, 0, 1}, ZZ = a.dCore * b.dCore;
    const bool fMindo = system.MethodId == kMindo3;
    const auto excess = [&](double R) {
        if (fMindo) {
            const double x = std::exp(
                -setup.pMindoPairs[MindoPairIndex(a.Listed.nElement, b.Listed.nElement)].dAlphaAB *
                R);
            return ZZ * (14.399651703941002 / R - Ss(R)) * x;
        }
        double v[kClassicalProducts], f = 0.0;
        ClassicalPotential(a, b, vDirection, R, v, &f);
        return ZZ * v[0] * (f - 1.0);
    };
    for (const double R : kDistances) {
        const double dSlope = fMindo ? ClassicalExcessSlopeMindo(a, b, R, Ss(R), SsSlope(R))
                                     : ClassicalExcessSlopeNddo(a, b, R, Ss(R), SsSlope(R));
        EXPECT_NEAR(dSlope, Slope(excess, R), 1e-7 * (1.0 + std::abs(dSlope))) << R;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Pairs, CoreCoreSlope,
    testing::Values(CorePair{kMndo, 6, 1}, CorePair{kMndo, 1, 8}, CorePair{kMndo, 7, 1},
                    CorePair{kAm1, 8, 1}, CorePair{kAm1, 1, 7}, CorePair{kAm1, 6, 8},
                    CorePair{kAm1, 5, 1}, CorePair{kAm1, 6, 5}, CorePair{kAm1, 5, 9},
                    CorePair{kAm1, 17, 5}, CorePair{kAm1, 5, 7}, CorePair{kPm3, 7, 1},
                    CorePair{kPm3, 16, 17}, CorePair{kMindo3, 6, 1}, CorePair{kMindo3, 1, 7},
                    CorePair{kMindo3, 8, 1}, CorePair{kMindo3, 7, 8}));

}  // namespace
}  // namespace qsolve
