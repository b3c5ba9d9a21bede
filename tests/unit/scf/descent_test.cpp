#include "scf/descent.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "scf/rotations.h"
#include "tests/support/fresh_state.h"
#include "tests/support/guarded_job.h"
#include "tests/support/matrices.h"

namespace qsolve {
namespace {

constexpr double kLongest = 0.3;    ///< radians, the longest turn of a step
constexpr double kFlattest = 2.0;   ///< eV, the smallest curvature of the first guess
constexpr std::size_t kMemory = 8;  ///< steps that are remembered

using Vector = std::vector<double>;

double Product(const Vector& x, const Vector& y) {
    double d = 0.0;
    for (std::size_t i = 0; i < x.size(); ++i) d += x[i] * y[i];
    return d;
}

double Largest(const Vector& x) {
    double d = 0.0;
    for (const double v : x) d = std::max(d, std::abs(v));
    return d;
}

/// What a step was and how the slope has changed with it.
struct Pair {
    Vector s, y;
};

/// J. Nocedal, S. J. Wright, Numerical Optimization, eq. 6.17: the whole inverse Hessian of BFGS
/// from a diagonal one, which the two loops of a descent never build.
TestMatrix InverseHessian(const Vector& vDiagonal, const std::vector<Pair>& pairs) {
    const int n = static_cast<int>(vDiagonal.size());
    TestMatrix h(n, n);
    for (int i = 0; i < n; ++i) h(i, i) = vDiagonal[static_cast<std::size_t>(i)];
    for (const Pair& p : pairs) {
        const double dRho = 1.0 / Product(p.s, p.y);
        TestMatrix left(n, n), right(n, n);
        for (int i = 0; i < n; ++i)
            for (int j = 0; j < n; ++j) {
                const auto a = static_cast<std::size_t>(i), b = static_cast<std::size_t>(j);
                left(i, j) = (i == j ? 1.0 : 0.0) - dRho * p.s[a] * p.y[b];
                right(i, j) = (i == j ? 1.0 : 0.0) - dRho * p.y[a] * p.s[b];
            }
        h = NaiveProduct(NaiveProduct(left, h), right);
        for (int i = 0; i < n; ++i)
            for (int j = 0; j < n; ++j) {
                const auto a = static_cast<std::size_t>(i), b = static_cast<std::size_t>(j);
                h(i, j) += dRho * p.s[a] * p.s[b];
            }
    }
    return h;
}

/// A descent by the textbook, matrices and all: its energies after each step, with the Fock
/// matrices that it took so far.
class Textbook {
  public:
    struct Point {
        int nMatrices;
        double dEnergy;
    };

    explicit Textbook(GuardedJob& job)
        : job_(job), vSlope_(CountRotations(job.electrons)), vBend_(vSlope_.size()) {
        FillDensities(job.electrons);
        dEnergy_ = EvaluateFock(job.electrons);
    }

    std::vector<Point> Steps(int nSteps) {
        std::vector<Point> points;
        for (int i = 0; i < nSteps; ++i) {
            Step();
            points.push_back({nMatrices_, dEnergy_});
        }
        return points;
    }
    int nShortened = 0, nCut = 0, nFlat = 0;

  private:
    void Slope() {
        TestMatrix work(job_.electrons.n + 1, job_.electrons.n);
        RotationSlope(job_.electrons, work.Data(), vSlope_.data(), vBend_.data());
    }

    Vector Direction() {
        Vector diagonal, step(vSlope_.size());
        for (const double b : vBend_) {
            diagonal.push_back(1.0 / std::max(std::abs(b), kFlattest / job_.electrons.dEv));
            nFlat += std::abs(b) * job_.electrons.dEv < kFlattest ? 1 : 0;
        }
        const TestMatrix h = InverseHessian(diagonal, pairs_);
        for (std::size_t i = 0; i < step.size(); ++i)
            for (std::size_t j = 0; j < step.size(); ++j)
                step[i] -= h(static_cast<int>(i), static_cast<int>(j)) * vSlope_[j];
        const double dLargest = Largest(step);
        if (dLargest > kLongest)
            for (double& x : step) x *= kLongest / dLargest;
        nCut += dLargest > kLongest ? 1 : 0;
        return step;
    }

