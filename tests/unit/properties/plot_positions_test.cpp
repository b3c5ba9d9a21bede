#include "properties/plot_positions.h"

#include <vector>

#include "properties/state.h"
#include "setup/parameters.h"
#include "tests/support/bare_molecule.h"
#include "tests/support/fresh_state.h"

namespace qsolve {
namespace {

class PlotPlaces : public FreshState {
  protected:
    static void Place(int nMethod) {
        Build({.Atoms = {{1, 1, 1.2, -0.4, 3.3}, {1, 1, 0.1, 0.7, -2.1}}, .nMethod = nMethod});
        properties = PropertyState{};
    }
    static std::vector<float> See() {
        const PlotPositions positions;
        return {PlotPlace(1), PlotPlace(1) + 6};
    }
};

TEST_F(PlotPlaces, AreInBohrForEveryMethod) {
    for (const int nMethod : {kCndo, kZindoS, kMindo3, kPm3}) {
        Place(nMethod);
        const double dFactor = UsesAtomicUnits(nMethod) ? 1.0 : 1.889726;
        const std::vector<float> seen = See();
        for (std::size_t i = 0; i < 6; ++i)
            EXPECT_FLOAT_EQ(seen[i], static_cast<float>(system.pCoords[i] * dFactor)) << nMethod;
    }
}

TEST_F(PlotPlaces, MoveInTheirLastDigitsFromPlotToPlotOfTheMethodsInAngstrom) {
    // There and back multiplies by 1 + 6.4e-9, which a float can only take by whole steps of 6e-8:
    // rounding on either way decides which places move, and by how little.
    Place(kPm3);
    const std::vector<float> first = See(), second = See();
    bool fMoved = false;
    for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_NEAR(second[i], first[i], 2.4e-7F * std::abs(first[i]));
        fMoved = fMoved || properties.vPlotXyz[i] != static_cast<float>(system.pCoords[i]);
    }
    EXPECT_TRUE(fMoved);
    Place(kCndo);
    const std::vector<float> bohr = See();
    EXPECT_EQ(See(), bohr);
}

TEST_F(PlotPlaces, AreZerosWhereAFailedJobLeftNoGeometry) {
    Place(kPm3);
    system.pCoords.Reset();
    EXPECT_EQ(See(), std::vector<float>(6, 0.0F));
}

}  // namespace
}  // namespace qsolve
