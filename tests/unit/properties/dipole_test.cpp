#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <numbers>

#include "job/state.h"
#include "link/state.h"
#include "numeric/row.h"
#include "properties/properties.h"
#include "properties/state.h"
#include "scf/state.h"
#include "setup/state.h"
#include "tests/support/bare_molecule.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scripted_client.h"

namespace qsolve {
namespace {

constexpr int kCarbonRow = 5, kTitaniumRow = 21;

class Dipole : public FreshState {
  protected:
    Dipole() {
        NewScriptedClient();
        link.fLogReports = true;
    }

    /// Builds, and sets hybrid lengths of carbon and titanium.
    static void BuildWithHybrids(const BareMolecule& molecule) {
        Build(molecule);
        setup.vSpHybrid.Take(kRows, kSetUp);
        setup.vPdHybrid.Take(kRows, kSetUp);
        setup.vSpHybrid[kCarbonRow] = 5.5;
        setup.vSpHybrid[kTitaniumRow] = 3.0;
        setup.vPdHybrid[kTitaniumRow] = 4.0;
    }

    /// A symmetric density of all different elements.
    static std::vector<double> Density(int n) {
        std::vector<double> m(static_cast<std::size_t>(n * n));
        for (int i = 0; i < n; ++i)
            for (int j = 0; j <= i; ++j)
                Row(m.data(), n, i)[j] = Row(m.data(), n, j)[i] = std::sin(3.0 * i + 7.0 * j + 1);
        return m;
    }

    static void Compute(const std::vector<double>& m) { ComputeDipole(m.data(), scf.nOrbitals); }

