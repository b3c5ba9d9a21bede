#include "scf/start_point.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>
#include <vector>

#include "gradient/state.h"
#include "job/state.h"
#include "scf/scf.h"
#include "scf/state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scf_job.h"

namespace qsolve {
namespace {

/// A bent molecule of two oxygens, two hydrogens, far from a minimum; by method, and unrestricted.
class StartPoints : public FreshState, public testing::WithParamInterface<std::pair<int, bool>> {
  protected:
    StartPoints() {
        script =
            Molecule(GetParam().first, {{8, 0, 0.72, 0.1}, {8, 0, -0.75, 0}, {1, 0.9, 1.0, 0.4}});
        script.Options.nMultiplicity = 2;
        script.Options.nSpinTreatment = GetParam().second;
        SetUpJob(script);
        options.flConvergenceLimit = 1e-11F;  // as at displaced points: to the rounding
        RunScf();
        KeepStartPoint(start);
        reference.assign(system.pCoords.begin(), system.pCoords.end());
    }

    /// Energy and gradient with a coordinate moved, from the kept start.
    std::vector<double> Displaced(std::size_t nCoordinate, double dStep) {
        std::copy(reference.begin(), reference.end(), system.pCoords.begin());
        system.pCoords[nCoordinate] += dStep;
        RestoreStartPoint(start);
        RunScf();
        std::vector<double> found(gradient.pGradient.begin(), gradient.pGradient.end());
        found.push_back(scf.dTotalEnergy);
        return found;
    }

    JobScript script;
    StartPoint start;
    std::vector<double> reference;
};

TEST_P(StartPoints, MakeAnScfIndependentOfThoseBeforeIt) {
    const std::vector<double> first = Displaced(0, 0.004);
    Displaced(4, -0.3);
    Displaced(7, 0.2);
    const std::vector<double> again = Displaced(0, 0.004);
    EXPECT_EQ(std::memcmp(first.data(), again.data(), first.size() * sizeof(double)), 0);
}

TEST_P(StartPoints, MakeANearStartIndependentToo) {
    scf.fNearStart = true;
    const std::vector<double> first = Displaced(0, 0.004);
    EXPECT_TRUE(scf.Account.fConverged);
    Displaced(4, -0.3);
    Displaced(7, 0.2);
    const std::vector<double> again = Displaced(0, 0.004);
    EXPECT_EQ(std::memcmp(first.data(), again.data(), first.size() * sizeof(double)), 0);
}

// Half-electron energies are not stationary: they follow the density's own error.
TEST_P(StartPoints, NearAndFarLeadToOnePlace) {
    const std::vector<double> far = Displaced(0, 0.004);
    scf.fNearStart = true;
    const std::vector<double> near = Displaced(0, 0.004);
    EXPECT_NEAR(near.back(), far.back(), GetParam().second ? 1e-8 : 1e-5);
    for (std::size_t i = 0; i + 1 < near.size(); ++i) EXPECT_NEAR(near[i], far[i], 2e-4);
}

TEST_P(StartPoints, MirrorToTheOtherSide) {
    Displaced(0, 0.004);
    StartPoint beside;
    KeepStartPoint(beside);
    MirrorStartPoint(start, beside);
    Displaced(0, -0.004);
    double dMirrored = 0.0, dReference = 0.0;
    for (std::size_t i = 0; i < scf.mDensityT.Size(); ++i) {
        const double d = scf.mDensityT[i];
        dMirrored = std::max(dMirrored, std::abs(d - beside.mDensityT[i]));
        dReference = std::max(dReference, std::abs(d - start.mDensityT[i]));
    }
    EXPECT_LT(dMirrored, 0.1 * dReference);  // of second order in the step
}

TEST_P(StartPoints, AreNeededForThat) {
    const std::vector<double> first = Displaced(0, 0.004);
    Displaced(4, -0.3);
    std::copy(reference.begin(), reference.end(), system.pCoords.begin());
    system.pCoords[0] += 0.004;
    RunScf();  // goes on from the last density
    EXPECT_NE(scf.dTotalEnergy, first.back());
    EXPECT_NEAR(scf.dTotalEnergy, first.back(), 1e-3);
}
INSTANTIATE_TEST_SUITE_P(Methods, StartPoints,
                         testing::Values(std::pair(1, true), std::pair(2, false),
                                         std::pair(3, false), std::pair(5, true),
                                         std::pair(5, false), std::pair(8, false),
                                         std::pair(9, true)));

}  // namespace
}  // namespace qsolve
