#include "vibrations/infrared.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/support/matrices.h"

namespace qsolve {
namespace {

constexpr double kLight = 2.99792458e10, kAmu = 1.66053906660e-27, kAvogadro = 6.02214076e23;
const double kPi = std::acos(-1.0);

// nu = sqrt(k/m) / (2 pi c); the constants of the report are older by 3e-5.
TEST(Infrared, FrequenciesFollowFromForceConstants) {
    const double dExact = std::sqrt(11.0 * 100.0 / kAmu) / (2 * kPi * kLight);
    EXPECT_NEAR(FrequencyOf(11.0), dExact, 5e-5 * dExact);
    EXPECT_EQ(FrequencyOf(-11.0), -FrequencyOf(11.0));
    EXPECT_EQ(FrequencyOf(0.0), 0.0);
}

// Nitrogen: 22.95 mdyn/Angstrom belong to its harmonic 2358.57 1/cm (K. P. Huber, G. Herzberg,
// Constants of Diatomic Molecules, 1979).
TEST(Infrared, TheForceConstantOfNitrogenGivesItsFrequency) {
    EXPECT_NEAR(FrequencyOf(22.95 * 2 / 14.003074), 2358.57, 1.0);
}

TEST(Infrared, TheZeroPointIsHalfAQuantum) {
    constexpr double kPlanck = 6.62607015e-34;
    EXPECT_NEAR(kZeroPointOfWavenumber, 0.5 * kPlanck * kLight * kAvogadro / 4184.0, 1e-9);
}

// A = N pi / (3 c^2) |dmu/dQ|^2, in Gaussian units; 1 Debye/Angstrom is 1e-10 esu.
TEST(Infrared, IntensitiesAreThoseOfTheDoubleHarmonicOscillator) {
    const double dNatural =
        kAvogadro * kPi / (3.0 * kLight * kLight) * 1e-20 / (kAmu * 1000.0) * 1e-5;
    EXPECT_NEAR(kDecadicIntensity * std::log(10.0), dNatural, 1e-3 * dNatural);
    const double v[] = {1.0, -2.0, 2.0};
    EXPECT_NEAR(IntensityOf(v), 9.0 * kDecadicIntensity, 1e-12);
}

TEST(Infrared, DipolesOfModesAreTheProductOfTheMatrices) {
    for (const int n : {3, 7}) {
        const TestMatrix modes = RandomMatrix(n, n, 1), dipoles = RandomMatrix(n, 3, 2);
        TestMatrix result(n, 3, 5.0);
        FillModeDipoles(n, modes.Data(), dipoles.Data(), result.Data());
        EXPECT_LE(LargestDifference(result, NaiveProduct(modes, dipoles)), 1e-14);
    }
}

}  // namespace
}  // namespace qsolve
