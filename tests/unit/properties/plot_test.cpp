#include "properties/plot.h"

#include <cstring>

#include "job/state.h"
#include "link/link.h"
#include "tests/unit/properties/plot_fixture.h"

namespace qsolve {
namespace {

class Plot : public PlotTest {
  protected:
    /// The floats of all packets since the calculation.
    static std::vector<float> Sent() {
        std::vector<unsigned char> bytes;
        for (const SentPacket& packet : client.Sent)
            if (packet.nType == kPacketData)
                bytes.insert(bytes.end(), packet.Payload.begin(), packet.Payload.end());
        std::vector<float> values(bytes.size() / sizeof(float));
        std::memcpy(values.data(), bytes.data(), values.size() * sizeof(float));
        return values;
    }
    static std::string OnlyError() {
        EXPECT_EQ(client.Errors().size(), 1U);
        return client.Errors().empty() ? "" : client.Errors().back();
    }
    /// The text with which the plot of the options is refused.
    static std::string Refusal() {
        client.Sent.clear();
        EXPECT_THROW(RunPlot(), Unwinding);
        EXPECT_EQ(client.Sent.size(), 1U);
        return OnlyError();
    }
};

constexpr char kNothing[] =
    "Unable to graph since calculation has not yet been performed, please repeat the "
    "semi-empirical calculation.";
constexpr char kNoMemory[] = "This application has exhausted all available memory.";

TEST_F(Plot, SendsPlaneAfterPlane) {
    for (int nMethod : {kCndo, kAm1}) {
        Run(Water(nMethod));
        AskForAGrid();
        options.nPlotPlanes = 3;
        RunPlot();
        const std::vector<float> planes = Sent();
        ASSERT_EQ(planes.size(), 45U);

        PlaceAtoms();
        for (std::size_t p = 0; p < 3; ++p) {
            AskForAGrid();
            // The x of the step along a row is the distance of the planes.
            options.flPlotGrid[2] = 0.25F + 0.75F * static_cast<float>(p);
            const std::vector<float> one = Filled(PlotChargeDensity);
            for (std::size_t i = 0; i < 15; ++i)
                EXPECT_NEAR(planes[15 * p + i], one[i], 1e-6F * one[i]) << nMethod << ' ' << p;
        }
    }
}

TEST_F(Plot, SendsWhatItsKindSays) {
    const JobScript script = WithSpin(Water(kAm1), 3, 1);
    Run(script);
    PlaceAtoms();
    AskForAGrid();
    AskForOrbital(1, 0);
    const std::vector<float> expected[] = {Filled(PlotChargeDensity), Orbital(), Orbital(true),
                                           Filled(PlotSpinDensity)};
    for (int nKind = kPlotDensity; nKind <= kPlotSpinDensity; ++nKind) {
        Run(script);
        AskForAGrid(nKind);
        AskForOrbital(1, 0);
        RunPlot();
        EXPECT_EQ(Sent(), expected[nKind - 1]) << nKind;
    }
}

TEST_F(Plot, OfThePotentialSendsTheDensityToo) {
    Run(Water(kAm1));
    AskForAGrid(kPlotPotential);
    options.nPlotPlanes = 2;
    RunPlot();
    const std::vector<float> both = Sent();
    ASSERT_EQ(both.size(), 60U);
    client.Sent.clear();
    AskForAGrid(kPlotDensity);
    options.nPlotPlanes = 2;
    RunPlot();
    const std::vector<float> density = Sent();
    for (std::size_t p = 0; p < 2; ++p)
        for (std::size_t i = 0; i < 15; ++i) {
            EXPECT_NEAR(both[30 * p + 15 + i], density[15 * p + i], 1e-6F * density[15 * p + i]);
            EXPECT_NE(both[30 * p + i], both[30 * p + 15 + i]);
        }
}

TEST_F(Plot, LeavesTheGeometryAlone) {
    for (int nMethod : {kIndo, kAm1}) {
        Run(Water(nMethod));
        const std::vector<double> before(system.pCoords.begin(), system.pCoords.end());
        const float flBefore = system.pAtoms[1].flX;
        AskForAGrid();
        RunPlot();
        EXPECT_EQ(before, std::vector<double>(system.pCoords.begin(), system.pCoords.end()));
        EXPECT_EQ(system.pAtoms[1].flX, flBefore);
    }
}

TEST_F(Plot, WithoutPlanesIsNothing) {
    Run(Water(kAm1));
    AskForAGrid(77);
    options.nGridCols = -3;
    for (const int nPlanes : {0, -1}) {
        options.nPlotPlanes = nPlanes;
        RunPlot();
        EXPECT_TRUE(client.Sent.empty());
    }
}

TEST_F(Plot, WithoutResultsIsRefused) {
    Run(Water(kAm1));
    AskForAGrid();
    scf.fResultsValid = false;
    EXPECT_EQ(Refusal(), kNothing);
    scf.fResultsValid = true;
    system.pAtoms.Reset();
    EXPECT_EQ(Refusal(), kNothing);
}

TEST_F(Plot, OfAGridThatCannotBeIsRefused) {
    Run(Water(kAm1));
    AskForAGrid();
    options.nGridCols = 0;
    EXPECT_EQ(Refusal(), "The grid of the plot is not in range (0 columns and 3 rows).");
    options.nGridCols = 16385;
    options.nGridRows = 16384;
    EXPECT_EQ(Refusal(), kNoMemory);
    options.nGridCols = options.nGridRows = 2147483647;
    EXPECT_EQ(Refusal(), kNoMemory);
}

class EachKind : public Plot, public testing::WithParamInterface<int> {};

TEST_P(EachKind, WithoutMemoryIsRefusedAndTheNextIsAsGoodAsNew) {
    Run(WithSpin(Water(kCndo), 3, 0));
    AskForAGrid(GetParam());
    AskForOrbital(1, 0);
    RunPlot();
    const std::vector<float> good = Sent();
    ASSERT_FALSE(good.empty());
    scf.mDensityB.Reset();
    const std::size_t nHeld = memory.nBytesHeld;
    int n = 0;
    for (;; ++n) {
        client.Sent.clear();
        scf.mDensityB.Reset();
        memory.nTaken = 0;
        memory.nFailAt = n;
        bool fRefused = false;
        try {
            RunPlot();
        } catch (const Unwinding&) {
            fRefused = true;
            EXPECT_EQ(OnlyError(), kNoMemory);
        }
        memory.nFailAt = -1;
        scf.mDensityB.Reset();
        EXPECT_EQ(memory.nBytesHeld, nHeld) << n;
        if (!fRefused) break;
        client.Sent.clear();
        RunPlot();
        EXPECT_EQ(Sent(), good) << n;
    }
    EXPECT_GE(n, 2);
}
INSTANTIATE_TEST_SUITE_P(Kinds, EachKind, testing::Range(0, 5));

TEST_F(Plot, OfExtendedHueckelKnowsNoPotential) {
    Run(Water(kAm1));
    system.MethodId = kExtendedHueckel;
    scf = ScfState{};
    AskForAGrid(kPlotPotential);
    RunPlot();
    EXPECT_EQ(client.Warnings().size(), 1U);
    EXPECT_EQ(Sent(), std::vector<float>(30, 0.0F));
    AskForAGrid(kPlotDensity);
    EXPECT_EQ(Refusal(), kNothing);
}

}  // namespace
}  // namespace qsolve
