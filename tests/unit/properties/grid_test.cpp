#include "properties/grid.h"

#include <gtest/gtest.h>

#include <vector>

#include "job/state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scripted_client.h"

namespace qsolve {
namespace {

class Grid : public FreshState, public testing::WithParamInterface<int> {
  protected:
    Grid() { NewScriptedClient(); }

    static void Ask(int nRows, int nColumns) {
        options.nGridRows = nRows;
        options.nGridCols = nColumns;
        const float flGrid[9] = {-1.0F, 0.5F, 0.25F, 0.75F, 0.0F, 0.125F, 0.0F, -0.5F, 0.5F};
        std::copy_n(flGrid, 9, options.flPlotGrid);
    }
};

TEST_P(Grid, HasEachPointInItsPlaceAndNoOther) {
    constexpr int kRowCount = 3;
    const int nColumns = GetParam();
    Ask(kRowCount, nColumns);
    // Each value becomes a code of the point that it stands for, exact in a float.
    std::vector<float> vGrid(static_cast<std::size_t>(kRowCount * nColumns) + 1, -7.0F);
    WalkGrid(vGrid.data(), 1, [](const double* pStart, const double* pStep, int n, float* pValues) {
        ASSERT_GE(n, 1);
        ASSERT_LE(n, kStripPoints);
        double vX[kStripPoints], vY[kStripPoints], vZ[kStripPoints];
        FillPoints(pStart, pStep, n, vX, vY, vZ);
        for (int i = 0; i < n; ++i)
            pValues[i] = static_cast<float>(vX[i] + 1024.0 * vY[i] + 8.0 * vZ[i]);
    });
    for (int j = 0; j < kRowCount; ++j)
        for (int i = 0; i < nColumns; ++i) {
            const double x = -1.0 + 0.75 * i, y = 0.5 - 0.5 * j, z = 0.25 + 0.125 * i + 0.5 * j;
            ASSERT_EQ(vGrid[static_cast<std::size_t>(nColumns * j + i)],
                      static_cast<float>(x + 1024.0 * y + 8.0 * z))
                << j << ' ' << i;
        }
    EXPECT_EQ(vGrid.back(), -7.0F);
}
INSTANTIATE_TEST_SUITE_P(Columns, Grid, testing::Values(1, 2, 63, 64, 65, 128, 201));

TEST_F(Grid, OfOnePointIsTheOrigin) {
    Ask(1, 1);
    float fl = 0.0F;
    WalkGrid(&fl, 1, [](const double* pStart, const double*, int n, float* pValues) {
        EXPECT_EQ(n, 1);
        EXPECT_EQ(pStart[0], -1.0);
        EXPECT_EQ(pStart[1], 0.5);
        EXPECT_EQ(pStart[2], 0.25);
        *pValues = 1.0F;
    });
    EXPECT_EQ(fl, 1.0F);
}

TEST_F(Grid, WithoutRowsOrColumnsIsNotWalked) {
    for (const auto& [nRows, nColumns] : {std::pair{0, 5}, {3, 0}, {-1, 5}, {3, -1}}) {
        Ask(nRows, nColumns);
        float fl = 7.0F;
        WalkGrid(&fl, 1, [](const double*, const double*, int, float*) { FAIL(); });
    }
}

TEST_F(Grid, YieldsWithinALongRow) {
    Ask(1, 100000);
    std::vector<float> vGrid(100000);
    int nStrips = 0;
    WalkGrid(vGrid.data(), 100, [&](const double*, const double*, int, float*) { ++nStrips; });
    EXPECT_GT(client.nPumps, 300);
    client.DuringPump = [] { throw LinkStop{}; };
    nStrips = 0;
    EXPECT_THROW(
        WalkGrid(vGrid.data(), 100, [&](const double*, const double*, int, float*) { ++nStrips; }),
        LinkStop);
    EXPECT_LT(nStrips, 10);
}

}  // namespace
}  // namespace qsolve
