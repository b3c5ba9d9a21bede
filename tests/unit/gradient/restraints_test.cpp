#include "gradient/restraints.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <numbers>
#include <vector>

#include "gradient/state.h"
#include "job/state.h"
#include "link/link.h"
#include "setup/parameters.h"
#include "tests/support/bare_molecule.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scripted_client.h"

namespace qsolve {
namespace {

constexpr float k = 10.0F;
constexpr double kEv = 23.061;  // kcal/mol

/// A chain of four carbon atoms on a helix, the working unit apart.
class Restraints : public FreshState {
  protected:
    Restraints() { NewScriptedClient(); }

    static void BuildChain(std::vector<int> selection = {}, int nMethod = kPm3) {
        BareMolecule molecule{
            {{6, 4, 0, 0, 0}, {6, 4, 1.5, 0, 0}, {6, 4, 2, 1.25, 0}, {6, 4, 2.5, 1.5, 1}}};
        molecule.Selection = std::move(selection);
        molecule.nMethod = nMethod;
        Finish(molecule);
    }

    static void Finish(const BareMolecule& molecule) {
        Build(molecule);
        gradient.pGradient.Take(static_cast<std::size_t>(system.nSelected), 3, kIntake);
        gradient.fComputed = true;
        job.fRestraints = 1;
    }

    static RestraintRecord Make(int nKind, std::initializer_list<int> atoms, float flTarget) {
        RestraintRecord record{.nKind = nKind, .flForceConstant = k, .flTarget = flTarget};
        std::copy(atoms.begin(), atoms.end(), record.nAtom);
        return record;
    }

    static void Put(std::vector<RestraintRecord> records, int nList = 0) {
        system.pRestraints[nList].Take(records.size(), kRestraints);
        std::copy(records.begin(), records.end(), system.pRestraints[nList].begin());
        system.nRestraints[nList] = static_cast<int>(records.size());
    }

    static double SumOfEnergies() {
        double d = 0.0;
        for (const double dEnergy : gradient.dRestraintEnergy) d += dEnergy;
        return d;
    }

