#include "scf/mixing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "tests/support/fresh_state.h"
#include "tests/support/guarded_job.h"
#include "tests/support/matrices.h"

namespace qsolve {
namespace {

const std::vector<Place> kBentPlaces = {{8, 0, 0, 0}, {1, 0.9572, 0, 0}, {1, -0.24, 0.9266, 0}};

std::vector<JobScript> KindsOfElectrons() {
    return {Water(5), Spins(Molecule(1, kBentPlaces), 1, 2, true),
            Spins(Molecule(8, kBentPlaces), 0, 3, false)};
}

/// What a point was, kept by the test: Fock matrix, density and commutator of each set.
struct Point {
    double dEnergy = 0.0, dLargest = 0.0;
    std::vector<TestMatrix> fock, density, error;
};

/// A job with a history of points that are no solutions.
struct Mixed {
    Mixed(const JobScript& script, int nPoints) : job(script), work(job.electrons.n + 1, N()) {
        job.Converge();
        StartHistory(job.electrons, history);
        for (int k = 0; k < job.electrons.nSets; ++k) {
            const Array<double>& p = job.electrons.pSets[k]->mDensity;
            solution[k].assign(p.begin(), p.end());
        }
        for (int i = 0; i < nPoints; ++i) Add(i);
    }
    int N() const { return job.electrons.n; }
    /// The density of the solution with charge moved among the orbitals, to and fro: what the
    /// charges do to one another is far more than what the levels gain, and the mean is better.
    void Add(int nPoint) {
        for (int k = 0; k < job.electrons.nSets; ++k) {
            Randoms there(1), aside(static_cast<std::uint64_t>(nPoint) + 2);
            Array<double>& p = job.electrons.pSets[k]->mDensity;
            std::copy(solution[k].begin(), solution[k].end(), p.begin());
            const double dCharge = nPoint % 2 == 0 ? 2.0 : -2.5;
            for (int i = 0; i < N(); ++i)
                p[static_cast<std::size_t>(i * N() + i)] +=
                    dCharge * there.Number() + 0.5 * aside.Number();
        }
        Point point;
        point.dEnergy = EvaluateFock(job.electrons);
        for (int k = 0; k < job.electrons.nSets; ++k) Keep(*job.electrons.pSets[k], point);
        points.push_back(point);
        largest = Remember(job.electrons, point.dEnergy, false, work.Data(), history);
    }
    void Keep(const SpinRun& set, Point& point) const {
        TestMatrix f(N(), N()), p(N(), N()), error(N(), N());
        for (int i = 0; i < N(); ++i)
            for (int j = 0; j < N(); ++j) {
                f(i, j) =
                    set.mFock[static_cast<std::size_t>(std::max(i, j) * N() + std::min(i, j))];
                p(i, j) = set.mDensity[static_cast<std::size_t>(i * N() + j)];
            }
        for (int i = 0; i < N(); ++i)
            for (int j = 0; j < N(); ++j) {
                for (int k = 0; k < N(); ++k) error(i, j) += f(i, k) * p(k, j) - p(i, k) * f(k, j);
                point.dLargest = std::max(point.dLargest, std::abs(error(i, j)));
            }
        point.fock.push_back(f);
        point.density.push_back(p);
        point.error.push_back(error);
    }
    /// The energy of the densities mixed by c.
    double EnergyOf(const std::vector<double>& c) {
        for (int k = 0; k < job.electrons.nSets; ++k)
            for (std::size_t j = 0; j < points[0].density[0].v.size(); ++j) {
                double d = 0.0;
                for (std::size_t i = 0; i < c.size(); ++i)
                    d += c[i] * points[i].density[static_cast<std::size_t>(k)].v[j];
                job.electrons.pSets[k]->mDensity[j] = d;
            }
        return EvaluateFock(job.electrons);
    }

