#include "ci/density.h"

#include <gtest/gtest.h>

#include <vector>

#include "ci/mo_table.h"
#include "tests/support/fresh_state.h"
#include "tests/support/matrices.h"
#include "tests/support/second_quantised.h"

namespace qsolve {
namespace {

struct DensityCase {
    int nLevels, nAlpha, nBeta;
    bool fMicrostates;
};
class CiDensity : public FreshState, public testing::WithParamInterface<DensityCase> {};
INSTANTIATE_TEST_SUITE_P(Windows, CiDensity,
                         testing::Values(DensityCase{4, 2, 2, false}, DensityCase{4, 3, 1, false},
                                         DensityCase{4, 2, 2, true}, DensityCase{3, 2, 0, true},
                                         DensityCase{1, 1, 1, true}));

/// Between any two vectors, the same operator twice included.
TEST_P(CiDensity, GivesTheValueOfEveryOneElectronOperator) {
    NewScriptedClient();
    const auto [n, nAlpha, nBeta, fMicrostates] = GetParam();
    CiWindow window;
    window.nLevels = n;
    window.nAlphaRef = nAlpha;
    window.nBetaRef = nBeta;
    window.dLimit = 1.0;
    const double levels[4] = {};
    Determinants d;
    ConfigLists lists;
    OneElectronLists one;
    if (fMicrostates)
        PlaceMicrostates(window, d);
    else
        PlaceSingles(window, levels, d);
    FillLists(d, lists);
    FillOneElectronLists(d, lists, one);

    const TestMatrix v = RandomMatrix(2, d.nConfigs, 5);
    Vector left, right;
    for (int k = 0; k < d.nConfigs; ++k) {
        left[BitsOf(d, k)] = v(0, k);
        right[BitsOf(d, k)] = v(1, k);
    }
    const double *pLeft = v.Data(), *pRight = pLeft + d.nConfigs;
    std::vector<double> vDensity(static_cast<std::size_t>(PairOf(n, 0)), 99.0);
    for (int i = 0; i < n; ++i)
        for (int j = 0; j <= i; ++j) {
            TestMatrix o(n, n);
            o(i, j) = o(j, i) = 1.0;
            FillDensity(one, d.nConfigs, pLeft, pRight, vDensity.data());
            EXPECT_NEAR(vDensity[static_cast<std::size_t>(PairOf(i, j))],
                        Overlap(left, OneElectron(o, right)), 1e-12)
                << i << j;
            FillDensity(one, d.nConfigs, pLeft, pLeft, vDensity.data());
            EXPECT_NEAR(vDensity[static_cast<std::size_t>(PairOf(i, j))],
                        Overlap(left, OneElectron(o, left)), 1e-12)
                << i << j;
        }
}

}  // namespace
}  // namespace qsolve
