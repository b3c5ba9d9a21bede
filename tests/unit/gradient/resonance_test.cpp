#include "gradient/resonance.h"

#include "tests/unit/gradient/fixed_density.h"

namespace qsolve {
namespace {

const std::vector<Place> kAmide = {{6, 0, 0, 0},     {8, 0, 0, 1.22},     {1, 0, 0, -1.06},
                                   {7, -1.38, 0, 0}, {1, -1.41, 1.05, 0}, {1, -1.9, -0.8, 0.3}};
const std::vector<Place> kSulphide = {
    {16, 0, 0, 0}, {17, 0, -2.0, 0}, {6, 0.4, 0.3, 1.8}, {1, -1.3, 0, 0}};
const std::vector<Place> kMetal = {{22, 0, 0, 0}, {17, 0, 0, -2.2}, {47, 2.5, 0.4, 0.3}};

class Resonance : public FixedDensity, public testing::WithParamInterface<int> {
  protected:
    /// The deviation in parts of the largest component.
    double Error(const std::vector<Place>& places, double dSigma = 1.0, double dPi = 1.0) {
        JobScript script = Molecule(GetParam(), places);
        script.Options.flOverlapSigma = static_cast<float>(dSigma);
        script.Options.flOverlapPi = static_cast<float>(dPi);
        Use(script);
        std::vector<double> pGradient = NoGradient();
        AddResonanceGradient(mT.Data(), pGradient.data());
        double dLargest = 0.0;
        for (const double d : pGradient) dLargest = std::max(dLargest, std::abs(d));
        const double dError = Deviation(pGradient, 1e-4, [this] {
            return SumBetweenAtoms([this](int mu, int nu) {
                return mT(mu, nu) * Row(scf.mCore.Data(), setup.nOrbitals, mu)[nu];
            });
        });
        return dError / dLargest;
    }
};

/// The error of the difference; the series of the overlap adds to it.
constexpr double kTolerance = 1e-6;

TEST_P(Resonance, GradientIsTheSlopeInEveryMethod) {
    EXPECT_LT(Error(kAmide), kTolerance);
}
INSTANTIATE_TEST_SUITE_P(AllMethods, Resonance, testing::Range(1, 10));

using ResonanceOfHeavyAtoms = Resonance;
TEST_P(ResonanceOfHeavyAtoms, GradientIsTheSlope) {
    EXPECT_LT(Error(kSulphide, 1.2, 0.7), kTolerance);
}
INSTANTIATE_TEST_SUITE_P(Methods, ResonanceOfHeavyAtoms,
                         testing::Values(kCndo, kIndo, kMindo3, kMndo, kAm1, kPm3, kZindo1,
                                         kZindoS));

using ResonanceOfMetals = Resonance;
TEST_P(ResonanceOfMetals, GradientIsTheSlope) {
    EXPECT_LT(Error(kMetal, 1.2, 0.7), kTolerance);
}
INSTANTIATE_TEST_SUITE_P(Methods, ResonanceOfMetals, testing::Values(kZindo1, kZindoS));

}  // namespace
}  // namespace qsolve
