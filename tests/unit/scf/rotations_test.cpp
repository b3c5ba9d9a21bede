#include "scf/rotations.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "algebra/diagonalise.h"
#include "scf/descent.h"
#include "scf/stability.h"
#include "tests/support/fresh_state.h"
#include "tests/support/guarded_job.h"
#include "tests/support/matrices.h"

namespace qsolve {
namespace {

/// Closed shells, half electrons and unrestricted spins in each family.
std::vector<JobScript> Kinds() {
    std::vector<JobScript> scripts;
    for (const int nMethod : {1, 8, 5}) {
        scripts.push_back(Water(nMethod));
        scripts.push_back(Spins(Molecule(nMethod, kWaterPlaces), 0, 3, false));
        scripts.push_back(Spins(Molecule(nMethod, kWaterPlaces), 1, 2, true));
    }
    return scripts;
}

class Rotations : public FreshState {};

TEST_F(Rotations, SlopeIsTheDifferenceOfEnergies) {
    for (const JobScript& script : Kinds()) {
        GuardedJob job(script);
        job.Converge();
        job.Scatter(0.1);
        const std::size_t n = CountRotations(job.electrons);
        std::vector<double> slope(n), turns(n);
        TestMatrix work(job.electrons.n + 1, job.electrons.n);
        RotationSlope(job.electrons, work.Data(), slope.data(), nullptr);
        constexpr double h = 1e-4;
        for (std::size_t i = 0; i < n; ++i) {
            turns.assign(n, 0.0);
            turns[i] = h;
            const double dUp = job.EnergyTurned(turns);
            turns[i] = -h;
            const double dDown = job.EnergyTurned(turns);
            // The error is of third order in h, with energies of some hundred units.
            EXPECT_NEAR(slope[i], (dUp - dDown) / (2 * h), 2e-6) << script.nMethod << ' ' << i;
        }
    }
}

/// All second derivatives of the energy by differences of slopes... of energies, at a solution.
TestMatrix HessianByDifferences(GuardedJob& job) {
    const std::size_t n = CountRotations(job.electrons);
    TestMatrix h(static_cast<int>(n), static_cast<int>(n));
    constexpr double d = 3e-3;
    const double dCentre = job.EnergyTurned(std::vector<double>(n));
    const auto At = [&](std::size_t i, double x, std::size_t j, double y) {
        std::vector<double> turns(n);
        turns[i] += x;
        turns[j] += y;
        return job.EnergyTurned(turns);
    };
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j <= i; ++j)
            h(static_cast<int>(i), static_cast<int>(j)) =
                h(static_cast<int>(j), static_cast<int>(i)) =
                    i == j
                        ? (At(i, d, i, 0) - 2 * dCentre + At(i, -d, i, 0)) / (d * d)
                        : (At(i, d, j, d) - At(i, d, j, -d) - At(i, -d, j, d) + At(i, -d, j, -d)) /
                              (4 * d * d);
    return h;
}

/// What a curvature that is not shown to be the lowest may be above it.
double ErrorAbove(double dLowest) {
    return dLowest > kClearCurvature ? kClearPart * dLowest : 2 * kCurvatureError;
}

TEST_F(Rotations, LowestCurvatureIsThatOfTheWholeHessian) {
    for (const JobScript& script : Kinds()) {
        GuardedJob job(script);
        ASSERT_TRUE(job.Converge().fConverged);
        TestMatrix hessian = HessianByDifferences(job);
        const int n = hessian.nRows;
        TestMatrix vectors(n + 1, n);
        std::vector<double> values(static_cast<std::size_t>(n)), direction(values.size());
        Diagonalise(n, hessian.Data(), vectors.Data(), values.data());
        const Curvature found = LowestCurvature(job.electrons, Turn::kSame, 100, direction.data());
        EXPECT_TRUE(found.fKnown);
        // Differences of energies of 300 eV, and of fourth order in the displacement.
        const double dLowest = values[0] * job.electrons.dEv;
        EXPECT_GT(found.dLowest, dLowest - 2e-3) << script.nMethod;
        EXPECT_LT(found.dLowest, dLowest + ErrorAbove(dLowest))
            << script.nMethod << ' ' << script.Options.nMultiplicity;
    }
}

/// The lowest eigenvalue of the Hessian of the orbitals, written down product by product; eV.
double LowestOfAll(Electrons& electrons, Turn turn) {
    const std::size_t n = CountRotations(electrons);
    TestMatrix hessian(static_cast<int>(n), static_cast<int>(n)),
        vectors(static_cast<int>(n) + 1, static_cast<int>(n));
    std::vector<double> bend(n), values(n);
    FillBend(electrons, bend.data());
    for (std::size_t i = 0; i < n; ++i) {
        std::vector<double> unit(n);
        unit[i] = 1.0;
        MultiplyByHessian(electrons, turn, bend.data(), unit.data(), hessian.Data() + i * n);
    }
    Diagonalise(static_cast<int>(n), hessian.Data(), vectors.Data(), values.data());
    return values[0] * electrons.dEv;
}

/// Of small molecules it is that of all turns, though a symmetry keeps some of them out of what a
/// start that is chosen by levels leads to.
TEST_F(Rotations, LowestCurvatureOfASmallMoleculeIsExact) {
    const std::vector<std::vector<Place>> molecules = {
        {{7, 0, 0, 0}, {7, 0, 1.1, 0}},
        {{16, 0, 0, 0.11}, {1, 0, 1.08, -0.91}, {1, 0, -1.08, -0.91}},
        {{17, 0, 0, 0}, {9, 0, 0, 1.83}},
        {{6, 0, 0, 0},
         {1, 0.6, 0.6, 0.6},
         {1, -0.6, -0.6, 0.6},
         {1, -0.6, 0.6, -0.6},
         {1, 0.6, -0.6, -0.6}}};
    for (const int nMethod : {1, 4, 5, 8})
        for (const std::vector<Place>& places : molecules)
            for (const Turn turn : {Turn::kSame, Turn::kSpinsApart}) {
                GuardedJob job(Molecule(nMethod, places));
                ASSERT_TRUE(job.Converge().fConverged);
                const double dWhole = LowestOfAll(job.electrons, turn);
                FillDensities(job.electrons);
                EvaluateFock(job.electrons);
                TakeOrbitals(job.electrons);
                std::vector<double> direction(CountRotations(job.electrons));
                const Curvature found = StateTest(job.electrons).Lowest(turn, direction.data());
                EXPECT_TRUE(found.fLowest);
                EXPECT_NEAR(found.dLowest, dWhole, kLowestError)
                    << nMethod << ' ' << places.size() << ' ' << (turn == Turn::kSame);
            }
}

/// Of molecules beside one another, as of so many levels: what is far above zero is not told apart
/// to its last digits, and what is near zero is.
TEST_F(Rotations, LowestCurvatureOfManyIsAsSharpAsItHasToBe) {
    for (const double dApart : {1.0, 1.25, 1.3}) {
        std::vector<Place> places;
        for (int k = 0; k < 4; ++k) {
            places.push_back({7, 4.0 * k, 0.3 * k, 0});
            places.push_back({7, 4.0 * k, 0.3 * k + dApart, 0.1});
        }
        for (const Turn turn : {Turn::kSame, Turn::kSpinsApart}) {
            GuardedJob job(Molecule(5, places));
            ASSERT_TRUE(job.Converge().fConverged);
            TakeOrbitals(job.electrons);
            const double dWhole = LowestOfAll(job.electrons, turn);
            FillDensities(job.electrons);
            EvaluateFock(job.electrons);
            TakeOrbitals(job.electrons);
            std::vector<double> direction(CountRotations(job.electrons));
            const Curvature found = LowestCurvature(job.electrons, turn, 150, direction.data());
            EXPECT_TRUE(found.fKnown);
            EXPECT_GT(found.dLowest, dWhole - kCurvatureError) << dApart;
            EXPECT_LT(found.dLowest, dWhole + ErrorAbove(dWhole)) << dApart;
        }
    }
}

/// Nine descents of 127 Fock matrices in all; steps that remember nothing take 393. The bound
/// leaves a tenth to the rounding of other kernels.
TEST_F(Rotations, DescentEndsWhereTheCyclesEndAndLearnsOnTheWay) {
    int nMatrices = 0;
    for (const JobScript& script : Kinds()) {
        GuardedJob job(script);
        const GuardEnd cycles = job.Converge();
        job.Scatter(0.05);
        const GuardEnd descent = Descend(job.electrons, {1e-9, 1e-7, 300});
        EXPECT_TRUE(descent.fConverged);
        EXPECT_NEAR(descent.dEnergy, cycles.dEnergy, 1e-8);
        nMatrices += descent.nCycles;
    }
    EXPECT_LE(nMatrices, 140);
}

TEST_F(Rotations, OrbitalsStayOrthonormalAndDensitiesHoldTheirElectrons) {
    GuardedJob job(Spins(Molecule(5, kWaterPlaces), 0, 3, false));
    job.Converge();
    job.Scatter(0.8);
    const int n = job.electrons.n;
    for (int i = 0; i < n; ++i)
        for (int j = 0; j <= i; ++j) {
            double d = 0.0;
            for (int k = 0; k < n; ++k) d += scf.mVectorsA[i * n + k] * scf.mVectorsA[j * n + k];
            EXPECT_NEAR(d, i == j ? 1.0 : 0.0, 1e-13);
        }
    EXPECT_TRUE(HoldsItsElectrons(job.electrons));
}

}  // namespace
}  // namespace qsolve
