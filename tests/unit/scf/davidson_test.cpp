#include "scf/davidson.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "numeric/row.h"
#include "numeric/trace.h"
#include "tests/support/fresh_state.h"
#include "tests/support/matrices.h"

namespace qsolve {
namespace {

constexpr int kSize = 40;

/// A space of random vectors and their products with a matrix whose eigenvalues are 1, 2, ... 40.
class Davidson : public FreshState {
  protected:
    Davidson() : mHessian(kSize, kSize), space(kSize) {
        std::vector<double> values;
        for (int i = 0; i < kSize; ++i) values.push_back(1.0 + i);
        mHessian = WithEigenvalues(values, 11);
    }
    bool Add(std::vector<double> v) {
        if (!MakeNew(space, v.data())) return false;
        Put(v);
        return true;
    }
    void Put(const std::vector<double>& v) {
        std::copy(v.begin(), v.end(), space.Vector(space.nVectors));
        for (int i = 0; i < kSize; ++i)
            space.Product(space.nVectors)[i] = Dot(kSize, Row(mHessian.Data(), kSize, i), v.data());
        CountVector(space);
    }
    void AddRandom(int nVectors) {
        while (space.nVectors < nVectors)
            Add(RandomMatrix(1, kSize, static_cast<std::uint64_t>(space.nVectors) + 5).v);
    }
    /// v H v / v v.
    double Quotient(const double* v) {
        double d = 0.0;
        for (int i = 0; i < kSize; ++i) d += v[i] * Dot(kSize, Row(mHessian.Data(), kSize, i), v);
        return d / Dot(kSize, v, v);
    }
    TestMatrix mHessian;
    Space space;
    Inside inside = {};
};

TEST_F(Davidson, VectorsAreOrthonormalAndProductsTheirs) {
    AddRandom(kMostVectors);
    for (int i = 0; i < kMostVectors; ++i)
        for (int j = 0; j <= i; ++j) {
            const double* v = space.Vector(j);
            EXPECT_NEAR(Dot(kSize, space.Vector(i), v), i == j ? 1.0 : 0.0, 1e-13);
            EXPECT_NEAR(space.mInside[i][j], Dot(kSize, space.Product(i), v), 1e-12)
                << i << ' ' << j;
        }
}

/// A part of a millionth is left after the first pass, and with it ten digits less.
TEST_F(Davidson, LittleThatIsNewIsStillOrthogonal) {
    AddRandom(3);
    std::vector<double> v(kSize), w = RandomMatrix(1, kSize, 99).v;
    for (int i = 0; i < kSize; ++i)
        v[static_cast<std::size_t>(i)] = 3.0 * space.Vector(0)[i] - 7.0 * space.Vector(2)[i] +
                                         3e-5 * w[static_cast<std::size_t>(i)];
    ASSERT_TRUE(MakeNew(space, v.data()));
    for (int k = 0; k < 3; ++k) EXPECT_NEAR(Dot(kSize, v.data(), space.Vector(k)), 0.0, 1e-14);
    EXPECT_NEAR(Dot(kSize, v.data(), v.data()), 1.0, 1e-14);
}

TEST_F(Davidson, NothingNewAndNoNumberAreRefused) {
    std::vector<double> v(kSize);
    EXPECT_FALSE(MakeNew(space, v.data())) << "zero";
    v[3] = std::nan("");
    EXPECT_FALSE(MakeNew(space, v.data()));
    AddRandom(2);
    std::vector<double> known(space.Vector(1), space.Vector(1) + kSize);
    for (double& x : known) x *= 1e9;  // what rounding leaves is small beside it, and not by itself
    EXPECT_FALSE(MakeNew(space, known.data()));
}

/// Of the whole space the values are those of the matrix, and nothing is left of it; of a part they
/// are the lowest of what the vectors can give, with a residual at right angles to all of them.
TEST_F(Davidson, RootsAreThoseOfTheMatrixInTheSpace) {
    AddRandom(6);
    SolveInside(space, inside);
    std::vector<double> v(kSize), r(kSize);
    for (const int nRoot : {0, 1}) {
        const RitzValue root = FindRoot(space, inside, nRoot, v.data(), r.data());
        EXPECT_NEAR(Dot(kSize, v.data(), v.data()), 1.0, 1e-13);
        EXPECT_NEAR(root.dValue, Quotient(v.data()), 1e-11);
        EXPECT_NEAR(root.dResidual, std::sqrt(Dot(kSize, r.data(), r.data())), 1e-12);
        EXPECT_GT(root.dResidual, 0.1);
        for (int k = 0; k < 6; ++k)
            EXPECT_NEAR(Dot(kSize, r.data(), space.Vector(k)), 0.0, 1e-11) << nRoot;
    }
    EXPECT_LT(inside.vValues[0], inside.vValues[1]);
    for (int k = 0; k < 6; ++k) EXPECT_GE(Quotient(space.Vector(k)), inside.vValues[0]);
}

TEST_F(Davidson, OneVectorHasOneRoot) {
    AddRandom(1);
    SolveInside(space, inside);
    std::vector<double> v(kSize), r(kSize);
    EXPECT_NEAR(FindRoot(space, inside, 0, v.data(), r.data()).dValue, Quotient(space.Vector(0)),
                1e-12);
}

TEST_F(Davidson, StartingAnewKeepsTheTwoLowestAndTheirProducts) {
    AddRandom(9);
    SolveInside(space, inside);
    const double dLowest = inside.vValues[0], dSecond = inside.vValues[1];
    std::vector<double> work(2 * kSize);
    StartAnew(space, inside, work.data());
    ASSERT_EQ(space.nVectors, 2);
    EXPECT_NEAR(Dot(kSize, space.Vector(0), space.Vector(0)), 1.0, 1e-13);
    EXPECT_NEAR(Dot(kSize, space.Vector(0), space.Vector(1)), 0.0, 1e-13);
    EXPECT_NEAR(Quotient(space.Vector(0)), dLowest, 1e-11);
    EXPECT_NEAR(Quotient(space.Vector(1)), dSecond, 1e-11);
    for (int k = 0; k < 2; ++k)
        for (int i = 0; i < kSize; ++i)
            EXPECT_NEAR(space.Product(k)[i],
                        Dot(kSize, Row(mHessian.Data(), kSize, i), space.Vector(k)), 1e-11);
    for (int nTime = 0; nTime < 2; ++nTime) {  // as it is left, and as it is found
        EXPECT_NEAR(inside.vValues[0], dLowest, 1e-11);
        EXPECT_NEAR(inside.vValues[1], dSecond, 1e-11);
        EXPECT_NEAR(std::abs(inside.mTurn[0]), 1.0, 1e-12);
        EXPECT_NEAR(std::abs(inside.mTurn[3]), 1.0, 1e-12);
        SolveInside(space, inside);
    }
}

/// However the space grows, the value followed is the lowest in it, with its vector; the second one
/// spans with that what the vector was before.
TEST_F(Davidson, TheLowestIsFollowedWhileTheSpaceGrows) {
    std::vector<double> before;
    for (int m = 1; m <= 12; ++m) {
        AddRandom(m);
        FollowLowest(space, inside);
        Inside whole;
        SolveInside(space, whole);
        const double* c = inside.mTurn;
        EXPECT_NEAR(inside.vValues[0], whole.vValues[0], 1e-11) << m;
        EXPECT_NEAR(std::abs(Dot(m, c, whole.mTurn)), 1.0, 1e-9) << m;
        if (m > 1) {
            const double* d = Row(inside.mTurn, m, 1);
            const double dOfC = Dot(m - 1, c, before.data()), dOfD = Dot(m - 1, d, before.data());
            EXPECT_NEAR(Dot(m, c, d), 0.0, 1e-12) << m;
            EXPECT_NEAR(Dot(m, d, d), 1.0, 1e-12) << m;
            EXPECT_NEAR(dOfC * dOfC + dOfD * dOfD, 1.0, 1e-9) << m;
        }
        before.assign(c, c + m);
    }
}

/// Of a vector that is not coupled to the others either it or the old one is the lowest.
TEST_F(Davidson, WhatIsNotCoupledIsFollowedToo) {
    for (const double dNew : {-2.0, 1.0, 3.0}) {
        Space pair(kSize);
        pair.mInside[0][0] = 1.0;
        pair.mInside[1][0] = 0.0;
        pair.mInside[1][1] = dNew;
        pair.nVectors = 1;
        FollowLowest(pair, inside);
        pair.nVectors = 2;
        FollowLowest(pair, inside);
        EXPECT_NEAR(inside.vValues[0], std::min(1.0, dNew), 1e-12) << dNew;
        EXPECT_NEAR(Dot(2, inside.mTurn, inside.mTurn), 1.0, 1e-12) << dNew;
    }
}

/// Where the new vector is hardly coupled to the lowest one, and well to the next.
TEST_F(Davidson, WhatIsHardlyCoupledIsFollowed) {
    for (const double dCoupling : {1e-9, 1e-6, 1e-3}) {
        Space three(kSize);
        three.mInside[0][0] = 1.0;
        three.mInside[1][1] = 1.001;
        three.mInside[2][0] = dCoupling;
        three.mInside[2][1] = 0.5;
        three.mInside[2][2] = 1.2;
        for (three.nVectors = 1; three.nVectors <= 3; ++three.nVectors) FollowLowest(three, inside);
        const double dExpected = 1.1005 - std::sqrt(0.0995 * 0.0995 + 0.25);  // of the last two
        EXPECT_NEAR(inside.vValues[0], dExpected, 2 * dCoupling * dCoupling + 1e-12) << dCoupling;
    }
}

TEST_F(Davidson, AnewOfOneVectorIsThatVector) {
    AddRandom(1);
    const double dValue = Quotient(space.Vector(0));
    SolveInside(space, inside);
    std::vector<double> work(2 * kSize);
    StartAnew(space, inside, work.data());
    ASSERT_EQ(space.nVectors, 1);
    EXPECT_NEAR(Quotient(space.Vector(0)), dValue, 1e-12);
}

TEST_F(Davidson, PreconditionerDividesByNoDifferenceThatIsTooSmall) {
    std::vector<double> r(kSize, 6.0);
    space.vDiagonal[0] = 5.0, space.vDiagonal[1] = 1.0, space.vDiagonal[2] = 3.1;
    space.vDiagonal[3] = 2.9, space.vDiagonal[4] = 3.5, space.vDiagonal[5] = 2.5;
    Precondition(space, 3.0, 0.5, r.data());
    const double expected[] = {3.0, -3.0, 12.0, -12.0, 12.0, -12.0};
    for (int i = 0; i < 6; ++i) EXPECT_DOUBLE_EQ(r[static_cast<std::size_t>(i)], expected[i]) << i;
}

}  // namespace
}  // namespace qsolve
