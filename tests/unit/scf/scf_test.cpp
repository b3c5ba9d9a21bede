#include "scf/scf.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <fstream>
#include <map>
#include <numbers>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "integrals/atom_list.h"
#include "job/state.h"
#include "link/link.h"
#include "numeric/row.h"
#include "scf/state.h"
#include "setup/state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scf_job.h"
#include "tests/support/scripted_client.h"
#include "tests/support/source_folder.h"

namespace qsolve {
namespace {

constexpr double kEvPerHartree = 27.211396;

/// Energies that should be equal, kcal/mol, at the convergence limits used here.
constexpr double kSame = 1e-6;
constexpr float kSharpLimit = 1e-9F;

const std::vector<Place> kFormaldehyde = {
    {8, 0, 0, 0}, {6, 0, 0, -1.2201}, {1, 0.03, 0.9344, -1.8077}, {1, 0, -0.9344, -1.8077}};

std::vector<Place> WaterOf(double dBond, double dAngle) {
    const double t = dAngle * std::numbers::pi / 180;
    return {{8, 0, 0, 0}, {1, dBond, 0, 0}, {1, dBond * std::cos(t), dBond * std::sin(t), 0}};
}

std::vector<Place> Tetrahedron(int nCentre, int nCorner, double dBond) {
    const double a = dBond / std::numbers::sqrt3;
    return {{nCentre, 0, 0, 0},
            {nCorner, a, a, a},
            {nCorner, a, -a, -a},
            {nCorner, -a, a, -a},
            {nCorner, -a, -a, a}};
}

/// Eclipsed.
std::vector<Place> Ferrocene() {
    std::vector<Place> places = {{26, 0, 0, 0}};
    const double dC = 0.72 / std::sin(std::numbers::pi / 5), dH = dC + 1.10;
    for (const double z : {-1.66, 1.66})
        for (int k = 0; k < 5; ++k) {
            const double c = std::cos(0.4 * std::numbers::pi * k);
            const double s = std::sin(0.4 * std::numbers::pi * k);
            places.push_back({6, dC * c, dC * s, z});
            places.push_back({1, dH * c, dH * s, z});
        }
    return places;
}

/// Turned about two axes and moved.
std::vector<Place> Moved(std::vector<Place> places) {
    const double c1 = std::cos(0.83), s1 = std::sin(0.83), c2 = std::cos(-1.27),
                 s2 = std::sin(-1.27);
    for (Place& p : places) {
        const double x = c1 * p.x - s1 * p.y, y = s1 * p.x + c1 * p.y;
        const double dY = c2 * y - s2 * p.z, z = s2 * y + c2 * p.z;
        p = {p.nElement, x + 0.7, dY - 1.9, z + 3.1};
    }
    return places;
}

JobScript Sharp(int nMethod, const std::vector<Place>& places) {
    JobScript script = Molecule(nMethod, places);
    script.Options.flConvergenceLimit = kSharpLimit;
    return script;
}

JobScript Unrestricted(JobScript script, int nMultiplicity = 1) {
    script.Options.nSpinTreatment = 1;
    script.Options.nMultiplicity = nMultiplicity;
    return script;
}

double At(const Array<double>& m, int i, int j) {
    return Row(m.Data(), setup.nOrbitals, i)[j];
}

/// Largest deviation of a spin's density from a projector on nOcc orbitals: P P = P, trace P =
/// nOcc.
double ProjectorError(const Array<double>& m, int nOcc) {
    double dMost = 0.0, dTrace = 0.0;
    for (int i = 0; i < setup.nOrbitals; ++i) {
        dTrace += At(m, i, i);
        for (int j = 0; j < setup.nOrbitals; ++j) {
            double d = -At(m, i, j);
            for (int k = 0; k < setup.nOrbitals; ++k) d += At(m, i, k) * At(m, k, j);
            dMost = std::max(dMost, std::abs(d));
        }
    }
    return std::max(dMost, std::abs(dTrace - nOcc));
}

// ---- numbers from outside ----------------------------------------------------------------------

using Scf = FreshState;

TEST_F(Scf, WaterHasItsEnergyInCndoAndIndo) {
    const std::vector<Place> places = WaterOf(0.9572, 104.52);
    EXPECT_NEAR(EnergyOf(Molecule(kCndo, places)) / kKcalPerHartree, -19.868, 5e-4);
    EXPECT_NEAR(EnergyOf(Molecule(kIndo, places)) / kKcalPerHartree, -19.014, 1e-3);
}

TEST_F(Scf, WaterHasItsDipoleInCndo) {
    EnergyOf(Molecule(kCndo, WaterOf(0.9572, 104.52)));
    EXPECT_NEAR(results.Block.flDipoleTotal, 2.145F, 0.005F);
}

struct AtomCase {
    int nElement, nMultiplicity;
};
class AtomEnergy : public FreshState,
                   public testing::WithParamInterface<std::tuple<int, AtomCase>> {};

/// One determinant for the ground state; the tables hold this energy from closed formulas.
TEST_P(AtomEnergy, IsThatOfTheTable) {
    const auto [nMethod, atom] = GetParam();
    EnergyOf(Unrestricted(Molecule(nMethod, {{atom.nElement, 0, 0, 0}}), atom.nMultiplicity));
    EXPECT_NEAR(scf.dTotalEnergy, setup.dAtomicEnergy, 2e-5 * std::abs(setup.dAtomicEnergy) / 100);
    EXPECT_LT(setup.dAtomicEnergy, -100.0);
}
INSTANTIATE_TEST_SUITE_P(Methods, AtomEnergy,
                         testing::Combine(testing::Values(kCndo, kIndo, kZindo1),
                                          testing::Values(AtomCase{1, 2}, AtomCase{3, 2},
                                                          AtomCase{4, 1}, AtomCase{5, 2},
                                                          AtomCase{6, 3}, AtomCase{7, 4},
                                                          AtomCase{8, 3}, AtomCase{9, 2})));

struct LevelsOfMolecule {
    std::string sName;
    std::vector<Place> Places;
    std::vector<double> Levels;  ///< eV
};
std::vector<LevelsOfMolecule> ReadLevels() {
    std::ifstream file(SourcePath("tests/reference/zindos_levels.txt"));
    if (!file) throw std::runtime_error("no reference levels");
    std::vector<LevelsOfMolecule> molecules;
    for (std::string sLine, sKey; std::getline(file, sLine);) {
        std::istringstream line(sLine);
        line >> sKey;
        if (sKey == "molecule") line >> molecules.emplace_back().sName;
        if (sKey == "level") line >> molecules.back().Levels.emplace_back();
        Place p{};
        if (sKey == "atom" && line >> p.nElement >> p.x >> p.y >> p.z)
            molecules.back().Places.push_back(p);
    }
    return molecules;
}

TEST_F(Scf, ZindoSLevelsAreThoseOfAnotherProgram) {
    const std::vector<LevelsOfMolecule> molecules = ReadLevels();
    EXPECT_EQ(molecules.size(), 5u);
    for (const LevelsOfMolecule& molecule : molecules) {
        EnergyOf(Molecule(kZindoS, molecule.Places));
        ASSERT_EQ(scf.vEnergyA.Size(), molecule.Levels.size()) << molecule.sName;
        for (std::size_t i = 0; i < molecule.Levels.size(); ++i)
            EXPECT_NEAR(scf.vEnergyA[i] * kEvPerHartree, molecule.Levels[i], 0.005)
                << molecule.sName << " " << i;
    }
}

// ---- identities --------------------------------------------------------------------------------

class ScfMethod : public FreshState, public testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Methods, ScfMethod, testing::Values(kCndo, kIndo, kZindo1, kZindoS));

TEST_P(ScfMethod, EnergyDoesNotDependOnHowItConverges) {
    JobScript script = Sharp(GetParam(), kFormaldehyde);
    const double dEnergy = EnergyOf(script);
    for (const int fDiis : {0, 1})
        for (const int nShiftStart : {-1, 1}) {
            script.Options.fDiis = fDiis;
            script.Options.nLevelShiftStart = nShiftStart;
            EXPECT_NEAR(EnergyOf(script), dEnergy, kSame) << fDiis << " " << nShiftStart;
        }
}

TEST_P(ScfMethod, EnergyDoesNotDependOnTheDensityItStartsFrom) {
    std::vector<Place> places = kFormaldehyde;
    const JobScript script = Sharp(GetParam(), places);
    const double dEnergy = EnergyOf(script, PositionsOf(places));
    SetUpJob(script);
    places[0].z += 0.1;
    SetPositions(PositionsOf(places));
    RunScf();
    EXPECT_GT(std::abs(scf.dTotalEnergy - dEnergy), 0.01);
    SetPositions(PositionsOf(kFormaldehyde));
    RunScf();
    EXPECT_NEAR(scf.dTotalEnergy, dEnergy, kSame);
    EXPECT_EQ(scf.nScfRuns, 1);
}

TEST_P(ScfMethod, StartsAfreshFromADensityThatIsToBeForgotten) {
    for (const JobScript& script :
         {Molecule(GetParam(), kFormaldehyde), Unrestricted(Molecule(GetParam(), kFormaldehyde))}) {
        const double dEnergy = EnergyOf(script);
        for (Array<double>* m : {&scf.mDensityT, &scf.mDensityA, &scf.mDensityB, &scf.mVectorsA})
            std::fill(m->begin(), m->end(), std::nan(""));
        ForgetDensity();
        RunScf();
        EXPECT_EQ(scf.dTotalEnergy, dEnergy) << "the same cycles to the bit";
    }
}

TEST_P(ScfMethod, UnrestrictedClosedShellIsTheRestrictedOne) {
    const JobScript script = Sharp(GetParam(), kFormaldehyde);
    const double dEnergy = EnergyOf(script);
    EXPECT_NEAR(EnergyOf(Unrestricted(script)), dEnergy, kSame);
}

TEST_P(ScfMethod, DensitiesAreProjectors) {
    const JobScript script = Sharp(GetParam(), kFormaldehyde);
    EnergyOf(script);
    EXPECT_LT(ProjectorError(scf.mDensityA, 6), 1e-12);
    EnergyOf(Unrestricted(script, 3));
    EXPECT_LT(ProjectorError(scf.mDensityA, 7), 1e-12);
    EXPECT_LT(ProjectorError(scf.mDensityB, 5), 1e-12);
    for (int i = 0; i < setup.nOrbitals; ++i)
        EXPECT_EQ(At(scf.mDensityT, i, 1), At(scf.mDensityA, i, 1) + At(scf.mDensityB, i, 1));
}

/// The energy of one electron is the lowest eigenvalue of the core Hamiltonian.
TEST_P(ScfMethod, OneElectronIsExact) {
    for (const int fDiis : {0, 1}) {
        JobScript script = Unrestricted(Sharp(GetParam(), {{1, 0, 0, 0}, {1, 0, 0, 1.06}}), 2);
        script.Options.nTotalCharge = 1;
        script.Options.fDiis = fDiis;
        EnergyOf(script);
        const double dLowest = At(scf.mCore, 0, 0) + At(scf.mCore, 0, 1);
        EXPECT_NEAR(scf.dElectronic, dLowest * kKcalPerHartree, 1e-8);
    }
}

TEST_P(ScfMethod, EnergyIsTheSameWhereverTheMoleculeLies) {
    const JobScript script = Sharp(GetParam(), kFormaldehyde);
    EXPECT_NEAR(EnergyOf(script, PositionsOf(kFormaldehyde)),
                EnergyOf(script, PositionsOf(Moved(kFormaldehyde))), kSame);
}

/// The spins start apart, so that they find the broken bond, which lies below the closed shell.
TEST_P(ScfMethod, SpinsPartInAStretchedBond) {
    JobScript script = Molecule(GetParam(), {{1, 0, 0, 0}, {1, 0, 0, 2.0}});
    script.Options.fDiis = 0;
    const double dClosed = EnergyOf(script);
    EXPECT_LT(EnergyOf(Unrestricted(script)), dClosed - 10.0);
    EXPECT_NEAR(At(scf.mDensityA, 0, 0), At(scf.mDensityB, 1, 1), 1e-3);
    EXPECT_GT(std::abs(At(scf.mDensityA, 0, 0) - At(scf.mDensityB, 0, 0)), 0.8);
}

int CountOfCycles() {
    int nLines = 0;
    for (const std::string& s : client.Texts(kPacketStatusLine))
        nLines += s.find("Iteration") != std::string::npos;
    return nLines + 2;  // neither the first nor the last one is told
}

TEST_P(ScfMethod, ExtrapolationConvergesInAFewCycles) {
    EnergyOf(Molecule(GetParam(), kFormaldehyde));
    EXPECT_LE(CountOfCycles(), 20);
    EXPECT_NE(scf.mDiisFockA[0], 0.0);  // it did run
}

class Transition : public FreshState, public testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Methods, Transition, testing::Values(kZindo1, kZindoS));

