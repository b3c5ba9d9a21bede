#include "properties/atom_density.h"

#include <gtest/gtest.h>

#include "tests/unit/properties/atom_potential.h"

namespace qsolve {
namespace {

double Distance(const std::vector<double>& v) {
    return std::hypot(v[0], v[1], v[2]);
}

class AtomDensities : public testing::TestWithParam<int> {};

TEST_P(AtomDensities, AttractAsTheChargeInSpace) {
    const AtomDensity atom = HandMadeAtom(GetParam());
    for (const auto& v : PointsAround())
        EXPECT_NEAR(AttractionOfDensity(atom, v.data(), Distance(v)),
                    AttractionByQuadrature(atom, v.data()), 1e-9)
            << v[0] << " " << v[1] << " " << v[2];
}

TEST_P(AtomDensities, TurnTogetherWithThePoint) {
    // The density of turned orbitals, R^T P R, seen from the turned point.
    const double vAxis[3] = {2.0 / 7, -3.0 / 7, 6.0 / 7};
    const AtomDensity atom = HandMadeAtom(GetParam());
    AtomDensity turned = atom;
    double mRotation[81];
    BuildRotation(vAxis, mRotation, 9);
    for (int i = 0; i < 9; ++i)
        for (int j = 0; j < 9; ++j) {
            double d = 0.0;
            for (int a = 0; a < 9; ++a)
                for (int b = 0; b < 9; ++b)
                    d += mRotation[9 * a + i] * atom.mDensity[9 * a + b] * mRotation[9 * b + j];
            turned.mDensity[9 * i + j] = d;
        }
    for (const auto& v : PointsAround()) {
        double w[3] = {};
        for (int c = 0; c < 3; ++c)
            for (int a = 0; a < 3; ++a)
                w[c] += mRotation[9 * (1 + a) + 1 + c] * v[static_cast<std::size_t>(a)];
        EXPECT_NEAR(AttractionOfDensity(turned, w, Distance(v)),
                    AttractionOfDensity(atom, v.data(), Distance(v)), 1e-9);
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, AtomDensities, testing::Values(1, 4, 9));

TEST(AtomDensity, OfAnEmptyAtomAttractsNothing) {
    const double v[3] = {0.1, 0.2, 0.3};
    EXPECT_EQ(AttractionOfDensity(AtomDensity{}, v, Distance({0.1, 0.2, 0.3})), 0.0);
}

}  // namespace
}  // namespace qsolve
