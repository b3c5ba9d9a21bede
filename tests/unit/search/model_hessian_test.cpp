#include "search/model_hessian.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "search/wilson_b.h"
#include "tests/support/matrices.h"

namespace qsolve {
namespace {

/// Formaldehyde with a hydroxyl, bent out of its plane: chains, branches and dihedrals.
const std::vector<double> kPlaces{0.0,  0.0,  0.0, 1.25, 0.1,   0.05, -0.55, 0.95, 0.1,
                                  -0.5, -1.1, 0.3, 1.7,  -0.75, 0.4,  -1.4,  -1.0, 0.55};
const std::vector<int> kZ{6, 8, 1, 8, 1, 1};

/// Records, B matrix and the coordinates as functions of the places.
struct Internals {
    std::vector<double> x;
    int nAtoms = static_cast<int>(x.size() / 3);
    std::vector<InternalRecord> Records = std::vector<InternalRecord>(x.size() / 3 + 3);
    std::vector<BRow> Rows = std::vector<BRow>(x.size());
    int nRows = 0;

    explicit Internals(std::vector<double> places) : x(std::move(places)) {
        BuildInternalConnectivity(nAtoms, x.data(), Records.data());
        ComputeInternalCoordinates(nAtoms, x.data(), Records.data());
        nRows = BuildBMatrix(nAtoms, x.data(), Records.data(), Rows.data());
    }
    /// Values at other places, by the same references.
    std::vector<double> At(const std::vector<double>& y) const {
        std::vector<InternalRecord> records = Records;
        ComputeInternalCoordinates(nAtoms, y.data(), records.data());
        std::vector<double> values;
        for (int k = 0; k < nAtoms; ++k) {
            const InternalRecord& r = records[static_cast<std::size_t>(k)];
            if (r.nBondAtom != 0) values.push_back(r.dDistance);
            if (r.nAngleAtom != 0) values.push_back(r.dAngle);
            if (r.nDihedralAtom != 0) values.push_back(r.dDihedral);
        }
        return values;
    }
    double B(int nRow, int nCoordinate) const {
        const BRow& row = Rows[static_cast<std::size_t>(nRow)];
        for (int a = 0; a < row.nAtoms; ++a)
            if (row.nAtom[a] == nCoordinate / 3) return row.vS[a][nCoordinate % 3];
        return 0.0;
    }
};

TEST(WilsonB, IsTheDerivativeOfTheCoordinates) {
    const Internals internals(kPlaces);
    ASSERT_EQ(internals.nRows, 3 * 6 - 6);
    ASSERT_EQ(CountInternalCoordinates(6, internals.Records.data()), 3 * 6 - 6);
    constexpr double h = 1e-5;
    for (int c = 0; c < 18; ++c) {
        std::vector<double> up = kPlaces, down = kPlaces;
        up[static_cast<std::size_t>(c)] += h;
        down[static_cast<std::size_t>(c)] -= h;
        const std::vector<double> vUp = internals.At(up), vDown = internals.At(down);
        for (int k = 0; k < internals.nRows; ++k) {
            const auto i = static_cast<std::size_t>(k);
            // Curvature of a dihedral over a bond of 1: the difference is good to h^2.
            EXPECT_NEAR(internals.B(k, c), (vUp[i] - vDown[i]) / (2 * h), 1e-8) << k << " " << c;
        }
    }
}

TEST(WilsonB, TransformsAsTheProductOfFullMatrices) {
    const Internals internals(kPlaces);
    std::vector<double> force;
    for (int k = 0; k < internals.nRows; ++k) force.push_back(10.0 + k);
    TestMatrix hessian(18, 18);
    TransformHessianToCartesian(6, internals.nRows, internals.Rows.data(), force.data(),
                                hessian.Data());
    for (int i = 0; i < 18; ++i)
        for (int j = 0; j < 18; ++j) {
            double d = 0.0;
            for (int k = 0; k < internals.nRows; ++k)
                d += force[static_cast<std::size_t>(k)] * internals.B(k, i) * internals.B(k, j);
            EXPECT_NEAR(hessian(i, j), d, 1e-12);
        }
}

TEST(WilsonB, CountsALargeElementAsOne) {
    const BRow row{.nAtom = {0, 1}, .nAtoms = 2, .vS = {{-50.0, 0, 0}, {0.5, 0, 0}}};
    const double dForce = 2.0;
    TestMatrix hessian(6, 6);
    TransformHessianToCartesian(2, 1, &row, &dForce, hessian.Data());
    EXPECT_EQ(hessian(0, 0), 2.0);
    EXPECT_EQ(hessian(0, 3), 1.0);
    EXPECT_EQ(hessian(3, 3), 0.5);
}

TEST(InternalCoordinates, OfHydrogenPeroxideAreThoseItWasBuiltFrom) {
    constexpr double dAngle = 1.75, dTorsion = 4.1, dBond = 0.97, dMiddle = 1.45;
    const double s = dBond * std::sin(dAngle), c = dBond * std::cos(dAngle);
    const std::vector<double> x{
        s,          0, c, 0, 0, 0, 0, 0, dMiddle, s * std::cos(dTorsion), s * std::sin(dTorsion),
        dMiddle - c};
    const Internals internals(x);
    const InternalRecord& last = internals.Records[3];
    EXPECT_EQ(last.nBondAtom, 3);
    EXPECT_EQ(last.nAngleAtom, 2);
    EXPECT_EQ(last.nDihedralAtom, 1);
    EXPECT_NEAR(last.dDistance, dBond, 1e-12);
    EXPECT_NEAR(last.dAngle, dAngle, 1e-12);
    EXPECT_NEAR(last.dDihedral, dTorsion, 1e-12);
}

TEST(InternalCoordinates, OfALineHaveNoDihedral) {
    const Internals line({0, 0, 0, 0, 0, 1.1, 0, 0, 2.3, 0, 0, 3.4});
    EXPECT_EQ(line.nRows, 6);
    EXPECT_EQ(line.Records[3].nDihedralAtom, 1) << "there is no better one";
    EXPECT_EQ(line.Records[3].dDihedral, 0.0);
    for (int c = 0; c < 12; ++c) EXPECT_EQ(line.B(5, c), 0.0);
}

TEST(InternalCoordinates, FindAnotherReferenceBesideALine) {
    // The last atom hangs on the end of a line of three whose first atom has a neighbour aside.
    const Internals bent({0, 0, 0, 0, 0, 1.2, 0.9, 0, -0.6, 0, 0, 2.6, 0.9, 0.3, 3.0});
    const InternalRecord& last = bent.Records[4];
    EXPECT_EQ(last.nBondAtom, 4);
    EXPECT_EQ(last.nAngleAtom, 2);
    EXPECT_EQ(last.nDihedralAtom, 3) << "atom 1 lies on the line";
}

TEST(InternalCoordinates, OfTwoAtomsAreTheirDistance) {
    const Internals pair({0, 0, 0, 0, 0.7, 0});
    EXPECT_EQ(pair.nRows, 1);
    EXPECT_NEAR(pair.Records[1].dDistance, 0.7, 1e-15);
    EXPECT_EQ(Internals({0, 0, 0}).nRows, 0);
}

std::vector<double> Forces(const std::vector<int>& z, bool fSchlegel, bool fBohr = false) {
    const Internals internals(kPlaces);
    std::vector<double> force(18);
    force.resize(static_cast<std::size_t>(FillModelForces(
        6, z.data(), kPlaces.data(), internals.Records.data(), {fSchlegel, fBohr}, force.data())));
    return force;
}

TEST(ModelHessian, HasFixedConstantsWhereTheyAreAskedFor) {
    const std::vector<double> force = Forces(kZ, false);
    ASSERT_EQ(force.size(), 12u);
    EXPECT_EQ(force[0], 1000.0);
    EXPECT_EQ(force[2], 500.0);
    EXPECT_EQ(force[5], 200.0);
}

TEST(ModelHessian, FollowsTheRuleOfBondsBendsAndTorsions) {
    const std::vector<double> force = Forces(kZ, true);
    const double dBohr = 1.889725985;
    const double r = dBohr * std::sqrt(1.25 * 1.25 + 0.1 * 0.1 + 0.05 * 0.05);
    EXPECT_NEAR(force[0], 2913.1978487257193 * 1.734 / std::pow(r - 1.085, 3), 1e-9);
    EXPECT_NEAR(force[2], 0.16 * 815.77860416, 1e-9) << "a hydrogen, a carbon, an oxygen";
    EXPECT_NEAR(force[4], 0.25 * 815.77860416, 1e-9) << "two oxygens at a carbon";
    EXPECT_NEAR(force[5], (0.07 - 0.0023 * (r - 0.77 - 0.74)) * 815.77860416, 1e-9)
        << "about the bond of the first two";
    const std::vector<double> inBohr = Forces(kZ, true, true);
    EXPECT_NEAR(inBohr[0], 1631.55720832 * 1.734 / std::pow(r / dBohr - 1.085, 3), 1e-6);
}

TEST(ModelHessian, HasFixedConstantsBeyondArgon) {
    std::vector<int> z = kZ;
    z[1] = 35;
    const std::vector<double> force = Forces(z, true);
    EXPECT_EQ(force[0], 1000.0);
    EXPECT_EQ(force[2], 500.0);
    EXPECT_EQ(force[5], 200.0);
    EXPECT_NE(force[1], 1000.0) << "the bond of the others";
}

TEST(ModelHessian, IsPositiveAndHasNoMotionOfTheWhole) {
    for (const bool fSchlegel : {false, true}) {
        TestMatrix hessian(18, 18);
        BuildModelHessian(6, kZ.data(), kPlaces.data(), {fSchlegel, false}, hessian.Data());
        for (int x = 0; x < 3; ++x)
            for (int i = 0; i < 18; ++i) {
                double d = 0.0;
                for (int a = 0; a < 6; ++a) d += hessian(i, 3 * a + x);
                EXPECT_NEAR(d, 0.0, 1e-9);
            }
        Randoms randoms(8);
        for (int n = 0; n < 200; ++n) {
            double d = 0.0, v[18];
            for (double& e : v) e = randoms.Number();
            for (int i = 0; i < 18; ++i)
                for (int j = 0; j < 18; ++j) d += v[i] * hessian(i, j) * v[j];
            EXPECT_GT(d, 0.0);
        }
    }
}

/// The stretch of two atoms of silicon, mdyn/Angstrom.
double SiliconStretch(double r, bool fCareful, bool fBohr = false) {
    const double dUnit = fBohr ? 1.889725985 : 1.0;
    const Internals pair({0, 0, 0, 0, 0, r * dUnit});
    const int nZ[2] = {14, 14};
    const double vXyz[6] = {0, 0, 0, 0, 0, r * dUnit};
    double d = 0.0;
    EXPECT_EQ(FillModelForces(2, nZ, vXyz, pair.Records.data(), {true, fBohr, fCareful}, &d), 1);
    return d * dUnit * dUnit / 143.94;
}

TEST(ModelHessian, HasNoPoleInsideABondIfItIsCareful) {
    EXPECT_GT(SiliconStretch(1.1, false), 1e4) << "two thousandths of an Angstrom from the pole";
    EXPECT_LT(SiliconStretch(1.0, false), 0.0);
    for (const bool fBohr : {false, true}) {
        for (const double r : {0.0, 0.4, 1.0, 1.0943, 1.1, 1.5}) {
            EXPECT_GT(SiliconStretch(r, true, fBohr), 20.0) << r;
            EXPECT_LT(SiliconStretch(r, true, fBohr), 100.0) << r;
        }
        for (const double r : {1.6, 2.2, 3.0})
            EXPECT_EQ(SiliconStretch(r, true, fBohr), SiliconStretch(r, false, fBohr)) << r;
    }
}

TEST(ModelHessian, OfOneAtomIsZero) {
    TestMatrix hessian(3, 3, 7.0);
    const double vPlace[3] = {1, 2, 3};
    const int nZ = 6;
    BuildModelHessian(1, &nZ, vPlace, {true, false}, hessian.Data());
    for (const double d : hessian.v) EXPECT_EQ(d, 0.0);
}

}  // namespace
}  // namespace qsolve
