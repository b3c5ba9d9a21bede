#include "dynamics/velocities.h"

#include <cmath>
#include <vector>

#include "job/methods.h"
#include "tests/support/bare_molecule.h"
#include "tests/support/fresh_state.h"
#include "tests/support/reference_table.h"

namespace qsolve {
namespace {

class Velocities : public FreshState {
  protected:
    /// Atoms of the given elements and masses (amu); all selected unless told otherwise.
    void Make(const std::vector<int>& elements, const std::vector<float>& masses,
              const std::vector<int>& selection = {}) {
        BareMolecule molecule;
        for (const int nElement : elements) molecule.Atoms.push_back({nElement, 1});
        molecule.Selection = selection;
        Build(molecule);
        system.nAtomsActive = system.nSelected;
        for (std::size_t i = 0; i < masses.size(); ++i) system.pAtoms[i].flMass = masses[i];
        v.assign(3 * static_cast<std::size_t>(system.nSelected), 99.0);
    }
    void Water() { Make({8, 1, 1}, {15.999F, 1.008F, 1.008F}); }

    std::vector<double> v;
};

TEST_F(Velocities, OfWaterAreThoseOfTheGenerator) {
    for (const ReferenceRow& row : ReadReferenceRows("first_velocities.txt")) {
        Water();
        const std::vector<double>& r = row.Values;
        InitVelocities(r[1], static_cast<int>(r[0]), v.data());
        EXPECT_NEAR(InstantTemperature(v.data()), r[2], 1e-6);
        for (std::size_t i = 0; i < 9; ++i) EXPECT_NEAR(v[i], r[3 + i], 1e-7) << i;
    }
}

TEST_F(Velocities, LeaveTheCentreOfMassAtRest) {
    Water();
    InitVelocities(300.0, 4, v.data());
    for (std::size_t k = 0; k < 3; ++k) {
        double dMomentum = 0.0;
        for (std::size_t i = 0; i < 3; ++i)
            dMomentum += static_cast<double>(system.pAtoms[i].flMass) * v[3 * i + k];
        EXPECT_NEAR(dMomentum, 0.0, 1e-12);
    }
}

TEST_F(Velocities, OfASingleAtomAreZero) {
    Make({8}, {16.0F});
    InitVelocities(300.0, 4, v.data());
    for (const double d : v) EXPECT_NEAR(d, 0.0, 1e-14);
    ScaleToTemperature(300.0, v.data());
    EXPECT_LT(InstantTemperature(v.data()), 1e-15);
}

TEST_F(Velocities, AtAndBelowZeroAreZero) {
    for (const double dTemperature : {0.0, -10.0}) {
        Water();
        InitVelocities(dTemperature, 4, v.data());
        ScaleToTemperature(dTemperature, v.data());
        for (const double d : v) EXPECT_EQ(d, 0.0);
    }
}

TEST_F(Velocities, AreScaledToTheirTemperatureExactly) {
    Water();
    InitVelocities(300.0, 4, v.data());
    ScaleToTemperature(300.0, v.data());
    EXPECT_NEAR(InstantTemperature(v.data()), 300.0, 1e-11);
    ScaleVelocities(0.5, v.data());
    EXPECT_NEAR(InstantTemperature(v.data()), 75.0, 1e-11);
}

// An atom's numbers depend on its place in the molecule and not on who else is selected.
TEST_F(Velocities, OfAPartAreDrawnAsInTheWhole) {
    Make({1, 1, 1, 1}, {1.0F, 1.0F, 1.0F, 1.0F});
    InitVelocities(300.0, 4, v.data());
    const std::vector<double> whole = v;
    Make({1, 1, 1, 1}, {1.0F, 1.0F, 1.0F, 1.0F}, {4, 2});
    InitVelocities(300.0, 4, v.data());
    // The difference of two atoms is free of the centre of mass.
    for (std::size_t k = 0; k < 3; ++k)
        EXPECT_NEAR(v[k] - v[3 + k], whole[9 + k] - whole[3 + k], 1e-12);
}

// A capping atom takes up the motion of the centre of mass, and with it a part of the heat.
TEST_F(Velocities, OfCappingAtomsAreThatOfTheCentreUntilTheyRest) {
    Make({1, 1, kCappingOffset + 6}, {1.0F, 1.0F, 12.0F});
    InitVelocities(300.0, 4, v.data());
    EXPECT_GT(std::abs(v[6]), 0.0);
    for (std::size_t k = 0; k < 3; ++k)
        EXPECT_NEAR((v[k] - v[6 + k]) + (v[3 + k] - v[6 + k]), -2 * v[6 + k], 1e-12);
    const std::vector<double> before = v;
    RestUnmovingAtoms(v.data());
    for (std::size_t i = 0; i < 9; ++i) EXPECT_EQ(v[i], i < 6 ? before[i] : 0.0);
}

TEST_F(Velocities, PassOverDummies) {
    Make({0, 1, 1}, {0.0F, 1.0F, 1.0F});
    InitVelocities(300.0, 4, v.data());
    const std::vector<double> withDummy = v;
    for (const double d : v) EXPECT_TRUE(std::isfinite(d));
    const double dTemperature = InstantTemperature(v.data());
    Make({1, 1}, {1.0F, 1.0F});
    InitVelocities(300.0, 4, v.data());
    for (std::size_t i = 0; i < 6; ++i) EXPECT_EQ(v[i], withDummy[3 + i]);
    EXPECT_NEAR(InstantTemperature(v.data()) * 2 / 3, dTemperature, 1e-10);
}

// Three atoms at 300 K: 3/2 N k T, k in kcal/(mol K).
TEST_F(Velocities, MakeTheKineticEnergyOfAllAtoms) {
    Water();
    EXPECT_NEAR(KineticEnergyAt(300.0), 2.682709, 5e-7);
    InitVelocities(300.0, 4, v.data());
    double dTrue = 0.0;
    for (std::size_t i = 0; i < 9; ++i)
        dTrue += 0.5 * static_cast<double>(system.pAtoms[i / 3].flMass) * v[i] * v[i] / 418.4;
    EXPECT_NEAR(KineticEnergyAt(InstantTemperature(v.data())), dTrue, 1e-12);
    Make({1, 1, 1, 1}, {1.0F, 1.0F, 1.0F, 1.0F}, {1, 2});
    EXPECT_NEAR(KineticEnergyAt(300.0), 4 * 2.682709 / 3, 5e-7);
}

TEST_F(Velocities, AreKickedAgainstTheGradientByMass) {
    Make({0, 1, 1}, {1.0F, 1.0F, 4.0F});
    v.assign(9, 1.0);
    const double g[] = {1, 1, 1, 1, 0, -1, 1, 0, -1};
    KickVelocities(0.001, g, v.data());
    const double expected[] = {1, 1, 1, 1 - 0.4184, 1, 1 + 0.4184, 1 - 0.1046, 1, 1 + 0.1046};
    for (std::size_t i = 0; i < 9; ++i) EXPECT_NEAR(v[i], expected[i], 1e-15);
}

}  // namespace
}  // namespace qsolve
