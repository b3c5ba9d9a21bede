#include "geometry/modes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "numeric/matrix3.h"
#include "tests/support/fresh_state.h"
#include "tests/support/matrices.h"
#include "tests/support/point_sets.h"

namespace qsolve {
namespace {

/// Atoms and springs between them, at rest: the force matrix is a sum over the springs.
struct Springs {
    std::vector<double> Xyz, Mass;
    TestMatrix Force;

    Springs(std::vector<double> xyz, std::vector<double> mass)
        : Xyz(std::move(xyz)), Mass(std::move(mass)), Force(Order(), Order()) {}
    int Atoms() const { return static_cast<int>(Mass.size()); }
    int Order() const { return 3 * Atoms(); }

    /// Adds a spring of force constant k against the motion along the line of two atoms.
    void Add(int i, int j, double k) {
        double e[3];
        for (int x = 0; x < 3; ++x) e[x] = At(i)[x] - At(j)[x];
        Normalise3(e);
        AddAlong(i, j, e, k);
    }
    /// The same along any direction, for the bending of a line.
    void AddAlong(int i, int j, const double* e, double k) {
        for (int x = 0; x < 3; ++x)
            for (int y = 0; y < 3; ++y) {
                Force(3 * i + x, 3 * i + y) += k * e[x] * e[y];
                Force(3 * j + x, 3 * j + y) += k * e[x] * e[y];
                Force(3 * i + x, 3 * j + y) -= k * e[x] * e[y];
                Force(3 * j + x, 3 * i + y) -= k * e[x] * e[y];
            }
    }
    /// Adds k q^2 / 2 for a coordinate q = v . displacement.
    void AddCoordinate(const std::vector<double>& v, double k) {
        for (int i = 0; i < Order(); ++i)
            for (int j = 0; j < Order(); ++j)
                Force(i, j) += k * v[static_cast<std::size_t>(i)] * v[static_cast<std::size_t>(j)];
    }
    const double* At(int i) const { return Xyz.data() + 3 * i; }
};

struct Solved {
    int nExternal = 0;
    TestMatrix Vectors, Values;

    explicit Solved(const Springs& s, const ExternalLevels& levels = kVibrationLevels)
        : Vectors(s.Order(), s.Order()), Values(1, s.Order()) {
        TestMatrix weighted = s.Force, work(1, s.Order());
        for (int i = 0; i < s.Order(); ++i)
            for (int j = 0; j < s.Order(); ++j)
                weighted(i, j) /= std::sqrt(s.Mass[static_cast<std::size_t>(i / 3)] *
                                            s.Mass[static_cast<std::size_t>(j / 3)]);
        const Inertia inertia = ComputeInertia(s.Atoms(), s.Xyz.data(), s.Mass.data(), 1.0);
        nExternal = CountExternalModes(inertia);
        RaiseExternalModes(s.Atoms(), s.Xyz.data(), s.Mass.data(), inertia, levels, work.Data(),
                           weighted.Data());
        SolveModes(s.Order(), nExternal, levels, weighted.Data(), Vectors.Data(), Values.Data());
    }
    void ExpectVibrations(std::vector<double> expected) const {
        ASSERT_EQ(Values.nColumns - nExternal, static_cast<int>(expected.size()));
        std::sort(expected.begin(), expected.end());
        for (int k = 0; k < Values.nColumns; ++k)
            EXPECT_NEAR(
                Values(0, k),
                k < static_cast<int>(expected.size()) ? expected[static_cast<std::size_t>(k)] : 0.0,
                1e-9)
                << k;
    }
};

class Modes : public FreshState {};

TEST_F(Modes, OfADiatomicIsThatOfItsReducedMass) {
    Springs s({0, 0, 0, 0.3, 0.8, -0.4}, {12.0, 16.0});
    s.Add(0, 1, 19.0);
    Solved(s).ExpectVibrations({19.0 * (1 / 12.0 + 1 / 16.0)});
    EXPECT_EQ(Solved(s).nExternal, 5);
}

// A tetrahedron of equal masses and springs: k/m (E), 2 k/m (T2), 4 k/m (A1).
TEST_F(Modes, OfATetrahedronAreThoseOfTheTextbooks) {
    Springs s({1, 1, 1, 1, -1, -1, -1, 1, -1, -1, -1, 1}, {31, 31, 31, 31});
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < i; ++j) s.Add(i, j, 2.0);
    const double d = 2.0 / 31;
    Solved(s).ExpectVibrations({d, d, 2 * d, 2 * d, 2 * d, 4 * d});
}

// Carbon dioxide in valence forces (E. B. Wilson, J. C. Decius, P. C. Cross, Molecular Vibrations,
// 1955): k/mO, k (1/mO + 2/mC), and twice kb/l^2 2 (1/mO + 2/mC) for the bend.
TEST_F(Modes, OfALineAreFourWithABendTwice) {
    const double l = 1.16, k = 16.0, kb = 0.57, mO = 15.9994, mC = 12.011;
    Springs s({0, 0, -l, 0, 0, 0, 0, 0, l}, {mO, mC, mO});
    s.Add(0, 1, k);
    s.Add(1, 2, k);
    for (const int x : {0, 1}) {  // the change of the angle in either plane
        std::vector<double> v(9);
        v[static_cast<std::size_t>(x)] = v[static_cast<std::size_t>(6 + x)] = 1 / l;
        v[static_cast<std::size_t>(3 + x)] = -2 / l;
        s.AddCoordinate(v, kb);
    }
    const double dBend = 2 * kb / (l * l) * (1 / mO + 2 / mC);
    Solved(s).ExpectVibrations({k / mO, k * (1 / mO + 2 / mC), dBend, dBend});
}

// The same line turned, and bent by less than shows: its first moment is none, and no bend is lost.
TEST_F(Modes, OfANearlyStraightLineKeepBothBends) {
    for (const double dBent : {0.0, 1e-5, 1e-4, 1e-3}) {
        Springs s({0, dBent, -1, 0, -dBent, 0, 0, dBent, 1.1}, {16, 12, 14});
        s.Add(0, 1, 10.0);
        s.Add(1, 2, 12.0);
        for (const int x : {0, 1}) {
            std::vector<double> v(9);
            v[static_cast<std::size_t>(x)] = 1;
            v[static_cast<std::size_t>(6 + x)] = 1 / 1.1;
            v[static_cast<std::size_t>(3 + x)] = -1 - 1 / 1.1;
            s.AddCoordinate(v, 0.5);
        }
        const Solved solved(s);
        EXPECT_EQ(solved.nExternal, 5);
        EXPECT_NEAR(solved.Values(0, 0), solved.Values(0, 1), 1e-3 * solved.Values(0, 1)) << dBent;
        EXPECT_NEAR(solved.Values(0, 0),
                    0.5 * (1.0 / 16 + 1 / (14 * 1.21) + (1 + 1 / 1.1) * (1 + 1 / 1.1) / 12), 1e-3);
    }
}

TEST_F(Modes, HaveOrthonormalVectorsWithTheMotionsOfTheWholeBehind) {
    Springs s({0, 0, 0, 1, 0.2, 0, 0.3, 1, 0.1, 0.2, 0.4, 1.3}, {12, 1, 16, 14});
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < i; ++j) s.Add(i, j, 1.0 + i + 2 * j);
    const Solved solved(s);
    TestMatrix unit(12, 12);
    for (int i = 0; i < 12; ++i) unit(i, i) = 1.0;
    EXPECT_LE(
        LargestDifference(NaiveProduct(solved.Vectors, NaiveTransposed(solved.Vectors)), unit),
        1e-12);
    for (int k = 0; k < 6; ++k)  // no vibration moves the centre of mass, nor turns the molecule
        for (int x = 0; x < 3; ++x) {
            double dMoved = 0.0, dTurned = 0.0;
            for (int i = 0; i < 4; ++i) {
                const double w = std::sqrt(s.Mass[static_cast<std::size_t>(i)]);
                const double* v = &solved.Vectors.v[static_cast<std::size_t>(12 * k + 3 * i)];
                double vCross[3];
                Cross3(s.At(i), v, vCross);
                dMoved += w * v[x];
                dTurned += w * vCross[x];
            }
            EXPECT_NEAR(dMoved, 0.0, 1e-10);
            EXPECT_NEAR(dTurned, 0.0, 1e-10);
        }
}

