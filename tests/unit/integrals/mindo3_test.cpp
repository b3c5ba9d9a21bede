#include "integrals/mindo3.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/support/fresh_state.h"
#include "tests/support/scf_job.h"

namespace qsolve {
namespace {

class Mindo : public FreshState {
  protected:
    /// Methanol's kinds of bonds, at places that do not matter.
    Mindo() {
        SetUpJob(Molecule(kMindo3, {{6, 0, 0, 0},
                                    {8, 1.4, 0, 0},
                                    {1, 0, 1, 0},
                                    {1, 2, 1, 0},
                                    {7, 0, 0, 2},
                                    {1, 3, 3, 3}}));
        C = NddoAtomAt(0);
        O = NddoAtomAt(1);
        H = NddoAtomAt(2);
        N = NddoAtomAt(4);
    }
    static const MindoPair& Pair(int nA, int nB) {
        return setup.pMindoPairs[MindoPairIndex(nA, nB)];
    }
    NddoAtom C, O, H, N;
};

TEST_F(Mindo, CoulombIntegralIsTheMeanOneCentreOneAtNoDistance) {
    EXPECT_NEAR(MindoCoulomb(C, C, 0.0), C.pRow->dRho1, 1e-12);
    const double dHarmonic = 2.0 / (1.0 / C.pRow->dRho1 + 1.0 / O.pRow->dRho1);
    EXPECT_NEAR(MindoCoulomb(C, O, 0.0), dHarmonic, 1e-12);
    EXPECT_NEAR(MindoCoulomb(C, O, 1e6) * 1e6, 14.399651703941002, 1e-9);
}

TEST_F(Mindo, CoresRepelAsPointsWhereTheyAreNotScreened) {
    const double R = 1.4, g = MindoCoulomb(C, O, R), x = std::exp(-Pair(6, 8).dAlphaAB * R);
    EXPECT_NEAR(MindoCoreCore(C, O, R, g), 24 * (g + (14.399651703941002 / R - g) * x), 1e-11);
    EXPECT_EQ(MindoCoreCore(O, C, R, g), MindoCoreCore(C, O, R, g));
}

TEST_F(Mindo, HydrogenOnNitrogenAndOxygenHasAFactorForItsExponent) {
    const double R = 1.0;
    for (const NddoAtom& heavy : {N, O}) {
        const double g = MindoCoulomb(heavy, H, R);
        const double x = Pair(heavy.Listed.nElement, 1).dAlphaAB * std::exp(-R);
        const double E = heavy.dCore * (g + (14.399651703941002 / R - g) * x);
        EXPECT_NEAR(MindoCoreCore(heavy, H, R, g), E, 1e-11);
        EXPECT_NEAR(MindoCoreCore(H, heavy, R, g), E, 1e-11);
    }
    const double g = MindoCoulomb(C, H, R), x = std::exp(-Pair(6, 1).dAlphaAB * R);
    EXPECT_NEAR(MindoCoreCore(C, H, R, g), 4 * (g + (14.399651703941002 / R - g) * x), 1e-11);
}

TEST_F(Mindo, ResonanceIsByThePairAndTheIonisationPotentials) {
    const double dBeta = Pair(6, 8).dBetaAB;
    const NddoRow &c = setup.pNddo[5], &o = setup.pNddo[7];
    EXPECT_DOUBLE_EQ(MindoResonance(C, 0, O, 3), dBeta * (c.dDipoleDistance + o.dQuadDistance));
    EXPECT_DOUBLE_EQ(MindoResonance(C, 2, O, 0), dBeta * (c.dQuadDistance + o.dDipoleDistance));
    EXPECT_LT(MindoResonance(C, 0, O, 0), 0.0);
}

}  // namespace
}  // namespace qsolve
