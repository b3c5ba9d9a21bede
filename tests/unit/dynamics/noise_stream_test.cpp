#include "dynamics/noise_stream.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <set>

namespace qsolve {
namespace {

// The first outputs that the authors' program gives for the state 1, 2, 3, 4.
TEST(NoiseStreams, AreThoseOfThePublishedGenerator) {
    NoiseStream stream{{1, 2, 3, 4}};
    for (const std::uint64_t n :
         {41943041ULL, 58720359ULL, 3588806011781223ULL, 3591011842654386ULL,
          9228616714210784205ULL, 9973669472204895162ULL})
        EXPECT_EQ(NextBits(stream), n);
}

// The first outputs of splitmix64 for the seed 1234567.
TEST(NoiseStreams, StartFromTheirSeedBySplitting) {
    const NoiseStream stream = StartNoise(1234567);
    EXPECT_EQ(stream.Words[0], 6457827717110365317ULL);
    EXPECT_EQ(stream.Words[1], 3203168211198807973ULL);
    EXPECT_EQ(stream.Words[2], 9817491932198370423ULL);
    EXPECT_EQ(stream.Words[3], 4593380528125082431ULL);
}

TEST(NoiseStreams, DifferForEverySeed) {
    std::set<std::uint64_t> seen;
    for (const int nSeed : {0, 1, 2, -1, -2, 150889, std::numeric_limits<int>::min(),
                            std::numeric_limits<int>::max()}) {
        NoiseStream stream = StartNoise(nSeed);
        seen.insert(NextBits(stream));
    }
    EXPECT_EQ(seen.size(), 8u);
}

TEST(NoiseStreams, AreUniform) {
    NoiseStream stream = StartNoise(0);
    const int n = 200000;
    double dSum = 0.0, dSquares = 0.0;
    for (int i = 0; i < n; ++i) {
        const double u = NextUniform(stream);
        ASSERT_GE(u, 0.0);
        ASSERT_LT(u, 1.0);
        dSum += u;
        dSquares += u * u;
    }
    // Four standard errors: the variances of u and u^2 are 1/12 and 4/45.
    EXPECT_NEAR(dSum / n, 0.5, 4 * std::sqrt(1.0 / 12 / n));
    EXPECT_NEAR(dSquares / n, 1.0 / 3, 4 * std::sqrt(4.0 / 45 / n));
}

}  // namespace
}  // namespace qsolve
