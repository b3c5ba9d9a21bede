#include "search/ef_step.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "search/rules.h"
#include "tests/support/matrices.h"

namespace qsolve {
namespace {

constexpr int kNone = -1;

/// A step in the eigenvectors of a model surface.
struct Made {
    std::vector<double> b, g, s;
    int m;
    double dTrust;
    EfStep Step;
    double dPredicted;

    Made(const StepRules& rules, std::vector<double> values, std::vector<double> gradient, int mode,
         double trust)
        : b(std::move(values)), g(std::move(gradient)), s(b.size()), m(mode), dTrust(trust) {
        const Spectrum spectrum{static_cast<int>(b.size()), m, b.data(), g.data()};
        Step = ComputeEfStep(rules, spectrum, dTrust, s.data());
        dPredicted = PredictedChange(rules, spectrum, Step);
    }
    double Length() const {
        double d = 0.0;
        for (const double x : s) d += x * x;
        return std::sqrt(d);
    }
};

constexpr StepRules kPlain = kFollowStep, kCareful = kCarefulFollowStep;

TEST(EfStep, OnABowlIsTheNewtonStepWhereItIsShort) {
    const Made made(kPlain, {10, 20, 50}, {1, -2, 3}, kNone, 1.0);
    EXPECT_DOUBLE_EQ(made.s[0], -0.1);
    EXPECT_DOUBLE_EQ(made.s[1], 0.1);
    EXPECT_DOUBLE_EQ(made.s[2], -0.06);
    EXPECT_EQ(made.Step.dScale, 1.0);
    // The bottom of the bowl: -sum g^2 / 2 b.
    EXPECT_NEAR(made.dPredicted, -0.5 * (0.1 + 0.2 + 0.18), 1e-12);
}

TEST(EfStep, OnASaddleOfTheRightShapeIsTheNewtonStep) {
    const Made made(kPlain, {-10, 20, 50}, {1, -2, 3}, 0, 1.0);
    EXPECT_DOUBLE_EQ(made.s[0], 0.1);
    EXPECT_DOUBLE_EQ(made.s[1], 0.1);
}

/// Root below dTop of the rational function, by its definition: the lowest eigenvalue of the
/// Hessian bordered by the gradient. Newton's iteration from far below.
double LowestOfBordered(const std::vector<double>& b, const std::vector<double>& g, int m) {
    double dLow = -1e4, dHigh = *std::min_element(b.begin(), b.end());
    for (std::size_t i = 0; i < b.size(); ++i)
        if (static_cast<int>(i) != m) dHigh = std::min(dHigh, b[i]);
    for (std::size_t i = 0; m == 0 && i == 0; ++i)
        dHigh = *std::min_element(b.begin() + 1, b.end());
    for (int n = 0; n < 200; ++n) {
        const double L = 0.5 * (dLow + dHigh);
        double f = -L;
        for (std::size_t i = 0; i < b.size(); ++i)
            if (static_cast<int>(i) != m) f += g[i] * g[i] / (L - b[i]);
        (f > 0.0 ? dLow : dHigh) = L;
    }
    return 0.5 * (dLow + dHigh);
}

TEST(EfStep, OffABowlTakesTheLowestRootOfTheBorderedHessian) {
    const std::vector<double> b{-3, 5, 40}, g{10, 4, -9};
    const Made made(kPlain, b, g, kNone, 5.0);
    const double L = LowestOfBordered(b, g, kNone);
    EXPECT_NEAR(made.Step.dLambda, L, 1e-7);
    for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(made.s[i], g[i] / (L - b[i]), 1e-6);
}

TEST(EfStep, UphillGoesByTheShiftOfTheFollowedMode) {
    const std::vector<double> b{4, 9, 40}, g{3.0, 0.2, -0.3};
    const Made whole(kPlain, b, g, 0, 5.0), half(kTransitStep, b, g, 0, 5.0);
    const double dRoot = std::sqrt(16.0 + 4.0 * 9.0);
    EXPECT_NEAR(whole.Step.dLambdaP, 2 + dRoot, 1e-12);
    EXPECT_NEAR(half.Step.dLambdaP, 0.5 * (4 + dRoot), 1e-12);
    EXPECT_GT(half.s[0] * g[0], 0.0) << "uphill";
    EXPECT_NEAR(half.Step.dLambda, LowestOfBordered(b, g, 0), 1e-7);
    EXPECT_LT(half.s[1] * g[1], 0.0) << "downhill";
}

TEST(EfStep, ThatIsTooLongIsAsLongAsTheTrustRadius) {
    const std::vector<double> b{-3, 5, 40}, g{8, 10, -30};
    for (const int m : {kNone, 0, 1, 2})
        for (const double dTrust : {0.3, 0.01, 1e-4}) {
            const Made made(kCareful, b, g, m, dTrust);
            EXPECT_NEAR(made.Length(), dTrust, 1.1e-6) << m << " " << dTrust;
            EXPECT_NEAR(made.Step.dLength, made.Length(), 1e-9);
        }
}

TEST(EfStep, GoesUpTheFollowedModeAndDownTheOthers) {
    Randoms randoms(12);
    for (int n = 0; n < 3000; ++n) {
        std::vector<double> b(5), g(5);
        for (double& x : b) x = 300.0 * randoms.Number() + 100.0;
        for (double& x : g) x = 40.0 * randoms.Number();
        std::sort(b.begin(), b.end());
        const int m = n % 5;
        const Made made(kCareful, b, g, m, std::pow(10.0, 1.5 * randoms.Number() - 2.0));
        EXPECT_LE(made.Length(), made.dTrust + 1.1e-6);
        for (std::size_t i = 0; i < 5; ++i) {
            const double dUphill = static_cast<int>(i) == m ? 1.0 : -1.0;
            EXPECT_GE(dUphill * made.s[i] * g[i], 0.0) << n << " " << i;
        }
    }
}

TEST(EfStep, BetweenItsPolesMayGoDownTheFollowedModeUnlessTheNearerOneCounts) {
    Randoms randoms(12);
    int nWrong = 0;
    for (int n = 0; n < 3000; ++n) {
        std::vector<double> b(5), g(5);
        for (double& x : b) x = 300.0 * randoms.Number() + 320.0;
        for (double& x : g) x = 40.0 * randoms.Number();
        std::sort(b.begin(), b.end());
        const Made made(kTransitStep, b, g, 3, 0.05);
        nWrong += made.s[3] * g[3] < 0.0;
        EXPECT_GE(Made(kCarefulTransitStep, b, g, 3, 0.05).s[3] * g[3], 0.0);
    }
    EXPECT_GT(nWrong, 0) << "the difference between the two is real";
}

TEST(EfStep, LeavesAModeWithoutGradientAlone) {
    for (const int m : {kNone, 0, 1}) {
        const Made made(kPlain, {0.0, 0.0, 7.0}, {0.0, 0.0, 0.0}, m, 0.3);
        for (const double s : made.s) EXPECT_EQ(s, 0.0);
        EXPECT_EQ(made.dPredicted, 0.0);
    }
}

TEST(EfStep, OfASingleModeThatIsFollowedGoesUphill) {
    const Made made(kPlain, {300.0}, {20.0}, 0, 0.2);
    EXPECT_GT(made.s[0], 0.0);
    EXPECT_LE(made.Length(), 0.2 + 1.1e-6);
}

TEST(EfStep, WithoutABracketTakesTheLastResort) {
    // A gradient so large that no shift within the bounds makes the step short enough.
    const Made made(kPlain, {1.0, 2.0}, {1e12, 1e12}, kNone, 1e-3);
    EXPECT_EQ(made.Step.dLambda, 1.0 - 10.0);
    EXPECT_NEAR(made.Length(), 1e-3, 1e-12);
    EXPECT_LT(made.Step.dScale, 1.0);
}

TEST(EfStep, ThatDoesNotComeToRestSaysSo) {
    // Eigenvalues so large that neighbouring numbers are further apart than the tolerance, and a
    // root between two of them.
    const Made made(kPlain, {3e15, 4e15}, {1e15, 1e15}, kNone, 0.1);
    EXPECT_LE(made.Length(), 0.1 + 1e-5);
}

TEST(EfStep, PredictsTheModelsOwnChange) {
    const std::vector<double> b{-3, 5, 40}, g{8, 10, -30};
    const Made made(kCareful, b, g, 0, 0.2);
    double d = 0.0;
    for (std::size_t i = 0; i < 3; ++i) d += (g[i] + 0.5 * b[i] * made.s[i]) * made.s[i];
    EXPECT_NEAR(made.dPredicted, d, 1e-9 * std::abs(d));
}

TEST(EfStep, PredictsNothingFromAModeAtItsPole) {
    const double b[2] = {5, 40}, g[2] = {1, 1};
    const EfStep step{.dLambda = 5.000001};
    const double d = 1.0 / (5.000001 - 40.0);
    const Spectrum spectrum{2, kNone, b, g};
    EXPECT_NEAR(PredictedChange(kFollowStep, spectrum, step), (1 + 0.5 * 40 * d) * d, 1e-12);
    EXPECT_GT(PredictedChange(kTransitStep, spectrum, step), 1e6);
}

}  // namespace
}  // namespace qsolve
