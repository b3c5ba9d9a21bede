#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <limits>

#include "job/methods.h"
#include "link/link.h"
#include "setup/state.h"
#include "tests/support/model_motion.h"

namespace qsolve {
namespace {

constexpr double kThermal = 0.0019871916 * 300;  ///< kcal/mol
constexpr double kForce = 805.0, kLength = 0.68;

double AsDouble(float fl) {
    return static_cast<double>(fl);
}

class MonteCarlo : public MotionTest {
  protected:
    /// Two atoms on a spring, tried nSteps times each within +- flEdge.
    void Pair(int nSteps, int nPeriod, float flEdge) {
        Atoms({0, 0, 0, 0, 0, kLength}, 1.008F);
        Sweeps(nSteps, nPeriod, flEdge);
    }
    static void Sweeps(int nSteps, int nPeriod, float flEdge) {
        job.flRunTime = static_cast<float>(nSteps);
        job.flHeatTime = job.flCoolTime = 0.0F;
        job.flTimeStep = flEdge;
        job.nReportPeriod = nPeriod;
    }
    static void AskForState() {
        further.Motion.fStateReports = further.Motion.fDoubleEnergies = true;
    }
    static double Distance(const std::vector<float>& x) {
        return std::hypot(AsDouble(x[0] - x[3]), AsDouble(x[1] - x[4]), AsDouble(x[2] - x[5]));
    }
    double MeanPotential() const {
        double dSum = 0.0;
        for (const MotionReport& r : Reports) dSum += AsDouble(r.Block.flPotentialEnergy);
        return dSum / static_cast<double>(Reports.size());
    }
};

// ---- the walk -----------------------------------------------------------------------------------

/// Cumulative distribution of r^2 exp(-k (r - r0)^2 / 2 kT), by Simpson's rule.
class Boltzmann {
  public:
    Boltzmann() {
        const auto Weight = [](double r) {
            return r * r * std::exp(-0.5 * kForce * (r - kLength) * (r - kLength) / kThermal);
        };
        for (int i = 0; i <= kPoints; ++i) {
            const double r = kLow + i * kStep;
            vSum_.push_back(i == 0 ? 0.0
                                   : vSum_.back() + kStep / 6 *
                                                        (Weight(r - kStep) +
                                                         4 * Weight(r - kStep / 2) + Weight(r)));
        }
    }
    double At(double r) const {
        const auto i = static_cast<std::size_t>(
            std::clamp((r - kLow) / kStep, 0.0, static_cast<double>(kPoints)));
        return vSum_[i] / vSum_.back();
    }

