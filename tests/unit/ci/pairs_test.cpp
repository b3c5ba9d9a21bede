#include "ci/pairs.h"

#include <gtest/gtest.h>

#include <bit>
#include <map>
#include <utility>
#include <vector>

#include "tests/support/fresh_state.h"
#include "tests/support/second_quantised.h"

namespace qsolve {
namespace {

struct PairsCase {
    int nLevels, nAlpha, nBeta;
    bool fMicrostates;
};

class Pairs : public FreshState, public testing::WithParamInterface<PairsCase> {
  protected:
    Pairs() {
        NewScriptedClient();
        const auto [nLevels, nAlpha, nBeta, fMicrostates] = GetParam();
        CiWindow window;
        window.nLevels = nLevels;
        window.nAlphaRef = nAlpha;
        window.nBetaRef = nBeta;
        window.dLimit = 1.0;
        const std::vector<double> levels(static_cast<std::size_t>(nLevels));
        if (fMicrostates)
            PlaceMicrostates(window, d);
        else
            PlaceSingles(window, levels.data(), d);
        FillLists(d, lists);
    }
    /// Counts a visit of two configurations in any order.
    void See(int k, int q) { ++seen[std::minmax(k, q)]; }

    /// Every two configurations of which the spins are moved so often were seen once, and no other.
    void ExpectSeen(int nAlphaMoves, int nBetaMoves) {
        constexpr Bits kAlpha = 0x5555555555555555;
        std::map<std::pair<int, int>, int> wanted;
        for (int k = 0; k < d.nConfigs; ++k)
            for (int q = 0; q < k; ++q) {
                const Bits moved = BitsOf(d, k) & ~BitsOf(d, q);
                const int nA = std::popcount(moved & kAlpha), nB = std::popcount(moved & ~kAlpha);
                if (nA == nAlphaMoves && nB == nBetaMoves) wanted[{q, k}] = 1;
            }
        for (const auto& [pair, nCount] : wanted) EXPECT_EQ(seen[pair], nCount);
        std::size_t nOfKind = 0;
        for (const auto& [pair, nCount] : seen) nOfKind += nCount > 0 ? 1 : 0;
        EXPECT_EQ(nOfKind, wanted.size());
    }

    /// <q| a+_particle a_hole |k> by counting the electrons that are passed.
    static int SignOf(Bits k, int nHole, int nParticle) {
        const auto Before = [](Bits b, int p) { return std::popcount(b & ((Bits{1} << p) - 1)); };
        const Bits without = k & ~(Bits{1} << nHole);
        return (Before(k, nHole) + Before(without, nParticle)) % 2 == 0 ? 1 : -1;
    }

    Determinants d;
    ConfigLists lists;
    std::map<std::pair<int, int>, int> seen;
};
INSTANTIATE_TEST_SUITE_P(Windows, Pairs,
                         testing::Values(PairsCase{5, 2, 2, false}, PairsCase{5, 3, 1, false},
                                         PairsCase{5, 2, 2, true}, PairsCase{4, 3, 1, true},
                                         PairsCase{3, 2, 0, true}, PairsCase{2, 2, 2, false},
                                         PairsCase{0, 0, 0, false}));

TEST_P(Pairs, OfOneElectronAreVisitedOnceWithTheirSign) {
    for (const MovedSpin wanted : {MovedSpin::kAlpha, MovedSpin::kBeta}) {
        const int s = wanted == MovedSpin::kAlpha ? 0 : 1;
        seen.clear();
        ForEachSingle(d, lists, [&](int k, int q, MovedSpin spin, const Move& move) {
            if (spin != wanted) return;
            See(k, q);
            const int nHole = 2 * move.nHole + s, nParticle = 2 * move.nParticle + s;
            EXPECT_EQ(BitsOf(d, k) & ~BitsOf(d, q), Bits{1} << nHole);
            EXPECT_EQ(BitsOf(d, q) & ~BitsOf(d, k), Bits{1} << nParticle);
            EXPECT_EQ(move.nSign, SignOf(BitsOf(d, k), nHole, nParticle));
        });
        ExpectSeen(1 - s, s);
    }
}

TEST_P(Pairs, OfTwoElectronsOfOneSpinAreVisitedOnceWithTheirSign) {
    constexpr Bits kAlpha = 0x5555555555555555;
    for (const int s : {0, 1}) {
        seen.clear();
        ForEachDoubleOfOneSpin(d, lists, [&](int k, int q, const Difference& x) {
            const Bits moved = BitsOf(d, k) & ~BitsOf(d, q);
            if ((moved & (s == 0 ? kAlpha : ~kAlpha)) == 0) return;
            See(k, q);
            // The first electron, and then the second out of what is left.
            const Bits between = (BitsOf(d, k) & ~(Bits{1} << (2 * x.nHole[0] + s))) |
                                 Bits{1} << (2 * x.nParticle[0] + s);
            EXPECT_EQ(x.nSign, SignOf(BitsOf(d, k), 2 * x.nHole[0] + s, 2 * x.nParticle[0] + s) *
                                   SignOf(between, 2 * x.nHole[1] + s, 2 * x.nParticle[1] + s));
        });
        ExpectSeen(s == 0 ? 2 : 0, s == 0 ? 0 : 2);
    }
}

TEST_P(Pairs, OfOneElectronOfEitherSpinAreVisitedOnceWithTheirSign) {
    ForEachDoubleOfBothSpins(d, lists, [&](int k, int q, const Move& i, const Move& j, int nSign) {
        See(k, q);
        const Bits between = (BitsOf(d, k) & ~(Bits{1} << 2 * i.nHole)) | Bits{1}
                                                                              << 2 * i.nParticle;
        EXPECT_EQ(nSign, SignOf(BitsOf(d, k), 2 * i.nHole, 2 * i.nParticle) *
                             SignOf(between, 2 * j.nHole + 1, 2 * j.nParticle + 1));
    });
    ExpectSeen(1, 1);
}

}  // namespace
}  // namespace qsolve