TEST_P(Transition, EnergyWithDOrbitalsIsTheSameWhereverTheMoleculeLies) {
    std::vector<Place> places = Tetrahedron(22, 17, 2.17);
    places[1].x += 0.11;  // no symmetry is left
    places[2].y += 0.07;
    places[3].x -= 0.05;
    const JobScript script = Sharp(GetParam(), places);
    EXPECT_NEAR(EnergyOf(script, PositionsOf(places)), EnergyOf(script, PositionsOf(Moved(places))),
                kSame);
}

/// How many levels lie alone, in pairs and in threes, all within 1e-4 eV.
std::map<int, int> Multiplets() {
    std::map<int, int> counts;
    int nSize = 1;
    for (int i = 1; i <= setup.nOrbitals; ++i) {
        const bool fSame =
            i < setup.nOrbitals && scf.vEnergyA[i] - scf.vEnergyA[i - 1] < 1e-4 / kEvPerHartree;
        if (fSame) {
            ++nSize;
        } else {
            ++counts[nSize];
            nSize = 1;
        }
    }
    return counts;
}

TEST_P(Transition, TetrahedralLevelsKeepTheirDegeneracy) {
    for (const auto& [places, nCharge] :
         {std::pair{Tetrahedron(22, 17, 2.17), 0}, {Tetrahedron(25, 8, 1.629), -1}}) {
        JobScript script = Sharp(GetParam(), places);
        script.Options.nTotalCharge = nCharge;
        EnergyOf(script, PositionsOf(places));
        const std::map<int, int> wanted = {{1, 3}, {2, 2}, {3, 6}};  // a1, e, t1 and t2
        EXPECT_EQ(Multiplets(), wanted);
        EXPECT_TRUE(client.Warnings().empty());
        EXPECT_LT(ProjectorError(scf.mDensityA, setup.nOccupied), 1e-12);
    }
}

