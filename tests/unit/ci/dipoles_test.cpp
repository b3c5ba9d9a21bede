#include "ci/dipoles.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "numeric/row.h"
#include "properties/state.h"
#include "tests/support/ci_case.h"
#include "tests/support/fresh_state.h"

namespace qsolve {
namespace {

class CiDipole : public FreshState, public testing::WithParamInterface<CiCase> {
  protected:
    CiDipole() {
        SolveCase(GetParam(), ci);
        FillCiDipoles(LevelsOfScf(), ci, dipoles);
    }
    std::vector<double> State(int nPlace) const {
        std::vector<double> v(static_cast<std::size_t>(ci.Configs.nConfigs));
        TakeState(ci.States, nPlace, v.data());
        return v;
    }
    Interaction ci;
    CiDipoles dipoles;
};
INSTANTIATE_TEST_SUITE_P(Cases, CiDipole, testing::ValuesIn(AllCases()),
                         [](const auto& test) { return NameOf(test.param); });

/// The SCF has its moment from charges in single precision, and in Angstrom with 4.803 Debye, which
/// is 1.6e-5 more than 2.5416 times the bohr per Angstrom. An open shell is the mean of its
/// determinants, one of which is the reference.
TEST_P(CiDipole, OfTheReferenceIsTheDipoleOfTheScf) {
    if (GetParam().fNextLowest) return;
    std::vector<double> v(static_cast<std::size_t>(ci.Configs.nConfigs));
    v[0] = 1.0;
    double dMoment[3];
    StateDipole(ci, v.data(), dipoles, dMoment);
    const double* pSum = properties.dDipoleTable[3];
    const double dTolerance = 2e-5 * (1.0 + pSum[3]);
    for (int k = 0; k < 3; ++k) EXPECT_NEAR(2.5416 * dMoment[k], pSum[k], dTolerance) << k;
}

/// The integrals of the window, between the states as vectors of determinants.
TEST_P(CiDipole, BetweenStatesIsThatOfTheOperator) {
    const int n = ci.Window.nLevels, nStates = std::min(ci.Configs.nConfigs, 6);
    for (int k = 0; k < 3; ++k) {
        TestMatrix o(n, n);
        for (int i = 0; i < n; ++i)
            for (int j = 0; j < n; ++j)
                o(i, j) = Row(ci.Table.mDipole.Data(), ci.Table.nPairs, k)[PairOf(i, j)];
        for (int s = 0; s < nStates; ++s)
            for (int t = 0; t <= s; ++t) {
                double dMoment[3];
                const std::vector<double> from = State(s), to = State(t);
                if (s == t)
                    StateDipole(ci, from.data(), dipoles, dMoment);
                else
                    TransitionDipole(ci, from.data(), to.data(), dipoles, dMoment);
                const double dFixed = s == t ? dipoles.vFixed[k] : 0.0;
                EXPECT_NEAR(dMoment[k],
                            dFixed + Overlap(VectorOf(ci, s), OneElectron(o, VectorOf(ci, t))),
                            1e-10)
                    << k << s << t;
            }
    }
}

/// Light does not change the spin.
TEST_P(CiDipole, VanishesBetweenStatesOfDifferentSpin) {
    double dLargest = 0.0;
    for (int t = 1; t < ci.Configs.nConfigs; ++t) {
        double dMoment[3];
        const std::vector<double> from = State(0), to = State(t);
        TransitionDipole(ci, from.data(), to.data(), dipoles, dMoment);
        const double dLength = std::hypot(dMoment[0], dMoment[1], dMoment[2]);
        dLargest = std::max(dLargest, dLength);
        const double dS = SpinOf(ci.States.vSpinSquare[t]) - SpinOf(ci.States.vSpinSquare[0]);
        if (std::abs(std::abs(dS) - 1.0) < 1e-6) {
            EXPECT_LT(dLength, 1e-8) << t;
        }
    }
    if (ci.Configs.nConfigs > 2) {
        EXPECT_GT(dLargest, 0.05);
    }
}

}  // namespace
}  // namespace qsolve