    GuardedJob job;
    TestMatrix work;
    MixHistory history;
    std::vector<double> solution[2];
    std::vector<Point> points;
    double largest = 0.0;
};

class Mixing : public FreshState {};

TEST_F(Mixing, ErrorIsTheLargestElementOfTheCommutator) {
    for (const JobScript& script : KindsOfElectrons()) {
        const Mixed mixed(script, 1);
        EXPECT_NEAR(mixed.largest, mixed.points[0].dLargest, 1e-12);
        EXPECT_GT(mixed.largest, 1e-3);
    }
}

/// At the smallest sum of squares of the mixed error, it is at right angles to every difference of
/// two errors; the mixture sums to one.
TEST_F(Mixing, ByErrorMakesTheMixedErrorSmallest) {
    for (const JobScript& script : KindsOfElectrons()) {
        Mixed mixed(script, 4);
        double c[kMixPoints] = {};
        ASSERT_EQ(MixByError(mixed.history, c), 4);
        EXPECT_NEAR(c[0] + c[1] + c[2] + c[3], 1.0, 1e-10);
        double dNewest = 0.0, dMixed = 0.0, vDots[4] = {};
        for (std::size_t k = 0; k < mixed.points[0].error.size(); ++k)
            for (std::size_t j = 0; j < mixed.points[0].error[k].v.size(); ++j) {
                double e = 0.0;
                for (std::size_t i = 0; i < 4; ++i) e += c[i] * mixed.points[i].error[k].v[j];
                for (std::size_t i = 0; i < 4; ++i) vDots[i] += e * mixed.points[i].error[k].v[j];
                dNewest += std::pow(mixed.points[3].error[k].v[j], 2);
                dMixed += e * e;
            }
        EXPECT_LT(dMixed, dNewest);
        // Four equations whose matrix is of order one: rounding of their products, some 1e3 times.
        for (const double d : vDots) EXPECT_NEAR(d, vDots[3], 1e-10 * dNewest);
    }
}

/// The energy is quadratic in the densities: no mixture of a grid is lower than the one chosen.
TEST_F(Mixing, ByEnergyIsTheLowestOfAllMixtures) {
    for (const JobScript& script : KindsOfElectrons()) {
        Mixed mixed(script, 3);
        double c[kMixPoints] = {};
        MixByEnergy(mixed.job.electrons, mixed.history, c);
        EXPECT_NEAR(c[0] + c[1] + c[2], 1.0, 1e-12);
        EXPECT_GE(std::min({c[0], c[1], c[2]}), 0.0);
        const double dChosen = mixed.EnergyOf({c[0], c[1], c[2]});
        EXPECT_LT(dChosen, std::min({mixed.points[0].dEnergy, mixed.points[1].dEnergy,
                                     mixed.points[2].dEnergy}) -
                               1e-6);
        for (int i = 0; i <= 12; ++i)
            for (int j = 0; i + j <= 12; ++j)
                EXPECT_GE(mixed.EnergyOf({i / 12.0, j / 12.0, (12 - i - j) / 12.0}),
                          dChosen - 1e-9);
    }
}

TEST_F(Mixing, RemembersTheNewestSixPoints) {
    for (const JobScript& script : KindsOfElectrons()) {
        Mixed mixed(script, kMixPoints + 2);
        EXPECT_EQ(mixed.history.nCount, kMixPoints);
        for (int i = 0; i < kMixPoints; ++i) {
            double c[kMixPoints] = {};
            c[i] = 2.0;
            c[kMixPoints - 1] -= 1.0;
            MixFock(mixed.job.electrons, mixed.history, c);
            for (int k = 0; k < mixed.job.electrons.nSets; ++k) {
                const auto Of = [&](int nPoint, int p, int q) {
                    return mixed.points[static_cast<std::size_t>(nPoint)]
                        .fock[static_cast<std::size_t>(k)](p, q);
                };
                for (int p = 0; p < mixed.N(); ++p)
                    for (int q = 0; q <= p; ++q)
                        EXPECT_NEAR(mixed.job.electrons.pSets[k]
                                        ->mFock[static_cast<std::size_t>(p * mixed.N() + q)],
                                    2 * Of(i + 2, p, q) - Of(kMixPoints + 1, p, q), 1e-10);
            }
        }
    }
}

TEST_F(Mixing, GoesByEnergyWhereItRisesOrIsFarAndByErrorElse) {
    Mixed m(Molecule(5, kBentPlaces), 3);
    const auto Wanted = [&](bool fByEnergy) {
        double vMixture[kMixPoints] = {};
        if (fByEnergy)
            MixByEnergy(m.job.electrons, m.history, vMixture);
        else
            MixByError(m.history, vMixture);
        MixFock(m.job.electrons, m.history, vMixture);
        return m.job.electrons.pSets[0]->mFock[0];
    };
    const double dByEnergy = Wanted(true), dByError = Wanted(false);
    EXPECT_GT(std::abs(dByEnergy - dByError), 1e-3) << "the test would see nothing";
    const double dLowest = *std::min_element(m.history.vEnergy, m.history.vEnergy + 3);
    const double dHighest = *std::max_element(m.history.vEnergy, m.history.vEnergy + 3);
    const auto Mix = [&](double dEnergy, double dError) {
        MixPoints(m.job.electrons, dEnergy, dError, m.history);
        return m.job.electrons.pSets[0]->mFock[0];
    };
    EXPECT_EQ(Mix(dHighest + 1.0, 0.1), dByEnergy);
    EXPECT_EQ(Mix(dLowest - 1.0, 1.1), dByEnergy);
    EXPECT_EQ(Mix(dLowest - 1.0, 0.9), dByError);
    m.history.nCount = 1;
    m.job.electrons.pSets[0]->mFock[0] = 7.0;
    EXPECT_EQ(Mix(dHighest, 5.0), 7.0) << "a first point stays as it is";
}

TEST_F(Mixing, OfOnePointIsThatPoint) {
    Mixed mixed(Water(5), 1);
    double c[kMixPoints] = {};
    EXPECT_EQ(MixByError(mixed.history, c), 1);
    EXPECT_EQ(c[0], 1.0);
}

}  // namespace
}  // namespace qsolve