TEST_P(Transition, FerroceneKeepsItsPairs) {
    const std::vector<Place> places = Ferrocene();
    JobScript script = Sharp(GetParam(), places);
    EnergyOf(script, PositionsOf(places));
    const std::map<int, int> wanted = {{1, 13}, {2, 23}};
    EXPECT_EQ(Multiplets(), wanted);
    EXPECT_TRUE(client.Warnings().empty());
}

// ---- rules of the driver -----------------------------------------------------------------------

TEST_F(Scf, ReadsTheGeometryAndLeavesTheRecordsOfTheIntakeAlone) {
    SetUpJob(Water(kCndo));
    const float flBefore = system.pAtoms[1].flY;
    system.pCoords[4] = 0.123456789012;
    RunScf();
    EXPECT_EQ(system.pAtoms[1].flY, flBefore);
    EXPECT_EQ(system.pCoords[4], 0.123456789012);
}

TEST_F(Scf, RunsAreCounted) {
    JobScript script = Water(kCndo);
    script.Job.nCalcKind = kOptimisation;
    SetUpJob(script);
    for (int n = 0; n < 3; ++n) {
        RunScf();
        EXPECT_EQ(scf.nScfRuns, n);
        EXPECT_EQ(results.Block.nEnergyPoints, n);
        EXPECT_TRUE(scf.fResultsValid);
    }
}

