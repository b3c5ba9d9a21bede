#include "scf/pulay.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "tests/support/matrices.h"

namespace qsolve {
namespace {

/// Errors as rows, in slots as they stand, oldest first.
struct Errors {
    TestMatrix m, dots;
    std::vector<int> vOrder;

    explicit Errors(const TestMatrix& errors) : m(errors), dots(errors.nRows, errors.nRows) {
        for (int i = 0; i < m.nRows; ++i) {
            vOrder.push_back(i);
            for (int j = 0; j < m.nRows; ++j)
                for (int k = 0; k < m.nColumns; ++k) dots(i, j) += m(i, k) * m(j, k);
        }
    }
    int Mix(std::vector<double>& vMixture) const {
        vMixture.assign(vOrder.size(), NAN);
        const int n = static_cast<int>(vOrder.size());
        return MixByPulay({n, m.nRows, dots.Data(), vOrder.data()}, vMixture.data());
    }
    double SquareOf(const std::vector<double>& vMixture) const {
        double d = 0.0;
        for (int k = 0; k < m.nColumns; ++k) {
            double dSum = 0.0;
            for (std::size_t i = 0; i < vMixture.size(); ++i) dSum += vMixture[i] * m(vOrder[i], k);
            d += dSum * dSum;
        }
        return d;
    }
};

/// No neighbour whose sum is 1 has a smaller error.
TEST(Pulay, MakesTheErrorSmallest) {
    for (const int nPoints : {2, 3, kMostPulay}) {
        const Errors errors(RandomMatrix(nPoints, 30, 7));
        std::vector<double> v;
        EXPECT_EQ(errors.Mix(v), nPoints);
        double dSum = 0.0;
        for (const double c : v) dSum += c;
        EXPECT_NEAR(dSum, 1.0, 1e-12);
        const double dSmallest = errors.SquareOf(v);
        for (std::size_t i = 1; i < v.size(); ++i)
            for (const double d : {0.01, -0.01}) {
                std::vector<double> vOther = v;
                vOther[0] += d;
                vOther[i] -= d;
                EXPECT_GT(errors.SquareOf(vOther), dSmallest);
            }
    }
}

TEST(Pulay, TakesThePointsInTheirOrder) {
    Errors errors(RandomMatrix(4, 30, 8));
    std::vector<double> usual, turned;
    errors.Mix(usual);
    errors.vOrder = {2, 3, 0, 1};
    EXPECT_EQ(errors.Mix(turned), 4);
    for (std::size_t i = 0; i < 4; ++i) EXPECT_NEAR(turned[i], usual[(i + 2) % 4], 1e-12);
}

/// A point twice makes the equations singular: the older one goes, and all before it.
TEST(Pulay, LeavesOutOldPointsOfWhichOneIsTwice) {
    TestMatrix m = RandomMatrix(4, 30, 9);
    for (int k = 0; k < 30; ++k) m(1, k) = m(2, k);
    std::vector<double> v;
    EXPECT_EQ(Errors(m).Mix(v), 2);
    EXPECT_EQ(v[0], 0.0);
    EXPECT_EQ(v[1], 0.0);
    EXPECT_NEAR(v[2] + v[3], 1.0, 1e-12);
}

/// Below a 1e-10th of the newest an old error, squared, is rounding beside it.
TEST(Pulay, LeavesOutErrorsThatAreTooSmallBesideTheNewest) {
    for (const double d : {0.5e-5, 2e-5}) {
        TestMatrix m(2, 2);
        m(0, 0) = d;
        m(1, 1) = 1.0;
        std::vector<double> v;
        EXPECT_EQ(Errors(m).Mix(v), d < 1e-5 ? 1 : 2) << d;
    }
}

TEST(Pulay, IsTheNewestPointWhereThatHasNoErrorOrNoneIsANumber) {
    for (const double d : {0.0, std::nan("")}) {
        TestMatrix m = RandomMatrix(3, 30, 10);
        for (int k = 0; k < 30; ++k) m(2, k) = d;
        std::vector<double> v;
        EXPECT_EQ(Errors(m).Mix(v), 1);
        EXPECT_EQ(v, (std::vector<double>{0.0, 0.0, 1.0}));
    }
    std::vector<double> v;
    EXPECT_EQ(Errors(RandomMatrix(1, 30, 11)).Mix(v), 1);
    EXPECT_EQ(v, std::vector<double>{1.0});
}

}  // namespace
}  // namespace qsolve
