#include "gradient/restraint_terms.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <numbers>
#include <random>
#include <string>
#include <vector>

#include "link/link.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scripted_client.h"

namespace qsolve {
namespace {

constexpr double kDegree = std::numbers::pi / 180.0;
constexpr double k = 70.0;

using Points = std::vector<double>;  // x y z by atom

/// One restraint as a function of its points.
RestraintTerm Term(const Points& x, double dTarget) {
    switch (x.size() / 3) {
        case 2:
            return StretchTerm(&x[0], &x[3], k, dTarget);
        case 3:
            return BendTerm(&x[0], &x[3], &x[6], k, dTarget);
        default:
            return TorsionTerm(&x[0], &x[3], &x[6], &x[9], k, dTarget);
    }
}

/// Largest deviation of the derivatives from central differences of the energy.
double WorstDeviation(const Points& x, double dTarget, double dStep = 1e-5) {
    const RestraintTerm term = Term(x, dTarget);
    double dWorst = 0.0;
    for (std::size_t i = 0; i < x.size(); ++i) {
        Points up = x, down = x;
        up[i] += dStep;
        down[i] -= dStep;
        const double d = (Term(up, dTarget).dEnergy - Term(down, dTarget).dEnergy) / (2 * dStep);
        dWorst = std::fmax(dWorst, std::abs(d - term.dGradient[i / 3][i % 3]));
    }
    return dWorst;
}

Points RandomPoints(int nAtoms, unsigned nSeed) {
    std::mt19937 random(nSeed);
    std::uniform_real_distribution<double> place(-1.5, 1.5);
    Points x(static_cast<std::size_t>(3 * nAtoms));
    for (double& d : x) d = place(random);
    return x;
}

/// a-b-c-d with unit sides, right angles at b and c, and a dihedral angle: seen along b-c, d stands
/// that far anticlockwise from a.
Points Chain(double dDihedral) {
    return {1, 0, 0, 0, 0, 0, 0, 0, 1, std::cos(dDihedral), -std::sin(dDihedral), 1};
}

/// a-b-c with unit sides and an angle at b.
Points Corner(double dAngle) {
    return {1, 0, 0, 0, 0, 0, std::cos(dAngle), std::sin(dAngle), 0};
}

class AnyTerm : public testing::TestWithParam<int> {};

TEST_P(AnyTerm, HasTheDerivativesOfItsEnergy) {
    for (unsigned nSeed = 1; nSeed <= 40; ++nSeed)
        for (const double dTarget : {0.0, 0.3, 1.4, -2.5})
            EXPECT_LT(WorstDeviation(RandomPoints(GetParam(), nSeed), dTarget), 2e-5)
                << "seed " << nSeed << ", target " << dTarget;
}

TEST_P(AnyTerm, NeitherPushesNorTurnsTheWhole) {
    for (unsigned nSeed = 1; nSeed <= 20; ++nSeed) {
        const Points x = RandomPoints(GetParam(), nSeed);
        const RestraintTerm term = Term(x, 0.8);
        for (int m = 0; m < 3; ++m) {
            double dForce = 0.0, dTorque = 0.0;
            for (std::size_t i = 0; i < x.size() / 3; ++i) {
                const int p = (m + 1) % 3, q = (m + 2) % 3;
                const double* g = term.dGradient[i];
                dForce += g[m];
                dTorque += x[3 * i + static_cast<std::size_t>(p)] * g[q] -
                           x[3 * i + static_cast<std::size_t>(q)] * g[p];
            }
            EXPECT_NEAR(dForce, 0.0, 1e-9);
            EXPECT_NEAR(dTorque, 0.0, 1e-9);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Atoms, AnyTerm, testing::Values(2, 3, 4));

class RestraintTerms : public FreshState {
  protected:
    RestraintTerms() { NewScriptedClient(); }
};

TEST_F(RestraintTerms, StretchOfNoLengthMayMeet) {
    const RestraintTerm term = Term({1, 2, 3, 1, 2, 3}, 0.0);
    EXPECT_EQ(term.dEnergy, 0.0);
    EXPECT_EQ(term.dGradient[0][0], 0.0);
}

TEST_F(RestraintTerms, AtomsInOnePlaceHaveNoDirection) {
    EXPECT_THROW(Term({1, 2, 3, 1, 2, 3 + 0.9e-6}, 1.0), Unwinding);
    EXPECT_NO_THROW(Term({0, 0, 0, 0, 0, 1.1e-6}, 1.0));
    EXPECT_THROW(Term({1, 2, 3, 1, 2, 3, 4, 5, 6}, 1.0), Unwinding);
    // A bend looks at the product of its sides.
    EXPECT_THROW(Term({0.9e-6, 0, 0, 0, 0, 0, 0, 0.9e-6, 0}, 1.0), Unwinding);
    EXPECT_NO_THROW(Term({1.1e-6, 0, 0, 0, 0, 0, 0, 1.1e-6, 0}, 1.0));
    EXPECT_EQ(client.Errors(), std::vector<std::string>(3, MessageText(kMsgSamePosition)));
}

TEST_F(RestraintTerms, BendMeasuresTheAngleAtItsMiddleAtom) {
    for (const double dAngle : {20.0, 90.0, 109.5, 175.0})
        EXPECT_NEAR(Term(Corner(dAngle * kDegree), 0.0).dEnergy, k * std::pow(dAngle * kDegree, 2),
                    1e-9);
}

TEST_F(RestraintTerms, StraightBendHasAFiniteForceAndNoneExactlyThere) {
    const RestraintTerm exact = Term({1, 0, 0, 0, 0, 0, -1, 0, 0}, 1.9);
    EXPECT_NEAR(exact.dEnergy, k * std::pow(std::numbers::pi - 1.9, 2), 1e-9);
    for (const auto& row : exact.dGradient)
        for (const double d : row) EXPECT_EQ(d, 0.0);
    for (const double d : {1e-3, 1e-5, 1e-7, 1e-9}) {
        const RestraintTerm near = Term(Corner(std::numbers::pi - d), 1.9);
        for (const auto& row : near.dGradient)
            for (const double g : row)
                EXPECT_LT(std::abs(g), 2.01 * k * (std::numbers::pi - 1.9) * 2);
    }
    EXPECT_LT(WorstDeviation(Corner(std::numbers::pi - 0.01), std::numbers::pi, 1e-6), 1e-5);
}

TEST_F(RestraintTerms, TorsionHasTheSignOfItsTurn) {
    for (const double dAngle : {-170.0, -90.0, -1.0, 3.0, 60.0, 179.0}) {
        const double d = dAngle * kDegree, dTarget = 0.1;
        const double dOff = std::remainder(d - dTarget, 2.0 * std::numbers::pi);
        EXPECT_NEAR(Term(Chain(d), dTarget).dEnergy, k * dOff * dOff, 1e-7) << dAngle;
    }
}

TEST_F(RestraintTerms, TorsionGoesTheShorterWayRound) {
    const double d = 179.0 * kDegree;
    EXPECT_NEAR(Term(Chain(-d), d).dEnergy, k * std::pow(2.0 * kDegree, 2), 1e-7);
    EXPECT_NEAR(Term(Chain(d), d + 4.0 * std::numbers::pi).dEnergy, 0.0, 1e-9);
    EXPECT_NEAR(Term(Chain(d), -d).dEnergy, k * std::pow(2.0 * kDegree, 2), 1e-7);
    EXPECT_LT(WorstDeviation(Chain(-d), d), 2e-5);
}

// Below 6 degrees the series, above it the quotient; the two forms meet.
TEST_F(RestraintTerms, FlatTorsionHasTheDerivativesOfItsEnergy) {
    for (const double dAngle : {-7.0, -5.0, 0.5, 5.0, 5.999, 6.001, 7.0})
        EXPECT_LT(WorstDeviation(Chain(dAngle * kDegree), 0.0), 1e-3 * k * kDegree) << dAngle;
    const double dBelow = Term(Chain(5.9999 * kDegree), 0.0).dGradient[0][1];
    const double dAbove = Term(Chain(6.0001 * kDegree), 0.0).dGradient[0][1];
    EXPECT_NEAR(dBelow, dAbove, 2e-4 * std::abs(dAbove));
}

TEST_F(RestraintTerms, SeriesBelongsToTheZeroTargetAlone) {
    // phi = phi0 = 5 degrees is at rest by the quotient; the series would push.
    const double d = 5.0 * kDegree;
    for (const auto& row : Term(Chain(d), d).dGradient)
        for (const double g : row) EXPECT_NEAR(g, 0.0, 1e-9);
    // A target of 1e-5 radians already goes through the quotient, whose force is 2 k D.
    const double dUp = Term(Chain(3e-2), 1e-5).dGradient[0][1];
    EXPECT_NEAR(std::abs(dUp), 2.0 * k * (3e-2 - 1e-5), 1e-6);
}

// Of vectors in one line every second pair has a cosine a rounding beyond one.
TEST_F(RestraintTerms, FoldedAndStraightBendsHaveTheirAngleInEveryDirection) {
    for (unsigned nSeed = 1; nSeed <= 100; ++nSeed) {
        const Points u = RandomPoints(1, nSeed);
        for (const double dScale : {0.7, -1.3}) {
            const Points x = {u[0],          u[1],          u[2],         0, 0, 0,
                              dScale * u[0], dScale * u[1], dScale * u[2]};
            const double dAngle = dScale > 0.0 ? 0.0 : std::numbers::pi;
            EXPECT_NEAR(Term(x, 0.4).dEnergy, k * std::pow(dAngle - 0.4, 2), 1e-5) << nSeed;
        }
    }
}

TEST_F(RestraintTerms, PlanarAndLinearChainsStayFinite) {
    for (const double dTarget : {0.0, 1e-5, 1.0, std::numbers::pi}) {
        for (const Points& x :
             {Chain(0.0), Chain(std::numbers::pi), Points{1, 0, 0, 2, 0, 0, 3, 0, 0, 4, 1, 0},
              Points{1, 0, 0, 2, 0, 0, 3, 0, 0, 4, 0, 0}}) {
            const RestraintTerm term = Term(x, dTarget);
            EXPECT_TRUE(std::isfinite(term.dEnergy));
            for (const auto& row : term.dGradient)
                for (const double g : row) EXPECT_TRUE(std::isfinite(g));
        }
    }
    for (const auto& row : Term(Chain(0.0), 0.0).dGradient)
        for (const double g : row) EXPECT_NEAR(g, 0.0, 1e-12);
}

}  // namespace
}  // namespace qsolve
