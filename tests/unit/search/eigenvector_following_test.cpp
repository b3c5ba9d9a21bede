#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "geometry/displacements.h"
#include "gradient/state.h"
#include "job/state.h"
#include "link/link.h"
#include "numeric/pool.h"
#include "scf/state.h"
#include "search/ef_step.h"
#include "search/rules.h"
#include "search/search.h"
#include "search/surface.h"
#include "setup/state.h"
#include "tests/support/hinge.h"
#include "tests/support/matrices.h"
#include "tests/support/model_potential.h"
#include "vibrations/state.h"

namespace qsolve {
namespace {

const std::vector<double> kTriangle{0, 0, 0, 1.05, 0.05, 0, 0.5, 0.95, 0.02};

class Following : public ModelTest {
  protected:
    /// Atoms on a potential, and an order: to a minimum, or to a saddle point along mode nMode.
    static void Order(const std::vector<double>& x, Potential energy, int nKind, int nMode = 1) {
        SetThreads(1);  // every point is computed here
        Place(x);
        job.nCalcKind = nKind;
        options.fComputeHessian = options.fTsSearch = nKind != kOptimisation;
        options.nFollowMode = nMode;
        options.fModelHessian = 1;
        options.flConvergenceLimit = 1e-6F;
        options.nLogLevel = 10;
        model.Energy = std::move(energy);
    }
    static void Run(double dRms = 1e-4, int nMaxCycles = 100) {
        EigenvectorFollow(dRms, nMaxCycles);
    }

