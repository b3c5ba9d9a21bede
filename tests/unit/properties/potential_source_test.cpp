#include "properties/potential_source.h"

#include <gtest/gtest.h>

#include <limits>

#include "tests/unit/properties/atom_potential.h"

namespace qsolve {
namespace {

/// A source with its clouds.
struct SourceOfAtom {
    AtomDensity Atom;
    ScreenedCloud Clouds[kTopClouds];
    PotentialSource Source;

    explicit SourceOfAtom(const AtomDensity& atom, double dCore = 5.0) : Atom(atom) {
        BuildPotentialSource(Atom, dCore, Clouds, Source);
    }
    double At(double x, double y, double z) const {
        double d = 0.0;
        AddPotential(Source, Atom, 1, &x, &y, &z, &d);
        return d;
    }
};

class PotentialSources : public testing::TestWithParam<std::tuple<int, int>> {
  protected:
    AtomDensity Atom = HandMadeAtom(std::get<0>(GetParam()), std::get<1>(GetParam()));
};

TEST_P(PotentialSources, AgreeWithTheIntegralsInTheRotatedFrame) {
    const SourceOfAtom source(Atom);
    for (double r = 0.0011; r < 99.0; r *= 1.17)
        for (const auto& d : {std::vector{0.6, -0.48, 0.64}, {0.0, 0.0, -1.0}, {0.8, 0.0, 0.6}}) {
            const double v[3] = {r * d[0], r * d[1], r * d[2]};
            const double dExact =
                5.0 / r - AttractionOfDensity(Atom, v, std::hypot(v[0], v[1], v[2]));
            EXPECT_NEAR(source.At(v[0], v[1], v[2]), dExact, 3e-12 * 5.0 / r) << "at " << r;
        }
}

TEST_P(PotentialSources, MakeNoMoreCloudsThanTheyHaveRoomFor) {
    const SourceOfAtom source(Atom);
    EXPECT_EQ(source.Source.nClouds, CloudsOf(Atom.nOrbitals));
    EXPECT_EQ(source.Source.nTopRank, Atom.nOrbitals == 1 ? 0 : Atom.nOrbitals == 4 ? 2 : 4);
    EXPECT_LT(source.Source.dNear, 2.5);
}

INSTANTIATE_TEST_SUITE_P(Atoms, PotentialSources,
                         testing::Combine(testing::Values(1, 4, 9), testing::Values(4, 5, 6, 7)));

TEST(PotentialSource, OfFirstRowAtomsAgreesToo) {
    for (int nPrincipal : {1, 2, 3}) {
        const SourceOfAtom source(HandMadeAtom(nPrincipal == 1 ? 1 : 4, nPrincipal), 4.0);
        for (const auto& v : PointsAround()) {
            const double r = std::hypot(v[0], v[1], v[2]);
            EXPECT_NEAR(source.At(v[0], v[1], v[2]),
                        4.0 / r - AttractionOfDensity(source.Atom, v.data(), r), 3e-12 * 4 / r);
        }
    }
}

TEST(PotentialSource, OfEqualExponentsHasOneCloud) {
    AtomDensity atom = HandMadeAtom(4);
    atom.Shells[1].dZeta[0] = atom.Shells[0].dZeta[0];
    const SourceOfAtom source(atom);
    EXPECT_EQ(source.Source.nClouds, 1);
    const double v[3] = {1.1, -0.7, 0.4}, r = std::hypot(1.1, 0.7, 0.4);
    EXPECT_NEAR(source.At(1.1, -0.7, 0.4), 5.0 / r - AttractionOfDensity(atom, v, r), 1e-12);
}

TEST(PotentialSource, OfEqualExponentsKeepsPrincipalQuantumNumbersApart) {
    AtomDensity atom = HandMadeAtom(9);
    for (ShellTerms& shell : atom.Shells) shell = {shell.nPrincipal, 1, {1.35, 0.0}, {1.0, 0.0}};
    const SourceOfAtom source(atom);
    EXPECT_EQ(source.Source.nClouds, 3);  // of 4 + 4, 4 + 3 and 3 + 3
    const double v[3] = {1.1, -0.7, 0.4}, r = std::hypot(1.1, 0.7, 0.4);
    EXPECT_NEAR(source.At(1.1, -0.7, 0.4), 5.0 / r - AttractionOfDensity(atom, v, r), 1e-12);
}

TEST(PotentialSource, LeavesOutTheScreeningOnlyWhereItIsNegligible) {
    const SourceOfAtom source(HandMadeAtom(9));
    for (int c = 0; c < source.Source.nClouds; ++c) {
        const double dReach = source.Clouds[c].dReach, dHere = source.At(0, 0, dReach);
        EXPECT_GT(dReach * source.Clouds[c].dZeta, 20.0);
        EXPECT_LT(dReach * source.Clouds[c].dZeta, 80.0);
        EXPECT_NEAR(dHere, source.At(0, 0, dReach * (1 - 1e-14)), 1e-12);
    }
}

TEST(PotentialSource, AddsNothingOnTheNucleusAndOnlyItsChargeFarAway) {
    SourceOfAtom source(HandMadeAtom(4));
    source.Source.dNetCharge = -0.37;
    source.Source.dXyz[0] = 2.0;
    EXPECT_EQ(source.At(2.0, 0.0, 0.0), 0.0);
    EXPECT_EQ(source.At(2.0, 0.000999, 0.0), 0.0);
    EXPECT_NEAR(source.At(2.0, 0.001001, 0.0), 5.0 / 0.001001, 10.0);
    EXPECT_DOUBLE_EQ(source.At(2.0, 0.0, 100.001), -0.37 / 100.001);
    EXPECT_GT(source.At(2.0, 0.0, 99.999), 0.0);
    const double dNan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(source.At(dNan, 0.0, 0.0), 0.0);
    EXPECT_EQ(source.At(std::numeric_limits<double>::infinity(), 0.0, 0.0), 0.0);
}

TEST(PotentialSource, TreatsEachPointOfAStripAlone) {
    const SourceOfAtom source(HandMadeAtom(9));
    double vX[kStripPoints], vY[kStripPoints], vZ[kStripPoints], vSum[kStripPoints];
    for (int nPoints : {1, 3, kStripPoints}) {
        for (int k = 0; k < nPoints; ++k) {
            vX[k] = -30.0 + 1.7 * k;  // from far away over the nucleus to beyond 70
            vY[k] = vZ[k] = k == 18 ? 0.0 : 0.01 * k;
            vSum[k] = 0.25;
        }
        AddPotential(source.Source, source.Atom, nPoints, vX, vY, vZ, vSum);
        for (int k = 0; k < nPoints; ++k)
            EXPECT_NEAR(vSum[k], 0.25 + source.At(vX[k], vY[k], vZ[k]), 1e-12) << k;
    }
    vX[0] = std::numeric_limits<double>::quiet_NaN();
    AddPotential(source.Source, source.Atom, kStripPoints, vX, vY, vZ, vSum);
    EXPECT_NEAR(vSum[20], 0.25 + 2 * source.At(vX[20], vY[20], vZ[20]), 1e-12);
}

TEST(PotentialSource, IgnoresWhatIsNoOrbital) {
    AtomDensity atom = HandMadeAtom(4);
    atom.Shells[1].dZeta[0] = 0.0;
    const SourceOfAtom source(atom);
    EXPECT_EQ(source.Source.nClouds, 1);
    const double v[3] = {1.1, -0.7, 0.4}, r = std::hypot(1.1, 0.7, 0.4);
    EXPECT_NEAR(source.At(1.1, -0.7, 0.4), 5.0 / r - AttractionOfDensity(atom, v, r), 1e-12);
}

}  // namespace
}  // namespace qsolve
