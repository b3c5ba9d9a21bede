#include "gradient/classical_gradient.h"
#include "job/state.h"

#include "integrals/classical_charges.h"
#include "tests/unit/gradient/fixed_density.h"

namespace qsolve {
namespace {

class ClassicalGradient : public FixedDensity, public testing::WithParamInterface<int> {
  protected:
    /// A molecule with a d shell where the method has some, and charges at all ranges.
    JobScript Script() const {
        const bool fMetal = FamilyOf(GetParam()) == Family::kZindo;
        JobScript script =
            Molecule(GetParam(), {{fMetal ? 22 : 14, 0, 0, 0}, {17, 0, 0, 2.1}, {1, 1.4, 0, -0.5}});
        script.Add(8, 0.3F, -2.4F, 0.4F, kClassical).flCharge = -0.6F;
        script.Add(1, -0.9F, 0.1F, 7.8F, kClassical).flCharge = 0.4F;
        script.Add(17, 6.9F, 0.0F, 0.0F, kClassical).flCharge = 0.3F;
        script.Add(7, -55.0F, 21.0F, 0.0F, kClassical).flCharge = 0.8F;
        return script;
    }

    /// The energy of the charges with the density and the cores.
    double Energy() const {
        TestMatrix m(setup.nOrbitals, setup.nOrbitals);
        double dEnergy = AddClassicalCharges(m.Data(), setup.nOrbitals);
        for (int i = 0; i < setup.nOrbitals; ++i) dEnergy += mT(i, i) * m(i, i);
        return dEnergy;
    }
};
INSTANTIATE_TEST_SUITE_P(Methods, ClassicalGradient,
                         testing::Values(kCndo, kIndo, kZindo1, kZindoS));

TEST_P(ClassicalGradient, IsTheSlopeForAnyDensity) {
    Use(Script());
    std::vector<double> pGradient = NoGradient();
    AddClassicalChargeGradient(mT.Data(), pGradient.data());
    EXPECT_LT(Deviation(pGradient, 1e-4, [&] { return Energy(); }), 1e-7);
    EXPECT_GT(std::abs(pGradient[1]), 1e-3);
}

TEST_P(ClassicalGradient, IgnoresNegligibleCharges) {
    JobScript script = Script();
    for (AtomRecord& atom : script.Atoms)
        if (atom.nState == kClassical) atom.flCharge = 0.9e-5F;
    Use(script);
    std::vector<double> pGradient = NoGradient();
    AddClassicalChargeGradient(mT.Data(), pGradient.data());
    for (const double d : pGradient) EXPECT_EQ(d, 0.0);
}

TEST_P(ClassicalGradient, IsANumberForAtomsInOnePlace) {
    Use(Script());
    for (const double dApart : {0.0, 1e-9, 5e-4}) {
        for (int c = 0; c < 3; ++c) system.pCoords[9 + c] = system.pCoords[c];
        system.pCoords[9] += dApart;
        std::vector<double> pGradient = NoGradient();
        AddClassicalChargeGradient(mT.Data(), pGradient.data());
        for (const double d : pGradient) EXPECT_TRUE(std::isfinite(d)) << dApart;
    }
}

}  // namespace
}  // namespace qsolve
