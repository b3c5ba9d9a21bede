#include "ci/states.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "job/methods.h"
#include "job/state.h"
#include "link/link.h"
#include "numeric/row.h"
#include "numeric/trace.h"
#include "scf/state.h"
#include "setup/state.h"
#include "tests/support/ci_case.h"
#include "tests/support/fresh_state.h"

namespace qsolve {
namespace {

double InEv(double dEnergy) {
    return UsesAtomicUnits(system.MethodId) ? dEnergy * 27.211396 : dEnergy;
}

// ---- against operators on determinants ---------------------------------------------------------

/// An operator on determinants as a matrix over the configurations.
template <class Operator>
TestMatrix MatrixOf(const Determinants& d, Operator apply) {
    TestMatrix m(d.nConfigs, d.nConfigs);
    for (int q = 0; q < d.nConfigs; ++q) {
        Vector v = apply(Vector{{BitsOf(d, q), 1.0}});
        for (int k = 0; k < d.nConfigs; ++k) m(k, q) = v[BitsOf(d, k)];
    }
    return m;
}

class CiStatesOf : public FreshState, public testing::WithParamInterface<CiCase> {
  protected:
    CiStatesOf() {
        SolveCase(GetParam(), ci);
        const int n = ci.Configs.nConfigs;
        mStates = TestMatrix(n, n);
        for (int k = 0; k < n; ++k) TakeState(ci.States, k, Row(mStates.Data(), n, k));
    }
    /// How well the SCF converged shows in the elements of its Fock matrix, eV; CNDO has a small
    /// exchange in the interaction that its SCF does not have.
    static double Tolerance() { return GetParam().nMethod == kCndo ? 2e-3 : 2e-5; }
    Interaction ci;
    TestMatrix mStates{0, 0};  ///< one a row
};
INSTANTIATE_TEST_SUITE_P(Cases, CiStatesOf, testing::ValuesIn(AllCases()),
                         [](const auto& test) { return NameOf(test.param); });

/// All states at once: each solves (H - E) c = 0, they are orthonormal and rise, and S^2 is that of
/// the operator.
TEST_P(CiStatesOf, AreEigenstatesWithTheirSpin) {
    const int n = ci.Configs.nConfigs, nLevels = ci.Window.nLevels;
    const ElectronsOfWindow e(ci.Window.nBelow, nLevels);
    const double dBelow = e.FrozenEnergy() - LevelsOfScf().dEnergy;
    const auto Hamilton = [&](const Vector& v) { return e.Hamilton(v); };
    const auto Square = [&](const Vector& v) { return SpinSquareOf(nLevels, v); };
    const TestMatrix HC = NaiveProduct(mStates, MatrixOf(ci.Configs, Hamilton));
    const TestMatrix SC = NaiveProduct(mStates, MatrixOf(ci.Configs, Square));
    double dRest = 0.0, dSpin = 0.0, dUnit = 0.0;
    for (int k = 0; k < n; ++k) {
        double dSquare = 0.0;
        for (int i = 0; i < n; ++i) {
            const double E = ci.States.vCiEnergy[k] - dBelow;
            dRest = std::max(dRest, std::abs(HC(k, i) - E * mStates(k, i)));
            dSquare += SC(k, i) * mStates(k, i);
        }
        dSpin = std::max(dSpin, std::abs(dSquare - ci.States.vSpinSquare[k]));
        for (int q = 0; q <= k; ++q)
            dUnit = std::max(dUnit,
                             std::abs(Dot(n, Row(mStates.Data(), n, k), Row(mStates.Data(), n, q)) -
                                      (k == q ? 1.0 : 0.0)));
        if (k > 0) {
            EXPECT_LE(ci.States.vCiEnergy[k - 1], ci.States.vCiEnergy[k]);
        }
        EXPECT_EQ(ci.States.vCiIndex[k], k);
    }
    EXPECT_LT(InEv(dRest), Tolerance());
    EXPECT_LT(dSpin, 1e-10);
    EXPECT_LT(dUnit, 1e-10);
}

/// A full CI commutes with the spin, and so do the singles of a closed reference.
TEST_P(CiStatesOf, HaveAPureSpinWhereTheSpaceAllowsIt) {
    if (!GetParam().fMicrostates && ci.Configs.nAlpha != ci.Configs.nBeta) return;
    for (int k = 0; k < ci.Configs.nConfigs; ++k) {
        const double S = SpinOf(ci.States.vSpinSquare[k]);
        const double dExcess = 0.5 * (ci.Configs.nAlpha - ci.Configs.nBeta);
        EXPECT_NEAR(S - dExcess, std::round(S - dExcess), 1e-6) << k;
    }
}

TEST_P(CiStatesOf, LargestCoefficientIsPositive) {
    const int n = ci.Configs.nConfigs;
    for (int k = 0; k < n; ++k) {
        const double* v = Row(mStates.Data(), n, k);
        const auto [pLeast, pMost] = std::minmax_element(v, v + n);
        EXPECT_GE(*pMost, -*pLeast - 1e-12) << k;
    }
}

// ---- against formulas --------------------------------------------------------------------------

using CiStatesJob = FreshState;

/// Singlets and triplets of a closed shell from their own matrices,
///     A = (e_a - e_i) + 2 (ia|jb) - (ij|ab)   and without the 2 (ia|jb),
/// by their traces and squares and by each energy's determinant being zero.
TEST_F(CiStatesJob, ClosedShellHasTheSingletsAndTripletsOfTheSpinAdaptedMatrices) {
    for (const int nMethod : {kIndo, kZindoS, kMindo3, kAm1}) {
        Interaction ci;
        SolveCase({nMethod, kBentFormaldehyde, 1, false, false, 3, 2}, ci);
        const ElectronsOfWindow e(ci.Window.nBelow, 5);
        const double* vLevel = scf.vEnergyA.Data() + ci.Window.nBelow;
        for (const bool fSinglet : {true, false}) {
            double dTrace = 0.0, dSquare = 0.0, dStates = 0.0, dStatesSquare = 0.0;
            for (int i = 0; i < 3; ++i)
                for (int a = 3; a < 5; ++a)
                    for (int j = 0; j < 3; ++j)
                        for (int b = 3; b < 5; ++b) {
                            const bool fSame = i == j && a == b;
                            const double d = (fSame ? vLevel[a] - vLevel[i] : 0.0) +
                                             (fSinglet ? 2.0 * e.Two(i, a, j, b) : 0.0) -
                                             e.Two(i, j, a, b);
                            if (fSame) dTrace += d;
                            dSquare += d * d;
                        }
            for (int k = 0; k < ci.Configs.nConfigs; ++k) {
                if (std::abs(ci.States.vSpinSquare[k] - (fSinglet ? 0.0 : 2.0)) > 0.01) continue;
                dStates += ci.States.vCiEnergy[k];
                dStatesSquare += ci.States.vCiEnergy[k] * ci.States.vCiEnergy[k];
            }
            EXPECT_NEAR(InEv(dStates), InEv(dTrace), 1e-6) << nMethod;
            EXPECT_NEAR(InEv(InEv(dStatesSquare)), InEv(InEv(dSquare)), 1e-5) << nMethod;
        }
    }
}

/// Two electrons in two levels, by hand: the closed configurations mix by K, the open ones are
/// half singlet and half triplet.
TEST_F(CiStatesJob, HydrogenIsTheTwoByTwoProblem) {
    for (const int nMethod : {kIndo, kZindoS, kMindo3, kAm1}) {
        Interaction ci;
        SolveCase({nMethod, {{1, 0, 0, 0}, {1, 0.3, 0.4, 1.5}}, 1, false, true, 1, 1}, ci);
        const ElectronsOfWindow e(0, 2);
        const double h1 = e.One(0, 0), h2 = e.One(1, 1), J11 = e.Two(0, 0, 0, 0),
                     J22 = e.Two(1, 1, 1, 1), J12 = e.Two(0, 0, 1, 1), K = e.Two(0, 1, 0, 1);
        const double dScf = 2 * h1 + J11;
        const double dMean = (dScf + 2 * h2 + J22) / 2, dHalf = (2 * h2 + J22 - dScf) / 2;
        const double dRoot = std::sqrt(dHalf * dHalf + K * K);
        std::vector<double> wanted = {dMean - dRoot, dMean + dRoot, h1 + h2 + J12 + K,
                                      h1 + h2 + J12 - K};
        std::sort(wanted.begin(), wanted.end());
        ASSERT_EQ(ci.Configs.nConfigs, 4);
        for (int k = 0; k < 4; ++k)
            EXPECT_NEAR(InEv(ci.States.vCiEnergy[k] + dScf),
                        InEv(wanted[static_cast<std::size_t>(k)]), 1e-7)
                << nMethod;
        // The triplet lies below the open singlet by 2 K, the ground state below the SCF.
        EXPECT_NEAR(ci.States.vSpinSquare[0], 0.0, 1e-12);
        EXPECT_NEAR(ci.States.vSpinSquare[1], 2.0, 1e-12);
        EXPECT_LT(ci.States.vCiEnergy[0], 0.0);
    }
}

/// Four electrons in two levels can be placed in one way, four in three levels in nine.
TEST_F(CiStatesJob, HeliumPairHasOneStateWithoutEmptyLevels) {
    Interaction ci;
    SolveCase(
        {kAm1, {{1, 0, 0, 0}, {1, 0, 0, 0.8}, {1, 2, 0, 0}, {1, 2, 0, 0.8}}, 1, false, true, 2, 0},
        ci);
    ASSERT_EQ(ci.Configs.nConfigs, 1);
    EXPECT_NEAR(ci.States.vCiEnergy[0], 0.0, 1e-8);
    EXPECT_EQ(ci.States.vSpinSquare[0], 0.0);
    EXPECT_EQ(VectorOf(ci, 0).begin()->second, 1.0);
}

/// Two molecules far apart: the energy of both is the sum, for a full CI.
TEST_F(CiStatesJob, FullInteractionOfTwoDistantMoleculesIsTheSumOfEach) {
    const auto Lowest = [](const std::vector<Place>& places, int nLevels) {
        Interaction ci;
        SolveCase({kAm1, places, 1, false, true, nLevels, nLevels}, ci);
        return ci.States.vCiEnergy[0];
    };
    const double dOne = Lowest({{1, 0, 0, 0}, {1, 0, 0, 1.2}}, 1);
    const double dTwo = Lowest({{1, 0, 0, 0}, {1, 0, 0, 1.2}, {1, 90, 0, 0}, {1, 90, 0, 1.2}}, 2);
    EXPECT_LT(dOne, -0.1);
    EXPECT_NEAR(dTwo, 2 * dOne, 1e-6);
}

// ---- the state that is asked for ---------------------------------------------------------------

class ChooseCiState : public FreshState {
  protected:
    ChooseCiState() { NewScriptedClient(); }
    void Fill(const std::vector<double>& squares) {
        states.nConfigs = static_cast<int>(squares.size());
        states.vCiEnergy.Take(squares.size(), kWork);
        states.vSpinSquare.Take(squares.size(), kWork);
        states.vCiIndex.Take(squares.size(), kWork);
        for (std::size_t k = 0; k < squares.size(); ++k) {
            states.vCiEnergy[k] = static_cast<double>(k) - 0.5;
            states.vSpinSquare[k] = squares[k];
            states.vCiIndex[k] = static_cast<int>(k);
        }
    }
    CiStates states;
};

TEST_F(ChooseCiState, LowestOfTheMultiplicityIsTaken) {
    Fill({2.0, 0.0, 2.0, 0.04, 6.0});
    options.nMultiplicity = 1;
    ChosenStates chosen = ChooseState(states);
    EXPECT_EQ(chosen.nFirst, 1);
    EXPECT_EQ(chosen.nWanted, 1);
    EXPECT_EQ(chosen.dCorrection, 0.5);
    EXPECT_EQ(chosen.dNextStateCorrection, 0.0);
    options.nMultiplicity = 5;
    EXPECT_EQ(ChooseState(states).nWanted, 4);
}

TEST_F(ChooseCiState, NextLowestStateIsTheSecondOfThem) {
    Fill({2.0, 0.0, 2.0, 0.04, 6.0});
    options.nMultiplicity = 1;
    options.fNextLowestState = 1;
    const ChosenStates chosen = ChooseState(states);
    EXPECT_EQ(chosen.nFirst, 1);
    EXPECT_EQ(chosen.nWanted, 3);
    EXPECT_EQ(chosen.dCorrection, 2.5);
    EXPECT_EQ(chosen.dNextStateCorrection, 0.5);
}

TEST_F(ChooseCiState, SpinMayBeOffByLessThanATwentieth) {
    options.nMultiplicity = 1;
    Fill({0.05, 0.049});
    EXPECT_EQ(ChooseState(states).nWanted, 1);
}

TEST_F(ChooseCiState, WithoutAStateOfTheSpinTheJobEnds) {
    Fill({0.75, 3.75});
    options.nMultiplicity = 1;
    EXPECT_THROW(ChooseState(states), Unwinding);
    options.nMultiplicity = 2;
    EXPECT_EQ(ChooseState(states).nWanted, 0);
    options.fNextLowestState = 1;
    EXPECT_THROW(ChooseState(states), Unwinding);
    options.nMultiplicity = 9;
    EXPECT_THROW(ChooseState(states), Unwinding);
    ASSERT_EQ(client.Errors().size(), 3u);
    EXPECT_EQ(client.Errors()[0],
              "The state you have requested cannot be obtained from the current settings of the CI "
              "options.");
}

TEST_F(ChooseCiState, ChosenStateGoesToTheFrontOfTheList) {
    Fill({2.0, 0.0, 2.0, 0.04, 6.0});
    MoveToFront(3, states);
    const auto Of = [](const auto& v) { return std::vector<double>(v.begin(), v.end()); };
    EXPECT_EQ(Of(states.vCiIndex), (std::vector<double>{3, 0, 1, 2, 4}));
    EXPECT_EQ(Of(states.vSpinSquare), (std::vector<double>{0.04, 2.0, 0.0, 2.0, 6.0}));
    EXPECT_EQ(Of(states.vCiEnergy), (std::vector<double>{2.5, -0.5, 0.5, 1.5, 3.5}));
    MoveToFront(0, states);
    EXPECT_EQ(states.vCiIndex[0], 3);
}

}  // namespace
}  // namespace qsolve
