#include "properties/orbital_values.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <vector>

#include "job/atoms.h"
#include "job/state.h"
#include "properties/plot_positions.h"
#include "properties/state.h"
#include "setup/state.h"
#include "tests/support/bare_molecule.h"
#include "tests/support/fresh_state.h"
#include "tests/support/quadrature.h"

namespace qsolve {
namespace {

using Point = std::array<double, 3>;

/// Where a plot sees an atom, by its number from 1.
Point PlaceOf(int nAtom) {
    const float* p = PlotPlace(nAtom);
    return {p[0], p[1], p[2]};
}

constexpr double kPlaceX = 0.3, kPlaceY = -0.4, kPlaceZ = 1.7;

class OrbitalsInSpace : public FreshState {
  protected:
    /// Three atoms of 9, 1 and 4 orbitals.
    OrbitalsInSpace() {
        Build({.Atoms = {{26, 9, kPlaceX, kPlaceY, kPlaceZ},
                         {1, 1, 2.0, 0.5, 0.0},
                         {8, 4, -1.5, 0.5, 3.0}}});
        properties.vPlotBohr.Take(9, kWork);
        for (int i = 0; i < 9; ++i) properties.vPlotBohr[i] = static_cast<float>(system.pCoords[i]);
        for (Array<double>* v : {&setup.vZeta1, &setup.vZeta2, &setup.vCoef1, &setup.vCoef2})
            v->Take(14, kSetUp);
        for (Array<int>* v : {&setup.vOrbitalAtom, &setup.vOrbitalType, &setup.vOrbitalShell})
            v->Take(14, kSetUp);
        for (int i = 0; i < 14; ++i) {
            setup.vOrbitalAtom[i] = i < 9 ? 1 : i < 10 ? 2 : 3;
            setup.vOrbitalType[i] = i < 9 ? i + 1 : i < 10 ? 1 : i - 9;
            setup.vOrbitalShell[i] = i < 4 ? 4 : i < 9 ? 3 : i < 10 ? 1 : 2;
            setup.vZeta1[i] = i < 1 ? 1.6 : i < 4 ? 1.2 : i < 9 ? 5.1 : i < 10 ? 1.2 : 2.2;
            setup.vCoef1[i] = 1.0;
        }
        for (int i = 4; i < 9; ++i) {
            setup.vZeta2[i] = 1.9;
            setup.vCoef1[i] = 0.6;
            setup.vCoef2[i] = 0.5;
        }
    }

    /// All orbitals of the calculation at one point, by strips of one point.
    static std::vector<double> ValuesAt(double x, double y, double z) {
        std::vector<double> found;
        OrbitalValues values;
        for (int i = 0; i < system.nSelected; ++i) {
            const AtomOrbitals atom = OrbitalsOfAtom(i, 0.0);
            FillOrbitalValues(atom, 1, &x, &y, &z, values);
            for (int k = 0; k < atom.nOrbitals; ++k) found.push_back(values.mValue[k][0]);
        }
        return found;
    }

