#include "ci/window.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "job/methods.h"
#include "job/state.h"
#include "link/link.h"
#include "setup/state.h"
#include "tests/support/fresh_state.h"

namespace qsolve {
namespace {

/// Eight levels, of which the fourth and fifth are the frontier of eight electrons; eV.
const std::vector<double> kLevels = {-20, -12, -11, -10, -2, -1, -1, 3};

class Window : public FreshState {
  protected:
    Window() {
        NewScriptedClient();
        system.MethodId = kAm1;
        setup.nOrbitals = 8;
        setup.nDoublyOcc = setup.nOccupied = 4;
        options.nCiSelection = 1;
    }
    void ByCounts(int nOccupied, int nUnoccupied) {
        options.nCiOccupied = nOccupied;
        options.nCiUnoccupied = nUnoccupied;
    }
    static void ByEnergy(double dEv) {
        options.nCiSelection = 0;
        options.flCiMaxExcitation = static_cast<float>(dEv * KcalPerUnit(system.MethodId));
    }
    /// Levels of the window that are occupied in the SCF, and those that are not.
    static std::pair<int, int> CountsOf(const CiWindow& w) {
        const int nOccupied = setup.nOccupied - w.nBelow;
        return {nOccupied, w.nLevels - nOccupied};
    }
    static std::vector<double> ReferenceOf(const CiWindow& w) {
        return {w.vOccRef.begin(), w.vOccRef.end()};
    }
};

TEST_F(Window, ClosedShellHasTheLevelsNextToTheFrontier) {
    ByCounts(2, 1);
    const CiWindow w = ChooseWindow(kLevels.data());
    EXPECT_EQ(w.nBelow, 2);
    EXPECT_EQ(w.nLevels, 3);
    EXPECT_EQ(w.nAlphaRef, 2);
    EXPECT_EQ(w.nBetaRef, 2);
    EXPECT_EQ(ReferenceOf(w), (std::vector<double>{1, 1, 0}));
    EXPECT_EQ(w.dLimit, std::numeric_limits<double>::infinity());
}

TEST_F(Window, OpenLevelsHoldHalfAnElectronOfEachSpin) {
    setup.nDoublyOcc = 3;
    setup.nOccupied = 5;
    ByCounts(3, 2);
    const CiWindow w = ChooseWindow(kLevels.data());
    EXPECT_EQ(w.nBelow, 2);
    EXPECT_EQ(w.nAlphaRef, 3);
    EXPECT_EQ(w.nBetaRef, 1);
    EXPECT_EQ(ReferenceOf(w), (std::vector<double>{1, 0.5, 0.5, 0, 0}));
}

TEST_F(Window, WindowOfFewerLevelsThanAreOpenHasNoBetaElectron) {
    setup.nDoublyOcc = 3;
    setup.nOccupied = 6;
    ByCounts(2, 0);
    const CiWindow w = ChooseWindow(kLevels.data());
    EXPECT_EQ(w.nBelow, 4);
    EXPECT_EQ(w.nAlphaRef, 2);
    EXPECT_EQ(w.nBetaRef, 0);
    EXPECT_EQ(ReferenceOf(w), (std::vector<double>{0.5, 0.5}));
}

/// Two half-filled levels in the SCF, one filled in the determinant; the counts stay as they were.
TEST_F(Window, NextLowestStateHasAClosedReference) {
    options.fNextLowestState = 1;
    setup.nDoublyOcc = 3;
    setup.nOccupied = 5;
    ByCounts(2, 2);
    const CiWindow w = ChooseWindow(kLevels.data());
    EXPECT_EQ(w.nBelow, 2);
    EXPECT_EQ(w.nAlphaRef, 2);
    EXPECT_EQ(w.nBetaRef, 2);
    EXPECT_EQ(ReferenceOf(w), (std::vector<double>{1, 0.5, 0.5, 0}));
    EXPECT_EQ(setup.nDoublyOcc, 3);
    EXPECT_EQ(setup.nOccupied, 5);

    ByCounts(1, 0);  // without the upper of the two
    EXPECT_EQ(ReferenceOf(ChooseWindow(kLevels.data())), (std::vector<double>{0.5}));
}

TEST_F(Window, CountsBeyondTheLevelsAreReducedWithAWarning) {
    link.fShowWarnings = true;
    ByCounts(5, 4);
    const CiWindow w = ChooseWindow(kLevels.data());
    EXPECT_EQ(w.nLevels, 8);
    EXPECT_EQ(CountsOf(w), std::pair(4, 4));
    ASSERT_EQ(client.Warnings().size(), 1u);
    EXPECT_EQ(client.Warnings()[0], MessageText(kMsgCiOrbitals));
    ByCounts(std::numeric_limits<int>::max(), std::numeric_limits<int>::max());
    EXPECT_EQ(ChooseWindow(kLevels.data()).nLevels, 8);
}

TEST_F(Window, LimitTakesTheLevelsOfAnyExcitationUpToIt) {
    ByEnergy(9.25);
    const CiWindow w = ChooseWindow(kLevels.data());
    EXPECT_EQ(CountsOf(w), std::pair(2, 3));  // -11 -> -2 is 9
    EXPECT_EQ(w.nBelow, 2);
    EXPECT_EQ(w.nLevels, 5);
    EXPECT_NEAR(w.dLimit, 9.25, 1e-6);
}

/// Two levels that lie above the highest occupied one by the limit itself.
TEST_F(Window, LimitTakesDegenerateLevelsTogether) {
    const float flLimit = 200.0F;
    const double e = static_cast<double>(flLimit) / KcalPerUnit(kAm1);
    const std::vector<double> levels = {-20, -15, -11, 0, e, e, 2 * e, 3 * e};
    options.nCiSelection = 0;
    for (const float fl : {flLimit, std::nextafter(flLimit, 0.0F)}) {
        options.flCiMaxExcitation = fl;
        EXPECT_EQ(CountsOf(ChooseWindow(levels.data())).second, fl == flLimit ? 2 : 0) << fl;
    }
}

TEST_F(Window, LimitOfZeroLeavesTheHighestOccupiedLevel) {
    ByEnergy(0.0);
    const CiWindow w = ChooseWindow(kLevels.data());
    EXPECT_EQ(CountsOf(w), std::pair(1, 0));
    EXPECT_EQ(w.nBelow, 3);
    EXPECT_EQ(ReferenceOf(w), (std::vector<double>{1}));
}

TEST_F(Window, LimitOfZeroTakesOpenLevelsOfOneEnergy) {
    setup.nDoublyOcc = 5;
    setup.nOccupied = 7;
    ByEnergy(0.0);
    const CiWindow w = ChooseWindow(kLevels.data());
    EXPECT_EQ(CountsOf(w), std::pair(2, 0));
    EXPECT_EQ(ReferenceOf(w), (std::vector<double>{0.5, 0.5}));
}

/// Downwards from the lowest open level, upwards from the highest.
TEST_F(Window, LimitIsMeasuredFromTheOpenLevels) {
    setup.nDoublyOcc = 3;
    setup.nOccupied = 5;
    ByEnergy(2.0);
    const CiWindow w = ChooseWindow(kLevels.data());
    EXPECT_EQ(w.nBelow, 1);                   // -12 is 2 below -10
    EXPECT_EQ(CountsOf(w), std::pair(4, 2));  // -12 is 2 below -10
}

TEST_F(Window, LimitIsInTheUnitOfTheMethod) {
    system.MethodId = kZindoS;
    const std::vector<double> levels = {-1.0, -0.9, -0.5, -0.4, 0.0, 0.1, 0.2, 0.3};
    options.nCiSelection = 0;
    options.flCiMaxExcitation = 0.45F * 627.5220032F;
    const CiWindow w = ChooseWindow(levels.data());
    EXPECT_EQ(CountsOf(w), std::pair(1, 1));
}

TEST_F(Window, LimitBeyondAllLevelsTakesThemAll) {
    for (const int nOccupied : {0, 4, 8}) {
        setup.nDoublyOcc = setup.nOccupied = nOccupied;
        ByEnergy(1000.0);
        const CiWindow w = ChooseWindow(kLevels.data());
        // Without an occupied or without an empty level there is no excitation.
        EXPECT_EQ(w.nLevels, nOccupied == 4 ? 8 : nOccupied == 8 ? 1 : 0) << nOccupied;
        EXPECT_EQ(w.nAlphaRef, nOccupied == 4 ? 4 : nOccupied == 8 ? 1 : 0) << nOccupied;
    }
}

TEST_F(Window, LevelsThatAreNoNumbersTakeNoPart) {
    const std::vector<double> levels(8, std::numeric_limits<double>::quiet_NaN());
    ByEnergy(5.0);
    EXPECT_EQ(ChooseWindow(levels.data()).nLevels, 1);
}

}  // namespace
}  // namespace qsolve
