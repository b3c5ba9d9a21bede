#include "gradient/cndo_gradient.h"
#include "job/state.h"

#include "tests/unit/gradient/fixed_density.h"

namespace qsolve {
namespace {

const std::vector<Place> kFragment = {
    {6, 0, 0, 0}, {8, 0, 0, 1.22}, {1, 0.9, 0, -0.4}, {16, -1.7, 0, 0}, {17, -1.9, 2.0, 0.1}};
const std::vector<Place> kMetal = {{22, 0, 0, 0}, {17, 0, 0, -2.2}, {47, 2.5, 0.4, 0.3}};

/// The error of the difference, hartree/bohr, for densities of some tens of electrons.
constexpr double kTolerance = 2e-6;

class CndoTerms : public FixedDensity, public testing::WithParamInterface<int> {
  protected:
    double Coulomb(int mu, int nu) const {
        return Row(integrals.pIntegrals.Data(), setup.nOrbitals, mu)[nu];
    }

    /// Repulsion between atoms, attraction and core repulsion. What is left of the diagonal of the
    /// core Hamiltonian does not change with the geometry.
    double Energy(bool fRestricted) const {
        const TestMatrix& mOther = fRestricted ? mA : mB;
        double dEnergy = scf.dCoreRepulsion / kKcalPerHartree;
        dEnergy +=
            0.5 * SumBetweenAtoms([&](int i, int j) {
                return (mT(i, i) * mT(j, j) - mA(i, j) * mA(i, j) - mOther(i, j) * mOther(i, j)) *
                       Coulomb(i, j);
            });
        for (int i = 0; i < setup.nOrbitals; ++i)
            dEnergy += mT(i, i) * Row(scf.mCore.Data(), setup.nOrbitals, i)[i];
        return dEnergy;
    }

    void ExpectSlope(const std::vector<Place>& places) {
        JobScript script = Molecule(GetParam(), places);
        for (const bool fRestricted : {false, true}) {
            Use(script);
            std::vector<double> pGradient = NoGradient();
            AddCndoGradient(mT.Data(), mA.Data(), fRestricted ? nullptr : mB.Data(),
                            pGradient.data());
            EXPECT_LT(Deviation(pGradient, 3e-4, [&] { return Energy(fRestricted); }), kTolerance);
        }
    }
};

TEST_P(CndoTerms, GradientIsTheSlopeForAnyDensity) {
    ExpectSlope(kFragment);
}
INSTANTIATE_TEST_SUITE_P(Methods, CndoTerms, testing::Values(kCndo, kIndo, kZindo1, kZindoS));

using CndoTermsOfMetals = CndoTerms;
TEST_P(CndoTermsOfMetals, GradientIsTheSlopeForAnyDensity) {
    ExpectSlope(kMetal);
}
INSTANTIATE_TEST_SUITE_P(Methods, CndoTermsOfMetals, testing::Values(kZindo1, kZindoS));

TEST_P(CndoTerms, AreTheRepulsionOfTheCoresAloneWithoutElectrons) {
    for (const float flApart : {60.0F, 0.05F}) {
        Use(Molecule(GetParam(), {{6, 0, 0, 0}, {8, 0, 0, flApart}}));
        const TestMatrix mNone(setup.nOrbitals, setup.nOrbitals);
        std::vector<double> pGradient = NoGradient();
        AddCndoGradient(mNone.Data(), mNone.Data(), nullptr, pGradient.data());
        const double R = system.pCoords[5];
        const double dPoint = 4.0 * 6.0 / (R * R);
        if (GetParam() == kZindoS) {  // of strength 1.2 and damped
            EXPECT_GT(pGradient[2], flApart > 1.0F ? dPoint : 0.0);
            EXPECT_LT(pGradient[2], 1.2 * dPoint);
        } else {
            EXPECT_NEAR(pGradient[2], dPoint, 1e-15 * dPoint + 1e-14);
        }
        EXPECT_EQ(pGradient[5], -pGradient[2]);
        EXPECT_EQ(pGradient[0], 0.0);
    }
}

}  // namespace
}  // namespace qsolve