    static void ExpectRow(int nRow, double x, double y, double z) {
        const double* v = properties.dDipoleTable[nRow];
        EXPECT_NEAR(v[0], x, 1e-12) << "row " << nRow;
        EXPECT_NEAR(v[1], y, 1e-12) << "row " << nRow;
        EXPECT_NEAR(v[2], z, 1e-12) << "row " << nRow;
        EXPECT_NEAR(v[3], std::sqrt(x * x + y * y + z * z), 1e-12) << "row " << nRow;
    }
};

TEST_F(Dipole, OfPointChargesIsChargeTimesDistance) {
    for (const auto& [nMethod, dDebye] : {std::pair{kPm3, 4.803},
                                          {kMndoD, 4.803},
                                          {kMindo3, 4.803},
                                          {kCndo, 2.5416},
                                          {kZindoS, 2.5416}}) {
        BuildWithHybrids({.Atoms = {{1, 1, 0, 0, 1}, {1, 1, 0, 3, -1}}, .nMethod = nMethod});
        system.pAtoms[0].flCharge = 0.25F;
        system.pAtoms[1].flCharge = -0.25F;
        Compute(Density(2));
        ExpectRow(0, 0, -0.75 * dDebye, 0.5 * dDebye);
        ExpectRow(1, 0, 0, 0);
        ExpectRow(2, 0, 0, 0);
        ExpectRow(3, 0, -0.75 * dDebye, 0.5 * dDebye);
    }
}

TEST_F(Dipole, OfAnIonIsTakenAboutItsOrigin) {
    BuildWithHybrids({.Atoms = {{1, 1, 1, 2, 3}, {1, 1, 1, 2, 4}}});
    system.pAtoms[0].flCharge = system.pAtoms[1].flCharge = 0.5F;
    scf.dChargeOrigin[0] = 1;
    scf.dChargeOrigin[1] = 2;
    scf.dChargeOrigin[2] = 3.5;
    Compute(Density(2));
    ExpectRow(3, 0, 0, 0);
    scf.dChargeOrigin[2] = 2.5;
    Compute(Density(2));
    ExpectRow(3, 0, 0, 4.803);
}

TEST_F(Dipole, OfAnSpHybridFollowsTheBondOrderOfSAndP) {
    BuildWithHybrids({.Atoms = {{1, 1}, {6, 4}}});
    std::vector<double> m(25);
    const double p[] = {0.5, -0.25, 0.125};
    for (int k = 0; k < 3; ++k) Row(m.data(), 5, 2 + k)[1] = Row(m.data(), 5, 1)[2 + k] = p[k];
    Compute(m);
    ExpectRow(1, -0.5 * 5.5, 0.25 * 5.5, -0.125 * 5.5);
    ExpectRow(2, 0, 0, 0);
}

TEST_F(Dipole, OfANeutralMoleculeDoesNotDependOnItsPlace) {
    const double shift[] = {10, -7, 3.5};
    BareMolecule molecule{.Atoms = {{6, 4, 0, 0, 0}, {22, 9, 1, 2, 3}, {1, 1, -1, 1, 0.5}}};
    const float charges[] = {0.5F, -0.75F, 0.25F};
    double before[4][4] = {};
    for (int nPass = 0; nPass < 2; ++nPass) {
        BuildWithHybrids(molecule);
        for (int i = 0; i < 3; ++i) system.pAtoms[i].flCharge = charges[i];
        Compute(Density(14));
        if (nPass == 0) std::copy_n(&properties.dDipoleTable[0][0], 16, &before[0][0]);
        for (BareAtom& atom : molecule.Atoms) {
            atom.x += shift[0];
            atom.y += shift[1];
            atom.z += shift[2];
        }
    }
    for (int i = 0; i < 4; ++i)
        for (int k = 0; k < 4; ++k)
            EXPECT_NEAR(properties.dDipoleTable[i][k], before[i][k], 1e-11) << i << k;
    EXPECT_GT(before[1][3], 1);
    EXPECT_GT(before[2][3], 1);
}

/// Real harmonics on the unit sphere, as polynomials: p, then d in the order of the orbitals.
double Harmonic(int nOrbital, const double* r) {
    const double x = r[0], y = r[1], z = r[2], c = std::sqrt(15 / (4 * std::numbers::pi));
    switch (nOrbital) {
        case 1:
        case 2:
        case 3:
            return std::sqrt(3 / (4 * std::numbers::pi)) * r[nOrbital - 1];
        case 4:
            return c / std::sqrt(12.0) * (3 * z * z - 1);
        case 5:
            return c * x * z;
        case 6:
            return c * y * z;
        case 7:
            return c / 2 * (x * x - y * y);
        default:
            return c * x * y;
    }
}

/// Integral over the sphere, exact for the polynomials of degree up to 7 that come here: equal
/// steps in the azimuth, Gauss-Legendre with four points in z.
double OverSphere(const std::function<double(const double*)>& f) {
    const double nodes[] = {0.3399810435848563, 0.8611363115940526};
    const double weights[] = {0.6521451548625461, 0.3478548451374538};
    double dSum = 0;
    for (int i = 0; i < 2; ++i)
        for (const double z : {nodes[i], -nodes[i]})
            for (int k = 0; k < 16; ++k) {
                const double dPhi = std::numbers::pi * k / 8, dRadius = std::sqrt(1 - z * z);
                const double r[] = {dRadius * std::cos(dPhi), dRadius * std::sin(dPhi), z};
                dSum += weights[i] * std::numbers::pi / 8 * f(r);
            }
    return dSum;
}

TEST_F(Dipole, OfAPdHybridHasTheAngularFactorsOfTheOrbitals) {
    BuildWithHybrids({.Atoms = {{1, 1}, {22, 9}}});
    // All relative to that of px and dxy along y.
    const double dUnit =
        OverSphere([](const double* r) { return Harmonic(1, r) * Harmonic(8, r) * r[1]; });
    for (int nP = 1; nP <= 3; ++nP)
        for (int nD = 4; nD <= 8; ++nD) {
            std::vector<double> m(100);
            Row(m.data(), 10, 1 + nP)[1 + nD] = Row(m.data(), 10, 1 + nD)[1 + nP] = 1;
            Compute(m);
            for (int k = 0; k < 3; ++k) {
                const double dFactor = OverSphere([&](const double* r) {
                    return Harmonic(nP, r) * Harmonic(nD, r) * r[k] / dUnit;
                });
                EXPECT_NEAR(properties.dDipoleTable[2][k], -4.0 * dFactor, 4e-7)
                    << "p " << nP << " d " << nD << " axis " << k;
            }
        }
}

TEST_F(Dipole, LeavesDummiesAndUnselectedAtomsOut) {
    BuildWithHybrids({.Atoms = {{0, 0, 9, 9, 9}, {1, 1, 0, 0, 1}, {1, 1}, {1, 1, 5, 5, 5}},
                      .Selection = {1, 2, 3}});
    for (AtomRecord& atom : system.pAtoms) atom.flCharge = 1;
    Compute(Density(2));
    ExpectRow(3, 0, 0, 4.803);
}

TEST_F(Dipole, OfOneAtomIsNotTouched) {
    BuildWithHybrids({.Atoms = {{6, 4}}});
    properties.dDipoleTable[3][1] = 7;
    results.Block.flDipoleY = 7;
    setup.fFinalReport = true;
    Compute(Density(4));
    EXPECT_EQ(properties.dDipoleTable[3][1], 7);
    EXPECT_EQ(results.Block.flDipoleY, 7);
    EXPECT_TRUE(client.Log().empty());
}

TEST_F(Dipole, GoesToTheBlockAndWithTheFinalReportToTheLog) {
    BuildWithHybrids({.Atoms = {{1, 1, 0, 0, 1}, {6, 4}}});
    system.pAtoms[0].flCharge = 0.5F;
    std::vector<double> m(25);
    Row(m.data(), 5, 2)[1] = 0.25;
    Compute(m);
    EXPECT_TRUE(client.Log().empty());
    EXPECT_FLOAT_EQ(results.Block.flDipoleX, -1.375F);
    EXPECT_FLOAT_EQ(results.Block.flDipoleY, 0);
    EXPECT_FLOAT_EQ(results.Block.flDipoleZ, 2.4015F);
    EXPECT_FLOAT_EQ(results.Block.flDipoleTotal, std::hypot(1.375F, 2.4015F));

    setup.fFinalReport = true;
    Compute(m);
    const std::vector<std::string> expected{
        "\nDipole (Debyes)  x         y         z          Total",
        "Point-Chg.       0.000     0.000     2.401     2.401",
        "sp Hybrid       -1.375     0.000     0.000     1.375",
        "pd Hybrid        0.000     0.000     0.000     0.000",
        "Sum             -1.375     0.000     2.401     2.767"};
    EXPECT_EQ(client.Log(), expected);

    client.Sent.clear();
    link.fLogReports = false;
    results.Block.flDipoleX = 0;
    Compute(m);
    EXPECT_TRUE(client.Log().empty());
    EXPECT_FLOAT_EQ(results.Block.flDipoleX, -1.375F);
}

}  // namespace
}  // namespace qsolve
