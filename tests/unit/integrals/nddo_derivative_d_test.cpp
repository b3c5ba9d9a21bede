#include "integrals/nddo_derivative_d.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "integrals/nddo_pair_d.h"
#include "setup/state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scf_job.h"

namespace qsolve {
namespace {

constexpr double kStep = 1e-3;  ///< of five-point differences, Angstrom

/// Atoms of the molecule, by place.
struct Pair {
    const char* sName;
    int iA, iB;
};
constexpr Pair kPairs[] = {{"Si Cl", 0, 1}, {"Cl Si", 1, 0}, {"Si C", 0, 2},
                           {"O S", 4, 3},   {"S H", 3, 5},   {"H Si", 5, 0}};

constexpr double kDirections[][3] = {{0, 0, 1}, {0, 0, -1}, {1, 0, 0},        {-1, 0, 0},
                                     {0, 1, 0}, {0, -1, 0}, {0.4, -0.8, 0.3}, {0, 0.6, -0.8}};

class NddoDerivativeD : public FreshState, public testing::WithParamInterface<Pair> {
  protected:
    NddoDerivativeD() {
        SetUpJob(Molecule(kMndoD, {{14, 0, 0, 0},
                                   {17, 0, 0, 2.05},
                                   {6, 0, 1.9, -0.3},
                                   {16, 2.1, 0, 0},
                                   {8, 2.5, 1.5, 0},
                                   {1, 2.4, -1.3, 0}}));
        a = NddoAtomAt(GetParam().iA);
        b = NddoAtomAt(GetParam().iB);
        a.Listed.pXyz = vA;
        b.Listed.pXyz = vB;
        FillRandomly(a, a, true, density.mA);
        FillRandomly(b, b, true, density.mB);
        for (auto& P : density.mSpin) FillRandomly(a, b, false, P);
        density.nSpins = 2;
        density.dExchange = 1.3;
    }
    void FillRandomly(const NddoAtom& row, const NddoAtom& column, bool fSymmetric, double* m) {
        std::uniform_real_distribution<double> uniform(-1.0, 1.0);
        std::fill_n(m, kAtomOrbitals * kAtomOrbitals, 0.0);
        for (int i = 0; i < row.Listed.nOrbitals; ++i)
            for (int j = 0; j < column.Listed.nOrbitals; ++j)
                m[i * kAtomOrbitals + j] =
                    fSymmetric && j < i ? m[j * kAtomOrbitals + i] : uniform(random);
    }
    /// E of PairDensity summed as it is written down, with A displaced.
    double EnergyAt(int nAxis, double dShift) {
        const double dOld = vA[nAxis];
        vA[nAxis] += dShift;
        std::vector<double> block(static_cast<std::size_t>(a.nProducts * b.nProducts));
        PairTerms terms;
        ComputePairD(a, b, GeometryOf(a, b), block.data(), terms);
        vA[nAxis] = dOld;
        double dEnergy = 0.0;
        for (int i = 0; i < a.Listed.nOrbitals; ++i)
            for (int j = 0; j < a.Listed.nOrbitals; ++j)
                for (int k = 0; k < b.Listed.nOrbitals; ++k)
                    for (int l = 0; l < b.Listed.nOrbitals; ++l) {
                        const int m = ProductNumber(std::max(i, j), std::min(i, j));
                        const int n = ProductNumber(std::max(k, l), std::min(k, l));
                        dEnergy += DensityOf(i, j, k, l) *
                                   block[static_cast<std::size_t>(m * b.nProducts + n)];
                    }
        return dEnergy;
    }
    double DensityOf(int i, int j, int k, int l) const {
        double d = density.mA[i * kAtomOrbitals + j] * density.mB[k * kAtomOrbitals + l];
        for (const auto& P : density.mSpin)
            d -= density.dExchange * P[i * kAtomOrbitals + k] * P[j * kAtomOrbitals + l];
        return d;
    }
    std::mt19937 random{11};
    NddoAtom a, b;
    double vA[3] = {}, vB[3] = {0.1, 0.2, 0.3};
    PairDensityD density;
};
INSTANTIATE_TEST_SUITE_P(Pairs, NddoDerivativeD, testing::ValuesIn(kPairs));

TEST_P(NddoDerivativeD, OfADensitysEnergyIsItsSlope) {
    for (const auto& vDirection : kDirections)
        for (const double R : {1.4, 2.2}) {
            const double d = std::hypot(vDirection[0], vDirection[1], vDirection[2]);
            for (int k = 0; k < 3; ++k) vA[k] = vB[k] + R * vDirection[k] / d;
            PairDerivative derivative;
            ComputePairDerivativesD(a, b, GeometryOf(a, b), density, derivative);
            for (int c = 0; c < 3; ++c) {
                const auto difference = [&](double h) { return EnergyAt(c, h) - EnergyAt(c, -h); };
                const double dSlope =
                    (8.0 * difference(kStep) - difference(2.0 * kStep)) / (12.0 * kStep);
                EXPECT_NEAR(derivative.vOfA[c], dSlope, 1e-6)
                    << GetParam().sName << " axis " << c << " along " << vDirection[0] << ' '
                    << vDirection[1] << ' ' << vDirection[2];
            }
        }
}

TEST_P(NddoDerivativeD, OfAPairThatCannotBeComputedIsZero) {
    const NddoAtom& heavy = a.HasD() ? a : b;
    parameters.Derived.pExtended[heavy.Listed.Row()].dRho0dd = 0.0;
    vA[2] = 3.0;
    PairDerivative derivative = {{1.0, 1.0, 1.0}, 1.0, 1.0};
    ComputePairDerivativesD(a, b, GeometryOf(a, b), density, derivative);
    for (const double d : derivative.vOfA) EXPECT_EQ(d, 0.0);
    EXPECT_EQ(derivative.dSs, 0.0);
}

}  // namespace
}  // namespace qsolve
