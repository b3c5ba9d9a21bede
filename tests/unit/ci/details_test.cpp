#include "ci/details.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "job/methods.h"
#include "job/state.h"
#include "link/link.h"
#include "scf/state.h"
#include "setup/state.h"
#include "tests/support/ci_case.h"
#include "tests/support/fresh_state.h"

namespace qsolve {
namespace {

class Details : public FreshState {
  protected:
    /// Keeps the first nStates states.
    void Keep(const CiCase& c, int nStates, double dLeast) {
        SolveCase(c, interaction);
        properties_.resize(static_cast<std::size_t>(interaction.Configs.nConfigs));
        FillProperties(LevelsOfScf(), interaction, interaction.Configs.nConfigs,
                       properties_.data());
        KeepDetails(interaction, properties_.data(), 0, {nStates, dLeast}, details);
    }
    std::vector<double> State(int nPlace) const {
        std::vector<double> v(static_cast<std::size_t>(interaction.Configs.nConfigs));
        TakeState(interaction.States, nPlace, v.data());
        return v;
    }
    Interaction interaction;
    std::vector<StateProperties> properties_;
    CiDetails details;
};

TEST_F(Details, HoldEveryStateAndAllItsCoefficientsWhereThatIsAsked) {
    Keep({kZindoS, kBentFormaldehyde, 1, false, false, 3, 2}, 1000, 0.0);
    ASSERT_EQ(details.States.Size(), 13u);
    EXPECT_EQ(details.nConfigs, 13);
    EXPECT_EQ(details.nFirstLevel, 4);  // twelve electrons: levels 4 to 6 and 7 to 8
    EXPECT_EQ(details.nLevels, 5);
    EXPECT_EQ(details.nAlpha, 3);
    EXPECT_EQ(details.nBeta, 3);
    std::size_t n = 0;
    for (int k = 0; k < 13; ++k) {
        const CiStateDetail& s = details.States[k];
        const StateProperties& p = properties_[static_cast<std::size_t>(k)];
        EXPECT_EQ(s.nVector, k);
        EXPECT_NEAR(s.dEnergy, interaction.States.vCiEnergy[k] * 27.211396, 1e-12);
        EXPECT_EQ(s.dSpin, p.dSpin);
        EXPECT_EQ(s.dSpinSquare, interaction.States.vSpinSquare[k]);
        EXPECT_EQ(s.dOscillator, p.dOscillator);
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(s.vDipole[i], p.vDipole[i]);
            EXPECT_EQ(s.vTransition[i], p.vTransition[i]);
        }
        double dSquare = 0.0;
        for (int i = 0; i < s.nContributions; ++i, ++n)
            dSquare +=
                details.Contributions[n].dCoefficient * details.Contributions[n].dCoefficient;
        EXPECT_NEAR(dSquare, 1.0, 1e-12) << k;
    }
    EXPECT_EQ(n, details.Contributions.Size());
}

/// In singles the configurations come as the orbitals between which the electron moves.
TEST_F(Details, NameTheExcitationsOfSingles) {
    Keep({kZindoS, kBentFormaldehyde, 1, false, false, 3, 2}, 13, -1.0);
    // Nothing is left out: 13 a state, in the order of the configurations.
    ASSERT_EQ(details.Contributions.Size(), 169u);
    const auto Expect = [&](int nConfig, int nSpin, int nHole, int nParticle) {
        const CiContribution& c = details.Contributions[nConfig];
        EXPECT_EQ(c.nSpin, nSpin) << nConfig;
        EXPECT_EQ(c.nHole, nHole) << nConfig;
        EXPECT_EQ(c.nParticle, nParticle) << nConfig;
    };
    Expect(0, -1, 0, 0);
    Expect(1, 0, 6, 7);
    Expect(2, 0, 6, 8);
    Expect(3, 0, 5, 7);
    Expect(6, 0, 4, 8);
    Expect(7, 1, 6, 7);
    Expect(12, 1, 4, 8);
    for (int k = 0; k < 13; ++k)
        for (int i = 0; i < 13; ++i)
            EXPECT_EQ(details.Contributions[13 * k + i].dCoefficient,
                      State(k)[static_cast<std::size_t>(i)]);
}

TEST_F(Details, HoldOnlyWhatIsLargeEnoughOfSoManyStates) {
    Keep({kZindoS, kBentFormaldehyde, 1, false, false, 3, 2}, 4, 0.3);
    ASSERT_EQ(details.States.Size(), 4u);
    std::size_t n = 0;
    for (int k = 0; k < 4; ++k) {
        for (const double c : State(k)) {
            if (!(std::abs(c) > 0.3)) continue;
            ASSERT_LT(n, details.Contributions.Size());
            EXPECT_EQ(details.Contributions[n++].dCoefficient, c);
        }
    }
    EXPECT_EQ(n, details.Contributions.Size());
    KeepDetails(interaction, properties_.data(), 0, {-5, 0.3}, details);
    EXPECT_EQ(details.States.Size(), 0u);
    EXPECT_EQ(details.Contributions.Size(), 0u);
}

TEST_F(Details, NameTheLevelsOfMicrostates) {
    Keep({kAm1, kBentWater, 1, false, true, 1, 1}, 4, -1.0);
    ASSERT_EQ(details.Contributions.Size(), 16u);
    EXPECT_EQ(details.nFirstLevel, 4);
    const int wanted[][2] = {{1, 1}, {1, 2}, {2, 1}, {2, 2}};  // 20, ud, du, 02
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(details.Contributions[i].nSpin, 2);
        EXPECT_EQ(details.Contributions[i].nHole, wanted[i][0]);
        EXPECT_EQ(details.Contributions[i].nParticle, wanted[i][1]);
    }
}

}  // namespace
}  // namespace qsolve
