#include "dynamics/random.h"

#include <string>
#include <vector>

#include "link/link.h"
#include "tests/support/fresh_state.h"
#include "tests/support/reference_table.h"

namespace qsolve {
namespace {

constexpr int kModulus = 714025;

class Generator : public FreshState {
  protected:
    static std::vector<double> First(int nSeed, std::size_t n) {
        bool fReseed = true;
        std::vector<double> u;
        for (std::size_t i = 0; i < n; ++i) u.push_back(UniformDeviate(nSeed, fReseed));
        EXPECT_FALSE(fReseed);
        return u;
    }
};

TEST_F(Generator, GivesTheNumbersOfItsRecipeForEverySeed) {
    int nSeeds = 0;
    for (const ReferenceRow& row : ReadReferenceRows("random_numbers.txt")) {
        if (row.sName != "seed") continue;
        ++nSeeds;
        const std::size_t n = row.Values.size() - 1;
        const std::vector<double> u = First(static_cast<int>(row.Values[0]), n);
        // One rounding each of 1/714025 and of its product.
        for (std::size_t i = 0; i < n; ++i)
            EXPECT_NEAR(u[i] * kModulus, row.Values[i + 1], 1e-9) << row.Values[0] << ' ' << i;
    }
    EXPECT_EQ(nSeeds, 13);
}

TEST_F(Generator, RefusesAnIndexThatIsNoneOfItsTable) {
    for (const int nLast : {-kModulus, kModulus}) {
        NewScriptedClient();
        int nSeed = -7;
        bool fReseed = true;
        UniformDeviate(nSeed, fReseed);
        dynamics.nShuffleLast = nLast;
        EXPECT_THROW(UniformDeviate(nSeed, fReseed), Unwinding);
        EXPECT_EQ(client.Errors(), std::vector<std::string>{MessageText(kMsgRandomIndex)});
    }
}

TEST_F(Generator, CountsPositiveSeedsModuloItsIncrement) {
    EXPECT_EQ(First(1, 50), First(150890, 50));
    EXPECT_EQ(First(0, 50), First(150889, 50));
    EXPECT_NE(First(1, 50), First(2, 50));
}

TEST_F(Generator, StartsAfreshWhateverWasDrawnBefore) {
    const std::vector<double> u = First(7, 200);
    First(8, 1234);
    EXPECT_EQ(First(7, 200), u);
}

TEST_F(Generator, GoesOnFromTheSeedOfItsCaller) {
    const std::vector<double> u = First(7, 20);
    int nSeed = 7;
    bool fReseed = true;
    for (std::size_t i = 0; i < 10; ++i) UniformDeviate(nSeed, fReseed);
    int nCopy = nSeed;
    for (std::size_t i = 10; i < 20; ++i) EXPECT_EQ(UniformDeviate(nCopy, fReseed), u[i]);
}

TEST_F(Generator, FillsItsTableAtTheFirstDrawOfAProcess) {
    const std::vector<double> u = First(3, 5);
    dynamics = DynamicsState{};
    int nSeed = 3;
    bool fReseed = false;
    for (const double d : u) EXPECT_EQ(UniformDeviate(nSeed, fReseed), d);
}

TEST_F(Generator, StaysInItsRangeForANegativeSeedThatDoesNotStartAfresh) {
    First(1, 1);
    int nSeed = -2000000000;
    bool fReseed = false;
    for (int i = 0; i < 1000; ++i) {
        const double u = UniformDeviate(nSeed, fReseed);
        ASSERT_GE(u, 0.0);
        ASSERT_LT(u, 1.0);
    }
}

TEST_F(Generator, KeepsToItsRecipeInALongRun) {
    const ReferenceRow row = ReadReferenceRows("random_numbers.txt").back();
    ASSERT_EQ(row.sName, "sum");
    double dSum = 0.0;
    for (const double u : First(static_cast<int>(row.Values[0]), 100000)) dSum += u * kModulus;
    EXPECT_NEAR(dSum, row.Values[1], 1e-3);
}

TEST_F(Generator, SumsTwelveForAGaussianDeviate) {
    const std::vector<double> u = First(1, 60);
    int nSeed = 1;
    bool fReseed = true;
    for (std::size_t i = 0; i < 5; ++i) {
        double dSum = 0.0;
        for (std::size_t k = 0; k < 12; ++k) dSum += u[12 * i + k];
        EXPECT_NEAR(GaussianDeviate(2.5, nSeed, fReseed), 2.5 * (dSum - 6.0), 1e-13);
    }
    EXPECT_EQ(GaussianDeviate(0.0, nSeed, fReseed), 0.0);
}

}  // namespace
}  // namespace qsolve