    /// To the lowest point of the parabola until the fall is 1e-4 of what the slope promises.
    void GoDown(Vector& step, double dSlope) {
        while (true) {
            ++nMatrices_;
            const double dEnergy = job_.EnergyTurned(step), dRise = dEnergy - dEnergy_;
            if (dRise <= 1e-4 * dSlope) break;
            ++nShortened;
            const double dShare = std::clamp(dSlope / (2.0 * (dSlope - dRise)), 0.1, 0.5);
            for (double& x : step) x *= dShare;
            dSlope *= dShare;
        }
        RotateOrbitals(job_.electrons, step.data());
        FillDensities(job_.electrons);
        dEnergy_ = EvaluateFock(job_.electrons);
    }

    void Step() {
        Slope();
        Vector step = Direction();
        double dSlope = Product(vSlope_, step);
        const Vector former = vSlope_;
        GoDown(step, dSlope);
        Slope();
        Pair pair{step, vSlope_};
        for (std::size_t i = 0; i < former.size(); ++i) pair.y[i] -= former[i];
        const double dLengths = std::sqrt(Product(pair.s, pair.s) * Product(pair.y, pair.y));
        if (Product(pair.s, pair.y) > 1e-8 * dLengths) pairs_.push_back(pair);
        if (pairs_.size() > kMemory) pairs_.erase(pairs_.begin());
    }