  private:
    static constexpr int kPoints = 40000;
    static constexpr double kLow = 0.4, kStep = 0.6 / kPoints;
    std::vector<double> vSum_;
};

// Every 20th sweep of moves that are as wide as the distribution; such samples are independent.
TEST_F(MonteCarlo, SpreadsABondByItsBoltzmannFactor) {
    const Boltzmann boltzmann;
    const int nBins = 20, nSteps = 40000, nPeriod = 20;
    for (const bool fState : {false, true}) {
        if (fState) AskForState();
        Pair(nSteps, nPeriod, 0.05F);
        Run(kMonteCarlo, Spring(kForce, kLength));
        std::vector<double> count(nBins, 0.0);
        for (const MotionReport& report : Reports)
            ++count[static_cast<std::size_t>(
                std::min(nBins - 1.0, nBins * boltzmann.At(Distance(report.Places))))];
        const double dMean = static_cast<double>(Reports.size()) / nBins;
        double dChi = 0.0;
        for (const double n : count) dChi += (n - dMean) * (n - dMean) / dMean;
        EXPECT_LT(dChi, nBins - 1 + 4 * std::sqrt(2.0 * (nBins - 1))) << fState;
        EXPECT_GT(dChi, 1.0) << fState;
        if (fState)
            std::printf("R22: lengths of a walking bond: chi squared %.1f of %d bins\n", dChi,
                        nBins);
    }
}

// kT / 2 for the bond, and some of the r^2 in the weight; a report of a trial that was turned down
// tells of an energy that no state has.
TEST_F(MonteCarlo, ReportsTheEnergyOfTheStateWhenAskedTo) {
    const int nSteps = 40000, nPeriod = 20;
    Pair(nSteps, nPeriod, 0.05F);
    Run(kMonteCarlo, Spring(kForce, kLength));
    const double dTrials = MeanPotential();
    AskForState();
    Run(kMonteCarlo, Spring(kForce, kLength));
    const double dStates = MeanPotential();
    double dMean = 0.0;
    for (const MotionReport& r : Reports) {
        const double d = Distance(r.Places) - kLength;
        // Places of the wire are floats, 6e-8 Angstrom, on a slope of 100 kcal/(mol Angstrom).
        EXPECT_NEAR(AsDouble(r.Block.flPotentialEnergy), 0.5 * kForce * d * d, 2e-5);
        dMean += 0.5 * kForce * d * d / static_cast<double>(Reports.size());
    }
    EXPECT_NEAR(dStates, dMean, 1e-5);
    EXPECT_NEAR(dStates, 0.5 * kThermal, 0.5 * kThermal * 3.5 * std::sqrt(2.0 * nPeriod / nSteps));
    EXPECT_GT(dTrials, 2 * dStates);
}

TEST_F(MonteCarlo, CountsWhatItAccepts) {
    Pair(500, 500, 0.05F);
    Run(kMonteCarlo, Spring(kForce, kLength));
    // Two SCFs a trial, after the first: the next state is the trial's where it was accepted.
    int nAccepted = 0;
    ASSERT_EQ(model.Path.size(), 2002u);
    for (std::size_t i = 1; i + 2 < model.Path.size(); i += 2)
        nAccepted += model.Path[i + 2] == model.Path[i + 1];
    EXPECT_FLOAT_EQ(Reports.back().Block.flAcceptRatio, static_cast<float>(nAccepted) / 1000.0F);
    // Two-body acceptance at 300 K for this width, from the peer walk of hydrogen: 0.67.
    EXPECT_NEAR(nAccepted / 1000.0, 0.67, 4 * std::sqrt(0.67 * 0.33 / 1000) + 0.01);
}

TEST_F(MonteCarlo, MovesOneAtomAtATimeWithinItsCube) {
    for (const int nMethod : {kAm1, kIndo}) {
        system.MethodId = nMethod;
        const double dEdge = AsDouble(0.05F) * (nMethod == kIndo ? 1.889725985 : 1.0);
        Pair(300, 300, 0.05F);
        Run(kMonteCarlo, Nothing());
        double dLargest = 0.0;
        for (std::size_t i = 1; i + 2 < model.Path.size(); i += 2)
            for (std::size_t k = 0; k < 6; ++k) {
                const double d = std::abs(model.Path[i + 1][k] - model.Path[i][k]);
                EXPECT_EQ(d != 0.0, k / 3 == (i / 2) % 2) << i << ' ' << k;
                dLargest = std::max(dLargest, d);
            }
        EXPECT_LE(dLargest, dEdge);
        EXPECT_GT(dLargest, 0.99 * dEdge);
        EXPECT_EQ(Reports.back().Block.flAcceptRatio, 1.0F) << "no energy, no refusal";
    }
}

TEST_F(MonteCarlo, PutsARejectedAtomBackExactly) {
    Pair(200, 200, 0.05F);
    job.flSimTemp = 0.0F;
    Run(kMonteCarlo, Spring(kForce, kLength));
    EXPECT_EQ(Reports.back().Block.flAcceptRatio, 0.0F) << "it starts at its minimum";
    EXPECT_EQ(model.Path.back(), model.Path.front());
}

TEST_F(MonteCarlo, WithoutTemperatureGoesDownhill) {
    for (const float flTemperature : {0.0F, -300.0F}) {
        Atoms({0, 0, 0, 0, 0, 0.8}, 1.008F);
        Sweeps(200, 1, 0.02F);
        job.flSimTemp = flTemperature;
        AskForState();
        Run(kMonteCarlo, Spring(kForce, kLength));
        for (std::size_t i = 1; i < Reports.size(); ++i)
            EXPECT_LE(Reports[i].Block.flPotentialEnergy, Reports[i - 1].Block.flPotentialEnergy);
        EXPECT_LT(Reports.back().Block.flPotentialEnergy, 0.05F);
    }
}

TEST_F(MonteCarlo, AdvancesTheSeedAndIsTheSameForTheSameOne) {
    Pair(20, 5, 0.05F);
    Run(kMonteCarlo, Spring(kForce, kLength));
    const auto path = model.Path;
    EXPECT_NE(job.nRandomSeed, 1);
    EXPECT_EQ(Reports.back().Block.flSeedEcho, static_cast<float>(job.nRandomSeed));
    Run(kMonteCarlo, Spring(kForce, kLength));
    EXPECT_NE(model.Path, path);
    job.nRandomSeed = 1;
    Run(kMonteCarlo, Spring(kForce, kLength));
    EXPECT_EQ(model.Path, path);
}

TEST_F(MonteCarlo, TurnsDownWhatIsNoNumberAndForgetsItsDensity) {
    const Potential broken = [](const std::vector<double>& x, std::vector<double>&) {
        if (x[0] > 0.02) return std::numeric_limits<double>::quiet_NaN();
        return x[0] < -0.02 ? -std::numeric_limits<double>::infinity() : 0.0;
    };
    Pair(300, 1, 0.05F);
    Run(kMonteCarlo, broken);
    EXPECT_GT(model.nForgotten, 50);
    for (const MotionReport& report : Reports) EXPECT_LE(std::abs(report.Places[0]), 0.02F);
}

// ---- parts of molecules -------------------------------------------------------------------------

TEST_F(MonteCarlo, TriesTheFreeAtomsAlone) {
    Atoms({0, 0, 0, 0, 0, 1, 0, 0, 2}, 1.0F, {1, 3});
    Sweeps(5, 1, 0.05F);
    Run(kMonteCarlo, Nothing());
    for (std::size_t i = 0; i < 9; ++i)
        EXPECT_EQ(model.Path.back()[i] == model.Path.front()[i], i / 3 == 1) << i;
}

// Where all atoms are active the capping ones are tried as well, unless asked otherwise.
TEST_F(MonteCarlo, TriesCappingAtomsOfAWholeMoleculeUnlessAskedNotTo) {
    CapLast = true;
    for (const bool fMovable : {false, true}) {
        further.Motion.fMovableOnly = fMovable;
        Atoms({0, 0, 0, 0, 0, 1, 0, 0, 2}, 1.0F);
        Sweeps(5, 1, 0.05F);
        Run(kMonteCarlo, Nothing());
        EXPECT_EQ(model.Path.back()[8] == 2.0, fMovable);
        EXPECT_NE(model.Path.back()[2], 0.0);
    }
}

// ---- reports ------------------------------------------------------------------------------------

TEST_F(MonteCarlo, ReportsItsStartEveryNthAndTheLastStep) {
    Pair(10, 4, 0.05F);
    Run(kMonteCarlo, Spring(kForce, 0.7));
    ASSERT_EQ(Reports.size(), 4u);
    const float steps[] = {0, 4, 8, 10};
    const double dKinetic = 3 * 300 * 0.001987191682600382;
    for (std::size_t i = 0; i < 4; ++i) {
        const ResultBlock& block = Reports[i].Block;
        EXPECT_EQ(block.flTime, steps[i]);
        EXPECT_EQ(block.fFinalResult, i == 3 ? 1 : 0);
        EXPECT_EQ(block.flTemperature, 300.0F);
        EXPECT_NEAR(AsDouble(block.flKineticEnergy), dKinetic, 1e-6);
        EXPECT_TRUE(Reports[i].Velocities.empty());
    }
    // The block of the start has the potential energy as the total and none as the potential, and
    // the last one has the potential energy for both; those between have the sum.
    EXPECT_FLOAT_EQ(Reports[0].Block.flTotalEnergy, static_cast<float>(0.5 * kForce * 0.0004));
    EXPECT_EQ(Reports[0].Block.flPotentialEnergy, 0.0F);
    EXPECT_NEAR(AsDouble(Reports[1].Block.flTotalEnergy),
                dKinetic + AsDouble(Reports[1].Block.flPotentialEnergy), 1e-6);
    EXPECT_FLOAT_EQ(Reports[3].Block.flTotalEnergy, static_cast<float>(model.Energies.back()));
    EXPECT_TRUE(setup.fFinalReport);
}

TEST_F(MonteCarlo, AskedForTheStateReportsOneMeaningOfEachEnergy) {
    AskForState();
    Pair(10, 1, 0.05F);
    Run(kMonteCarlo, Spring(kForce, 0.7));
    for (const MotionReport& r : Reports)
        EXPECT_NEAR(AsDouble(r.Block.flTotalEnergy), AsDouble(r.Block.flPotentialEnergy) + 1.788473,
                    2e-6);
}

TEST_F(MonteCarlo, OfNoStepsIsFinalOnlyWhenAskedForTheState) {
    for (const bool fState : {false, true}) {
        further.Motion.fStateReports = fState;
        Pair(0, 1, 0.05F);
        Run(kMonteCarlo, Nothing());
        ASSERT_EQ(Reports.size(), 1u);
        EXPECT_EQ(Reports[0].Block.fFinalResult, fState ? 1 : 0);
        EXPECT_EQ(setup.fFinalReport, fState);
        EXPECT_EQ(Reports[0].Block.flAcceptRatio, 0.0F);
    }
}

TEST_F(MonteCarlo, ClosesWithALineInLogAndStatus) {
    link.fLogReports = true;
    Pair(3, 3, 0.05F);
    Run(kMonteCarlo, Nothing());
    EXPECT_EQ(client.Log(), std::vector<std::string>{
                                " Steps = 3\n Acceptance Ratio = 1.0000\n Total Energy = 1.7885 "
                                "kcal/mol\n Temperature = 300.00 K"});
    EXPECT_EQ(client.Texts(kPacketStatusLine).back(),
              "Steps=3.0000 TotalEnergy=1.7885 kcal/mol T=300.00 K [final]");
}

TEST_F(MonteCarlo, PrintsTheStartTemperatureDuringTheHeating) {
    Pair(7, 1, 0.05F);
    job.flHeatTime = 3.0F;
    job.flStartTemp = 10.0F;
    Run(kMonteCarlo, Nothing());
    ASSERT_EQ(Reports.size(), 8u);
    for (std::size_t i = 0; i < 8; ++i) {
        EXPECT_EQ(Reports[i].Block.flTemperature, i < 4 ? 10.0F : 300.0F) << i;
        EXPECT_NEAR(AsDouble(Reports[i].Block.flKineticEnergy), 1.788473 / 30, 1e-6);
    }
}

// What the status line of the next SCF shows: the displacement stands for the length of a step.
TEST_F(MonteCarlo, NotesAStepThatIsNotReported) {
    Pair(2, 0, 0.05F);
    std::vector<ResultBlock> blocks;
    Run(kMonteCarlo, [&](const std::vector<double>&, std::vector<double>&) {
        blocks.push_back(results.Block);
        return 3.0;
    });
    // The start, two trials of two SCFs, and the first SCF of the second step.
    ASSERT_GT(blocks.size(), 5u);
    EXPECT_FLOAT_EQ(blocks[5].flTime, 0.05F);
    EXPECT_EQ(blocks[5].flTotalEnergy, 3.0F);
    EXPECT_EQ(blocks[5].flPotentialEnergy, 3.0F);
}

TEST_F(MonteCarlo, ComputesNoKnownEnergyAgainWhenAskedNotTo) {
    AskForState();
    Pair(500, 500, 0.05F);
    Run(kMonteCarlo, Spring(kForce, kLength));
    const auto places = Reports.back().Places;
    EXPECT_EQ(model.nRuns, 1 + 2 * 1000 + 1);
    further.Motion.fKnownEnergies = true;
    job.nRandomSeed = 1;
    Run(kMonteCarlo, Spring(kForce, kLength));
    EXPECT_EQ(model.nRuns, 1 + 1000 + 1);
    EXPECT_EQ(Reports.back().Places, places) << "the same walk";
}

// ---- what goes wrong ----------------------------------------------------------------------------

TEST_F(MonteCarlo, TellsOfATinyDisplacementAndGoesOn) {
    Pair(2, 1, 1e-7F);
    Run(kMonteCarlo, Nothing());
    EXPECT_EQ(client.Errors(),
              std::vector<std::string>{"MonteCarlo: Max displacement is too small\n"});
    EXPECT_EQ(Reports.size(), 3u);
}

TEST_F(MonteCarlo, WarnsOfHugeForcesAtItsStart) {
    const auto Steep = [](double dForce) {
        return [=](const std::vector<double>&, std::vector<double>& g) {
            g[0] = dForce;
            return 0.0;
        };
    };
    Pair(1, 1, 0.05F);
    Run(kMonteCarlo, Steep(1.0e5 * std::sqrt(6.0) * 0.99));
    EXPECT_TRUE(client.Warnings().empty());
    Run(kMonteCarlo, Steep(1.0e5 * std::sqrt(6.0) * 1.01));
    ASSERT_EQ(client.Warnings().size(), 1u);
    EXPECT_EQ(client.Warnings()[0].find("Step 6: Large Gradient: 101000.0"), 0u)
        << "the count of coordinates stands where the step is";
}

TEST_F(MonteCarlo, TriesTwiceForItsMemory) {
    Pair(2, 1, 0.05F);
    const auto FailAt = [&](long long n, bool fFromThenOn) {
        memory.nTaken = 0;
        memory.nFailAt = n;
        memory.fFailFromThenOn = fFromThenOn;
        return Failure(kMonteCarlo, Nothing());
    };
    long long nFirst = 0;  // what building the molecule takes
    for (; nFirst < 200; ++nFirst)
        if (FailAt(nFirst, false).empty() && client.Errors().size() == 1) break;
    ASSERT_LT(nFirst, 200);
    EXPECT_EQ(client.Errors()[0], "MonteCarlo: trouble with malloc of energies. \n");
    EXPECT_EQ(Reports.size(), 3u) << "the second try served";
    EXPECT_EQ(FailAt(nFirst, true), MessageText(kMsgOutOfMemory));
}

}  // namespace
}  // namespace qsolve
