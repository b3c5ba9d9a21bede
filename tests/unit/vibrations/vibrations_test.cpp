#include "vibrations/vibrations.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <regex>
#include <string>
#include <vector>

#include "job/state.h"
#include "link/link.h"
#include "scf/state.h"
#include "setup/state.h"
#include "symmetry/state.h"
#include "tests/support/matrices.h"
#include "tests/support/model_potential.h"
#include "vibrations/infrared.h"
#include "vibrations/state.h"

namespace qsolve {
namespace {

constexpr double kMillidynes = 0.00695125;

/// Springs of 700 kcal/(mol Angstrom^2) between all atoms, at rest at the given places.
Potential Springs(std::vector<double> vRest) {
    return [=](const std::vector<double>& x, std::vector<double>& g) {
        double dEnergy = 0.0;
        for (std::size_t a = 0; a < x.size(); a += 3)
            for (std::size_t b = 0; b < a; b += 3) {
                double r = 0.0, r0 = 0.0;
                for (std::size_t c = 0; c < 3; ++c) {
                    r += std::pow(x[a + c] - x[b + c], 2);
                    r0 += std::pow(vRest[a + c] - vRest[b + c], 2);
                }
                r = std::sqrt(r);
                const double d = r - std::sqrt(r0);
                dEnergy += 350.0 * d * d;
                for (std::size_t c = 0; c < 3; ++c) {
                    const double dSlope = 700.0 * d * (x[a + c] - x[b + c]) / r;
                    g[a + c] += dSlope;
                    g[b + c] -= dSlope;
                }
            }
        return dEnergy;
    };
}

class Vibrations : public ModelTest {
  protected:
    const std::vector<double> pair = {0, 0, 0, 0, 0, 1.1};
    const std::vector<double> triangle = {0, 0, 0, 1.0, 0, 0, 0.5, std::sqrt(0.75), 0};