    /// Eigenvalues below -1 of the second derivatives where the atoms stand, by differences.
    static int CountNegative() {
        const int nAtoms = system.nSelected, n = 3 * nAtoms;
        TestMatrix hessian(n, n);
        ComputeDifferences(kForceMatrixScheme, nAtoms, 1, hessian.Data(), nullptr);
        // Sylvester: the signs of the pivots of H - x are those of the eigenvalues.
        int nNegative = 0;
        for (int i = 0; i < n; ++i) hessian(i, i) += 1.0;
        for (int k = 0; k < n; ++k) {
            nNegative += hessian(k, k) < 0.0;
            for (int i = k + 1; i < n; ++i)
                for (int j = k + 1; j < n; ++j)
                    hessian(i, j) -= hessian(i, k) * hessian(k, j) / hessian(k, k);
        }
        return nNegative;
    }
};

TEST_F(Following, ClosesATriangleOfAtoms) {
    for (const bool fCareful : {false, true}) {
        Order(kTriangle, LennardJones(), kOptimisation);
        further.Search.fCareful = fCareful;
        Run();
        EXPECT_EQ(results.Block.fConverged, 1);
        EXPECT_NEAR(scf.dTotalEnergy, -30.0, 1e-6);
        EXPECT_EQ(results.Block.nEnergyPoints, model.nRuns - 1);
        model = ModelState{};
    }
}

TEST_F(Following, EndsAtOnceWhereItStartsInTheMinimum) {
    Order({0, 0, 0, 1, 0, 0}, LennardJones(), kOptimisation);
    Run(1e-3);
    EXPECT_EQ(results.Block.fConverged, 1);
    EXPECT_EQ(results.Block.nCycles, 0);
    EXPECT_EQ(model.nRuns, 2) << "one SCF, and the one of the report";
}

TEST_F(Following, FindsTheTopOfAHinge) {
    for (const bool fCareful : {false, true})
        for (const int nMode : {0, 1}) {
            model = ModelState{};
            Order(HingeGuess(), Hinge(), kTransitionState, nMode);
            further.Search.fCareful = fCareful;
            Run();
            EXPECT_EQ(results.Block.fConverged, 1);
            EXPECT_EQ(results.Block.nNegativeEigenvalues, 1);
            EXPECT_NEAR(scf.dTotalEnergy, kHingeTop, 1e-6);
            EXPECT_EQ(CountNegative(), 1);
        }
}

TEST_F(Following, WorksInBohr) {
    Order(HingeGuess(), Hinge(), kTransitionState);
    system.MethodId = kCndo;
    Run();
    EXPECT_EQ(results.Block.fConverged, 1);
    EXPECT_NEAR(scf.dTotalEnergy, kHingeTop, 1e-6);
}

TEST_F(Following, TakesAMinimumForASaddlePointUnlessItIsCareful) {
    const std::vector<double> tetrahedron{1, 1, 1, 1, -1, -1, -1, 1, -1, -1, -1, 1};
    std::vector<double> x = tetrahedron;
    for (double& d : x) d *= 0.5 / std::sqrt(2.0);
    x[0] += 1e-4;
    Order(x, LennardJones(), kTransitionState);
    Run(0.05);
    EXPECT_EQ(results.Block.fConverged, 1) << "as it has always been";
    EXPECT_EQ(CountNegative(), 0);

    model = ModelState{};
    Order(x, LennardJones(), kTransitionState);
    further.Search.fCareful = true;
    Run(0.05, 60);
    EXPECT_TRUE(!results.Block.fConverged || results.Block.nNegativeEigenvalues > 0);
    EXPECT_GT(scf.dTotalEnergy, -59.9) << "it has left the minimum";
}

TEST_F(Following, ComesDownFromBeyondAnInflectionIfItIsCareful) {
    // A bond stretched beyond its inflection: the gradient grows all the way down.
    const std::vector<double> stretched{0, 0, 0, 1.6, 0, 0};
    Order(stretched, LennardJones(), kOptimisation);
    Run();
    EXPECT_EQ(results.Block.fConverged, 0);
    ASSERT_EQ(client.Warnings().size(), 1u);
    EXPECT_EQ(client.Warnings()[0].substr(0, 30),
              std::string(MessageText(kMsgTrustExhausted)).substr(0, 30));
    model = ModelState{};
    Order(stretched, LennardJones(), kOptimisation);
    further.Search.fCareful = true;
    Run();
    EXPECT_EQ(results.Block.fConverged, 1);
    EXPECT_NEAR(scf.dTotalEnergy, -10.0, 1e-6);
}

TEST_F(Following, UsesUpItsTrustWhereEveryStepIsRefused) {
    Order(
        {0, 0, 0, 1.2, 0, 0},
        [n = 0](const auto&, auto& g) mutable {
            g[0] = -3e4, g[3] = 3e4;
            return 1.0 * n++;  // ever higher
        },
        kOptimisation);
    job.nReportPeriod = 1;
    Run();
    EXPECT_EQ(results.Block.fConverged, 0);
    EXPECT_EQ(client.Warnings().size(), 1u);
    EXPECT_NEAR(DistanceFrom({0, 0, 0, 1.2, 0, 0}), 0.0, 1e-12) << "each step is undone";
    // The radius is 0.2 / 2^k in try k: the fifteenth would be below 1e-5. Each try is a report.
    EXPECT_EQ(model.nRuns, 1 + 15 + 1);
    EXPECT_EQ(Blocks().size(), 15u);
    EXPECT_EQ(Blocks()[3].nCycles, 1);
}

TEST_F(Following, EndsWhereTheEnergyIsNoNumber) {
    for (const int nKind : {kOptimisation, kTransitionState}) {
        model = ModelState{};
        Order(
            kTriangle,
            [](const std::vector<double>& x, std::vector<double>& g) {
                const bool fStart = std::abs(x[0]) < 0.01;
                LennardJones()(x, g);
                return fStart ? 1.0 : std::numeric_limits<double>::quiet_NaN();
            },
            nKind);
        Run();
        EXPECT_EQ(results.Block.fConverged, 0);
    }
}

TEST_F(Following, GoesBackWhereTheFollowedModeIsLost) {
    // The second atom is carried a quarter round the first behind the search's back: the stretch
    // that is followed looks like a rotation there, and no mode looks like it.
    const auto carry = [](int nRun) {
        return [nRun](const std::vector<double>& x, std::vector<double>& g) {
            std::vector<double> y = x;
            if (model.nRuns == nRun) {
                const double r = x[3] - x[0];
                system.pCoords[3] = x[0], system.pCoords[4] = x[1] + r;
                y.assign(system.pCoords.begin(), system.pCoords.end());
            }
            return LennardJones()(y, g);
        };
    };
    // First SCF, two displacements for each of six coordinates, one SCF more; then cycle 1.
    Order({0, 0, 0, 1.4, 0, 0}, carry(1 + 12 + 1 + 1), kTransitionState);
    Run(1e-4, 2);
    ASSERT_GE(model.Path.size(), 16u);
    const double dFirst = std::abs(model.Path[14][3] - model.Path[13][3]);
    const std::vector<double> carried{model.Path[14][0], model.Path[14][1]};
    // Back by the first step, and out again with half of its length.
    const double dNext = std::abs(model.Path[15][0] - model.Path[13][0]);
    EXPECT_GT(dFirst, 0.05);
    EXPECT_NEAR(dNext, 0.5 * dFirst, 0.02 * dFirst);
    EXPECT_TRUE(client.Errors().empty());
}

TEST_F(Following, SaysWhichModesThereAre) {
    Order({0, 0, 0, 1.4, 0, 0}, LennardJones(), kTransitionState, 4);
    Run(1e-4, 3);
    const std::vector<std::string> errors = client.Errors();
    ASSERT_EQ(errors.size(), 2u);
    EXPECT_EQ(errors[0], "The mode (4) to be followed is greater than the degree of freedoms (1).");
    EXPECT_EQ(errors[1], "The specified mode (4) is larger than the degree of freedom (1).");
}

TEST_F(Following, RefusesASingleAtom) {
    Order({0, 0, 0}, LennardJones(), kTransitionState);
    EXPECT_THROW(Run(), Unwinding);
    EXPECT_EQ(client.Errors(), std::vector<std::string>{MessageText(kMsgTransitionOneAtom)});
}

TEST_F(Following, OfASingleAtomIsConvergedAtOnce) {
    Order(
        {0.3, 0, 0}, [](const auto&, auto&) { return -1.0; }, kOptimisation);
    Run();
    EXPECT_EQ(results.Block.fConverged, 1);
}

TEST_F(Following, OnlyFindsTheModesWhereNoSearchIsAskedFor) {
    Order(HingeGuess(), Hinge(), kTransitionState);
    options.fTsSearch = 0;
    Run();
    EXPECT_EQ(results.Block.fConverged, 0);
    ASSERT_EQ(results.Modes.nModes, 9);
    EXPECT_EQ(results.Modes.nExternalModes, 6);
    EXPECT_EQ(results.Modes.Records[2].nIndex, 2);
    EXPECT_EQ(results.Modes.Records[3].flIntensity, 10.0F);
    EXPECT_LT(results.Modes.Records[0].flFrequency, 0.0F);
    EXPECT_NEAR(DistanceFrom(HingeGuess()), 0.0, 1e-12);
    EXPECT_TRUE(vibrations.fComplete);
}

TEST_F(Following, TakesTheHessianOfAnEarlierJob) {
    Order(HingeGuess(), Hinge(), kTransitionState);
    Run();
    const int nWithHessian = model.nRuns;
    VibrationState kept = std::move(vibrations);
    model = ModelState{};
    Order(HingeGuess(), Hinge(), kTransitionState);
    vibrations = std::move(kept);
    options.fComputeHessian = 0;
    Run();
    EXPECT_EQ(results.Block.fConverged, 1);
    EXPECT_NEAR(scf.dTotalEnergy, kHingeTop, 1e-6);
    EXPECT_EQ(model.nRuns, nWithHessian - 18 - 1);
}

TEST_F(Following, DoesNotTakeTheHessianOfOtherAtoms) {
    Order(HingeGuess(), Hinge(), kTransitionState);
    Run();
    VibrationState kept = std::move(vibrations);
    model = ModelState{};
    Order({0, 0, 0, 1, 0, 0, 2, 0.5, 0, 0, 1, 1}, LennardJones(), kTransitionState);
    vibrations = std::move(kept);
    options.fComputeHessian = 0;
    Run();
    EXPECT_EQ(client.Errors(), std::vector<std::string>{MessageText(kMsgHessianMissing)});
    EXPECT_EQ(model.nRuns, 1) << "and no report at the end";
}

/// The second derivatives of the hinge at its guess, as a client would tell them.
void GiveHessian(double dError) {
    TestMatrix h(9, 9);
    ComputeDifferences(kForceMatrixScheme, 3, 1, h.Data(), nullptr);
    const double dUnit = UsesAtomicUnits(system.MethodId) ? 1.889726 : 1.0;
    further.mHessian.Take(9, 9, kIntake);
    for (std::size_t i = 0; i < 81; ++i) further.mHessian[i] = h.v[i] * dUnit * dUnit;
    further.mHessian[1] += dError;  // of one triangle: the mean counts
    further.mHessian[9] -= dError;
}

TEST_F(Following, BeginsWithTheHessianThatItsClientTells) {
    for (const int nKind : {kTransitionState, kOptimisation})
        for (const int nMethod : {0, int{kCndo}}) {
            model = ModelState{};
            Order(HingeGuess(), Hinge(), nKind);
            if (nMethod) system.MethodId = nMethod;
            GiveHessian(100.0);
            further.Search.fCareful = true;
            model.nRuns = 0;
            Run(1e-4, 60);
            EXPECT_EQ(results.Block.fConverged, 1);
            const double dEnd = nKind == kTransitionState ? kHingeTop : 0.0;
            EXPECT_NEAR(scf.dTotalEnergy, dEnd, 1e-6) << nMethod;
            EXPECT_EQ(model.nRuns, results.Block.nEnergyPoints + 1) << "no differences";
            EXPECT_FALSE(vibrations.fComplete) << "it is not kept";
        }
}

TEST_F(Following, TakesTheMeanOfBothTrianglesInItsUnit) {
    Order(HingeGuess(), Hinge(), kTransitionState);
    system.MethodId = kCndo;
    further.mHessian.Take(9, 9, kIntake);
    for (int i = 0; i < 81; ++i) further.mHessian[i] = i;
    Surface surface;
    surface.Take(9);
    TakeGivenHessian(surface);
    for (int i = 0; i < 9; ++i)
        for (int j = 0; j < 9; ++j)
            EXPECT_NEAR(surface.mHessian[9 * i + j], 5.0 * (i + j) / (1.889726 * 1.889726), 1e-4);
}

TEST_F(Following, RefusesTheHessianOfOtherAtoms) {
    Order(HingeGuess(), Hinge(), kTransitionState);
    further.mHessian.Take(6, 6, kIntake);
    EXPECT_THROW(Run(), Unwinding);
    EXPECT_EQ(client.Errors(),
              std::vector<std::string>{"The section \"Hessian\" of the further options has 288 "
                                       "bytes, which does not fit."});
}

TEST_F(Following, TakesDifferencesOneWayWhereTheScfIsCoarse) {
    Order(HingeGuess(), Hinge(), kTransitionState);
    options.flConvergenceLimit = 0.01F;
    options.fTsSearch = 0;
    Run();
    EXPECT_EQ(model.nRuns, 1 + 9 + 1 + 1);
    EXPECT_EQ(options.flConvergenceLimit, 0.01F);
    EXPECT_NEAR(model.Path[1][0] - model.Path[0][0], 0.00529167, 1e-12);
    const double* h = vibrations.pHessian.Data();
    TestMatrix central(9, 9);
    ComputeDifferences(kForceMatrixScheme, 3, 1, central.Data(), nullptr);
    // One-sided: off by half the step times the third derivative, some 1e4 here.
    for (std::size_t i = 0; i < 81; ++i) EXPECT_NEAR(h[i], central.v[i], 60.0) << i;
}

TEST_F(Following, LeavesTheProcessUsableWhereMemoryFails) {
    int nFailed = 0;
    for (;; ++nFailed) {
        ASSERT_LT(nFailed, 300);
        vibrations = VibrationState{};
        client.Sent.clear();
        Order(kTriangle, LennardJones(), kTransitionState);
        memory.nTaken = 0;
        memory.nFailAt = nFailed;
        bool fFailed = false;
        try {
            Run(1e-3, 3);
        } catch (const Unwinding&) {
            fFailed = true;
        }
        memory.nFailAt = -1;
        if (!fFailed) break;
        EXPECT_EQ(client.Errors(), std::vector<std::string>{MessageText(kMsgOutOfMemory)});
        EXPECT_FALSE(vibrations.fComplete && nFailed < 20);
        EXPECT_FALSE(setup.fFinalReport);
    }
    EXPECT_GT(nFailed, 20);
}

TEST(EfStepBounds, AShiftThatDoesNotComeToRestSaysSo) {
    // Eigenvalues at the end of the numbers: the bounds of the shift are infinite.
    const double b[2] = {1e306, 1.5e306}, g[2] = {1e306, 1e306};
    double s[2];
    const EfStep step = ComputeEfStep(kFollowStep, {2, -1, b, g}, 1e-4, s);
    EXPECT_TRUE(step.fShiftMissing);
    EXPECT_LE(step.dLength, 1.1e-4);
}

}  // namespace
}  // namespace qsolve
