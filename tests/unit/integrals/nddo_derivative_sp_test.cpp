#include "integrals/nddo_derivative_sp.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "integrals/mindo3.h"
#include "integrals/nddo_pair_sp.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scf_job.h"

namespace qsolve {
namespace {

/// Step of five-point differences, Angstrom. Large enough to leave the axis: nearer than 1.4e-4
/// radian the integrals take the axis for the direction.
constexpr double kStep = 1e-3;

/// The slope at 0 of a function of a displacement.
template <class Function>
double Slope(Function f) {
    return (8.0 * (f(kStep) - f(-kStep)) - (f(2.0 * kStep) - f(-2.0 * kStep))) / (12.0 * kStep);
}

/// Two atoms of formaldehyde, the first wherever the test puts it.
struct Pair {
    int iA, iB;
};
constexpr Pair kPairs[] = {{0, 1}, {1, 0}, {0, 2}, {2, 1}, {2, 3}};

constexpr double kDirections[][3] = {{0, 0, 1},        {0, 0, -1},     {1, 0, 0},
                                     {-1, 0, 0},       {0, 1, 0},      {0, -1, 0},
                                     {0.4, -0.8, 0.3}, {0, 0.6, -0.8}, {1e-3, 0, 1}};

class NddoDerivative : public FreshState {
  protected:
    void Use(int nMethod) {
        SetUpJob(
            Molecule(nMethod, {{6, 0, 0, 0}, {8, 0, 0, 1.2}, {1, 1, 0, -0.5}, {1, -1, 0, -0.5}}));
    }
    /// The pair with A at a distance from B in a direction.
    void Put(const Pair& pair, const double* vDirection, double R) {
        a = NddoAtomAt(pair.iA);
        b = NddoAtomAt(pair.iB);
        const double d = std::hypot(vDirection[0], vDirection[1], vDirection[2]);
        for (int k = 0; k < 3; ++k) {
            vB[k] = 0.1 * k;
            vA[k] = vB[k] + R * vDirection[k] / d;
        }
        a.Listed.pXyz = vA;
        b.Listed.pXyz = vB;
    }
    /// The block with A displaced.
    std::vector<double> BlockAt(int nAxis, double dShift) {
        const double dOld = vA[nAxis];
        vA[nAxis] += dShift;
        std::vector<double> block(static_cast<std::size_t>(a.nProducts * b.nProducts));
        PairTerms terms;
        ComputePairSp(a, b, GeometryOf(a, b), block.data(), terms);
        vA[nAxis] = dOld;
        return block;
    }
    NddoAtom a, b;
    double vA[3], vB[3];
};

Square4 RandomSquare(int nRows, int nColumns, bool fSymmetric, std::mt19937& random) {
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    Square4 m = {};
    for (int i = 0; i < nRows; ++i)
        for (int j = 0; j < nColumns; ++j)
            m.r[i][j] = fSymmetric && j < i ? m.r[j][i] : uniform(random);
    return m;
}

int Orbitals(const NddoAtom& atom) {
    return atom.Listed.nOrbitals;
}

/// E of PairDensity, summed as it is written down.
double EnergyOfDensity(const NddoAtom& a, const NddoAtom& b, const PairDensity& density,
                       const std::vector<double>& block) {
    double dEnergy = 0.0;
    for (int i = 0; i < Orbitals(a); ++i)
        for (int j = 0; j < Orbitals(a); ++j)
            for (int k = 0; k < Orbitals(b); ++k)
                for (int l = 0; l < Orbitals(b); ++l) {
                    const int m = ProductNumber(std::max(i, j), std::min(i, j));
                    const int n = ProductNumber(std::max(k, l), std::min(k, l));
                    double D = density.pA->r[i][j] * density.pB->r[k][l];
                    for (int s = 0; s < density.nSpins; ++s)
                        D -=
                            density.dExchange * density.mSpin[s].r[i][k] * density.mSpin[s].r[j][l];
                    dEnergy += D * block[static_cast<std::size_t>(m * b.nProducts + n)];
                }
    return dEnergy;
}

TEST_F(NddoDerivative, OfLocalIntegralsIsTheirSlope) {
    Use(kAm1);
    for (const Pair& pair : kPairs)
        for (const double R : {0.9, 1.7, 6.0}) {
            Put(pair, kDirections[0], R);
            LocalCharges charges;
            MakeLocalCharges(a, b, charges);
            double vRi[kLocalIntegrals] = {}, vSlope[kLocalIntegrals] = {};
            ComputeLocalDerivatives(charges, R, vRi, vSlope);
            for (int n = 0; n < kLocalIntegrals; ++n) {
                const auto integral = [&](double d) {
                    double g[kLocalIntegrals] = {};
                    ComputeLocalIntegrals(a, b, R + d, g);
                    return g[n];
                };
                EXPECT_NEAR(vRi[n], integral(0.0), 1e-12) << n;
                EXPECT_NEAR(vSlope[n], Slope(integral), 1e-8) << n;
            }
        }
}

TEST_F(NddoDerivative, OfEachIntegralOfABlockIsItsSlope) {
    Use(kPm3);
    double dWorst = 0.0;
    for (const Pair& pair : kPairs)
        for (const auto& vDirection : kDirections) {
            Put(pair, vDirection, 1.3);
            LocalCharges charges;
            MakeLocalCharges(a, b, charges);
            const PairGeometry geometry = GeometryOf(a, b);
            for (int i = 0; i < Orbitals(a); ++i)
                for (int j = 0; j <= i; ++j)
                    for (int k = 0; k < Orbitals(b); ++k)
                        for (int l = 0; l <= k; ++l) {
                            Square4 A = {}, B = {};
                            A.r[i][j] += 0.5, A.r[j][i] += 0.5;
                            B.r[k][l] += 0.5, B.r[l][k] += 0.5;
                            PairDensity density;
                            density.pA = &A;
                            density.pB = &B;
                            PairDerivative derivative;
                            ComputePairDerivativesSp(charges, geometry, density, derivative);
                            const auto n = static_cast<std::size_t>(
                                ProductNumber(i, j) * b.nProducts + ProductNumber(k, l));
                            for (int c = 0; c < 3; ++c) {
                                const double dSlope =
                                    Slope([&](double d) { return BlockAt(c, d)[n]; });
                                const double d = std::abs(derivative.vOfA[c] - dSlope);
                                dWorst = std::max(dWorst, d);
                                EXPECT_LT(d, 2e-8) << i << j << k << l << " axis " << c;
                            }
                        }
        }
    RecordProperty("worst", std::to_string(dWorst));
}

TEST_F(NddoDerivative, OfADensitysEnergyIsItsSlope) {
    std::mt19937 random(7);
    for (const int nMethod : {kMndo, kMindo3}) {
        Use(nMethod);
        for (const Pair& pair : kPairs)
            for (const auto& vDirection : kDirections) {
                Put(pair, vDirection, 1.3);
                const bool fMindo = nMethod == kMindo3;
                const int nA = fMindo ? 1 : Orbitals(a), nB = fMindo ? 1 : Orbitals(b);
                const Square4 A = RandomSquare(nA, nA, true, random);
                const Square4 B = RandomSquare(nB, nB, true, random);
                PairDensity density{&A, &B, {}, 2, 1.3};
                for (Square4& P : density.mSpin)
                    P = RandomSquare(Orbitals(a), Orbitals(b), false, random);
                PairDerivative derivative;
                LocalCharges charges;
                MakeLocalCharges(a, b, charges);
                if (fMindo)
                    ComputePairDerivativesMindo(a, b, GeometryOf(a, b), density, derivative);
                else
                    ComputePairDerivativesSp(charges, GeometryOf(a, b), density, derivative);
                for (int c = 0; c < 3; ++c) {
                    const auto energy = [&](double d) {
                        const std::vector<double> block = BlockAt(c, d);
                        if (!fMindo) return EnergyOfDensity(a, b, density, block);
                        double D = A.r[0][0] * B.r[0][0];
                        for (const Square4& P : density.mSpin)
                            for (int i = 0; i < 4; ++i)
                                for (int k = 0; k < 4; ++k) D -= 1.3 * P.r[i][k] * P.r[i][k];
                        return D * block[0];
                    };
                    EXPECT_NEAR(derivative.vOfA[c], Slope(energy), 1e-7) << "axis " << c;
                }
            }
    }
}

TEST_F(NddoDerivative, TurnsItsSignWhereTheAtomsChangePlaces) {
    Use(kMndo);
    std::mt19937 random(8);
    Put({0, 1}, kDirections[6], 1.2);
    const Square4 A = RandomSquare(4, 4, true, random), B = RandomSquare(4, 4, true, random);
    PairDensity forward{&A, &B, {RandomSquare(4, 4, false, random)}, 1, 2.0};
    PairDensity back{&B, &A, {}, 1, 2.0};
    for (int i = 0; i < 4; ++i)
        for (int k = 0; k < 4; ++k) back.mSpin[0].r[k][i] = forward.mSpin[0].r[i][k];
    LocalCharges ab, ba;
    MakeLocalCharges(a, b, ab);
    MakeLocalCharges(b, a, ba);
    PairDerivative ofA, ofB;
    ComputePairDerivativesSp(ab, GeometryOf(a, b), forward, ofA);
    ComputePairDerivativesSp(ba, GeometryOf(b, a), back, ofB);
    for (int c = 0; c < 3; ++c) EXPECT_NEAR(ofA.vOfA[c], -ofB.vOfA[c], 1e-12);
}

}  // namespace
}  // namespace qsolve