TEST_F(Scf, LevelsAreClassifiedWhereAReportHasThem) {
    const auto LabelsOf = [] {
        std::string sLabels;  // of alpha levels; those of beta levels repeat them on the wire
        for (int k = 0; k < setup.nOrbitals; ++k) {
            const auto& sLabel = results.Orbitals.sSymmetryLabel[k];
            sLabels += std::string(sLabel, strnlen(sLabel, sizeof sLabel)) + " ";
        }
        return sLabels;
    };
    JobScript script = Unrestricted(Water(kCndo));
    EnergyOf(script);
    EXPECT_EQ(LabelsOf(), "A1 B2 A1 B1 A1 B2 ");
    script.Job.nCalcKind = kOptimisation;
    SetUpJob(script);
    RunScf();
    EXPECT_EQ(LabelsOf(), "  ?   ?   ?   ?   ?   ? ");
}

TEST_F(Scf, AnyLimitOfCyclesEndsWithResults) {
    JobScript script = Water(kCndo);
    const double dEnergy = EnergyOf(script);
    for (const int nLimit : {INT_MIN, -1, 0, 1, 3, 6, INT_MAX}) {
        script.Options.nIterationLimit = nLimit;
        SetUpJob(script);
        options.nIterationLimit = nLimit;  // whatever the intake says to it
        RunScf();
        EXPECT_TRUE(scf.fResultsValid) << nLimit;
        EXPECT_TRUE(client.Errors().empty()) << nLimit;
        if (nLimit > 10) {
            EXPECT_NEAR(scf.dTotalEnergy, dEnergy, kSame);
        }
    }
}