    /// The same by the definition.
    static double Defined(int i, double x, double y, double z) {
        double d = 0.0;
        const Point a = PlaceOf(setup.vOrbitalAtom[i]);
        const double dX = x - a[0], dY = y - a[1], dZ = z - a[2];
        const int n = setup.vOrbitalShell[i], nType = setup.vOrbitalType[i] - 1;
        d += setup.vCoef1[i] * SlaterOrbital(n, setup.vZeta1[i], nType, dX, dY, dZ);
        if (setup.vCoef2[i] != 0.0)
            d += setup.vCoef2[i] * SlaterOrbital(n, setup.vZeta2[i], nType, dX, dY, dZ);
        return d;
    }
};

/// The matrix of integrals, in space, of products of the orbitals of types 1 to 9 of atom 1, each
/// of shell n: Gauss-Legendre over r and cos theta, equal steps over phi.
std::vector<double> OverlapsInSpace(int n, double dZeta) {
    const Rule radial = DecayingRule(0.0, 2.0 * dZeta), polar = GaussLegendre(8, -1.0, 1.0);
    std::vector<double> m(81);
    for (int i = 0; i < 9; ++i) setup.vOrbitalShell[i] = n;
    const Point atom = PlaceOf(1);
    for (std::size_t a = 0; a < radial.Node.size(); ++a)
        for (std::size_t b = 0; b < polar.Node.size(); ++b)
            for (int k = 0; k < 9; ++k) {
                const double r = radial.Node[a], z = polar.Node[b], rho = std::sqrt(1.0 - z * z);
                const double phi = 2.0 * 3.141592653589793 * (k + 0.37) / 9.0;
                double v[9];
                for (int i = 0; i < 9; ++i)
                    v[i] = SlaterOrbitalValue(i, atom[0] + r * rho * std::cos(phi),
                                              atom[1] + r * rho * std::sin(phi), atom[2] + r * z,
                                              dZeta);
                const double w =
                    radial.Weight[a] * polar.Weight[b] * r * r * 2.0 * 3.141592653589793 / 9.0;
                for (int i = 0; i < 9; ++i)
                    for (int j = 0; j < 9; ++j)
                        m[static_cast<std::size_t>(9 * i + j)] += w * v[i] * v[j];
            }
    return m;
}

TEST_F(OrbitalsInSpace, OfOneAtomAreOrthonormal) {
    for (int n = 1; n <= 7; ++n)
        for (const double dZeta : {0.4, 1.3, 12.0}) {
            const std::vector<double> m = OverlapsInSpace(n, dZeta);
            for (int i = 0; i < 9; ++i)
                for (int j = 0; j < 9; ++j) {
                    const bool fThere = i < (n == 1 ? 1 : n == 2 ? 4 : 9);  // l below n
                    EXPECT_NEAR(m[static_cast<std::size_t>(9 * i + j)], i == j && fThere ? 1 : 0,
                                1e-9)
                        << n << ' ' << dZeta << ' ' << i << ' ' << j;
                }
        }
}

TEST_F(OrbitalsInSpace, HaveTheTextbookValues) {
    const double x = 1.1, y = -0.9, z = 2.9, r2 = 0.8 * 0.8 + 0.5 * 0.5 + 1.2 * 1.2;
    const double r = std::sqrt(r2), dZeta = 1.3;
    for (int i = 0; i < 9; ++i) setup.vOrbitalShell[i] = 3;
    // sqrt(2 / (5 pi)) / 3 zeta^(7/2) r^2 exp(-zeta r) for 3s, and its angular partners.
    const double s = std::sqrt(2.0 / (45.0 * 3.141592653589793)) * std::pow(dZeta, 3.5) * r2 *
                     std::exp(-dZeta * r);
    const double vExpected[9] = {s,
                                 std::sqrt(3.0) * s * 0.8 / r,
                                 std::sqrt(3.0) * s * -0.5 / r,
                                 std::sqrt(3.0) * s * 1.2 / r,
                                 std::sqrt(5.0) * s * (3.0 * 1.44 - r2) / (2.0 * r2),
                                 std::sqrt(15.0) * s * 1.2 * 0.8 / r2,
                                 std::sqrt(15.0) * s * -0.5 * 1.2 / r2,
                                 std::sqrt(15.0) * s * (0.64 - 0.25) / (2.0 * r2),
                                 std::sqrt(15.0) * s * 0.8 * -0.5 / r2};
    for (int i = 0; i < 9; ++i)  // the atom's place is of single precision
        EXPECT_NEAR(SlaterOrbitalValue(i, x, y, z, dZeta), vExpected[i], 1e-6) << i;
}

TEST_F(OrbitalsInSpace, OfAnUnknownTypeAreZero) {
    for (const int nType : {0, -1, 10, 1000}) {
        setup.vOrbitalType[0] = nType;
        EXPECT_EQ(SlaterOrbitalValue(0, 0.5, 0.5, 0.5, 1.0), 0.0) << nType;
    }
}

TEST_F(OrbitalsInSpace, OfAShellThatCannotBeAreZero) {
    for (const auto& [n, dZeta] : {std::pair{0, 1.0}, {-3, 1.0}, {8, 1.0}, {4, 0.0}, {4, -1.0}}) {
        setup.vOrbitalShell[0] = n;
        EXPECT_EQ(SlaterOrbitalValue(0, 0.5, 0.5, 0.5, dZeta), 0.0) << n;
    }
}

TEST_F(OrbitalsInSpace, AtTheNucleusAreZeroButForTheFirstShell) {
    for (int i = 0; i < 14; ++i) {
        const Point a = PlaceOf(setup.vOrbitalAtom[i]);
        const double d = SlaterOrbitalValue(i, a[0], a[1], a[2], setup.vZeta1[i]);
        EXPECT_NEAR(d, i == 9 ? std::sqrt(1.2 * 1.2 * 1.2 / 3.141592653589793) : 0.0, 1e-15) << i;
    }
    const std::vector<double> there = ValuesAt(2.0, 0.5, 0.0);
    EXPECT_NEAR(there[9], std::sqrt(1.2 * 1.2 * 1.2 / 3.141592653589793), 1e-15);
}

TEST_F(OrbitalsInSpace, OfAllAtomsAreTheDefinition) {
    for (const double x : {-2.2, 0.1, 0.3, 9.0})
        for (const double y : {0.5, -1.1})
            for (const double z : {0.0, 2.4, 30.0}) {
                const std::vector<double> found = ValuesAt(x, y, z);
                ASSERT_EQ(found.size(), 14U);
                for (int i = 0; i < 14; ++i) {
                    const double d = Defined(i, x, y, z);
                    EXPECT_NEAR(found[static_cast<std::size_t>(i)], d, 1e-13 * std::abs(d) + 1e-300)
                        << i << " at " << x << ' ' << y << ' ' << z;
                }
            }
}

TEST_F(OrbitalsInSpace, OfAStripAreThoseOfItsPoints) {
    double vX[kStripPoints], vY[kStripPoints], vZ[kStripPoints];
    const double vStart[3] = {-3.0, 0.4, 1.0}, vStep[3] = {0.11, 0.02, -0.03};
    for (const int n : {1, 2, 5, kStripPoints}) {
        FillPoints(vStart, vStep, n, vX, vY, vZ);
        OrbitalValues values;
        FillOrbitalValues(OrbitalsOfAtom(0, 0.0), n, vX, vY, vZ, values);
        for (int i = 0; i < n; ++i) {
            const std::vector<double> one = ValuesAt(vX[i], vY[i], vZ[i]);
            for (int k = 0; k < 9; ++k)
                EXPECT_NEAR(values.mValue[k][i], one[static_cast<std::size_t>(k)], 1e-15);
        }
    }
}

TEST_F(OrbitalsInSpace, TakeASecondTermByItsWeight) {
    for (int i = 4; i < 9; ++i) setup.vCoef2[i] = 1e-10;
    EXPECT_EQ(OrbitalsOfAtom(0, 1e-9).Shells[2].nTerms, 1);
    EXPECT_EQ(OrbitalsOfAtom(0, 1e-9).Shells[2].dWeight[0], 1.0);
    EXPECT_EQ(OrbitalsOfAtom(0, 1e-11).Shells[2].nTerms, 2);
    EXPECT_EQ(OrbitalsOfAtom(0, 1e-11).Shells[2].dWeight[0], 0.6);
    for (int i = 4; i < 9; ++i) setup.vCoef2[i] = -0.1;
    EXPECT_EQ(OrbitalsOfAtom(0, std::numeric_limits<double>::lowest()).Shells[2].nTerms, 2);
}

TEST_F(OrbitalsInSpace, BeyondTheirReachAreZeroForAFloat) {
    const double vStep[3] = {0.0, 1.0, 0.0};
    for (int nAtom = 0; nAtom < 3; ++nAtom) {
        const AtomOrbitals atom = OrbitalsOfAtom(nAtom, 0.0);
        ASSERT_GT(atom.dReach, 30.0);
        const double vStart[3] = {atom.dXyz[0] + 1.01 * atom.dReach, atom.dXyz[1] - 5.0,
                                  atom.dXyz[2]};
        // By the ends of the strip alone: its points lie nearer than the bound by its length.
        EXPECT_FALSE(IsOutOfReach(atom, vStart, vStep, 64));
        EXPECT_TRUE(IsOutOfReach(atom, vStart, vStep, 1));
        for (int k = 0; k < atom.nOrbitals; ++k)
            EXPECT_EQ(static_cast<float>(Defined(atom.nFirst + k, vStart[0], vStart[1], vStart[2])),
                      0.0F)
                << nAtom;
    }
}

TEST_F(OrbitalsInSpace, OnAStripThatPassesTheAtomAreInReach) {
    const AtomOrbitals atom = OrbitalsOfAtom(1, 0.0);
    const double vStart[3] = {2.0 - 3200.0, 0.5, 0.0}, vStep[3] = {100.0, 0.0, 0.0};
    EXPECT_FALSE(IsOutOfReach(atom, vStart, vStep, 64));
    EXPECT_TRUE(IsOutOfReach(atom, vStart, vStep, 20));
}

}  // namespace
}  // namespace qsolve