    GuardedJob& job_;
    Vector vSlope_, vBend_;
    std::vector<Pair> pairs_;
    double dEnergy_ = 0.0;
    int nMatrices_ = 1;
};

class DescentTest : public FreshState {
  protected:
    static std::vector<Vector> OrbitalsOf(GuardedJob& job) {
        std::vector<Vector> kept;
        for (int k = 0; k < job.electrons.nSets; ++k)
            kept.emplace_back(job.electrons.pSets[k]->mVectors.begin(),
                              job.electrons.pSets[k]->mVectors.end());
        return kept;
    }
    static void PutBack(const std::vector<Vector>& kept, GuardedJob& job) {
        for (std::size_t k = 0; k < kept.size(); ++k)
            std::copy(kept[k].begin(), kept[k].end(), job.electrons.pSets[k]->mVectors.begin());
        FillDensities(job.electrons);
    }
};

/// Each step of a descent is that of the textbook, for closed shells, half electrons and
/// unrestricted spins, of orbitals so far from a solution that steps are cut, shortened and
/// forgotten. From the eleventh step on rounding shows, in the turns about a molecule's axis.
TEST_F(DescentTest, TakesTheStepsOfTheTextbook) {
    int nShortened = 0, nCut = 0, nFlat = 0;
    for (const JobScript& script :
         {Spins(Water(1), 0, 3, false), Spins(Water(8), 1, 2, true),
          Spins(Molecule(5, {{8, 0, 0, 0}, {8, 1.4, 0, 0}}), 0, 1, true),
          Spins(Molecule(5, {{7, 0, 0, 0}, {8, 1.4, 0, 0}}), 0, 2, false),
          Spins(Molecule(2, {{6, 0, 0, 0}, {9, 2, 0, 0}, {9, -0.4, 2, 0.1}}), 0, 3, true),
          Spins(Molecule(7, {{8, 0, 0, 0}, {1, 1.6, 0, 0}, {1, -0.4, 1.6, 0.1}}), 0, 3, true)})
        for (const double dScatter : {0.05, 0.1, 0.26, 0.3, 0.6, 1.5}) {
            GuardedJob job(script);
            job.Converge();
            job.Scatter(dScatter);
            const std::vector<Vector> start = OrbitalsOf(job);
            Textbook book(job);
            for (const Textbook::Point& point : book.Steps(9)) {
                PutBack(start, job);
                const GuardEnd end = Descend(job.electrons, {0.0, 0.0, point.nMatrices});
                EXPECT_FALSE(end.fConverged);
                EXPECT_EQ(end.nCycles, point.nMatrices) << script.nMethod << ' ' << dScatter;
                EXPECT_NEAR(end.dEnergy, point.dEnergy, 1e-9) << script.nMethod << ' ' << dScatter;
            }
            nShortened += book.nShortened, nCut += book.nCut, nFlat += book.nFlat;
        }
    EXPECT_GT(nShortened, 0);
    EXPECT_GT(nCut, 0);
    EXPECT_GT(nFlat, 0);
}

/// It is at an end with the first step after which energy and commutator are both below their
/// limits, and neither alone will do.
TEST_F(DescentTest, EndsWithTheFirstStepThatMeetsBothLimits) {
    GuardedJob job(Spins(Water(5), 1, 2, true));
    job.Converge();
    job.Scatter(0.3);
    const std::vector<Vector> start = OrbitalsOf(job);
    std::vector<GuardEnd> ends;
    const double dKcal = job.run.Family.dKcalPerUnit;
    double dBefore = EvaluateFock(job.electrons);
    for (int nMatrices = 2; nMatrices < 16; ++nMatrices) {
        PutBack(start, job);
        ends.push_back(Descend(job.electrons, {0.0, 0.0, nMatrices}));
        const GuardEnd& end = ends.back();
        ASSERT_EQ(end.nCycles, nMatrices) << "no step is shortened on this way";
        EXPECT_LT(end.dEnergy, dBefore + 1e-12 * std::abs(dBefore));
        EXPECT_NEAR(end.dDifference, (dBefore - end.dEnergy) * dKcal, 1e-9);
        dBefore = end.dEnergy;
        Vector slope(CountRotations(job.electrons));
        TestMatrix work(job.electrons.n + 1, job.electrons.n);
        EXPECT_EQ(end.dCommutator,
                  RotationSlope(job.electrons, work.Data(), slope.data(), nullptr));
        EXPECT_NEAR(EvaluateFock(job.electrons), end.dEnergy, 1e-11 * std::abs(end.dEnergy));
    }
    for (const double dEnergy : {1e9, 1.0, 1e-3})
        for (const double dCommutator : {1e9, 1e-2, 1e-4}) {
            PutBack(start, job);
            const GuardEnd end = Descend(job.electrons, {dEnergy, dCommutator, 100});
            const auto first = std::find_if(ends.begin(), ends.end(), [&](const GuardEnd& e) {
                return e.dDifference < dEnergy && e.dCommutator < dCommutator;
            });
            ASSERT_NE(first, ends.end());
            EXPECT_TRUE(end.fConverged);
            EXPECT_EQ(end.nCycles, first->nCycles) << dEnergy << ' ' << dCommutator;
            EXPECT_EQ(end.dEnergy, first->dEnergy);
        }
}

/// Hydrogen has one orbital, and nothing can be turned into it.
TEST_F(DescentTest, IsAtItsEndWhereNothingCanTurn) {
    GuardedJob job(Spins(Molecule(5, {{1, 0, 0, 0}}), 0, 2, false));
    job.Converge();
    const GuardEnd end = Descend(job.electrons, {0.0, 0.0, 50});
    EXPECT_TRUE(end.fConverged);
    EXPECT_EQ(end.nCycles, 1);
}

/// Twelve shortenings of one step and of no other, and the orbitals are those of before.
TEST_F(DescentTest, GivesUpAnEnergyThatIsNoNumber) {
    GuardedJob job(Water(5));
    job.Converge();
    job.Scatter(0.1);
    const std::vector<Vector> start = OrbitalsOf(job);
    scf.mCore[0] = std::numeric_limits<double>::quiet_NaN();
    const GuardEnd end = Descend(job.electrons, {1e9, 1e9, 1000});
    EXPECT_FALSE(end.fConverged);
    EXPECT_TRUE(std::isnan(end.dEnergy));
    EXPECT_EQ(end.nCycles, 1 + 12);
    EXPECT_EQ(OrbitalsOf(job), start);
}

}  // namespace
}  // namespace qsolve
