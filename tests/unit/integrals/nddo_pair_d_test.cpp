#include "integrals/nddo_pair_d.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "integrals/nddo_core.h"
#include "integrals/nddo_pair_sp.h"
#include "job/state.h"
#include "link/state.h"
#include "scf/state.h"
#include "setup/state.h"
#include "tests/support/scf_job.h"
#include "tests/support/scripted_client.h"

namespace qsolve {
namespace {

constexpr double kTight = 1e-8;  ///< convergence limit, kcal/mol

JobScript TightJob(const std::vector<Place>& places) {
    JobScript script = Molecule(kMndoD, places);
    script.Options.flConvergenceLimit = static_cast<float>(kTight);
    return script;
}

/// A pair of atoms in their places, from the tables.
struct Pair {
    NddoAtom a, b;
    std::vector<double> block;
    PairTerms terms;
};

using PairRoutine = void (*)(const NddoAtom&, const NddoAtom&, const PairGeometry&, double*,
                             PairTerms&);

Pair PairOf(PairRoutine routine, const NddoAtom& a, const NddoAtom& b) {
    Pair pair{a, b, std::vector<double>(static_cast<std::size_t>(a.nProducts * b.nProducts)), {}};
    routine(a, b, GeometryOf(a, b), pair.block.data(), pair.terms);
    return pair;
}

/// Two atoms and a third one, far off, that makes the number of electrons even.
void SetUpPair(int nA, int nB, const std::vector<double>& vector) {
    std::vector<Place> places = {{nA, 0.2, -0.1, 0.3},
                                 {nB, 0.2 + vector[0], -0.1 + vector[1], 0.3 + vector[2]}};
    if ((nA + nB) % 2 != 0) places.push_back({1, 50, 50, 50});
    SetUpJob(Molecule(kMndoD, places));
    SetPositions(PositionsOf(places));
}

const std::vector<std::vector<double>> kDirections = {
    {0, 0, 1.9},  {0, 0, -1.9},     {1.9, 0, 0},       {-1.9, 0, 0},       {0, 1.9, 0},
    {0, -1.9, 0}, {0.7, -1.1, 1.3}, {-1.2, 0.3, -0.9}, {1e-5, -2e-5, 1.9}, {1e-9, 1e-10, -1.9}};

TEST(NddoPairD, BothOrdersAreTransposes) {
    for (const auto& [nA, nB] : {std::pair{16, 17}, {16, 8}, {35, 1}, {13, 53}})
        for (const auto& direction : kDirections) {
            SetUpPair(nA, nB, direction);
            const NddoAtom a = NddoAtomAt(0), b = NddoAtomAt(1);
            const Pair ab = PairOf(ComputePairD, a, b), ba = PairOf(ComputePairD, b, a);
            std::vector<double> turned(ab.block.size());
            TransposeBlock(ba.block.data(), b.nProducts, a.nProducts, turned.data());
            for (std::size_t t = 0; t < turned.size(); ++t)
                ASSERT_NEAR(ab.block[t], turned[t], 1e-11) << nA << " " << nB << " " << t;
            for (int m = 0; m < a.nProducts; ++m)
                ASSERT_NEAR(ab.terms.vE1b[m], ba.terms.vE2a[m], 1e-10);
            for (int n = 0; n < b.nProducts; ++n)
                ASSERT_NEAR(ab.terms.vE2a[n], ba.terms.vE1b[n], 1e-10);
            ASSERT_NEAR(ab.terms.dPairEnergy, ba.terms.dPairEnergy, 1e-10);
        }
}

TEST(NddoPairD, BlockOfDWithHydrogenHasOneColumn) {
    SetUpPair(16, 1, {0.5, 0.6, 1.0});
    const Pair pair = PairOf(ComputePairD, NddoAtomAt(0), NddoAtomAt(1));
    EXPECT_EQ(pair.block.size(), 45u);
    for (int m = 0; m < 45; ++m) EXPECT_EQ(pair.terms.vE1b[m], -pair.block[std::size_t(m)]);
    EXPECT_EQ(pair.terms.vE2a[0], -6.0 * pair.block[0]);
}

TEST(NddoPairD, IntegralsAmongSAndPAreThoseOfPairsWithoutD) {
    for (const auto& direction : kDirections) {
        SetUpPair(16, 17, direction);
        NddoAtom a = NddoAtomAt(0), b = NddoAtomAt(1);
        const Pair d = PairOf(ComputePairD, a, b);
        for (NddoAtom* p : {&a, &b}) p->Listed.nOrbitals = 4, p->nProducts = 10;
        const Pair sp = PairOf(ComputePairSp, a, b);
        for (std::size_t m = 0; m < 10; ++m)
            for (std::size_t n = 0; n < 10; ++n)
                ASSERT_NEAR(d.block[m * 45 + n], sp.block[m * 10 + n], 1e-11);
        EXPECT_NEAR(d.terms.dPairEnergy, sp.terms.dPairEnergy, 1e-11);
    }
}

TEST(NddoPairD, PairWithoutDIsComputedAndComplainedOf) {
    for (const auto& [nA, nB] : {std::pair{6, 8}, {6, 1}, {1, 7}, {1, 1}}) {
        SetUpPair(nA, nB, {0.4, -0.8, 0.9});
        const NddoAtom a = NddoAtomAt(0), b = NddoAtomAt(1);
        const Pair d = PairOf(ComputePairD, a, b), sp = PairOf(ComputePairSp, a, b);
        for (std::size_t t = 0; t < sp.block.size(); ++t)
            EXPECT_NEAR(d.block[t], sp.block[t], 1e-12);
        for (int m = 0; m < a.nProducts; ++m) EXPECT_NEAR(d.terms.vE1b[m], sp.terms.vE1b[m], 1e-11);
        for (int n = 0; n < b.nProducts; ++n) EXPECT_NEAR(d.terms.vE2a[n], sp.terms.vE2a[n], 1e-11);
        EXPECT_NEAR(d.terms.dPairEnergy, sp.terms.dPairEnergy, 1e-12);
        ASSERT_EQ(client.Errors().size(), 1u);
        EXPECT_EQ(client.Errors()[0], "Called a wrong routine to compute 2c 2e integrals.");
    }
}

TEST(NddoPairD, LocalAxisAlongZLeavesTheBlock) {
    std::vector<double> local(45 * 45), block(45 * 45);
    for (std::size_t t = 0; t < local.size(); ++t) local[t] = std::sin(static_cast<double>(t));
    const double vUp[] = {0, 0, 1};
    ASSERT_TRUE(RotateLocalBlock(2, 2, local.data(), vUp, block.data()));
    for (std::size_t t = 0; t < local.size(); ++t) EXPECT_NEAR(block[t], local[t], 1e-14);
}

void ExpectNothing(const Pair& pair) {
    for (const double d : pair.block) ASSERT_EQ(d, 0.0);
    for (const double d : pair.terms.vE1b) ASSERT_EQ(d, 0.0);
    for (const double d : pair.terms.vE2a) ASSERT_EQ(d, 0.0);
    ASSERT_EQ(pair.terms.dPairEnergy, 0.0);
}

TEST(NddoPairD, MissingAdditiveTermLeavesThePairEmpty) {
    SetUpPair(16, 17, {0.4, -0.8, 1.9});
    parameters.Derived.pExtended[16].dRho2sd = 0.0;
    ExpectNothing(PairOf(ComputePairD, NddoAtomAt(0), NddoAtomAt(1)));
    ASSERT_EQ(client.Errors().size(), 1u);
    EXPECT_EQ(client.Errors()[0],
              "Error in computing the multipole-multipole interaction integrals.");
}

TEST(NddoPairD, PlaceThatIsNoNumberLeavesThePairEmpty) {
    SetUpPair(16, 17, {0.4, -0.8, 1.9});
    const NddoAtom a = NddoAtomAt(0), b = NddoAtomAt(1);
    Pair pair{a, b, std::vector<double>(45 * 45, 1.0), {}};
    PairGeometry geometry = GeometryOf(a, b);
    geometry.vDirection[1] = std::numeric_limits<double>::quiet_NaN();
    ComputePairD(a, b, geometry, pair.block.data(), pair.terms);
    ExpectNothing(pair);
    ASSERT_EQ(client.Errors().size(), 1u);
    EXPECT_EQ(client.Errors()[0],
              "Error in transfering the 2c 2e integrals from local coordinates to molecular "
              "coordinates.");
}

TEST(NddoPairD, IntegralsGoToTheLogOnlyWithTheDebugWord) {
    const std::vector<Place> places = {{1, 0, 0, 0}, {17, 0.3, 0.5, 1.1}};
    for (const int fDebug : {0, 1}) {
        SetUpJob(Molecule(kMndoD, places));
        fDebugTrace = fDebug;
        link.fLogReports = true;
        client.Sent.clear();
        const NddoAtom a = NddoAtomAt(1), b = NddoAtomAt(0);
        const Pair pair = PairOf(ComputePairD, a, b);
        std::vector<double> mCore(100), vStore(100);
        int vIndex[4];
        double dCoreEnergy = 0.0;
        BuildNddoCore(mCore.data(), vStore.data(), vIndex, &dCoreEnergy, 10, 10);
        const std::vector<std::string> log = client.Log();
        ASSERT_EQ(log.size(), fDebug == 0 ? 0u : 1u + 45u + 1u + 45u);
        if (fDebug == 0) continue;
        char sLine[100];
        EXPECT_EQ(log[0], "Coulomb and Exchange Integral Between Atoms   2 and   1:");
        std::snprintf(sLine, sizeof sLine, "i = %4d  w = %15.7f", 45, pair.block[44]);
        EXPECT_EQ(log[45], sLine);
        EXPECT_EQ(log[46], "Electron-Nuclear Interaction:");
        std::snprintf(sLine, sizeof sLine, "i = %3d  e1b = %15.7f  e2a = %15.7f", 1,
                      pair.terms.vE1b[0], pair.terms.vE2a[0]);
        EXPECT_EQ(log[47], sLine);
    }
}

// ---- energies ----------------------------------------------------------------------------------

/// A molecule turned by an angle about an axis through the first atom.
std::vector<double> Turned(const std::vector<Place>& places, std::vector<double> axis,
                           double dAngle) {
    const double dLength = std::hypot(axis[0], axis[1], axis[2]);
    for (double& d : axis) d /= dLength;
    const double c = std::cos(dAngle), s = std::sin(dAngle);
    std::vector<double> v;
    for (const Place& p : places) {
        const double r[] = {p.x, p.y, p.z};
        const double dDot = axis[0] * r[0] + axis[1] * r[1] + axis[2] * r[2];
        for (std::size_t k = 0; k < 3; ++k) {
            const std::size_t m = (k + 1) % 3, n = (k + 2) % 3;
            v.push_back(c * r[k] + s * (axis[m] * r[n] - axis[n] * r[m]) +
                        (1 - c) * dDot * axis[k]);
        }
    }
    return v;
}

class TurnedMolecule : public testing::TestWithParam<std::vector<Place>> {};

TEST_P(TurnedMolecule, KeepsItsEnergy) {
    const std::vector<Place>& places = GetParam();
    const JobScript script = TightJob(places);
    const double dEnergy = EnergyOf(script, PositionsOf(places));
    const double dQuarter = 0.5 * std::acos(-1.0);
    const std::vector<std::pair<std::vector<double>, double>> turns = {
        {{1, 0, 0}, dQuarter}, {{0, 1, 0}, dQuarter}, {{1, 0, 0}, 2 * dQuarter}, {{1, 0, 0}, 1e-5},
        {{0, 1, 0}, 3e-5},     {{1, 2, -1}, 1.1},     {{-1, 1, 0.3}, 2.6}};
    for (const auto& [axis, dAngle] : turns)
        EXPECT_NEAR(EnergyOf(script, Turned(places, axis, dAngle)), dEnergy, 1e-6)
            << axis[0] << " " << axis[1] << " " << axis[2] << " by " << dAngle;
}
INSTANTIATE_TEST_SUITE_P(
    Molecules, TurnedMolecule,
    testing::Values(std::vector<Place>{{16, 0, 0, 0}, {8, 0, 0, 1.43}, {8, 1.25, 0, -0.7}},
                    std::vector<Place>{{17, 0, 0, 0},
                                       {6, 0, 0, -1.78},
                                       {1, 1.03, 0.02, -2.14},
                                       {1, -0.5, 0.9, -2.15},
                                       {1, -0.52, -0.88, -2.13}},
                    std::vector<Place>{{16, 0, 0, 0},
                                       {9, 0, 0, 1.56},
                                       {9, 0, 0, -1.57},
                                       {9, 1.55, 0, 0},
                                       {9, -1.56, 0, 0},
                                       {9, 0, 1.58, 0},
                                       {9, 0, -1.54, 0}},
                    std::vector<Place>{{35, 0, 0, 0}, {1, 0, 0, 1.41}},
                    std::vector<Place>{{17, 0, 0, 0}, {17, 0, 0, 1.99}},
                    std::vector<Place>{{35, 0, 0, 0}, {17, 1.1, -1.2, 1.4}}));

/// Far apart, closed shells do not feel one another.
TEST(NddoPairD, DistantMoleculesAddTheirEnergies) {
    const std::vector<Place> one = {{17, 0, 0, 0}, {1, 0.2, 0.3, 1.2}};
    std::vector<Place> two = one;
    for (const Place& p : one) two.push_back({p.nElement, p.x + 3e3, p.y, p.z});
    EXPECT_NEAR(EnergyOf(TightJob(two), PositionsOf(two)),
                2 * EnergyOf(TightJob(one), PositionsOf(one)), 1e-5);
}

}  // namespace
}  // namespace qsolve
