#include "scf/next_orbitals.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "tests/support/fresh_state.h"
#include "tests/support/guarded_job.h"
#include "tests/support/matrices.h"

namespace qsolve {
namespace {

class NextOrbitals : public FreshState {};

/// The electrons of water as if there were more orbitals.
Electrons Enlarged(const GuardedJob& job, int nOrbitals) {
    Electrons electrons = job.electrons;
    electrons.n = nOrbitals;
    return electrons;
}

TEST_F(NextOrbitals, AreTurnedBelowAnErrorThatFallsInLargeMolecules) {
    const GuardedJob job(Molecule(5, kWaterPlaces));
    const Electrons large = Enlarged(job, 64), small = Enlarged(job, 63);
    Turns turns, ofSmall;
    for (const auto& [dError, fNear] : {std::pair{0.9, false},
                                        {0.6, true},
                                        {0.65, false},
                                        {0.5, true},
                                        {0.5, false},
                                        {0.1, true}}) {
        turns.Judge(large, dError);
        EXPECT_EQ(turns.fNear, fNear) << dError;
        ofSmall.Judge(small, dError);
        EXPECT_FALSE(ofSmall.fNear);
    }
}

/// |F c - e c| of all orbitals of a set, the largest element.
double Residual(int n, const TestMatrix& fock, const SpinRun& s) {
    double dLargest = 0.0;
    for (int k = 0; k < n; ++k)
        for (int i = 0; i < n; ++i) {
            double d = -s.vEnergy[k] * s.mVectors[k * n + i];
            for (int j = 0; j < n; ++j) d += fock(i, j) * s.mVectors[k * n + j];
            dLargest = std::max(dLargest, std::abs(d));
        }
    return dLargest;
}

TEST_F(NextOrbitals, AreAllSolvedForBeforeTheyAreTurned) {
    GuardedJob job(Molecule(5, kWaterPlaces));
    const int n = job.electrons.n;
    SpinRun& s = *job.electrons.pSets[0];
    EvaluateFock(job.electrons);
    TestMatrix fock(n, n);
    std::copy_n(s.mFock.Data(), n * n, fock.Data());
    Turns turns{.fNear = true};
    NewOrbitals(job.electrons, 0, turns);
    EXPECT_TRUE(turns.fAll[0]);
    EXPECT_LE(Residual(n, fock, s), 1e-13 * RowNorm(fock));

    // Of the same matrix again there is nothing to turn, and the levels stay.
    const std::vector<double> before(s.mVectors.begin(), s.mVectors.begin() + n * n);
    std::copy_n(fock.Data(), n * n, s.mFock.Data());
    NewOrbitals(job.electrons, 0, turns);
    for (int i = 0; i < n * n; ++i)
        EXPECT_NEAR(s.mVectors[i], before[static_cast<std::size_t>(i)], 1e-12);
}

}  // namespace
}  // namespace qsolve
