#include "symmetry/characters.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>
#include <numbers>

#include "numeric/matrix3.h"
#include "tests/support/matrices.h"
#include "tests/support/point_sets.h"
#include "tests/support/quadrature.h"

namespace qsolve {
namespace {

/// The real harmonics in the order of an atom's orbitals, up to a factor each.
using Function = double (*)(double x, double y, double z);
constexpr Function kFunctions[] = {
    [](double, double, double) { return 1.0; },
    [](double x, double, double) { return x; },
    [](double, double y, double) { return y; },
    [](double, double, double z) { return z; },
    [](double x, double y, double z) { return 2 * z * z - x * x - y * y; },
    [](double x, double, double z) { return x * z; },
    [](double, double y, double z) { return y * z; },
    [](double x, double y, double) { return x * x - y * y; },
    [](double x, double y, double) { return x * y; },
    [](double x, double y, double z) { return z * (2 * z * z - 3 * x * x - 3 * y * y); },
    [](double x, double y, double z) { return x * (4 * z * z - x * x - y * y); },
    [](double x, double y, double z) { return y * (4 * z * z - x * x - y * y); },
    [](double x, double y, double z) { return z * (x * x - y * y); },
    [](double x, double y, double z) { return x * y * z; },
    [](double x, double y, double) { return x * (x * x - 3 * y * y); },
    [](double x, double y, double) { return y * (3 * x * x - y * y); },
};

/// Integral over the unit sphere of the product of two functions, the second of turned points.
double Overlap(Function f, Function g, const Matrix3& turn) {
    const Rule cosines = GaussLegendre(8, -1.0, 1.0);
    constexpr int kAngles = 16;
    double dSum = 0.0;
    for (std::size_t i = 0; i < cosines.Node.size(); ++i)
        for (int k = 0; k < kAngles; ++k) {
            const double dPhi = 2.0 * std::numbers::pi * k / kAngles, z = cosines.Node[i];
            const double s = std::sqrt(1.0 - z * z);
            const double v[3] = {s * std::cos(dPhi), s * std::sin(dPhi), z};
            double w[3];
            Transform3(turn.data(), v, w);
            dSum += cosines.Weight[i] * f(v[0], v[1], v[2]) * g(w[0], w[1], w[2]) / kAngles;
        }
    return dSum;
}

constexpr Matrix3 kUnit = {1, 0, 0, 0, 1, 0, 0, 0, 1};

/// Element of the turned shell by integration: f_j becomes f_j(R^-1 r).
double Turned(int i, int j, const Matrix3& r) {
    Matrix3 back;
    Transpose3(r.data(), back.data());
    const double dNorms =
        Overlap(kFunctions[i], kFunctions[i], kUnit) * Overlap(kFunctions[j], kFunctions[j], kUnit);
    return Overlap(kFunctions[i], kFunctions[j], back) / std::sqrt(dNorms);
}

class ShellRotations : public testing::TestWithParam<int> {
  protected:
    ShellRotations() {
        r = RandomRotation(static_cast<std::uint64_t>(GetParam()));
        if (GetParam() % 2 == 0)
            for (double& x : r) x = -x;  // an improper one
        BuildShellRotation(3, r.data(), rotation);
    }
    const double* Of(int l) const {
        return l == 1 ? rotation.mP : l == 2 ? rotation.mD : rotation.mF;
    }
    Matrix3 r;
    ShellRotation rotation;
};

TEST_P(ShellRotations, TurnTheFunctionsOfAShellAsIntegrationSays) {
    for (int l = 1; l <= 3; ++l)
        for (int i = 0; i < 2 * l + 1; ++i)
            for (int j = 0; j < 2 * l + 1; ++j)
                EXPECT_NEAR(Of(l)[(2 * l + 1) * i + j], Turned(l * l + i, l * l + j, r), 1e-13)
                    << l << " " << i << " " << j;
}

TEST_P(ShellRotations, HaveTheTraceOfTheirAngle) {
    const double dSign = GetParam() % 2 == 0 ? -1.0 : 1.0;
    const double dAngle = std::acos(0.5 * (dSign * (r[0] + r[4] + r[8]) - 1.0));
    for (int l = 1; l <= 3; ++l) {
        double dTrace = 0.0;
        for (int i = 0; i < 2 * l + 1; ++i) dTrace += Of(l)[(2 * l + 2) * i];
        const double dProper = std::sin((l + 0.5) * dAngle) / std::sin(0.5 * dAngle);
        EXPECT_NEAR(dTrace, (l % 2 == 1 ? dSign : 1.0) * dProper, 1e-12) << l;
    }
}
INSTANTIATE_TEST_SUITE_P(Some, ShellRotations, testing::Range(1, 7));

/// Two atoms that a mirror plane xy exchanges.
struct Pair {
    SymmetryAtom Atoms[2];
    ShellRotation Mirror;
    Pair() {
        Atoms[0].nImage[4] = 2;
        Atoms[1].nImage[4] = 1;
        const double m[9] = {1, 0, 0, 0, 1, 0, 0, 0, -1};
        BuildShellRotation(3, m, Mirror);
    }
};

TEST(Characters, OfAVectorThatAMirrorKeepsOrTurnsRound) {
    const Pair pair;
    const AtomRange ranges[] = {{0, 4}, {4, 4}};
    const double d = std::sqrt(0.5);
    const double vPlus[8] = {d, 0, 0, 0, d, 0, 0, 0}, vMinus[8] = {0, 0, 0, d, 0, 0, 0, d};
    const double vAlone[8] = {0, 1, 0, 0, 0, 0, 0, 0};
    EXPECT_NEAR(OrbitalCharacter(2, pair.Atoms, ranges, 4, pair.Mirror, vPlus), 1.0, 1e-15);
    EXPECT_NEAR(OrbitalCharacter(2, pair.Atoms, ranges, 4, pair.Mirror, vMinus), -1.0, 1e-15);
    EXPECT_EQ(OrbitalCharacter(2, pair.Atoms, ranges, 4, pair.Mirror, vAlone), 0.0);
    EXPECT_EQ(OrbitalCharacter(2, pair.Atoms, ranges, 0, pair.Mirror, vAlone), 1.0);
    const AtomRange coordinates[] = {{0, 3}, {3, 3}};
    const double vApart[6] = {0, 0, d, 0, 0, -d}, vTogether[6] = {0, 0, d, 0, 0, d};
    EXPECT_NEAR(ModeCharacter(2, pair.Atoms, coordinates, 4, pair.Mirror, vApart), 1.0, 1e-15);
    EXPECT_NEAR(ModeCharacter(2, pair.Atoms, coordinates, 4, pair.Mirror, vTogether), -1.0, 1e-15);
}

TEST(Characters, LeaveOutCoefficientsThatAreNearlyNone) {
    const Pair pair;
    const AtomRange ranges[] = {{0, 1}, {1, 1}};
    const double vSmall[2] = {0.99e-5, 1.0}, vLarge[2] = {1.01e-5, 1.0};
    EXPECT_EQ(OrbitalCharacter(2, pair.Atoms, ranges, 4, pair.Mirror, vSmall), 0.0);
    EXPECT_NEAR(OrbitalCharacter(2, pair.Atoms, ranges, 4, pair.Mirror, vLarge), 2.02e-5, 1e-15);
}

TEST(Characters, TakeNothingFromAnAtomWithoutOrbitals) {
    const Pair pair;
    const AtomRange ranges[] = {{0, 0}, {0, 0}};
    EXPECT_EQ(OrbitalCharacter(2, pair.Atoms, ranges, 4, pair.Mirror, nullptr), 0.0);
}

}  // namespace
}  // namespace qsolve