    static double LargestForce() {
        double d = 0.0;
        for (const double g : gradient.pGradient) d = std::fmax(d, std::abs(g));
        return d;
    }
};

TEST_F(Restraints, AddTheirForcesInTheRawUnitOfTheMethod) {
    BuildChain();
    Put({Make(kStretch, {0, 1}, 1.0F)});
    ApplyRestraints();
    EXPECT_NEAR(gradient.dRestraintEnergy[kStretch], 2.5, 1e-12);
    EXPECT_NEAR(gradient.pGradient[0], -10.0 / kEv, 1e-12);
    EXPECT_NEAR(gradient.pGradient[3], 10.0 / kEv, 1e-12);
    EXPECT_EQ(gradient.pGradient[6], 0.0);
}

// The client's numbers are in Angstrom for every method. What is left of single precision and of
// the six digits of the force constant's factor is below 1e-5.
TEST_F(Restraints, MeanTheSameInBohrAndInAngstrom) {
    const RestraintRecord records[] = {Make(kTether, {1}, 0.5F), Make(kStretch, {0, 2}, 1.0F),
                                       Make(kBend, {0, 1, 2}, 1.5F),
                                       Make(kTorsion, {0, 1, 2, 3}, 2.5F)};
    for (RestraintRecord record : records) {
        record.flTargetY = 0.25F;
        record.flTargetZ = -0.75F;
        BuildChain();
        Put({record});
        ApplyRestraints();
        const double dEnergy = SumOfEnergies();
        const std::vector<double> g(gradient.pGradient.begin(), gradient.pGradient.end());
        for (const int nMethod : {kCndo, kZindoS}) {
            BuildChain({}, nMethod);
            for (double& d : system.pCoords) d *= 1.889726;
            Put({record});
            ApplyRestraints();
            EXPECT_NEAR(SumOfEnergies(), dEnergy, 1e-5 * dEnergy) << "kind " << record.nKind;
            for (std::size_t i = 0; i < g.size(); ++i)
                EXPECT_NEAR(gradient.pGradient[i] * 627.5220032 * 1.889726, g[i] * kEv, 1e-4)
                    << "kind " << record.nKind << " component " << i;
        }
    }
}

TEST_F(Restraints, SeeTheGeometryAsTheWireCarriesIt) {
    BuildChain();
    Put({Make(kStretch, {0, 1}, 1.0F)});
    system.pCoords[3] = 1.5 + 1e-9;  // a float has no such digit
    ApplyRestraints();
    EXPECT_EQ(gradient.dRestraintEnergy[kStretch], 2.5);
}

// Energies at places that single precision holds against the forces, all four kinds together.
TEST_F(Restraints, ForcesAreTheDerivativesOfTheSum) {
    BuildChain();
    Put({Make(kTether, {1}, 0.5F), Make(kStretch, {0, 2}, 1.0F), Make(kBend, {0, 1, 2}, 1.5F),
         Make(kTorsion, {0, 1, 2, 3}, 2.5F)});
    ApplyRestraints();
    const std::vector<double> g(gradient.pGradient.begin(), gradient.pGradient.end());
    constexpr double h = 0x1p-8;  // the places are binary fractions, so that no step is rounded
    for (int i = 0; i < 12; ++i) {
        double& dPlace = system.pCoords[i];
        double dSlope[2];
        for (const int n : {1, 2}) {
            const double dStep = h * n, dHome = dPlace;
            dPlace = dHome + dStep;
            ApplyRestraints();
            const double dUp = SumOfEnergies();
            dPlace = dHome - dStep;
            ApplyRestraints();
            dSlope[n - 1] = (dUp - SumOfEnergies()) / (2.0 * dStep);
            dPlace = dHome;
        }
        // Both steps together leave an error of the fourth order.
        const double d = (4.0 * dSlope[0] - dSlope[1]) / 3.0;
        EXPECT_NEAR(g[static_cast<std::size_t>(i)] * kEv, d, 1e-5) << "component " << i;
    }
}

TEST_F(Restraints, AnglesRestAtTheirTargets) {
    BuildChain();
    const auto EnergyOf = [](const RestraintRecord& record) {
        Put({record});
        ApplyRestraints();
        return gradient.dRestraintEnergy[record.nKind];
    };
    const double dBend = std::numbers::pi - std::atan2(1.25, 0.5);
    EXPECT_NEAR(EnergyOf(Make(kBend, {0, 1, 2}, static_cast<float>(dBend))), 0.0, 1e-6);
    // The last atom stands 1 above the plane of the others, and off the line of the middle bond by
    // the distance of (0.5, 0.25) from the direction of (0.5, 1.25).
    const double dOff = (0.5 * 1.25 - 0.25 * 0.5) / std::hypot(0.5, 1.25);
    const double dTurn = std::numbers::pi - std::atan2(1.0, dOff);
    const double dOneWay = EnergyOf(Make(kTorsion, {0, 1, 2, 3}, static_cast<float>(dTurn)));
    const double dOther = EnergyOf(Make(kTorsion, {0, 1, 2, 3}, static_cast<float>(-dTurn)));
    EXPECT_NEAR(std::min(dOneWay, dOther), 0.0, 1e-6);
    EXPECT_GT(std::max(dOneWay, dOther), 1.0);
}

TEST_F(Restraints, KindAndNotListDecides) {
    BuildChain();
    Put({Make(kStretch, {0, 1}, 1.0F)}, kTorsion);
    ApplyRestraints();
    EXPECT_NEAR(gradient.dRestraintEnergy[kStretch], 2.5, 1e-12);
    EXPECT_EQ(gradient.dRestraintEnergy[kTorsion], 0.0);
}

TEST_F(Restraints, RecordsOfNoKindAreSkipped) {
    BuildChain();
    Put({Make(4, {0, 1}, 1.0F), Make(-1, {0, 1}, 1.0F)});
    ApplyRestraints();
    EXPECT_EQ(SumOfEnergies(), 0.0);
    EXPECT_EQ(LargestForce(), 0.0);
}

TEST_F(Restraints, EnergiesStartAgainFromZeroEachTime) {
    BuildChain();
    Put({Make(kStretch, {0, 1}, 1.0F)});
    ApplyRestraints();
    ApplyRestraints();
    EXPECT_NEAR(gradient.dRestraintEnergy[kStretch], 2.5, 1e-12);
    job.fRestraints = 0;
    ApplyRestraints();
    EXPECT_EQ(SumOfEnergies(), 0.0);
}

TEST_F(Restraints, OutsideTheSelectionHaveNoEffect) {
    BuildChain({1, 2});
    Put({Make(kStretch, {2, 3}, 1.0F), Make(kTether, {3}, 1.0F)});
    ApplyRestraints();
    EXPECT_EQ(SumOfEnergies(), 0.0);
    EXPECT_EQ(LargestForce(), 0.0);
}

TEST_F(Restraints, AcrossTheBorderHaveTheFullEnergyAndPullInside) {
    BuildChain({1, 2});
    Put({Make(kStretch, {2, 1}, 1.0F)});
    ApplyRestraints();
    const double r = std::sqrt(0.25 + 1.5625);
    EXPECT_NEAR(gradient.dRestraintEnergy[kStretch], 10.0 * (r - 1.0) * (r - 1.0), 1e-6);
    EXPECT_NEAR(gradient.pGradient[3] * kEv, -20.0 * (r - 1.0) / r * 0.5, 1e-6);
    EXPECT_EQ(gradient.pGradient[0], 0.0);
}

TEST_F(Restraints, TetherPullsToItsPoint) {
    BuildChain();
    RestraintRecord record = Make(kTether, {1}, 1.0F);
    record.flTargetY = 2.0F;
    record.flTargetZ = -1.0F;
    Put({record});
    ApplyRestraints();
    EXPECT_NEAR(gradient.dRestraintEnergy[kTether], 10.0 * (0.25 + 4.0 + 1.0), 1e-6);
    EXPECT_NEAR(gradient.pGradient[3] * kEv, 10.0, 1e-6);
    EXPECT_NEAR(gradient.pGradient[4] * kEv, -40.0, 1e-6);
    EXPECT_NEAR(gradient.pGradient[5] * kEv, 20.0, 1e-6);
}

TEST_F(Restraints, CappingAtomCountsAndIsNotPulledByAStretch) {
    BareMolecule molecule{{{6, 4, 0, 0, 0}, {6 + kCappingOffset, 1, 1.5, 0, 0}}};
    Finish(molecule);
    Put({Make(kStretch, {0, 1}, 1.0F)});
    ApplyRestraints();
    EXPECT_NEAR(gradient.dRestraintEnergy[kStretch], 2.5, 1e-12);
    EXPECT_NEAR(gradient.pGradient[0] * kEv, -10.0, 1e-6);
    EXPECT_EQ(gradient.pGradient[3], 0.0);
}

// An atom that moves and has no row would be another process's to count.
TEST_F(Restraints, EnergyIsSharedByTheAtomsThatCount) {
    const double r2 = 10.0 * std::pow(std::sqrt(1.8125) - 1.0, 2);
    BuildChain({1, 2});
    system.pAtoms[2].nState = system.pAtoms[3].nState = kSelected;
    Put({Make(kStretch, {1, 2}, 1.0F)});
    ApplyRestraints();
    EXPECT_NEAR(gradient.dRestraintEnergy[kStretch], 0.5 * r2, 1e-6);

    const auto energy = [](const RestraintRecord& record) {
        Put({record});
        ApplyRestraints();
        return SumOfEnergies();
    };
    const RestraintRecord bend = Make(kBend, {1, 2, 3}, 1.0F);
    const RestraintRecord torsion = Make(kTorsion, {0, 1, 2, 3}, 1.0F);
    const double dBendPlace = energy(bend), dTorsion2 = energy(torsion);
    system.pAtoms[2].nState = kClassical;
    const double dBend2 = energy(bend), dTorsion3 = energy(torsion);
    system.pAtoms[3].nState = kClassical;
    const double dBend = energy(bend), dTorsion = energy(torsion);
    EXPECT_NEAR(dBendPlace / dBend, 0.3333333333333, 1e-12);
    EXPECT_NEAR(dBend2 / dBend, 0.5, 1e-12);
    EXPECT_NEAR(dTorsion2 / dTorsion, 0.3333333333333, 1e-12);
    EXPECT_NEAR(dTorsion3 / dTorsion, 0.5, 1e-12);

    BuildChain({1});
    for (int i = 1; i < 4; ++i) system.pAtoms[i].nState = kSelected;
    EXPECT_NEAR(energy(torsion) / dTorsion, 0.25, 1e-12);
}

TEST_F(Restraints, LeaveAGradientThatIsNotThereAlone) {
    BuildChain();
    gradient.fComputed = false;
    Put({Make(kStretch, {0, 1}, 1.0F)});
    ApplyRestraints();
    EXPECT_NEAR(gradient.dRestraintEnergy[kStretch], 2.5, 1e-12);
    EXPECT_EQ(LargestForce(), 0.0);
}

TEST_F(Restraints, AtomsInOnePlaceEndTheJob) {
    BuildChain();
    system.pCoords[3] = 0.0;
    Put({Make(kStretch, {0, 1}, 1.0F)});
    EXPECT_THROW(ApplyRestraints(), Unwinding);
    EXPECT_EQ(client.Errors(), std::vector<std::string>{MessageText(kMsgSamePosition)});
}

}  // namespace
}  // namespace qsolve
