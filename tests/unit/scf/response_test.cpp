#include "scf/response.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "scf/guarded.h"
#include "scf/rotations.h"
#include "scf/starts.h"
#include "tests/support/fresh_state.h"
#include "tests/support/guarded_job.h"
#include "tests/support/matrices.h"

namespace qsolve {
namespace {

/// Closed shells and unrestricted spins in each family.
std::vector<JobScript> Kinds() {
    std::vector<JobScript> scripts;
    for (const int nMethod : {1, 8, 5}) {
        scripts.push_back(Water(nMethod));
        scripts.push_back(Spins(Molecule(nMethod, kWaterPlaces), 1, 2, true));
    }
    return scripts;
}

/// The densities of all sets once the core Hamiltonian has been changed by dPart of a matrix.
std::vector<double> DensitiesIn(GuardedJob& job, const TestMatrix& field, double dPart) {
    const std::vector<double> core(scf.mCore.begin(), scf.mCore.end());
    for (int i = 0; i < job.electrons.n; ++i)
        for (int j = 0; j < job.electrons.n; ++j)
            scf.mCore[static_cast<std::size_t>(i * job.electrons.n + j)] += dPart * field(i, j);
    job.Converge();
    std::vector<double> densities;
    for (int k = 0; k < job.electrons.nSets; ++k)
        for (const double d : job.electrons.pSets[k]->mDensity) densities.push_back(d);
    std::copy(core.begin(), core.end(), scf.mCore.begin());
    return densities;
}

/// The slope of the energy by a matrix that is added to the core Hamiltonian.
std::vector<double> SlopeBy(const TestMatrix& field, GuardedJob& job) {
    std::vector<double> slope(CountRotations(job.electrons));
    TestMatrix work(job.electrons.n + 1, job.electrons.n);
    double* p = slope.data();
    for (int k = 0; k < job.electrons.nSets; ++k) {
        AddMatrixOfRotations(job.electrons.vShells[k], job.electrons.pSets[k]->mVectors.Data(),
                             field.Data(), 2.0 * job.electrons.dWeight, work.Data(), p);
        p += RotationsOf(job.electrons.vShells[k]);
    }
    return slope;
}

ResponseEnd Solve(GuardedJob& job, const std::vector<double>& slope, std::vector<double>& x,
                  int nMost = 100) {
    std::vector<double> bend(slope.size());
    x.assign(slope.size(), 7.0);
    FillBend(job.electrons, bend.data());
    return SolveResponse(job.electrons, bend.data(), slope.data(), 1e-8, nMost, x.data());
}

class Response : public FreshState {};

// Densities of states that have converged in the field, to either side, know nothing of equations.
TEST_F(Response, IsHowTheDensityFollowsAField) {
    for (const JobScript& script : Kinds()) {
        GuardedJob job(script);
        const TestMatrix field = RandomSymmetric(job.electrons.n, 3);
        constexpr double h = 3e-4;
        const std::vector<double> up = DensitiesIn(job, field, h);
        const std::vector<double> down = DensitiesIn(job, field, -h);
        ASSERT_TRUE(job.Converge().fConverged);
        std::vector<double> x;
        ASSERT_TRUE(Solve(job, SlopeBy(field, job), x).fConverged) << script.nMethod;
        TestMatrix work(job.electrons.n + 1, job.electrons.n);
        TestMatrix change(job.electrons.n, job.electrons.n);
        const double* p = x.data();
        std::size_t i = 0;
        for (int k = 0; k < job.electrons.nSets; ++k) {
            const Shells& shells = job.electrons.vShells[k];
            DensityChange(shells, job.electrons.pSets[k]->mVectors.Data(), p, work.Data(),
                          change.Data());
            p += RotationsOf(shells);
            for (int j = 0; j < shells.n * shells.n; ++j, ++i)
                EXPECT_NEAR(change.Data()[j], (up[i] - down[i]) / (2 * h), 1e-3)
                    << script.nMethod << "," << script.Options.nMultiplicity << ","
                    << script.Options.nSpinTreatment << " " << k << " " << j;
        }
    }
}

TEST_F(Response, OfNothingIsNothing) {
    GuardedJob job(Water());
    job.Converge();
    std::vector<double> x;
    const ResponseEnd end = Solve(job, std::vector<double>(CountRotations(job.electrons)), x);
    EXPECT_TRUE(end.fConverged);
    EXPECT_EQ(end.nProducts, 0);
    for (const double d : x) EXPECT_EQ(d, 0.0);
}

TEST_F(Response, GivesUpAfterTheProductsThatItMayTake) {
    GuardedJob job(Water());
    job.Converge();
    std::vector<double> x;
    const ResponseEnd end = Solve(job, SlopeBy(RandomSymmetric(6, 1), job), x, 2);
    EXPECT_FALSE(end.fConverged);
    EXPECT_EQ(end.nProducts, 2);
}

TEST_F(Response, HasNoAnswerToWhatIsNoNumber) {
    GuardedJob job(Water());
    job.Converge();
    std::vector<double> x, slope(CountRotations(job.electrons), 1.0);
    slope[3] = std::nan("");
    EXPECT_FALSE(Solve(job, slope, x).fConverged);
}

// Where an electron has gone up a level, the way back is downhill.
TEST_F(Response, GivesUpWhereTheStateIsNoMinimum) {
    GuardedJob job(Water());
    job.Converge();
    Shells& shells = job.electrons.vShells[0];
    ASSERT_TRUE(ExchangeLevels(job.electrons, 0, shells.nFull - 1, shells.nFull));
    TakeOrbitals(job.electrons);
    FillDensities(job.electrons);
    EvaluateFock(job.electrons);
    std::vector<double> x;
    EXPECT_FALSE(Solve(job, SlopeBy(RandomSymmetric(6, 1), job), x).fConverged);
}

}  // namespace
}  // namespace qsolve
