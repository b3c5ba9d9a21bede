#include "dynamics/random_force.h"

#include <cmath>
#include <vector>

#include "dynamics/random.h"
#include "tests/support/fresh_state.h"

namespace qsolve {
namespace {

class Pairs : public FreshState {
  protected:
    static std::vector<DeviatePair> Draw(RandomForce force, int n, double c) {
        std::vector<DeviatePair> pairs;
        for (int i = 0; i < n; ++i) pairs.push_back(CorrelatedDeviates(2.0, 0.5, c, force));
        return pairs;
    }
};

TEST_F(Pairs, HaveTheWidthsAndTheCorrelationAskedFor) {
    const int n = 40000;
    for (const bool fLong : {false, true})
        for (const double c : {0.0, 0.5, 0.8660254, 1.0, -0.3}) {
            double xx = 0, yy = 0, xy = 0, x = 0;
            for (const DeviatePair& p : Draw(StartRandomForce(3, fLong), n, c)) {
                xx += p.x * p.x / n;
                yy += p.y * p.y / n;
                xy += p.x * p.y / n;
                x += p.x / n;
            }
            // Four standard errors of n products.
            const double dError = 4 * std::sqrt(2.0 / n);
            EXPECT_NEAR(xx, 4.0, 4.0 * dError) << fLong << ' ' << c;
            EXPECT_NEAR(yy, 0.25, 0.25 * dError) << fLong << ' ' << c;
            EXPECT_NEAR(xy, c, dError) << fLong << ' ' << c;
            EXPECT_NEAR(x, 0.0, 2.0 * dError) << fLong << ' ' << c;
        }
}

TEST_F(Pairs, OfACorrelationBeyondOneAreNumbers) {
    for (const DeviatePair& p : Draw(StartRandomForce(3, true), 10, 1.0 + 1e-15))
        EXPECT_NEAR(p.y / p.x, 0.25, 1e-12);
}

TEST_F(Pairs, AreTheSameForTheSameSeedWhateverWasDrawnBefore) {
    for (const bool fLong : {false, true}) {
        const auto a = Draw(StartRandomForce(5, fLong), 100, 0.5);
        Draw(StartRandomForce(6, fLong), 33, 0.5);
        const auto b = Draw(StartRandomForce(5, fLong), 100, 0.5);
        for (std::size_t i = 0; i < 100; ++i) {
            EXPECT_EQ(a[i].x, b[i].x);
            EXPECT_EQ(a[i].y, b[i].y);
        }
    }
}

TEST_F(Pairs, TakeTwoDeviatesOfTwelveNumbersEach) {
    const DeviatePair pair = Draw(StartRandomForce(9, false), 1, 0.6)[0];
    int nSeed = 9;
    bool fReseed = true;
    const double u = GaussianDeviate(1.0, nSeed, fReseed), w = GaussianDeviate(1.0, nSeed, fReseed);
    EXPECT_NEAR(pair.x, 2.0 * u, 1e-14);
    EXPECT_NEAR(pair.y, 0.5 * (0.6 * u + 0.8 * w), 1e-14);
}

/// Sum of the numbers of one cycle of the generator, less its mean for independent ones.
double CycleSum(int nSeed, bool fLong) {
    const int nCycle = 714025;
    RandomForce force = StartRandomForce(nSeed, fLong);
    double dSum = -0.5 * nCycle;
    for (int i = 0; i < nCycle; ++i)
        dSum +=
            fLong ? NextUniform(force.Stream) : UniformDeviate(force.nLangevinSeed, force.fReseed);
    return dSum;
}

// The generator gives every value once in a cycle, but for the 97 that its table holds, so that its
// sums hardly vary; independent numbers have a spread of sqrt(714025 / 12) = 244.
TEST_F(Pairs, OfTheLongStreamAreIndependentWhereTheGeneratorComesBack) {
    double dSquares = 0.0;
    for (const int nSeed : {1, 2, 3, 4, 5, 6, 7, 8}) {
        EXPECT_LT(std::abs(CycleSum(nSeed, false)), 20.0);
        dSquares += std::pow(CycleSum(nSeed, true), 2) / 8;
    }
    EXPECT_NEAR(std::sqrt(dSquares), 244.0, 4 * 244.0 / std::sqrt(16.0) * 0.75);
}

}  // namespace
}  // namespace qsolve
