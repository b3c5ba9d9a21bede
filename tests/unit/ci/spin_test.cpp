#include "ci/spin.h"

#include <gtest/gtest.h>

#include <cmath>

#include "link/link.h"
#include "tests/support/fresh_state.h"
#include "tests/support/second_quantised.h"

namespace qsolve {
namespace {

using CiSpin = FreshState;

/// S^2 of the sum of two configurations, and of one, gives the element between them.
double ElementOf(const SpinOperator& spin, int nConfigs, int k, int q) {
    std::vector<double> v(static_cast<std::size_t>(nConfigs));
    v[static_cast<std::size_t>(k)] = 1.0;
    const double dOne = SpinSquare(spin, v.data());
    if (k == q) return dOne;
    v[static_cast<std::size_t>(q)] = 1.0;
    const double dBoth = SpinSquare(spin, v.data());
    v[static_cast<std::size_t>(k)] = 0.0;
    return 0.5 * (dBoth - dOne - SpinSquare(spin, v.data()) + spin.dHalfElectrons);
}

struct SpinCase {
    int nLevels, nAlpha, nBeta;
    bool fMicrostates;
};

TEST_F(CiSpin, SquareIsTheOperatorOnDeterminants) {
    for (const auto& [nLevels, nAlpha, nBeta, fMicrostates] :
         {SpinCase{4, 2, 2, false}, SpinCase{4, 2, 1, false}, SpinCase{5, 3, 1, false},
          SpinCase{4, 2, 2, true}, SpinCase{4, 3, 2, true}, SpinCase{3, 3, 0, true},
          SpinCase{3, 1, 1, true}, SpinCase{1, 1, 1, true}, SpinCase{0, 0, 0, false}}) {
        NewScriptedClient();
        CiWindow window;
        window.nLevels = nLevels;
        window.nAlphaRef = nAlpha;
        window.nBetaRef = nBeta;
        window.dLimit = 1.0;
        const double levels[5] = {};
        Determinants d;
        ConfigLists lists;
        SpinOperator spin;
        if (fMicrostates)
            PlaceMicrostates(window, d);
        else
            PlaceSingles(window, levels, d);
        FillLists(d, lists);
        FillSpinOperator(d, lists, spin);
        for (int k = 0; k < d.nConfigs; ++k) {
            const Vector S2 = SpinSquareOf(nLevels, {{BitsOf(d, k), 1.0}});
            for (int q = 0; q < d.nConfigs; ++q) {
                const auto found = S2.find(BitsOf(d, q));
                EXPECT_NEAR(ElementOf(spin, d.nConfigs, k, q),
                            found == S2.end() ? 0.0 : found->second, 1e-12)
                    << nLevels << nAlpha << nBeta << " " << k << " " << q;
            }
        }
    }
}

TEST_F(CiSpin, SpinFollowsFromItsSquare) {
    EXPECT_EQ(SpinOf(0.0), 0.0);
    EXPECT_EQ(SpinOf(0.75), 0.5);
    EXPECT_EQ(SpinOf(2.0), 1.0);
    EXPECT_EQ(SpinOf(12.0), 3.0);
    EXPECT_EQ(SpinOf(-0.3), 0.0);  // no square root of a negative number
}

TEST_F(CiSpin, EachMultiplicityUpToSevenHasItsSquare) {
    const double kSquares[] = {0.0, 0.75, 2.0, 3.75, 6.0, 8.75, 12.0};
    for (int n = 1; n <= 7; ++n) EXPECT_EQ(TargetSpinSquare(n), kSquares[n - 1]);
    for (const int n : {-1, 0, 8, 2147483647}) EXPECT_EQ(TargetSpinSquare(n), -0.5);
}

}  // namespace
}  // namespace qsolve
