#include "scf/half_electron.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <numeric>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "integrals/mo_integral.h"
#include "job/state.h"
#include "link/link.h"
#include "scf/scf.h"
#include "scf/state.h"
#include "setup/state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/repulsion.h"
#include "tests/support/scf_job.h"
#include "tests/support/scripted_client.h"
#include "tests/support/source_folder.h"

namespace qsolve {
namespace {

/// Energies that are equal but for how far the SCF converged, kcal/mol.
constexpr double kSame = 1e-6;
constexpr float kSharpLimit = 1e-9F;

/// CNDO has exchange of 1e-5 hartree in its correction and none in its SCF, kcal/mol.
constexpr double kSameInCndo = 0.02;

double ToleranceOf(int nMethod) {
    return nMethod == kCndo ? kSameInCndo : kSame;
}

JobScript OpenShell(int nMethod, const std::vector<Place>& places, int nMultiplicity) {
    JobScript script = Molecule(nMethod, places);
    script.Options.flConvergenceLimit = kSharpLimit;
    script.Options.nMultiplicity = nMultiplicity;
    script.Options.nIterationLimit = 300;
    return script;
}

JobScript NextLowest(int nMethod, const std::vector<Place>& places) {
    JobScript script = OpenShell(nMethod, places, 1);
    script.Options.fNextLowestState = 1;
    return script;
}

/// Levels 0 .. nCount - 1 and one more.
std::vector<int> Levels(int nCount) {
    std::vector<int> levels(static_cast<std::size_t>(nCount));
    std::iota(levels.begin(), levels.end(), 0);
    return levels;
}
std::vector<int> LevelsAnd(int nCount, int nOther) {
    std::vector<int> levels = Levels(nCount);
    levels.push_back(nOther);
    return levels;
}

/// Aldehyde group with a bent neighbour, without any symmetry: 12 electrons, 10 orbitals.
const std::vector<Place> kFormaldehyde = {
    {8, 0, 0, 0}, {6, 0.05, 0, -1.22}, {1, 0.13, 0.93, -1.81}, {1, -0.2, -0.95, -1.74}};
const std::vector<Place> kMethyl = {
    {6, 0, 0, 0}, {1, 1.08, 0.02, 0.1}, {1, -0.5, 0.95, 0}, {1, -0.55, -0.94, 0.05}};

class HalfElectron : public FreshState, public testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Methods, HalfElectron,
                         testing::Values(kCndo, kIndo, kZindo1, kZindoS, kMindo3, kMndo, kAm1,
                                         kPm3));

// ---- one electron ------------------------------------------------------------------------------

/// Half an electron of each spin repels itself; the correction takes exactly that away.
TEST_P(HalfElectron, HydrogenAtomIsExact) {
    EnergyOf(OpenShell(GetParam(), {{1, 0, 0, 0}}, 2));
    EXPECT_NEAR(scf.dElectronic, scf.mCore[0] * KcalPerUnit(GetParam()), 1e-8);
    EXPECT_LT(scf.dStateCorrection, -60.0);
    const double dTotal = scf.dTotalEnergy;
    JobScript script = OpenShell(GetParam(), {{1, 0, 0, 0}}, 2);
    script.Options.nSpinTreatment = 1;
    EXPECT_NEAR(EnergyOf(script), dTotal, 1e-8);
}

TEST_P(HalfElectron, OneElectronOfTwoAtomsIsExact) {
    JobScript script = OpenShell(GetParam(), {{1, 0, 0, 0}, {1, 0, 0, 1.06}}, 2);
    script.Options.nTotalCharge = 1;
    EnergyOf(script);
    EXPECT_NEAR(scf.dElectronic, (scf.mCore[0] + scf.mCore[1]) * KcalPerUnit(GetParam()), kSame);
}

// ---- against determinants ----------------------------------------------------------------------

TEST_P(HalfElectron, DoubletIsTheEnergyOfItsDeterminant) {
    EnergyOf(OpenShell(GetParam(), kMethyl, 2));
    ASSERT_EQ(setup.nOccupied - setup.nDoublyOcc, 1);
    EXPECT_NEAR(scf.dElectronic, DeterminantEnergy(Levels(4), Levels(3)), ToleranceOf(GetParam()));
}

TEST_P(HalfElectron, CorrectionOfADoubletIsAQuarterOfItsSelfRepulsion) {
    EnergyOf(OpenShell(GetParam(), kMethyl, 2));
    std::vector<double> vWork(static_cast<std::size_t>(2 * MoProductSize()));
    const double* c = scf.mVectorsA.Data() + 3 * setup.nOrbitals;
    const double J = MoIntegral(c, c, c, c, vWork.data()) * KcalPerUnit(GetParam());
    EXPECT_NEAR(scf.dStateCorrection, -J / 4, 1e-9);
}

/// An open level gains a little of another one, or loses it.
TEST_P(HalfElectron, SlopesOfTheCorrectionAreThoseOfItsDifferences) {
    for (const bool fSinglet : {true, false}) {
        EnergyOf(fSinglet ? NextLowest(GetParam(), kFormaldehyde)
                          : OpenShell(GetParam(), kFormaldehyde, 3));
        const int n = setup.nOrbitals, nFirst = setup.nDoublyOcc;
        std::vector<double> c(scf.mVectorsA.begin(), scf.mVectorsA.end()), slopes;
        slopes.resize(static_cast<std::size_t>(2 * n));
        FillHalfElectronSlopes(c.data(), slopes.data());
        for (int i = 0; i < 2; ++i)
            for (int q = 0; q < n; ++q) {
                const auto At = [&](double x) {
                    std::vector<double> turned = c;
                    for (int k = 0; k < n; ++k)
                        turned[static_cast<std::size_t>((nFirst + i) * n + k)] +=
                            x * c[static_cast<std::size_t>(q * n + k)];
                    return HalfElectronCorrection(scf.vEnergyA.Data(), turned.data());
                };
                EXPECT_NEAR(slopes[static_cast<std::size_t>(i * n + q)],
                            (At(1e-4) - At(-1e-4)) / 2e-4, 1e-6)
                    << i << " " << q;
            }
    }
}

TEST_P(HalfElectron, TripletIsTheEnergyOfItsDeterminant) {
    EnergyOf(OpenShell(GetParam(), kFormaldehyde, 3));
    EXPECT_NEAR(scf.dElectronic, DeterminantEnergy(Levels(7), Levels(5)), ToleranceOf(GetParam()));
}

/// |a up, b down| is half a singlet and half a triplet, so that 2 E - E(triplet) is the singlet's.
TEST_P(HalfElectron, NextLowestSingletIsTheEnergyOfItsTwoDeterminants) {
    EnergyOf(NextLowest(GetParam(), kFormaldehyde));
    ASSERT_EQ(setup.nDoublyOcc, 5);
    ASSERT_EQ(setup.nOccupied, 7);
    const double dMixed = DeterminantEnergy(Levels(6), LevelsAnd(5, 6));
    const double dTriplet = DeterminantEnergy(Levels(7), Levels(5));
    EXPECT_NEAR(scf.dElectronic, 2 * dMixed - dTriplet, ToleranceOf(GetParam()));
    EXPECT_GT(2 * dMixed - dTriplet, dTriplet + 0.01);
}

/// Both come from one SCF: the singlet lies above the triplet by twice the exchange.
TEST_P(HalfElectron, NextLowestSingletLiesAboveTheTripletByTwiceTheExchange) {
    const double dTriplet = EnergyOf(OpenShell(GetParam(), kFormaldehyde, 3));
    const double dSinglet = EnergyOf(NextLowest(GetParam(), kFormaldehyde));
    std::vector<double> vWork(static_cast<std::size_t>(2 * MoProductSize()));
    const double *a = scf.mVectorsA.Data() + 5 * setup.nOrbitals, *b = a + setup.nOrbitals;
    const double K = MoIntegral(a, b, a, b, vWork.data()) * KcalPerUnit(GetParam());
    EXPECT_NEAR(dSinglet - dTriplet, 2 * K, kSame);
}

TEST_P(HalfElectron, EnergyIsTheSameWhereverTheMoleculeLies) {
    std::vector<Place> turned = kMethyl;  // a turn of the axes x, y, z into each other by 3-4-5
    for (Place& p : turned)
        p = {p.nElement, 0.6 * p.x - 0.8 * p.y + 1, p.z, -0.8 * p.x - 0.6 * p.y};
    const JobScript script = OpenShell(GetParam(), kMethyl, 2);
    EXPECT_NEAR(EnergyOf(script, PositionsOf(kMethyl)), EnergyOf(script, PositionsOf(turned)),
                kSame);
}

struct HighSpin {
    int nMethod, nMultiplicity;
};
class HalfElectronHighSpin : public FreshState, public testing::WithParamInterface<HighSpin> {};

/// A row of hydrogen atoms in its highest spins; an odd number of them for an even multiplicity.
TEST_P(HalfElectronHighSpin, IsTheEnergyOfTheDeterminant) {
    const auto [nMethod, nMultiplicity] = GetParam();
    std::vector<Place> places;
    const int nAtoms = nMultiplicity + 1;
    for (int k = 0; k < nAtoms; ++k) places.push_back({1, 1.1 * k, 0.2 * (k % 3), 0.1 * k * k});
    EnergyOf(OpenShell(nMethod, places, nMultiplicity));
    ASSERT_EQ(setup.nOccupied - setup.nDoublyOcc, nMultiplicity - 1);
    ASSERT_EQ(setup.nDoublyOcc, 1);
    EXPECT_NEAR(scf.dElectronic, DeterminantEnergy(Levels(nMultiplicity), Levels(1)), kSame);
}
INSTANTIATE_TEST_SUITE_P(Spins, HalfElectronHighSpin,
                         testing::Values(HighSpin{kCndo, 3}, HighSpin{kCndo, 4}, HighSpin{kIndo, 5},
                                         HighSpin{kZindo1, 6}, HighSpin{kZindoS, 7},
                                         HighSpin{kMindo3, 4}, HighSpin{kAm1, 5}, HighSpin{kPm3, 6},
                                         HighSpin{kMndo, 7}));

/// The last cycle has no level shift: each level is the expectation value of the Fock matrix.
TEST_P(HalfElectron, LevelsAreFreeOfTheLevelShift) {
    EnergyOf(OpenShell(GetParam(), kMethyl, 2));
    const std::size_t n = scf.vEnergyA.Size();
    const std::vector<double> mTotal(scf.mDensityT.begin(), scf.mDensityT.end());
    const std::vector<double> mHalf(scf.mDensityA.begin(), scf.mDensityA.end());
    const std::vector<double> mG = Repulsion(mTotal, mHalf);
    for (std::size_t k = 0; k < n; ++k) {
        double d = 0.0;
        const double* c = scf.mVectorsA.Data() + k * n;
        for (std::size_t i = 0; i < n; ++i)
            for (std::size_t j = 0; j < n; ++j)
                d += c[i] * c[j] * (scf.mCore[i * n + j] + mG[i * n + j]);
        EXPECT_NEAR(scf.vEnergyA[k], d, 1e-5) << k;
    }
}

// ---- numbers from outside ----------------------------------------------------------------------

struct Reference {
    int nMethod;
    double dHeat;
    std::vector<double> Levels, Charges;
};
struct ReferenceMolecule {
    std::string sName;
    int nMultiplicity;
    double dTolerance;
    std::vector<Place> Places;
    std::vector<Reference> Methods;
};
std::vector<ReferenceMolecule> ReadReference() {
    std::ifstream file(SourcePath("tests/reference/half_electron.txt"));
    if (!file) throw std::runtime_error("no reference values");
    std::vector<ReferenceMolecule> all;
    for (std::string sLine, sKey, sName; std::getline(file, sLine);) {
        std::istringstream line(sLine);
        line >> sKey;
        ReferenceMolecule molecule{};
        Place p{};
        if (sKey == "molecule" &&
            line >> molecule.sName >> molecule.nMultiplicity >> molecule.dTolerance)
            all.push_back(molecule);
        if (sKey == "atom" && line >> p.nElement >> p.x >> p.y >> p.z)
            all.back().Places.push_back(p);
        if (sKey == "method" && line >> sName)
            all.back().Methods.push_back({sName == "AM1"   ? kAm1
                                          : sName == "PM3" ? kPm3
                                                           : kMndo,
                                          0.0,
                                          {},
                                          {}});
        if (sKey == "heat") line >> all.back().Methods.back().dHeat;
        if (sKey == "level") line >> all.back().Methods.back().Levels.emplace_back();
        if (sKey == "charge") line >> all.back().Methods.back().Charges.emplace_back();
    }
    return all;
}

void ExpectReference(const Reference& wanted, double dTolerance) {
    EXPECT_NEAR(scf.dHeatOfFormation, wanted.dHeat, dTolerance);
    ASSERT_EQ(wanted.Levels.size(), scf.vEnergyA.Size());
    for (std::size_t i = 0; i < wanted.Levels.size(); ++i)
        EXPECT_NEAR(scf.vEnergyA[i], wanted.Levels[i], 5e-4) << i;
    ASSERT_EQ(wanted.Charges.size(), system.pAtoms.Size());
    for (std::size_t i = 0; i < wanted.Charges.size(); ++i)
        EXPECT_NEAR(static_cast<double>(system.pAtoms[i].flCharge), wanted.Charges[i], 1e-4) << i;
}

using HalfElectronJob = FreshState;

TEST_F(HalfElectronJob, RadicalsAndTripletsAreThoseOfAnotherProgram) {
    const std::vector<ReferenceMolecule> all = ReadReference();
    ASSERT_EQ(all.size(), 3u);
    for (const ReferenceMolecule& molecule : all) {
        ASSERT_EQ(molecule.Methods.size(), 3u);
        for (const Reference& wanted : molecule.Methods) {
            SCOPED_TRACE(molecule.sName + ", method " + std::to_string(wanted.nMethod));
            EnergyOf(OpenShell(wanted.nMethod, molecule.Places, molecule.nMultiplicity));
            ExpectReference(wanted, molecule.dTolerance);
        }
    }
}

// ---- the job -----------------------------------------------------------------------------------

/// Two levels of one energy make a triplet of the oxygen molecule, whose axis is no axis here.
TEST_F(HalfElectronJob, DegenerateOpenLevelsAreBothHalfFilled) {
    for (const int nMethod : {kIndo, kZindo1, kMindo3, kAm1}) {
        EnergyOf(OpenShell(nMethod, {{8, 0, 0, 0}, {8, -0.9, 0.42, -0.76}}, 3));
        EXPECT_NEAR(scf.vEnergyA[5], scf.vEnergyA[6], 1e-6) << nMethod;
        EXPECT_NEAR(scf.dElectronic, DeterminantEnergy(Levels(7), Levels(5)), kSame) << nMethod;
        EXPECT_TRUE(client.Warnings().empty());
    }
}

TEST_F(HalfElectronJob, DOrbitalsTakePart) {
    const std::vector<Place> places = {{16, 0, 0, 0}, {8, 1.4, 0.1, 0.2}, {8, -0.6, 1.3, -0.1}};
    for (const int nMethod : {kMndoD, kZindo1}) {
        EnergyOf(OpenShell(nMethod, places, 3));
        ASSERT_EQ(setup.nDoublyOcc, 8);
        EXPECT_NEAR(scf.dElectronic, DeterminantEnergy(Levels(10), Levels(8)), kSame) << nMethod;
        EnergyOf(NextLowest(nMethod, places));
        const double dMixed = DeterminantEnergy(Levels(9), LevelsAnd(8, 9));
        EXPECT_NEAR(scf.dElectronic, 2 * dMixed - DeterminantEnergy(Levels(10), Levels(8)), kSame)
            << nMethod;
    }
    EnergyOf(OpenShell(kMndoD, places, 3));
    EXPECT_EQ(setup.Map.nAtomsWithD, 1);
}

std::vector<std::string> LogWith(const std::string& sPart) {
    std::vector<std::string> lines;
    for (const std::string& s : client.Log())
        if (s.find(sPart) != std::string::npos) lines.push_back(s);
    return lines;
}

TEST_F(HalfElectronJob, CorrectionIsReportedInThePlaceOfItsLine) {
    EnergyOf(OpenShell(kAm1, kMethyl, 2));
    char sLine[100];
    std::snprintf(sLine, sizeof sLine, "HE Energy Correction                = %15.7f (kcal/mol)",
                  scf.dStateCorrection);
    ASSERT_EQ(LogWith("HE Energy Correction").size(), 1u);
    EXPECT_EQ(LogWith("HE Energy Correction")[0].find(sLine), 0u);
    EXPECT_EQ(LogWith("The half-electron approximation will be used").size(), 1u);
}

/// Without configuration interaction a next lowest state has the ordinary lines.
TEST_F(HalfElectronJob, NextLowestStateIsReportedAsAnOrdinaryOne) {
    EnergyOf(NextLowest(kZindoS, kFormaldehyde));
    EXPECT_EQ(LogWith("The next lowest singlet state calculation").size(), 1u);
    EXPECT_EQ(LogWith("HE Energy Correction").size(), 1u);
    EXPECT_TRUE(LogWith("Lowest-State").empty());
    EXPECT_TRUE(LogWith("Excitation Energy").empty());
    EXPECT_EQ(scf.dNextStateCorrection, 0.0);
    EXPECT_NEAR(results.Block.flTotalEnergy, scf.dTotalEnergy, 0.01);
}

TEST_F(HalfElectronJob, ClosedShellsHaveNoCorrection) {
    EnergyOf(OpenShell(kAm1, kMethyl, 2));
    EXPECT_NE(scf.dStateCorrection, 0.0);
    EnergyOf(OpenShell(kAm1, kFormaldehyde, 1));
    EXPECT_EQ(scf.dStateCorrection, 0.0);
    EXPECT_TRUE(LogWith("HE Energy Correction").empty());
}

/// The correction belongs to one SCF and does not grow from run to run.
TEST_F(HalfElectronJob, SecondRunHasTheSameEnergy) {
    EnergyOf(OpenShell(kAm1, kMethyl, 2));
    const double dTotal = scf.dTotalEnergy, dCorrection = scf.dStateCorrection;
    RunScf();
    EXPECT_NEAR(scf.dTotalEnergy, dTotal, kSame);
    EXPECT_NEAR(scf.dStateCorrection, dCorrection, kSame);
}

TEST_F(HalfElectronJob, HowItConvergesDoesNotMatter) {
    for (const int nMethod : {kIndo, kZindoS, kAm1}) {
        JobScript script = OpenShell(nMethod, kMethyl, 2);
        const double dTotal = EnergyOf(script);
        for (const int fDiis : {0, 1})
            for (const int nShiftStart : {-1, 1}) {
                script.Options.fDiis = fDiis;
                script.Options.nLevelShiftStart = nShiftStart;
                EXPECT_NEAR(EnergyOf(script), dTotal, kSame)
                    << nMethod << " " << fDiis << " " << nShiftStart;
            }
    }
}

TEST_F(HalfElectronJob, EndsWithItsMessageWhereThereIsNoMemory) {
    EnergyOf(OpenShell(kAm1, kMethyl, 2));
    memory = MemoryState{.nFailAt = 0, .nBytesHeld = memory.nBytesHeld};
    EXPECT_THROW(HalfElectronCorrection(scf.vEnergyA.Data(), scf.mVectorsA.Data()), Unwinding);
    ASSERT_FALSE(client.Errors().empty());
    EXPECT_EQ(client.Errors()[0], "This application has exhausted all available memory.");
    memory = MemoryState{.nBytesHeld = memory.nBytesHeld};
    EXPECT_LT(HalfElectronCorrection(scf.vEnergyA.Data(), scf.mVectorsA.Data()), 0.0);
    EXPECT_EQ(memory.nTaken, 1);
}

}  // namespace
}  // namespace qsolve