TEST_F(Modes, OfASaddleBeginWithTheNegativeOne) {
    Springs s({1, 1, 1, 1, -1, -1, -1, 1, -1, -1, -1, 1}, {31, 31, 31, 31});
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < i; ++j) s.Add(i, j, i == 3 && j == 2 ? -1.0 : 2.0);
    const Solved solved(s);
    EXPECT_LT(solved.Values(0, 0), 0.0);
    EXPECT_GT(solved.Values(0, 1), 0.0);
}

// Isotopes: the product of the ratios of the frequencies follows from masses and moments alone (E.
// Teller, O. Redlich, Z. phys. Chem. B 28, 371 (1935)).
TEST_F(Modes, ObeyTheProductRuleOfIsotopes) {
    Springs light({0, 0, 0, 1, 0.2, 0, 0.3, 1, 0.1, 0.2, 0.4, 1.3}, {12, 1, 16, 14});
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < i; ++j) light.Add(i, j, 1.0 + i + 2 * j);
    Springs heavy = light;
    heavy.Mass[1] = 2.0;
    const auto Product = [](const Springs& s) {
        double d = 0.0, dMasses = 0.0, dTotal = 0.0;
        const Solved solved(s);
        for (int k = 0; k < 6; ++k) d += std::log(solved.Values(0, k));
        for (const double m : s.Mass) {
            dMasses += 3 * std::log(m);
            dTotal += m;
        }
        const Inertia inertia = ComputeInertia(s.Atoms(), s.Xyz.data(), s.Mass.data(), 1.0);
        for (const double I : inertia.vMoment) d -= std::log(I);
        return d + dMasses - 3 * std::log(dTotal);
    };
    EXPECT_NEAR(Product(light), Product(heavy), 1e-9);
}

// In a search masses do not count: k (E), 2 k (T2) and 4 k (A1) of the tetrahedron, whatever the
// unit; the levels are a thousand times those of vibrations, and so is their rounding.
TEST_F(Modes, OfASearchKnowNoMasses) {
    for (const double dMillidynes : {0.00695125, 0.024823360704143312}) {
        Springs s({1, 1, 1, 1, -1, -1, -1, 1, -1, -1, -1, 1}, {1, 20, 3, 4});
        for (int i = 0; i < 4; ++i)
            for (int j = 0; j < i; ++j) s.Add(i, j, 300.0);
        TestMatrix hessian = s.Force, vectors(12, 12), values(1, 12), work(1, 12), ones(1, 4, 1.0);
        EXPECT_EQ(DiagonaliseHessian(4, s.Xyz.data(), ones.Data(), dMillidynes, work.Data(),
                                     hessian.Data(), vectors.Data(), values.Data()),
                  6);
        const double expected[] = {300, 300, 600, 600, 600, 1200, 0, 0, 0, 0, 0, 0};
        for (int k = 0; k < 12; ++k) EXPECT_NEAR(values(0, k), expected[k], 1e-6) << k;
    }
}

}  // namespace
}  // namespace qsolve
