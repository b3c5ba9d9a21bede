#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "geometry/displacements.h"
#include "job/state.h"
#include "link/link.h"
#include "numeric/pool.h"
#include "scf/state.h"
#include "search/search.h"
#include "tests/support/hinge.h"
#include "tests/support/model_potential.h"
#include "vibrations/state.h"

namespace qsolve {
namespace {

class Transit : public ModelTest {
  protected:
    static void Order(const std::vector<double>& x, int nForm, const std::vector<double>& reactant,
                      const std::vector<double>& product) {
        SetThreads(1);  // every point is computed here
        Place(x);
        job.nCalcKind = kSynchronousTransit;
        options.nFollowMode = nForm;
        options.flConvergenceLimit = 1e-6F;
        options.nLogLevel = 10;
        model.Energy = Hinge();
        system.dReactantXyz.Take(x.size(), kIntake);
        system.dProductXyz.Take(x.size(), kIntake);
        std::copy(reactant.begin(), reactant.end(), system.dReactantXyz.begin());
        std::copy(product.begin(), product.end(), system.dProductXyz.begin());
    }
    static void OrderHinge(int nForm) { Order(HingeGuess(), nForm, HingeAt(1.45), HingeAt(1.75)); }
};

TEST_F(Transit, FindsTheTopOfAHinge) {
    for (const int nForm : {0, 1, 2})
        for (const bool fCareful : {false, true}) {
            model = ModelState{};
            OrderHinge(nForm);
            further.Search = {.fCareful = fCareful, .fEitherSign = fCareful};
            RunSynchronousTransit(1e-4, 100);
            EXPECT_EQ(results.Block.fConverged, 1) << nForm;
            EXPECT_EQ(results.Block.nNegativeEigenvalues, 1);
            EXPECT_NEAR(scf.dTotalEnergy, kHingeTop, 1e-6);
            EXPECT_EQ(system.dReactantXyz.Size(), 0u) << "the ends are used up";
        }
}

TEST_F(Transit, ClimbsInItsFirstCycleWhateverTheGradient) {
    OrderHinge(0);
    RunSynchronousTransit(1e6, 1);
    EXPECT_EQ(model.nRuns, 1 + 18 + 1 + 1 + 1);
    EXPECT_EQ(results.Block.fConverged, 0);
    EXPECT_NE(model.Path[20], model.Path[0]);
}

TEST_F(Transit, WorksInBohrWithItsEndsInAngstrom) {
    OrderHinge(1);
    system.MethodId = kCndo;
    for (double& d : system.dReactantXyz) d /= 1.889726;
    for (double& d : system.dProductXyz) d /= 1.889726;
    RunSynchronousTransit(1e-4, 100);
    EXPECT_EQ(results.Block.fConverged, 1);
    EXPECT_NEAR(scf.dTotalEnergy, kHingeTop, 1e-6);
    EXPECT_TRUE(client.Errors().empty());
}

TEST_F(Transit, GoesOnWithTheLowestModeBetweenTwoEqualEnds) {
    Order(HingeGuess(), 0, HingeAt(1.45), HingeAt(1.45));
    RunSynchronousTransit(1e-4, 100);
    EXPECT_NEAR(scf.dTotalEnergy, kHingeTop, 1e-6);
    const std::vector<std::string> errors = client.Errors();
    ASSERT_GE(errors.size(), 2u);
    EXPECT_EQ(errors[0], MessageText(kMsgTransitIdentical));
    EXPECT_EQ(errors[1], MessageText(kMsgLstTangent));
}

TEST_F(Transit, SaysThatItStandsOnAnEnd) {
    Order(HingeGuess(), 1, HingeGuess(), HingeAt(1.45));
    RunSynchronousTransit(1e-4, 1);
    EXPECT_EQ(client.Errors(), (std::vector<std::string>{MessageText(kMsgCloseToReactant),
                                                         MessageText(kMsgQstTangent)}));
    client.Sent.clear();
    Order(HingeGuess(), 1, HingeAt(1.45), HingeGuess());
    RunSynchronousTransit(1e-4, 1);
    EXPECT_EQ(client.Errors()[0], MessageText(kMsgCloseToProduct));
}

TEST_F(Transit, FollowsWhereThereIsNoDirectionToClimb) {
    Order({0, 0, 0, 1, 0, 0}, 0, {0, 0, 0, 1, 0, 0}, {0, 0, 0, 2, 0, 0});
    model.Energy = [](const auto&, auto&) { return 0.0; };  // flat: no curvature, no slope
    RunSynchronousTransit(1e-4, 2);
    ASSERT_FALSE(client.Errors().empty());
    EXPECT_EQ(client.Errors()[0], MessageText(kMsgClimbingDirection));
}

TEST_F(Transit, ComputesItsHessianAnewAfterTwoHundredCycles) {
    OrderHinge(0);
    model.Energy = [hinge = Hinge(), n = 0](const std::vector<double>& x,
                                            std::vector<double>& g) mutable {
        g[0] += n++ % 2 == 0 ? 1e-6 : -1e-6;  // which never comes to rest
        return hinge(x, g);
    };
    RunSynchronousTransit(0.0, 201);
    // The first SCF and the last, two Hessians of 18 points and one each, and one for each step.
    EXPECT_EQ(model.nRuns, 2 + 2 * 19 + results.Block.nEnergyPoints - 1);
    EXPECT_EQ(results.Block.nCycles, 201);
}

TEST_F(Transit, BeginsWithTheHessianThatItsClientTells) {
    OrderHinge(0);
    further.mHessian.Take(9, 9, kIntake);
    ComputeDifferences(kForceMatrixScheme, 3, 1, further.mHessian.Data(), nullptr);
    model.nRuns = 0;
    further.Search = {.fCareful = true, .fEitherSign = true};
    RunSynchronousTransit(1e-4, 100);
    EXPECT_EQ(results.Block.fConverged, 1);
    EXPECT_NEAR(scf.dTotalEnergy, kHingeTop, 1e-6);
    EXPECT_EQ(model.nRuns, results.Block.nEnergyPoints + 1) << "no differences";
}

TEST_F(Transit, RefusesASingleAtomAndFreesItsEnds) {
    Order({0, 0, 0}, 0, {0, 0, 0}, {0, 0, 1});
    EXPECT_THROW(RunSynchronousTransit(1e-4, 10), Unwinding);
    EXPECT_EQ(client.Errors(), std::vector<std::string>{MessageText(kMsgTransitionOneAtom)});
    EXPECT_EQ(system.dProductXyz.Size(), 0u);
}

TEST_F(Transit, SaysThatAPartOfAMoleculeIsNone) {
    OrderHinge(0);
    Place(HingeGuess(), {1, 2});
    RunSynchronousTransit(1e-4, 0);
    EXPECT_EQ(client.Errors(), std::vector<std::string>{MessageText(kMsgTransitMixedModel)});
}

}  // namespace
}  // namespace qsolve