/// Cycles 2 to limit + 1 are told; the last one, limit + 2, ends without a line.
TEST_F(Scf, CyclesWithinTheLimitAreToldFromTheSecondOn) {
    JobScript script = Water(kZindoS);
    script.Options.flConvergenceLimit = 0;
    script.Options.nIterationLimit = 9;
    EnergyOf(script);
    std::vector<std::string> lines;
    for (const std::string& s : client.Texts(kPacketStatusLine))
        if (s.find("Iteration") != std::string::npos) lines.push_back(s);
    ASSERT_EQ(lines.size(), 9u);
    EXPECT_EQ(lines[0].find("Iteration = 1 Difference = "), 0u);
    EXPECT_EQ(lines[8].find("Iteration = 9 Difference = "), 0u);
}

/// Level 4 shows every stage of every cycle.
TEST_F(Scf, StagesOfTheCyclesAreReported) {
    JobScript script = Unrestricted(Water(kCndo));
    script.Options.nLogLevel = 4;
    EnergyOf(script);
    const auto Count = [](const std::string& sTitle) {
        int n = 0;
        for (const std::string& s : client.Log()) n += s.find(sTitle) != std::string::npos;
        return n;
    };
    const int nCycles = CountOfCycles();
    EXPECT_EQ(Count("Core Hamiltonian"), 1);
    EXPECT_EQ(Count("Alpha Fock"), nCycles);
    EXPECT_EQ(Count("Beta Fock"), nCycles);
    EXPECT_EQ(Count("Alpha Density"), nCycles);
    EXPECT_EQ(Count("Beta Density"), nCycles);
}

TEST_F(Scf, EnergyThatIsNoNumberIsWarnedOfOnce) {
    SetUpJob(Water(kZindoS));
    system.pCoords[0] = std::nan("");
    options.nIterationLimit = 4;
    RunScf();
    int nTold = 0;
    for (const std::string& s : client.Warnings())
        if (s.find("Floating Point") != std::string::npos) ++nTold;
    EXPECT_EQ(nTold, 1);
}

TEST_F(Scf, ExtendedHueckelComputesNothing) {
    SetUpJob(Water(kCndo));
    system.MethodId = kExtendedHueckel;
    RunScf();
    EXPECT_EQ(scf.nScfRuns, -1);
}

}  // namespace
}  // namespace qsolve
