#include <gtest/gtest.h>

#include <cmath>

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
        for (int i = 0; i < atom.nOrbitals; ++i)
            q -= Row(P, n, atom.nFirst + i)[atom.nFirst + i];
        c.Charges.push_back(q);
        for (int k = 0; k < 3; ++k) {
            c.vDipole[k] += kDebyePerAngstrom * q * (atom.pXyz[k] - scf.dChargeOrigin[k]);
            if (atom.HasP())
                c.vDipole[k] -= setup.vSpHybrid[atom.Row()] *
                                Row(P, n, atom.nFirst + 1 + k)[atom.nFirst];
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
    void Note(double& dWorst, double d) { dWorst = std::max(dWorst, std::abs(d)); }
};

void NoteVector(const std::vector<double>& expected, const double* v, double& dWorst) {
    for (std::size_t i = 0; i < expected.size(); ++i)
        dWorst = std::max(dWorst, std::abs(v[i] - expected[i]));
}

class NddoReference : public testing::TestWithParam<Tables> {};

TEST_P(NddoReference, AgreesInEnergiesChargesDipolesAndLevels) {
    const auto values = ReadReferenceValues(GetParam().sFile);
    Worst worst;
    for (const ReferenceMolecule& molecule : ReadReferenceMolecules("nddo_geometries.txt")) {
        if (!values.contains(molecule.sName)) continue;
        SCOPED_TRACE(molecule.sName);
        ReferenceRows rows = values.at(molecule.sName);
        EnergyOf(SinglePointOf(molecule, GetParam().nMethod));
        const Computed c = TakeResults();
        EXPECT_NEAR(c.dHeat, rows["heat"][0], 0.003);
        worst.Note(worst.dHeat, c.dHeat - rows["heat"][0]);
        worst.Note(worst.dEnergy, c.dCore - rows["core"][0]);
        ASSERT_EQ(c.Charges.size(), rows["charges"].size());
        for (std::size_t i = 0; i < c.Charges.size(); ++i) {
            EXPECT_NEAR(c.Charges[i], rows["charges"][i], GetParam().dCharge) << "atom " << i;
            worst.Note(worst.dCharge, c.Charges[i] - rows["charges"][i]);
        }
        if (rows.contains("dipole_length")) {
            EXPECT_NEAR(LengthOf(c.vDipole), rows["dipole_length"][0], 0.001);
            worst.Note(worst.dDipole, LengthOf(c.vDipole) - rows["dipole_length"][0]);
        }
        for (std::size_t k = 0; rows.contains("dipole") && k < 3; ++k) {
            EXPECT_NEAR(c.vDipole[k], rows["dipole"][k], 0.001);
            worst.Note(worst.dDipole, c.vDipole[k] - rows["dipole"][k]);
        }
        double dLevel = 0.0;
        NoteVector(rows["levels"], scf.vEnergyA.Data(), dLevel);
        NoteVector(rows["alpha"], scf.vEnergyA.Data(), dLevel);
        NoteVector(rows["beta"], scf.vEnergyB.Data(), dLevel);
        EXPECT_EQ(rows["levels"].size() + rows["alpha"].size(), scf.vEnergyA.Size());
        EXPECT_LT(dLevel, 5e-4);
        worst.Note(worst.dLevel, dLevel);
    }
    std::printf("worst: heat %.6f charge %.2e dipole %.2e level %.2e core %.2e\n", worst.dHeat,
                worst.dCharge, worst.dDipole, worst.dLevel, worst.dEnergy);
}
INSTANTIATE_TEST_SUITE_P(Methods, NddoReference,
                         testing::Values(Tables{kMindo3, "nddo_mindo3.txt", 1.01e-4},
                                         Tables{kMndo, "nddo_mndo.txt", 1e-4},
                                         Tables{kAm1, "nddo_am1.txt", 1e-4},
                                         Tables{kPm3, "nddo_pm3.txt", 1e-4}));

}  // namespace
}  // namespace qsolve
