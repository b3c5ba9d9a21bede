#include "tests/support/model_surfaces.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "job/state.h"
#include "numeric/pool.h"
#include "scf/state.h"
#include "search/ef_step.h"
#include "search/rules.h"
#include "search/search.h"

namespace qsolve {
namespace {

struct Stationary {
    double x, y, dEnergy;
};
// Mueller and Brown's, by Newton's iteration in another program.
constexpr Stationary kMinima[] = {{-0.558223634633024, 1.441725841804669, -146.69951720995},
                                  {-0.050010822998206, 0.466694104871972, -80.76781812965},
                                  {0.623499404930877, 0.028037758528718, -108.16672411685}};
constexpr Stationary kSaddles[] = {{-0.822001558732732, 0.624312802814871, -40.66484350958},
                                   {0.212486582000662, 0.292988325107368, -72.24894011232}};

TEST(ModelSurfaces, AreFlatAtTheirStationaryPoints) {
    for (const Stationary& s : {kMinima[0], kMinima[1], kMinima[2], kSaddles[0], kSaddles[1]}) {
        const Plane p = MuellerBrown(s.x, s.y);
        EXPECT_NEAR(p.dEnergy, s.dEnergy, 1e-8);
        EXPECT_NEAR(p.dX, 0.0, 1e-8);
        EXPECT_NEAR(p.dY, 0.0, 1e-8);
    }
    EXPECT_NEAR(MonkeySaddle(-0.75, 0.0).dEnergy, -kMonkeyDepth, 1e-12);
    EXPECT_NEAR(MonkeySaddle(-0.75, 0.0).dX, 0.0, 1e-12);
}

class OnSurfaces : public ModelTest {
  protected:
    static void Order(PlaneFunction function, double x, double y, int nKind, bool fCareful) {
        SetThreads(1);  // every point is computed here
        model = ModelState{};
        Place(ChainAt(x, y));
        job.nCalcKind = nKind;
        options.fComputeHessian = options.fTsSearch = nKind != kOptimisation;
        options.nFollowMode = nKind == kTransitionState;
        options.fModelHessian = 1;
        options.flConvergenceLimit = 1e-6F;
        further.Search = {.fCareful = fCareful, .fEitherSign = fCareful};
        model.Energy = OverBonds(function);
    }
    static void Ends(const Stationary& one, const Stationary& other) {
        for (const auto& [s, ends] :
             {std::pair{&one, &system.dReactantXyz}, std::pair{&other, &system.dProductXyz}}) {
            ends->Take(9, kIntake);
            const std::vector<double> at = ChainAt(s->x, s->y);
            std::copy(at.begin(), at.end(), ends->begin());
        }
    }
    /// The longest way between two energies from the one numbered nFrom on.
    static double LongestStep(std::size_t nFrom) {
        double dLongest = 0.0;
        for (std::size_t i = nFrom; i < model.Path.size(); ++i) {
            double d = 0.0;
            for (std::size_t k = 0; k < 9; ++k)
                d += std::pow(model.Path[i][k] - model.Path[i - 1][k], 2);
            dLongest = std::max(dLongest, std::sqrt(d));
        }
        return dLongest;
    }
    static double X() {
        return std::hypot(system.pCoords[0] - system.pCoords[3],
                          system.pCoords[1] - system.pCoords[4]) -
               kPlaneOrigin;
    }
};

TEST_F(OnSurfaces, GoesDownToTheMinimumOfItsValley) {
    for (const Stationary& s : kMinima) {
        Order(MuellerBrown, s.x + 0.12, s.y - 0.1, kOptimisation, true);
        EigenvectorFollow(1e-4, 100);
        EXPECT_EQ(results.Block.fConverged, 1);
        EXPECT_NEAR(scf.dTotalEnergy, s.dEnergy, 1e-6);
        EXPECT_LE(LongestStep(1), 0.5 + 1e-5);
    }
}

TEST_F(OnSurfaces, ClimbsToTheSaddlePointNextToIt) {
    for (const bool fCareful : {false, true})
        for (const Stationary& s : kSaddles) {
            Order(MuellerBrown, s.x + 0.1, s.y + 0.08, kTransitionState, fCareful);
            EigenvectorFollow(1e-4, 100);
            EXPECT_EQ(results.Block.fConverged, 1);
            EXPECT_EQ(results.Block.nNegativeEigenvalues, 1);
            EXPECT_NEAR(scf.dTotalEnergy, s.dEnergy, 1e-6);
            EXPECT_NEAR(X(), s.x, 1e-4);
            EXPECT_LE(LongestStep(1 + 18 + 1), 0.3 + 1e-5);
        }
}

TEST_F(OnSurfaces, ClimbsFromAMinimumToATopOrSaysThatItHasNone) {
    int nTops = 0;
    for (const Stationary& s : kMinima) {
        Order(MuellerBrown, s.x - 0.1, s.y + 0.06, kTransitionState, true);
        EigenvectorFollow(1e-4, 100);
        if (!results.Block.fConverged) continue;  // one climbs the outer wall, which has no end
        const double dOne = std::abs(scf.dTotalEnergy - kSaddles[0].dEnergy);
        EXPECT_NEAR(std::min(dOne, std::abs(scf.dTotalEnergy - kSaddles[1].dEnergy)), 0.0, 1e-6);
        ++nTops;
    }
    EXPECT_EQ(nTops, 2);
}

TEST_F(OnSurfaces, TransitsFromHalfWayBetweenTwoMinima) {
    for (const int nForm : {0, 1})
        for (int n = 0; n < 2; ++n) {
            const Stationary &one = kMinima[n], &other = kMinima[n + 1];
            Order(MuellerBrown, 0.5 * (one.x + other.x), 0.5 * (one.y + other.y),
                  kSynchronousTransit, true);
            options.nFollowMode = nForm;
            Ends(one, other);
            RunSynchronousTransit(1e-4, 200);
            EXPECT_EQ(results.Block.fConverged, 1) << nForm << n;
            EXPECT_NEAR(scf.dTotalEnergy, kSaddles[n].dEnergy, 1e-6);
            EXPECT_LE(LongestStep(1 + 18 + 1), 0.158753175 + 1e-5);
        }
}

TEST_F(OnSurfaces, LeavesAPointWithoutCurvatureByAnyOfItsValleys) {
    for (const double dAngle : {0.3, 1.4, 2.5, 3.6, 4.7}) {
        Order(MonkeySaddle, 0.05 * std::cos(dAngle), 0.05 * std::sin(dAngle), kOptimisation, true);
        EigenvectorFollow(1e-4, 200);
        EXPECT_EQ(results.Block.fConverged, 1) << dAngle;
        EXPECT_NEAR(scf.dTotalEnergy, -kMonkeyDepth, 1e-6) << dAngle;
    }
}

TEST_F(OnSurfaces, CallsNothingButThePointWithoutCurvatureASaddlePoint) {
    for (const double dAngle : {0.3, 1.4, 2.5, 3.6, 4.7}) {
        Order(MonkeySaddle, 0.3 * std::cos(dAngle), 0.3 * std::sin(dAngle), kTransitionState, true);
        EigenvectorFollow(1e-3, 100);
        if (!results.Block.fConverged) continue;
        EXPECT_NEAR(scf.dTotalEnergy, 0.0, 1e-4) << dAngle;
    }
}

// ---- the shifts, by a root finder ---------------------------------------------------------------

/// A plane in the eigenvectors of its second derivatives.
struct Turned {
    double b[2], g[2];
    explicit Turned(const Plane& p) {
        const double dMean = 0.5 * (p.dXx + p.dYy), dHalf = 0.5 * (p.dXx - p.dYy);
        const double dRoot = std::hypot(dHalf, p.dXy), t = 0.5 * std::atan2(p.dXy, dHalf);
        b[0] = dMean - dRoot, b[1] = dMean + dRoot;
        g[0] = -std::sin(t) * p.dX + std::cos(t) * p.dY;
        g[1] = std::cos(t) * p.dX + std::sin(t) * p.dY;
    }
};

/// Where a function that falls through zero between two numbers does so.
template <class F>
double FallsThroughZero(double dLow, double dHigh, F f) {
    for (int n = 0; n < 200; ++n) {
        const double d = 0.5 * (dLow + dHigh);
        (f(d) > 0.0 ? dLow : dHigh) = d;
    }
    return 0.5 * (dLow + dHigh);
}

template <class F>
void ForPointsOf(PlaneFunction function, F check) {
    for (double x = -1.1; x < 1.0; x += 0.19)
        for (double y = -0.3; y < 1.7; y += 0.17) check(Turned(function(x, y)));
}

TEST(ShiftsOnSurfaces, UphillAndDownhillAreEigenvaluesOfTheBorderedHessian) {
    for (const PlaneFunction function : {MuellerBrown, MonkeySaddle})
        ForPointsOf(function, [](const Turned& t) {
            double s[2];
            const EfStep step = ComputeEfStep(kTransitStep, {2, 0, t.b, t.g}, 1e9, s);
            // (b g; g 0): the higher root for the followed mode, the lower one for the other.
            const double dUp = FallsThroughZero(std::max(0.0, t.b[0]), 1e7, [&](double L) {
                return t.g[0] * t.g[0] - L * (L - t.b[0]);
            });
            const double dDown = FallsThroughZero(-1e7, std::min(0.0, t.b[1]), [&](double L) {
                return L * (L - t.b[1]) - t.g[1] * t.g[1];
            });
            const double dUnit = 1.0 + std::abs(t.b[0]) + std::abs(t.b[1]) + std::abs(t.g[1]);
            EXPECT_NEAR(step.dLambdaP, dUp, 1e-9 * dUnit + 1e-9 * std::abs(t.g[0]));
            EXPECT_NEAR(step.dLambda, dDown, 1e-6 * dUnit);
        });
}

TEST(ShiftsOnSurfaces, ToTheTrustLengthIsTheOneBelowAllCurvatures) {
    constexpr double kTrust = 0.02;
    int nLong = 0;
    for (const PlaneFunction function : {MuellerBrown, MonkeySaddle})
        ForPointsOf(function, [&](const Turned& t) {
            double s[2];
            const EfStep step = ComputeEfStep(kCarefulFollowStep, {2, -1, t.b, t.g}, kTrust, s);
            const auto length = [&](double L) {
                return std::hypot(t.g[0] / (L - t.b[0]), t.g[1] / (L - t.b[1]));
            };
            if (step.dLength < kTrust - 1e-6 || step.dScale != 1.0) return;
            ++nLong;
            const double L =
                FallsThroughZero(-1e7, t.b[0], [&](double d) { return kTrust - length(d); });
            // The length of a step is right within 1e-6 of 0.02.
            EXPECT_NEAR(step.dLambda - t.b[0], L - t.b[0], 1e-4 * std::abs(L - t.b[0]) + 1e-4);
        });
    EXPECT_GT(nLong, 100);
}

}  // namespace
}  // namespace qsolve
