#include "integrals/cndo_core.h"

#include <gtest/gtest.h>

#include <cmath>

#include "integrals/coulomb_matrices.h"
#include "integrals/overlap_matrix.h"
#include "job/state.h"
#include "tests/unit/integrals/hand_made_molecule.h"

namespace qsolve {
namespace {

constexpr double c = 0.03674930900274282, k = 0.018375597;

class CndoCore : public HandMadeMolecule {
  protected:
    CndoCore() {
        UseMethod(kCndo);
        Cindo(1) = {.dHalfIpEaS = -7.176, .dZetaS = 1.2, .dBeta = 9.0};
        Cindo(8) = {.dHalfIpEaS = -25.390,
                    .dHalfIpEaP = -9.111,
                    .dZetaS = 2.275,
                    .dZetaP = 2.275,
                    .dBeta = 31.0,
                    .dSlaterG1 = 11.8,
                    .dSlaterF2 = 6.9};
    }
    double Build() {
        const int N = setup.nOrbitals;
        double dCoreEnergy = 1e9;
        BuildOverlapMatrix(scf.mCore.Data(), N, N);
        BuildSlaterCoulombMatrix(integrals.pIntegrals.Data(), N, N);
        BuildCndoCore(scf.mCore.Data(), integrals.pIntegrals.Data(), integrals.vCoreDiagonal.Data(),
                      &dCoreEnergy, N, N);
        return dCoreEnergy;
    }
};

TEST_F(CndoCore, OfH2IsWhatOneWritesDown) {
    const double R = 1.4, r = 1.2 * R;
    Place({{1, 0, 0, 0}, {1, 0, 0, R}});
    const double dCoreEnergy = Build();
    const double S = std::exp(-r) * (1 + r + r * r / 3);
    const double gAB = 1 / R - std::exp(-2 * r) * 1.2 * (1 / r + 11.0 / 8 + 0.75 * r + r * r / 6);
    EXPECT_NEAR(Core(0, 1), -18.0 * k * S, 1e-12);
    EXPECT_EQ(Core(1, 0), Core(0, 1));
    EXPECT_NEAR(Core(0, 0), -7.176 * c + 0.375 - 0.75 - gAB, 1e-12);
    EXPECT_NEAR(Core(1, 1), Core(0, 0), 1e-14);
    EXPECT_DOUBLE_EQ(integrals.vCoreDiagonal[0], -7.176 * c);
    EXPECT_NEAR(dCoreEnergy, 1.0 / R, 1e-15);
}

TEST_F(CndoCore, OfAHydroxylIsWhatOneWritesDown) {
    Place({{8, 0, 0, 0}, {1, 0, 0, 1.8}});
    const int N = setup.nOrbitals;
    BuildOverlapMatrix(scf.mCore.Data(), N, N);
    const double dSs = Core(0, 4), dPz = Core(3, 4);
    const double dCoreEnergy = Build();
    const double gOO = Coulomb(0, 0), gOH = Coulomb(0, 4), gHH = Coulomb(4, 4);
    EXPECT_NEAR(Core(0, 4), -40.0 * k * dSs, 1e-15);
    EXPECT_NEAR(Core(3, 4), -40.0 * k * dPz, 1e-15);
    EXPECT_EQ(Core(1, 4), 0.0);
    EXPECT_EQ(Core(0, 3), 0.0);
    EXPECT_NEAR(Core(0, 0), -25.390 * c + 0.5 * gOO - 6.0 * gOO - gOH, 1e-14);
    EXPECT_NEAR(Core(2, 2), -9.111 * c + 0.5 * gOO - 6.0 * gOO - gOH, 1e-14);
    EXPECT_NEAR(Core(4, 4), -7.176 * c + 0.5 * gHH - gHH - 6.0 * gOH, 1e-14);
    EXPECT_NEAR(dCoreEnergy, 6.0 / 1.8, 1e-14);
}

TEST_F(CndoCore, AddsOneCentreExchangeInIndo) {
    Place({{8, 0, 0, 0}, {1, 0, 0, 1.8}});
    Build();
    const double dS = Core(0, 0), dP = Core(1, 1), dH = Core(4, 4);
    system.MethodId = kIndo;
    Build();
    EXPECT_NEAR(Core(0, 0) - dS, 4.5 * c * 11.8 / 6.0, 1e-14);
    EXPECT_NEAR(Core(1, 1) - dP, c * (11.8 / 3.0 + 0.08 * 3.5 * 6.9), 1e-14);
    EXPECT_EQ(Core(4, 4), dH);
    EXPECT_DOUBLE_EQ(integrals.vCoreDiagonal[0], -25.390 * c);
}

TEST_F(CndoCore, HasIndoTermsFromHeToF) {
    for (int nElement : {1, 2, 3, 4, 5, 9, 10})
        Cindo(nElement).dSlaterG1 = 6.0, Cindo(nElement).dSlaterF2 = 2.0;
    EXPECT_EQ(IndoCoreTerm(1, 0), 0.0);
    EXPECT_EQ(IndoCoreTerm(2, 0), 0.0);
    EXPECT_EQ(IndoCoreTerm(3, 0), 0.0);
    EXPECT_NEAR(IndoCoreTerm(3, 1), 0.5 * c, 1e-15);
    EXPECT_NEAR(IndoCoreTerm(4, 0), 0.5 * c, 1e-15);
    EXPECT_NEAR(IndoCoreTerm(4, 1), 1.5 * c, 1e-15);
    EXPECT_NEAR(IndoCoreTerm(5, 0), 1.5 * c, 1e-15);
    EXPECT_NEAR(IndoCoreTerm(5, 1), 2.08 * c, 1e-15);
    EXPECT_NEAR(IndoCoreTerm(9, 1), (2.0 + 0.16 * 4.5) * c, 1e-15);
    EXPECT_EQ(IndoCoreTerm(10, 1), 0.0);
    EXPECT_EQ(IndoCoreTerm(5, 2), 0.0);
}

TEST_F(CndoCore, ScalesResonanceDownFromNeonOn) {
    const auto Ratio = [&](int nElement) {
        Cindo(nElement) = {.dZetaS = 1.5, .dZetaP = 1.5, .dBeta = 10.0};
        Place({{nElement, 0, 0, 0}, {1, 0, 0, 2.0}});
        BuildOverlapMatrix(scf.mCore.Data(), setup.nOrbitals, setup.nOrbitals);
        const double S = Core(0, 4);
        Build();
        return -Core(0, 4) / (S * 19.0);
    };
    EXPECT_NEAR(Ratio(9), 0.018375597, 1e-15);
    EXPECT_NEAR(Ratio(10), 0.01378169775, 1e-15);
    EXPECT_NEAR(Ratio(17), 0.01378169775, 1e-15);
    EXPECT_NEAR(Ratio(kCappingOffset + 6), 0.018375597, 1e-15);
}

TEST_F(CndoCore, IgnoresTheRepulsionOfAtomsInOnePlace) {
    Place({{8, 0, 0, 0}, {8, 0, 0, 0}, {1, 0, 0, 2.0}});
    EXPECT_NEAR(Build(), 2 * 6.0 / 2.0, 1e-14);
    for (int i = 0; i < setup.nOrbitals * setup.nOrbitals; ++i)
        EXPECT_TRUE(std::isfinite(scf.mCore[i]));
}

}  // namespace
}  // namespace qsolve
