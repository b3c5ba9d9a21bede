#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "integrals/atom_list.h"
#include "link/state.h"
#include "numeric/row.h"
#include "scf/scf.h"
#include "scf/state.h"
#include "setup/state.h"
#include "tests/support/reference_table.h"
#include "tests/support/scf_job.h"

namespace qsolve {
namespace {

constexpr double kDebyePerAngstrom = 4.803;
constexpr double kKcalPerEv = 23.061;

// Tolerances. The parts of the energy, which all but cancel, depend on the digits to which the
// programs carry their additive terms.
constexpr double kHeat = 0.003, kEnergy = 2e-4, kDipole = 1e-3, kLevel = 5e-4;

/// What a table holds, of the calculation that has just been made.
struct Computed {
    double dHeat = 0.0, dElectronic = 0.0, dCore = 0.0;
    double vDipole[3] = {};
    std::vector<double> Charges;
};

/// Charges of the atoms, and the dipole of these charges and of the s-p products.
Computed TakeResults() {
    Computed c;
    c.dHeat = scf.dTotalEnergy + setup.dHeatCorrection;
    c.dElectronic = scf.dElectronic / kKcalPerEv;
    c.dCore = scf.dCoreRepulsion / kKcalPerEv;
    const double* P = scf.mDensityT.Data();
    const int n = setup.nOrbitals;
    for (int iA = 0; iA < system.nSelected; ++iA) {
        const ListedAtom atom = AtomAt(iA);
        double q = CoreChargeOf(atom.nElement);
        for (int i = 0; i < atom.nOrbitals; ++i) q -= Row(P, n, atom.nFirst + i)[atom.nFirst + i];
        c.Charges.push_back(q);
        for (int k = 0; k < 3; ++k) {
            c.vDipole[k] += kDebyePerAngstrom * q * (atom.pXyz[k] - scf.dChargeOrigin[k]);
            if (atom.HasP())
                c.vDipole[k] -=
                    setup.vSpHybrid[atom.Row()] * Row(P, n, atom.nFirst + 1 + k)[atom.nFirst];
        }
    }
    return c;
}

double LengthOf(const double* v) {
    return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
}

struct Tables {
    int nMethod;
    const char* sFile;
    double dCharge;  ///< tolerance; MINDO/3 adds the rounding of its printed digits
};

/// The largest deviation of a quantity over a table, kept with the test's result.
struct Worst {
    double dHeat = 0.0, dCharge = 0.0, dDipole = 0.0, dLevel = 0.0, dEnergy = 0.0;

    /// Tells whether a value is within its tolerance.
    static bool Note(double& dWorst, double dComputed, double dExpected, double dTolerance) {
        const double d = std::abs(dComputed - dExpected);
        dWorst = std::max(dWorst, d);
        return d <= dTolerance;
    }
    void Record() const {
        testing::Test::RecordProperty("heat", std::to_string(dHeat));
        testing::Test::RecordProperty("charge", std::to_string(dCharge));
        testing::Test::RecordProperty("dipole", std::to_string(dDipole));
        testing::Test::RecordProperty("level", std::to_string(dLevel));
        testing::Test::RecordProperty("energy", std::to_string(dEnergy));
    }
};

void CompareAll(const std::vector<double>& computed, const std::vector<double>& expected,
                double dTolerance, double& dWorst) {
    ASSERT_EQ(computed.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_TRUE(Worst::Note(dWorst, computed[i], expected[i], dTolerance))
            << i << ": " << computed[i] << " and not " << expected[i];
}

std::vector<double> LevelsOf(const Array<double>& vEnergy) {
    return {vEnergy.begin(), vEnergy.end()};
}

void CompareLevels(ReferenceRows& rows, Worst& worst) {
    if (rows.contains("levels")) {
        CompareAll(LevelsOf(scf.vEnergyA), rows["levels"], kLevel, worst.dLevel);
        return;
    }
    CompareAll(LevelsOf(scf.vEnergyA), rows["alpha"], kLevel, worst.dLevel);
    CompareAll(LevelsOf(scf.vEnergyB), rows["beta"], kLevel, worst.dLevel);
}

void Compare(const Computed& c, ReferenceRows& rows, double dChargeTolerance, Worst& worst) {
    CompareAll({c.dHeat}, rows["heat"], kHeat, worst.dHeat);
    CompareAll({c.dElectronic}, rows["electronic"], kEnergy, worst.dEnergy);
    CompareAll({c.dCore}, rows["core"], kEnergy, worst.dEnergy);
    CompareAll(c.Charges, rows["charges"], dChargeTolerance, worst.dCharge);
    if (rows.contains("dipole_length"))
        CompareAll({LengthOf(c.vDipole)}, rows["dipole_length"], kDipole, worst.dDipole);
    else
        CompareAll({c.vDipole[0], c.vDipole[1], c.vDipole[2]}, rows["dipole"], kDipole,
                   worst.dDipole);
    CompareLevels(rows, worst);
}

class NddoReference : public testing::TestWithParam<Tables> {};

TEST_P(NddoReference, AgreesInEnergiesChargesDipolesAndLevels) {
    auto values = ReadReferenceValues(GetParam().sFile);
    Worst worst;
    std::size_t nCompared = 0;
    for (const ReferenceMolecule& molecule : ReadReferenceMolecules("nddo_geometries.txt")) {
        if (!values.contains(molecule.sName)) continue;
        SCOPED_TRACE(molecule.sName);
        EnergyOf(SinglePointOf(molecule, GetParam().nMethod));
        Compare(TakeResults(), values[molecule.sName], GetParam().dCharge, worst);
        ++nCompared;
    }
    EXPECT_EQ(nCompared, values.size());
    EXPECT_GE(nCompared, 25u);
    worst.Record();
}
INSTANTIATE_TEST_SUITE_P(Methods, NddoReference,
                         testing::Values(Tables{kMindo3, "nddo_mindo3.txt", 1.01e-4},
                                         Tables{kMndo, "nddo_mndo.txt", 1e-4},
                                         Tables{kAm1, "nddo_am1.txt", 1e-4},
                                         Tables{kPm3, "nddo_pm3.txt", 1e-4}));

}  // namespace
}  // namespace qsolve
