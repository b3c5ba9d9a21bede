#include "scf/framed.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "scf/descent.h"
#include "scf/guarded.h"
#include "scf/rotations.h"
#include "scf/starts.h"
#include "tests/support/fresh_state.h"
#include "tests/support/guarded_job.h"

namespace qsolve {
namespace {

constexpr GuardLimits kSharp{1e-7, 1e-6, 100};

/// Water molecules on a grid, each turned otherwise: six orbitals a molecule.
std::vector<Place> Waters(int nMolecules) {
    std::vector<Place> places;
    for (int k = 0; k < nMolecules; ++k) {
        const double x = 2.9 * (k % 3), y = 2.9 * (k / 3 % 3), z = 3.1 * (k / 9), t = 0.7 * k;
        const double c = std::cos(t), s = std::sin(t);
        places.push_back({8, x, y, z});
        for (const double d : {0.9, -0.9})
            places.push_back({1, x + 0.6 * c - d * 0.75 * s, y + 0.6 * s + d * 0.75 * c, z + 0.1});
    }
    return places;
}

/// The largest element of F D - D F of a set, and of D D - D, made element by element.
struct Errors {
    double dCommutator = 0.0, dIdempotency = 0.0;
};

Errors ErrorsOf(int n, const SpinRun& s) {
    Errors errors;
    const auto At = [n](const Array<double>& m, int i, int j) { return m[i * n + j]; };
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) {
            double dCommutator = 0.0, dSquare = -At(s.mDensity, i, j);
            for (int k = 0; k < n; ++k) {
                dCommutator += At(s.mFock, i, k) * At(s.mDensity, k, j) -
                               At(s.mDensity, i, k) * At(s.mFock, k, j);
                dSquare += At(s.mDensity, i, k) * At(s.mDensity, k, j);
            }
            errors.dCommutator = std::max(errors.dCommutator, std::abs(dCommutator));
            errors.dIdempotency = std::max(errors.dIdempotency, std::abs(dSquare));
        }
    return errors;
}

class FramedCycles : public FreshState {};

TEST_F(FramedCycles, AreForTheEndWithoutOpenLevels) {
    GuardedJob job(Molecule(kAm1, Waters(11)));
    Electrons electrons = job.electrons;
    EXPECT_EQ(electrons.n, 66);
    EXPECT_TRUE(MayUseFrame(electrons, 0.69));
    EXPECT_FALSE(MayUseFrame(electrons, 0.71));
    electrons.n = 14;
    EXPECT_TRUE(MayUseFrame(electrons, 0.0));
    electrons.n = 13;
    EXPECT_FALSE(MayUseFrame(electrons, 0.0));
    electrons.n = 64;
    electrons.vShells[0].nOpen = 1;
    EXPECT_FALSE(MayUseFrame(electrons, 0.0));
}

/// Spins of their own choose among more states, for longer.
TEST_F(FramedCycles, AreForTheEndOfManySpinsAlone) {
    GuardedJob job(Spins(Molecule(kAm1, Waters(11)), 1, 2, true));
    Electrons electrons = job.electrons;
    EXPECT_TRUE(MayUseFrame(electrons, 0.049));
    EXPECT_FALSE(MayUseFrame(electrons, 0.051));
    electrons.n = 64;
    EXPECT_TRUE(MayUseFrame(electrons, 0.0));
    electrons.n = 63;
    EXPECT_FALSE(MayUseFrame(electrons, 0.0));
}

/// Nothing turns where no level is empty: any Fock matrix has the one density that there is.
TEST_F(FramedCycles, EndAtOnceWhereAllLevelsAreFull) {
    const std::vector<Place> fluorides = {{9, 0, 0, 0}, {9, 3, 0, 0}, {9, 0, 3, 0}, {9, 1, 2, 3}};
    GuardedJob job(Spins(Molecule(kAm1, fluorides), -4, 1, false));
    ASSERT_EQ(job.electrons.n, 16);
    ASSERT_EQ(job.electrons.vShells[0].nFull, 16);
    ASSERT_TRUE(MayUseFrame(job.electrons, 0.0));
    for (double& p : job.a.mDensity) p *= 0.9;
    MixHistory history;
    const GuardEnd end = RunGuarded(job.electrons, kSharp, history, {.fNear = true, .before = {}});
    EXPECT_TRUE(end.fConverged);
    EXPECT_LT(end.nCycles, 5);
    for (int i = 0; i < 16; ++i) EXPECT_NEAR(job.a.mDensity[i * 17], 1.0, 1e-12);
    const GuardEnd mixed = RunGuarded(job.electrons, kSharp, history);
    EXPECT_NEAR(end.dEnergy, mixed.dEnergy, 1e-9) << "of that density, too";
}

/// In either unit of energy, closed shells and spins of their own.
TEST_F(FramedCycles, EndWhereNothingCouples) {
    for (const int nMethod : {int{kAm1}, int{kCndo}})
        for (const bool fSpins : {false, true}) {
            GuardedJob job(
                Spins(Molecule(nMethod, Waters(11)), fSpins ? 1 : 0, fSpins ? 2 : 1, fSpins));
            MixHistory history;
            const GuardEnd end = RunGuarded(job.electrons, kSharp, history);
            ASSERT_TRUE(end.fConverged);
            EXPECT_LT(end.dCommutator, kSharp.dCommutator);
            EXPECT_TRUE(end.fAhead);  // the matrices of these densities are not made yet
            EXPECT_NEAR(EvaluateFock(job.electrons), end.dEnergy, 1e-8);
            double dLargest = 0.0;
            for (int k = 0; k < job.electrons.nSets; ++k) {
                const Errors errors = ErrorsOf(job.electrons.n, *job.electrons.pSets[k]);
                dLargest = std::max(dLargest, errors.dCommutator);
                EXPECT_LT(errors.dIdempotency, 1e-12);
            }
            EXPECT_LT(dLargest, 0.9 * end.dCommutator);
            EXPECT_TRUE(TakeOrbitals(job.electrons, end.fAhead));
        }
}

/// By themselves, with nothing to take over: each cycle leaves a part of the error.
TEST_F(FramedCycles, GetToTheEndAlone) {
    for (const bool fSpins : {false, true}) {
        GuardedJob job(Spins(Molecule(kAm1, Waters(11)), fSpins ? 1 : 0, fSpins ? 2 : 1, fSpins));
        MixHistory history;
        RunGuarded(job.electrons, {1e-7, 0.02, 100}, history);
        GuardEnd end;
        NextFock(job.electrons, end);
        ASSERT_TRUE(RunInFrame(job.electrons, kSharp, end));
        EXPECT_TRUE(end.fConverged);
        EXPECT_LT(end.nCycles, 16);
    }
}

/// A descent from orbitals beside the end knows nothing of frames.
TEST_F(FramedCycles, EndWhereADescentEnds) {
    GuardedJob job(Molecule(kAm1, Waters(11)));
    MixHistory history;
    const GuardEnd end = RunGuarded(job.electrons, kSharp, history);
    TakeOrbitals(job.electrons);
    job.Scatter(0.01);
    const GuardEnd descent = Descend(job.electrons, {1e-7, 1e-5, 200});
    ASSERT_TRUE(descent.fConverged);
    EXPECT_NEAR(descent.dEnergy, end.dEnergy, 1e-8);
}

TEST_F(FramedCycles, TellTheTruthWhereTheyAreCutOff) {
    for (const int nCycles : {3, 5, 6}) {
        GuardedJob job(Molecule(kAm1, Waters(11)));
        MixHistory history;
        const GuardEnd end = RunGuarded(job.electrons, {1e-7, 1e-6, nCycles}, history);
        EXPECT_FALSE(end.fConverged);
        EXPECT_EQ(end.nCycles, nCycles);
        EXPECT_NEAR(end.dCommutator, ErrorsOf(job.electrons.n, *job.electrons.pSets[0]).dCommutator,
                    1e-12);
    }
}

TEST_F(FramedCycles, EndAtOnceFromANearStart) {
    GuardedJob job(Molecule(kAm1, Waters(11)));
    MixHistory history;
    const GuardEnd first = RunGuarded(job.electrons, kSharp, history);
    const GuardEnd again = RunGuarded(job.electrons, kSharp, history, {.fNear = true});
    EXPECT_TRUE(again.fConverged);
    EXPECT_LE(again.nCycles, 3);
    EXPECT_NEAR(again.dEnergy, first.dEnergy, 1e-8);
}

/// Orbitals of the matrix upside down are no frame for the way down: other cycles go on.
TEST_F(FramedCycles, GiveUpFarFromTheEnd) {
    GuardedJob job(Molecule(kAm1, Waters(11)));
    SpinRun& s = *job.electrons.pSets[0];
    EvaluateFock(job.electrons);
    for (double& f : s.mFock) f = -f;
    GuardEnd end;
    EXPECT_FALSE(RunInFrame(job.electrons, kSharp, end));
    EXPECT_LT(end.nCycles, 5);
    FillDensities(job.electrons);
    MixHistory history;
    EXPECT_TRUE(RunGuarded(job.electrons, kSharp, history, {.fNear = true}).fConverged);
}

/// Elements that are all alike have a norm of n times one; the largest is taken for twice that.
TEST_F(FramedCycles, ExpectAnErrorFromItsNormAlone) {
    for (const int n : {1, 64, 100, 900})
        EXPECT_NEAR(ErrorOfNorm(n).Expected(3.0), 6.0 / std::sqrt(n), 1e-14);
    EXPECT_EQ(ErrorOfNorm(0).Expected(3.0), 6.0);
}

TEST_F(FramedCycles, HaveAnErrorThatFollowsTheNorm) {
    GuardedJob job(Molecule(kAm1, Waters(11)));
    EvaluateFock(job.electrons);
    FramedSearch search;
    StartSearch(job.electrons, search);
    FillDensities(job.electrons);
    EvaluateFock(job.electrons);
    const double dNorm = RememberPoint(job.electrons, search);
    const SpinRun& s = *job.electrons.pSets[0];
    const int n = job.electrons.n;
    double dSquares = 0.0;
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) {
            double d = 0.0;
            for (int k = 0; k < n; ++k)
                d += s.mFock[i * n + k] * s.mDensity[k * n + j] -
                     s.mDensity[i * n + k] * s.mFock[k * n + j];
            dSquares += d * d;
        }
    EXPECT_NEAR(dNorm, std::sqrt(dSquares), 1e-11 * dNorm);
    ErrorOfNorm error(n);
    EXPECT_NEAR(error.Measured(job.electrons, dNorm), ErrorsOf(n, s).dCommutator, 1e-12);
    EXPECT_NEAR(error.Expected(0.5 * dNorm), 0.45 * ErrorsOf(n, s).dCommutator, 1e-12);
}

}  // namespace
}  // namespace qsolve