    /// Atoms at rest, of these masses.
    void Prepare(const std::vector<double>& x, std::vector<float> masses,
                 std::vector<int> selection = {}, int nMethod = 6) {
        Place(x, std::move(selection));
        Weigh(masses);
        system.MethodId = nMethod;
        job.nCalcKind = kVibrations;
        options.fComputeForceMatrix = 1;
        options.nLogLevel = 10;
        Start(Springs(x));
    }
    static void Weigh(const std::vector<float>& masses) {
        for (std::size_t i = 0; i < masses.size(); ++i) system.pAtoms[i].flMass = masses[i];
    }
    /// An empty density, which only the charges of a job without an SCF ask for.
    struct KeptDensity {
        KeptDensity() {
            const auto n = static_cast<std::size_t>(scf.nOrbitals);
            scf.mDensityT.Take(n, n, kWork);
            std::fill(scf.mDensityT.begin(), scf.mDensityT.end(), 0.0);
        }
        ~KeptDensity() { scf.mDensityT.Reset(); }
    };
    /// The same once more, from the kept matrix.
    static void RunKept() {
        const KeptDensity density;
        options.fComputeForceMatrix = 0;
        client.Sent.clear();
        RunVibrations();
    }
    static double Frequency(int p) { return results.Modes.vFrequencies[p]; }
    static std::string Label(int p) {
        const ModeRecord& record = results.Modes.Records[p];
        return std::to_string(record.nSymmetryIndex) +
               std::string(record.sSymmetryLabel, strnlen(record.sSymmetryLabel, 4));
    }
};

TEST_F(Vibrations, OfADiatomicAreThoseOfItsReducedMass) {
    Prepare(pair, {12.0F, 16.0F});
    RunVibrations();
    const double dExact = FrequencyOf(700.0 * kMillidynes * (1 / 12.0 + 1 / 16.0));
    EXPECT_EQ(results.Modes.nModes, 6);
    EXPECT_EQ(results.Modes.nExternalModes, 5);
    EXPECT_NEAR(Frequency(0), dExact, 1e-4);
    for (int p = 1; p < 6; ++p) EXPECT_NEAR(Frequency(p), 0.0, 5.0);
    EXPECT_EQ(Label(0), "1SIG");
    EXPECT_EQ(Label(1), "1");
    EXPECT_EQ(Label(5), "5");
    EXPECT_STREQ(results.Orbitals.sPointGroup, "D*H");
}

TEST_F(Vibrations, OfATriangleHaveTheTextbookRatio) {
    Prepare(triangle, {10.0F, 10.0F, 10.0F});
    RunVibrations();
    EXPECT_EQ(results.Modes.nExternalModes, 6);
    EXPECT_NEAR(Frequency(2) / Frequency(0), std::sqrt(2.0), 1e-4);  // A1' and E'
    EXPECT_EQ(Label(0) + " " + Label(1) + " " + Label(2), "1E' 1E' 1A1'");
    EXPECT_TRUE(symmetry.fModeLabelsKnown);
}

// The working unit is the bohr there, and the factor another.
TEST_F(Vibrations, OfMethodsInHartreeHaveTheirOwnFactor) {
    Prepare(pair, {12.0F, 16.0F}, {}, 1);
    model.Dipole = [](const std::vector<double>& x) {
        return std::array<double, 3>{0, 0, 2.0 * (x[5] - x[2])};
    };
    RunVibrations();
    const double dInverseMass = 1 / 12.0 + 1 / 16.0;
    EXPECT_NEAR(Frequency(0), FrequencyOf(700.0 * 0.024823360704143312 * dInverseMass), 1e-3);
    const double dSlope = 2.0 * 1.889725985;
    EXPECT_NEAR(results.Modes.vIntensities[0], 18.354488 * dSlope * dSlope * dInverseMass, 1e-6);
}

TEST_F(Vibrations, AbsorbAsTheDipoleChangesAlongThem) {
    Prepare(pair, {12.0F, 16.0F});
    model.Dipole = [](const std::vector<double>& x) {
        return std::array<double, 3>{0, 0, 2.0 * (x[5] - x[2])};
    };
    RunVibrations();
    const double dInverseMass = 1 / 12.0 + 1 / 16.0;
    EXPECT_NEAR(results.Modes.vIntensities[0], 18.354488 * 4.0 * dInverseMass, 1e-6);
    const ModeRecord& record = results.Modes.Records[0];
    EXPECT_NEAR(std::abs(static_cast<double>(record.flDipoleZ)), 2.0 * std::sqrt(dInverseMass),
                1e-6);
    EXPECT_EQ(record.flIntensity, static_cast<float>(results.Modes.vIntensities[0]));
    EXPECT_EQ(record.flFrequency, static_cast<float>(Frequency(0)));
    for (int p = 0; p < 6; ++p) EXPECT_EQ(results.Modes.Records[p].nIndex, p);
}

TEST_F(Vibrations, HaveNoSpeciesWithCappingAtoms) {
    Prepare({0, 0, 0, 0, 0, 1.1, 0, 0, 2.3}, {12.0F, 16.0F, 1.0F});
    system.pAtoms[2].nAtomicNumber += kCappingOffset;
    system.pAtoms[2].nState = kCapping;
    system.nCapping = 1;
    RunVibrations();
    EXPECT_EQ(results.Modes.nModes, 6);
    for (int p = 0; p < 6; ++p) EXPECT_EQ(Label(p), std::to_string(p + 1) + "  ?");
}

TEST_F(Vibrations, EndOneMoreScfAtTheGeometry) {
    Prepare(triangle, {10.0F, 10.0F, 10.0F});
    system.pCoords[0] += 0.01;
    const std::vector<double> x(system.pCoords.begin(), system.pCoords.end());
    RunVibrations();
    EXPECT_EQ(model.Path.back(), x);
    EXPECT_FALSE(setup.fFinalReport);
}

// ---- the kept matrix ----------------------------------------------------------------------------

TEST_F(Vibrations, FollowOtherMassesWithoutAnotherScf) {
    Prepare(triangle, {10.0F, 10.0F, 10.0F});
    RunVibrations();
    const std::vector<double> before(results.Modes.vFrequencies.begin(),
                                     results.Modes.vFrequencies.end());
    const int nRuns = model.nRuns;
    Weigh({20.0F, 20.0F, 20.0F});
    RunKept();
    EXPECT_EQ(model.nRuns, nRuns);
    for (int p = 0; p < 3; ++p)
        EXPECT_NEAR(Frequency(p), before[static_cast<std::size_t>(p)] / std::sqrt(2.0), 1e-6);
    Weigh({10.0F, 10.0F, 10.0F});
    RunKept();
    for (int p = 0; p < 3; ++p)
        EXPECT_NEAR(Frequency(p), before[static_cast<std::size_t>(p)], 1e-9);
}

TEST_F(Vibrations, NeedAMatrix) {
    Prepare(pair, {12.0F, 16.0F});
    EXPECT_THROW(RunKept(), Unwinding);
    EXPECT_EQ(client.Errors(), std::vector<std::string>{MessageText(kMsgForceMatrixMissing)});
}

TEST_F(Vibrations, RefuseAMatrixOfAnotherKindMethodOrMolecule) {
    const auto Refused = [&](void (*pChange)()) {
        Prepare(triangle, {10.0F, 10.0F, 10.0F});
        RunVibrations();
        pChange();
        EXPECT_THROW(RunKept(), Unwinding);
        EXPECT_EQ(client.Errors(), std::vector<std::string>{MessageText(kMsgForceMatrixMissing)});
        EXPECT_EQ(results.Modes.nModes, 0);
    };
    Refused([] { vibrations.nProducerKind = kTransitionState; });
    Refused([] { system.MethodId = kPm3 - 1; });
    Refused([] { system.pAtoms[1].nAtomicNumber = 6; });
    Refused([] { std::swap(system.nSelectedAtoms[0], system.nSelectedAtoms[1]); });
    Refused([] { vibrations.nAtoms = 4; });
    Refused([] { system.pCoords[4] += 0.002; });
}

TEST_F(Vibrations, DoNotUseAMatrixThatWasNeverFinished) {
    Prepare(triangle, {10.0F, 10.0F, 10.0F});
    model.Energy = [](const std::vector<double>&, std::vector<double>&) {
        if (model.nRuns == 5) Fatal(kMsgOutOfMemory);
        return 0.0;
    };
    options.nLogLevel = 4;  // without workers
    EXPECT_THROW(RunVibrations(), Unwinding);
    EXPECT_THROW(RunKept(), Unwinding);
    EXPECT_EQ(client.Errors(), std::vector<std::string>{MessageText(kMsgForceMatrixMissing)});
}

TEST_F(Vibrations, WarnOfAnotherNumberOfAtomsAndKeepTheMatrix) {
    Prepare(triangle, {10.0F, 10.0F, 10.0F});
    RunVibrations();
    system.nSelected = 2;
    RunKept();
    ASSERT_EQ(client.Warnings().size(), 1u);
    EXPECT_EQ(client.Warnings()[0],
              "The number of atoms in the current calculation (2) doesn't equal to that (3) in the "
              "previous calculation; please fix this mistake, reset the mass(es) and try again.");
    EXPECT_EQ(results.Modes.nModes, 0);
    system.nSelected = 3;
    RunKept();
    EXPECT_EQ(results.Modes.nModes, 9);
}

// ---- the log ------------------------------------------------------------------------------------

TEST_F(Vibrations, AreReportedLineByLine) {
    Prepare(pair, {12.0F, 16.0F});
    options.nLogLevel = 0;
    link.fLogReports = true;
    client.Sent.clear();
    RunVibrations();
    std::vector<std::string> log = client.Log();
    // The sign of a zero is a matter of the last rounding.
    for (std::string& s : log) s = std::regex_replace(s, std::regex("-(0[.]0+)(?![0-9])"), " $1");
    const auto Find = [&](const std::string& s) { return std::find(log.begin(), log.end(), s); };
    const std::vector<std::string> order = {
        "\n           ===== Vibrational Analysis =====\n",
        "\n           ===== Force Constants (millidynes/Angstrom) =====\n",
        "\n Atom              1          2",
        "       Z           1          1\n",
        Print("   1   1    %11.5f", 0.5 * 700.0 * kMillidynes),
        Print("   2   1    %11.5f%11.5f", 0.5 * 700.0 * kMillidynes, 0.5 * 700.0 * kMillidynes),
        "\n           ===== Rotational Constants and Principal Moments of Inertia =====\n",
        Print("\n Normal Mode   Frequency   %13.2f\n       1       Intensity   %13.5f",
              Frequency(0), 0.0),
        "               Symmetry          1 SIG\n",
        "\n Translation   Frequency            0.00\n       1       Intensity         0.00000\n",
    };
    auto last = log.begin();
    for (const std::string& s : order) {
        const auto found = Find(s);
        ASSERT_NE(found, log.end()) << s;
        EXPECT_GE(found - last, 0) << s;
        last = found;
    }
    double dSum = 0.0;
    for (int p = 0; p < 6; ++p) dSum += Frequency(p);
    EXPECT_NE(Find(Print("\nZero-Point Energy                   = %15.7f (kcal/mol)",
                         0.0014295718 * dSum)),
              log.end());
    const auto Count = [&](const char* sStart) {
        return std::count_if(log.begin(), log.end(),
                             [&](const std::string& s) { return s.rfind(sStart, 0) == 0; });
    };
    EXPECT_EQ(Count("\n Translation"), 3);
    EXPECT_EQ(Count("\n  Rotation"), 2);
    EXPECT_EQ(Count("               Derivatives of Dipole Moment"), 6);
    EXPECT_EQ(Count("\n       Frequencies of the Normal Modes"), 0);
    EXPECT_EQ(client.Texts(kPacketStatusLine).back(), "Calculating the vibrational spectrum...");
}

TEST_F(Vibrations, AreListedWithTheirVectorsAtTheNinthLevel) {
    Prepare(triangle, {10.0F, 10.0F, 10.0F});
    options.nLogLevel = 9;
    link.fLogReports = true;
    client.Sent.clear();
    RunVibrations();
    const std::vector<std::string> log = client.Log();
    const auto heading = std::find_if(log.begin(), log.end(), [](const std::string& s) {
        return s.rfind("\n       Frequencies of the Normal Modes", 0) == 0;
    });
    ASSERT_NE(heading, log.end());
    ASSERT_EQ(log.end() - heading, 1 + 2 * (3 + 9));  // nine modes: six columns and three
    EXPECT_EQ(heading[1],
              "\n  Mode        1          2          3          4          5          6");
    EXPECT_EQ(heading[2].substr(0, 12), "  Frequency ");
    EXPECT_EQ(heading[3].substr(0, 40), "  Symmetry:   1 E'     1 E'     1 A1'   ");
    EXPECT_EQ(heading[4].substr(0, 12), "     1      ");
    EXPECT_EQ(heading[13], "\n  Mode        7          8          9");
}

TEST_F(Vibrations, ListTheAtomsOnceMoreWhenNoScfDid) {
    Prepare(pair, {12.0F, 16.0F});
    RunVibrations();
    link.fLogReports = true;
    options.nLogLevel = 0;
    Weigh({13.0F, 16.0F});
    RunKept();
    const std::vector<std::string> log = client.Log();
    EXPECT_EQ(log[1].rfind("\n           ===== Rotational", 0), 0u);
    const auto row =
        std::find(log.begin(), log.end(),
                  "  1   1     1.000000       0.00000     0.00000     0.00000      13.00000");
    EXPECT_NE(row, log.end());
}

// ---- want of memory -----------------------------------------------------------------------------

TEST_F(Vibrations, FailCleanlyAtEachAllocation) {
    Prepare(pair, {12.0F, 16.0F});
    RunVibrations();
    const double dFrequency = Frequency(0);
    options.nLogLevel = 4;  // without workers, whose allocations are their own
    int nFailed = 0;
    for (;; ++nFailed) {
        ASSERT_LT(nFailed, 200);
        client.Sent.clear();
        memory.nTaken = 0;
        memory.nFailAt = nFailed;
        bool fFailed = false;
        try {
            RunVibrations();
        } catch (const Unwinding&) {
            fFailed = true;
        }
        memory.nFailAt = -1;
        if (!fFailed) break;
        EXPECT_EQ(client.Errors(), std::vector<std::string>{MessageText(kMsgOutOfMemory)});
        EXPECT_EQ(options.flConvergenceLimit, 0.0F);
    }
    EXPECT_GT(nFailed, 20);
    EXPECT_NEAR(Frequency(0), dFrequency, 1e-9);
}

}  // namespace
}  // namespace qsolve
