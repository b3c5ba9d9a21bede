#include <gtest/gtest.h>

#include "job/state.h"
#include "numeric/row.h"
#include "properties/properties.h"
#include "properties/state.h"
#include "scf/state.h"
#include "setup/parameters.h"
#include "tests/support/bare_molecule.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scripted_client.h"

namespace qsolve {
namespace {

class AtomCharges : public FreshState {
  protected:
    AtomCharges() { NewScriptedClient(); }

    /// A matrix with the given diagonal and other numbers beside it.
    static std::vector<double> WithDiagonal(const std::vector<double>& v) {
        const int n = static_cast<int>(v.size());
        std::vector<double> m(v.size() * v.size(), 0.75);
        for (int i = 0; i < n; ++i) Row(m.data(), n, i)[i] = v[static_cast<std::size_t>(i)];
        return m;
    }
};

TEST_F(AtomCharges, AreCoreChargeLessPopulation) {
    Build({.Atoms = {{1, 1}, {8, 4}}});
    const auto m = WithDiagonal({0.8125, 1.75, 1.5, 1.25, 1.6875});
    ComputeAtomCharges(m.data(), nullptr, nullptr);
    EXPECT_EQ(system.pAtoms[0].flCharge, 0.1875F);
    EXPECT_EQ(system.pAtoms[1].flCharge, 6.0F - 6.1875F);
    EXPECT_EQ(properties.vCharge[1], 6.0 - 6.1875);
    EXPECT_EQ(results.Orbitals.vPopulation[0], 0.8125F);
    EXPECT_EQ(results.Orbitals.vPopulation[4], 1.6875F);
}

TEST_F(AtomCharges, AddUpToTheTotalCharge) {
    Build({.Atoms = {{6, 4}, {22, 9}, {1, 1}, {105 + 6, 4}}, .Selection = {3, 1, 2, 4}});
    // 1 + 4 + 4 + 7 valence electrons, less one.
    std::vector<double> v(18);
    for (std::size_t i = 0; i < v.size(); ++i) v[i] = 15.0 / 171 * static_cast<double>(i + 1);
    const auto m = WithDiagonal(v);
    ComputeAtomCharges(m.data(), nullptr, nullptr);
    double dSum = 0;
    for (const AtomRecord& atom : system.pAtoms) dSum += static_cast<double>(atom.flCharge);
    EXPECT_NEAR(dSum, 1.0, 1e-5);
    dSum = 0;
    for (const double dCharge : properties.vCharge) dSum += dCharge;
    EXPECT_NEAR(dSum, 1.0, 1e-13) << "the sum of 22 doubles below 8";
}

TEST_F(AtomCharges, CountBothSpinsAndKeepThemApart) {
    BareMolecule molecule{.Atoms = {{1, 1}, {1, 1}}};
    molecule.fUnrestricted = true;
    Build(molecule);
    const auto mAlpha = WithDiagonal({0.75, 0.25}), mBeta = WithDiagonal({0.5, 0.125});
    ComputeAtomCharges(nullptr, mAlpha.data(), mBeta.data());
    EXPECT_EQ(system.pAtoms[0].flCharge, 1.0F - 1.25F);
    EXPECT_EQ(system.pAtoms[1].flCharge, 1.0F - 0.375F);
    EXPECT_EQ(properties.vCharge[1], 1.0 - 0.375);
    const float expected[] = {0.75F, 0.25F, 0.5F, 0.125F};
    for (int i = 0; i < 4; ++i) EXPECT_EQ(results.Orbitals.vPopulation[i], expected[i]);
}

TEST_F(AtomCharges, LeaveDummiesAndClassicalAtomsAlone) {
    Build({.Atoms = {{0, 0}, {1, 1}, {17, 4}}, .Selection = {1, 2}});
    system.pAtoms[0].flCharge = 5;
    system.pAtoms[2].flCharge = -0.5F;
    const auto m = WithDiagonal({0.25});
    ComputeAtomCharges(m.data(), nullptr, nullptr);
    EXPECT_EQ(system.pAtoms[0].flCharge, 5);
    EXPECT_EQ(system.pAtoms[1].flCharge, 0.75F);
    EXPECT_EQ(system.pAtoms[2].flCharge, -0.5F);
}

}  // namespace
}  // namespace qsolve
