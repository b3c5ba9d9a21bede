#include "properties/potential.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <optional>

#include "job/atoms.h"
#include "job/state.h"
#include "link/link.h"
#include "numeric/row.h"
#include "properties/plot_positions.h"
#include "scf/scf.h"
#include "scf/state.h"
#include "setup/state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scf_job.h"
#include "tests/support/scripted_client.h"
#include "tests/unit/properties/atom_potential.h"

namespace qsolve {
namespace {

using Point = std::array<double, 3>;

class Potential : public FreshState {
  protected:
    ~Potential() override { positions.reset(); }

    /// Runs a job and puts its atoms where a plot sees them.
    static void Run(const JobScript& script, const std::vector<double>& vAngstrom = {}) {
        positions.reset();
        SetUpJob(script);
        SetPositions(vAngstrom);
        RunScf();
        positions.emplace();
    }
    static Point Place(int nAtom) {
        const float* p = PlotPlace(nAtom);
        return {p[0], p[1], p[2]};
    }

    static double At(const PotentialField& field, const Point& point) {
        const double vStep[3] = {};
        float fl = std::numeric_limits<float>::quiet_NaN();
        FillPotentialStrip(field, point.data(), vStep, 1, &fl);
        return static_cast<double>(fl);
    }
    static double At(const Point& point) { return At(BuildPotentialField(), point); }

    /// Value at a point, from an atom, of orbital i of the calculation, counted from 0.
    static double OrbitalAt(int i, double x, double y, double z) {
        const int n = setup.vOrbitalShell[i], nType = setup.vOrbitalType[i] - 1;
        if (setup.vCoef2[i] == 0.0) return SlaterOrbital(n, setup.vZeta1[i], nType, x, y, z);
        return setup.vCoef1[i] * SlaterOrbital(n, setup.vZeta1[i], nType, x, y, z) +
               setup.vCoef2[i] * SlaterOrbital(n, setup.vZeta2[i], nType, x, y, z);
    }

    /// Cores less the one-centre density integrated in space, all read from the calculation.
    static double ByQuadrature(const Point& point) {
        double dSum = 0.0;
        for (int nPosition = 0; nPosition < system.nSelected; ++nPosition) {
            const int nAtom = AtomNumberAt(nPosition);
            const Point a = Place(nAtom);
            const double d[3] = {point[0] - a[0], point[1] - a[1], point[2] - a[2]};
            dSum += kCoreCharge[RowOf(AtomByNumber(nAtom))] / std::hypot(d[0], d[1], d[2]);
            const int nFirst = setup.Map.pFirstOrbital[nPosition] - 1;
            const int nLast = setup.Map.pLastOrbital[nPosition];
            double dDecay = 1e9;
            for (int i = nFirst; i < nLast; ++i)
                dDecay = std::min({dDecay, 2.0 * setup.vZeta1[i],
                                   setup.vCoef2[i] == 0.0 ? 1e9 : 2.0 * setup.vZeta2[i]});
            dSum -= IntegrateOverDistance(d, dDecay, 9, [&](double x, double y, double z) {
                double vValue[9], dDensity = 0.0;
                for (int i = nFirst; i < nLast; ++i) vValue[i - nFirst] = OrbitalAt(i, x, y, z);
                for (int i = nFirst; i < nLast; ++i)
                    for (int j = nFirst; j < nLast; ++j)
                        dDensity += Row(scf.mDensityT.Data(), scf.nOrbitals, i)[j] *
                                    vValue[i - nFirst] * vValue[j - nFirst];
                return dDensity;
            });
        }
        return dSum;
    }

    static void ExpectTheDensityInSpace() {
        const PotentialField field = BuildPotentialField();
        for (const Point& point : {Point{0.3, 0.2, 0.1}, Point{1.4, -0.8, 0.6},
                                   Point{-2.5, 1.0, 4.0}, Point{0.0, 0.0, -9.0}}) {
            const double dExact = ByQuadrature(point);
            EXPECT_NEAR(At(field, point), dExact, 1e-6 * (1.0 + std::abs(dExact)))
                << "method " << system.MethodId << " at " << point[0] << " " << point[1] << " "
                << point[2];
        }
    }

  private:
    static inline std::optional<PlotPositions> positions;
};

const std::vector<Place> kFormaldehyde = {
    {6, 0.0, 0.0, 0.0}, {8, 0.3, 0.2, 1.15}, {1, 0.94, 0.1, -0.54}, {1, -0.94, 0.05, -0.54}};

TEST_F(Potential, IsThatOfTheDensityInSpaceInAllMethods) {
    for (int nMethod : {kCndo, kIndo, kMindo3, kMndo, kAm1, kPm3, kZindo1, kZindoS, kMndoD}) {
        Run(Molecule(nMethod, kFormaldehyde));
        ExpectTheDensityInSpace();
    }
}

TEST_F(Potential, IsThatOfTheDensityInSpaceWithDOrbitals) {
    Run(Molecule(
        kMndoD,
        {{17, 0.0, 0.0, 0.0}, {1, 0.7, 0.2, 0.9}, {53, 3.0, 0.5, 1.1}, {1, 4.3, 0.5, 0.2}}));
    ASSERT_EQ(setup.nOrbitals, 20);
    ExpectTheDensityInSpace();
}

TEST_F(Potential, IsThatOfTheDensityInSpaceWithDoubleZetaFunctions) {
    for (int nMethod : {kZindo1, kZindoS}) {
        JobScript script =
            Molecule(nMethod, {{22, 0.0, 0.0, 0.0}, {17, 0.0, 0.4, -2.2}, {47, 2.5, 0.4, 0.3}});
        script.Options.nTotalCharge = 1;
        script.Options.nMultiplicity = 2;
        script.Options.nSpinTreatment = 1;
        Run(script);
        ASSERT_EQ(setup.nOrbitals, 22);
        ASSERT_NE(setup.vCoef2[8], 0.0) << "no double zeta";
        ExpectTheDensityInSpace();
    }
}

TEST_F(Potential, IsThatOfTheDensityInSpaceInUnrestrictedIons) {
    JobScript script = Molecule(kPm3, kFormaldehyde);
    script.Options.nSpinTreatment = 1;
    script.Options.nTotalCharge = 1;
    script.Options.nMultiplicity = 2;
    Run(script);
    ExpectTheDensityInSpace();
}

TEST_F(Potential, FarAwayIsThatOfTheDipole) {
    // What is odd about the origin: the quadrupole drops out, the octupole is 1e-4 of it.
    for (int nMethod : {kCndo, kIndo, kMindo3, kMndo, kAm1, kPm3, kZindo1, kZindoS})
        for (int nCharge : {0, 1}) {
            JobScript script = Molecule(nMethod, kFormaldehyde);
            script.Options.nTotalCharge = nCharge;
            script.Options.nMultiplicity = 1 + nCharge;
            Run(script);
            const PotentialField field = BuildPotentialField();
            const double dScale = UsesAtomicUnits(nMethod) ? 1.0 : 1.889726;
            const double r = 90.0, d[3] = {0.48, 0.36, 0.8};
            Point plus, minus;
            for (std::size_t c = 0; c < 3; ++c) {
                const double o = scf.dChargeOrigin[c] * dScale;
                plus[c] = o + r * d[c];
                minus[c] = o - r * d[c];
            }
            const double dDipole =
                (results.Block.flDipoleX * d[0] + results.Block.flDipoleY * d[1] +
                 results.Block.flDipoleZ * d[2]) /
                2.5416;
            const double dPlus = At(field, plus), dMinus = At(field, minus);
            EXPECT_NEAR(0.5 * (dPlus - dMinus) * r * r, dDipole, 2e-3 * std::abs(dDipole) + 1e-4)
                << "method " << nMethod;
            EXPECT_NEAR(0.5 * (dPlus + dMinus) * r, nCharge, 2e-3) << "method " << nMethod;
        }
}

TEST_F(Potential, BeyondAHundredBohrIsThatOfTheNetCharges) {
    Run(Water(kAm1));
    const Point point = {80.0, -70.0, 31.0};
    double dSum = 0.0;
    for (int nAtom = 1; nAtom <= 3; ++nAtom) {
        const Point a = Place(nAtom);
        dSum += AtomByNumber(nAtom).flCharge /
                std::hypot(point[0] - a[0], point[1] - a[1], point[2] - a[2]);
    }
    EXPECT_NE(dSum, 0.0);
    EXPECT_FLOAT_EQ(static_cast<float>(At(point)), static_cast<float>(dSum));
}

TEST_F(Potential, TurnsWithTheMolecule) {
    // A rotation by the angles of a 3-4-5 triangle about z, then of 5-12-13 about x.
    const auto Turn = [](const Point& p) {
        const double x = 0.6 * p[0] - 0.8 * p[1], y = 0.8 * p[0] + 0.6 * p[1];
        return Point{x, (5 * y - 12 * p[2]) / 13, (12 * y + 5 * p[2]) / 13};
    };
    std::vector<double> vPlaces, vTurned;
    for (const auto& a : kFormaldehyde) {
        const Point p = Turn({a.x, a.y, a.z});
        vPlaces.insert(vPlaces.end(), {a.x, a.y, a.z});
        vTurned.insert(vTurned.end(), p.begin(), p.end());
    }
    const std::vector<Point> points = {{2.0, 1.0, -0.5}, {0.1, 0.0, 0.4}, {-4.0, 6.0, 3.0}};
    JobScript script = Molecule(kAm1, kFormaldehyde);
    script.Options.flConvergenceLimit = 1e-9F;
    std::vector<double> vBefore;
    Run(script, vPlaces);
    for (const Point& p : points) vBefore.push_back(At(p));
    Run(script, vTurned);
    for (std::size_t i = 0; i < points.size(); ++i)
        EXPECT_NEAR(At(Turn(points[i])), vBefore[i], 3e-6 * (1 + std::abs(vBefore[i])));
}

TEST_F(Potential, OnANucleusLeavesThatAtomOut) {
    Run(Water(kAm1));
    const Point oxygen = Place(1);
    const double dHere = At(oxygen);
    EXPECT_TRUE(std::isfinite(dHere));
    EXPECT_LT(std::abs(dHere), 2.0);  // of two hydrogens
    EXPECT_GT(At({oxygen[0] + 0.0011, oxygen[1], oxygen[2]}), 1000.0);
    EXPECT_NEAR(At({oxygen[0], oxygen[1], oxygen[2] + 0.0009}), dHere, 1e-4);
}

TEST_F(Potential, OfOneHydrogenAtomIsTheTextbookFormula) {
    JobScript script = Molecule(kAm1, {{1, 0.5, 0.0, 0.0}});
    script.Options.nMultiplicity = 2;
    Run(script);
    const double z = setup.vZeta1[0], r = 0.9;
    const Point a = Place(1);
    EXPECT_NEAR(At({a[0], a[1] - 0.54, a[2] + 0.72}), std::exp(-2 * z * r) * (1 + z * r) / r, 1e-7);
}

TEST_F(Potential, OfOneHeavyAtomIsRoundWhereItsDensityIs) {
    Run(Molecule(kAm1, {{30, 0.0, 0.0, 0.0}}));
    const PotentialField field = BuildPotentialField();
    const double d = At(field, {0.0, 0.0, 1.2});
    EXPECT_GT(d, 0.0);
    for (const Point& p : {Point{0.0, -1.2, 0.0}, Point{0.72, 0.0, -0.96}})
        EXPECT_NEAR(At(field, p), d, 1e-6 * d);
}

TEST_F(Potential, OfClassicalAtomsIsNothing) {
    JobScript script = Water(kAm1);
    script.Add(8, 0.0F, 0.0F, 5.0F, kClassical).flCharge = -0.8F;
    Run(script);
    const PotentialField field = BuildPotentialField();
    EXPECT_EQ(field.pSources.Size(), 3U);
    const Point there = Place(4);
    EXPECT_TRUE(std::isfinite(At(field, there)));
    EXPECT_LT(std::abs(At(field, {there[0], there[1], there[2] + 0.01})), 0.1);
}

TEST_F(Potential, OfACappingAtomIsThatOfItsDensity) {
    // Methyl of ethane: the other carbon closes it, and its hydrogens are classical.
    JobScript script = Molecule(
        kAm1,
        {{6, 0.0, 0.0, 0.0}, {1, -0.4, 1.0, 0.0}, {1, -0.4, -0.5, 0.9}, {1, -0.4, -0.5, -0.9}});
    script.Add(6, 1.5F, 0.0F, 0.0F, kClassical);
    script.Add(1, 1.9F, 1.0F, 0.0F, kClassical).flCharge = 0.1F;
    for (int i : {1, 2, 3, 4}) script.Bond(0, i);
    script.Bond(4, 5);
    Run(script);
    ASSERT_TRUE(IsCapping(AtomByNumber(5)));
    EXPECT_EQ(BuildPotentialField().pSources.Size(), 5U);
    ExpectTheDensityInSpace();
    EXPECT_NEAR(90.0 * At({0.0, 90.0, 0.0}), 0.0, 0.03);  // five atoms without a charge
}

/// A grid of 3 rows of 5 columns, askew.
void AskForAGrid() {
    options.nGridCols = 5;
    options.nGridRows = 3;
    const float flGrid[9] = {-1.0F, 0.5F, 0.25F, 0.75F, 0.0F, 0.125F, 0.0F, -0.5F, 0.5F};
    std::copy_n(flGrid, 9, options.flPlotGrid);
}

TEST_F(Potential, IsPlottedRowByRow) {
    Run(Water(kAm1));
    AskForAGrid();
    std::vector<float> vGrid(16, 7.0F);
    PlotPotential(vGrid.data());
    const PotentialField field = BuildPotentialField();
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 5; ++c)
            EXPECT_FLOAT_EQ(vGrid[static_cast<std::size_t>(5 * r + c)],
                            static_cast<float>(At(field, {-1.0 + 0.75 * c, 0.5 - 0.5 * r,
                                                          0.25 + 0.125 * c + 0.5 * r})))
                << r << " " << c;
    EXPECT_EQ(vGrid[15], 7.0F);
}

TEST_F(Potential, OfALongRowIsThatOfItsPoints) {
    Run(Water(kAm1));
    const PotentialField field = BuildPotentialField();
    const float flGrid[9] = {-30.0F, 0.125F, 0.25F, 0.3125F, 0.015625F, -0.0625F, 0.0F, 0.0F, 0.0F};
    std::copy_n(flGrid, 9, options.flPlotGrid);
    options.nGridCols = 200;
    options.nGridRows = 1;
    std::vector<float> vRow(200);
    PlotPotential(vRow.data());
    for (int k = 0; k < 200; ++k)
        EXPECT_FLOAT_EQ(vRow[static_cast<std::size_t>(k)],
                        static_cast<float>(At(
                            field, {-30.0 + 0.3125 * k, 0.125 + 0.015625 * k, 0.25 - 0.0625 * k})));
}

TEST_F(Potential, OfAGridThatIsNoNumberIsZero) {
    Run(Water(kAm1));
    for (float fl :
         {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
        AskForAGrid();
        options.flPlotGrid[1] = fl;
        std::vector<float> vGrid(15, 7.0F);
        PlotPotential(vGrid.data());
        for (float flValue : vGrid) EXPECT_EQ(flValue, 0.0F);
    }
    AskForAGrid();
    options.flPlotGrid[3] = std::numeric_limits<float>::max();
    std::vector<float> vGrid(15, 7.0F);
    PlotPotential(vGrid.data());
    for (float flValue : vGrid) EXPECT_TRUE(std::isfinite(flValue));
    EXPECT_NE(vGrid[0], 0.0F);
}

TEST_F(Potential, IsNotAvailableInExtendedHueckel) {
    Run(Water(kAm1));
    system.MethodId = kExtendedHueckel;
    AskForAGrid();
    std::vector<float> vGrid(16, 7.0F);
    PlotPotential(vGrid.data());
    for (std::size_t i = 0; i < 15; ++i) EXPECT_EQ(vGrid[i], 0.0F);
    EXPECT_EQ(vGrid[15], 7.0F);
    EXPECT_EQ(client.Warnings().back(),
              "Sorry, the electrostatic potential is not available in the Extended-Huckel method.");
}

TEST_F(Potential, OfAnEmptyGridIsNothing) {
    Run(Water(kAm1));
    for (const auto& [nRows, nColumns] : {std::pair{0, 5}, {3, 0}, {-1, 5}, {3, -1}}) {
        options.nGridRows = nRows;
        options.nGridCols = nColumns;
        float fl = 7.0F;
        PlotPotential(&fl);
        EXPECT_EQ(fl, 7.0F);
    }
}

TEST_F(Potential, WithoutMemoryIsRefused) {
    for (long long n : {0, 1, 2}) {
        Run(Water(kAm1));
        memory.nTaken = 0;
        memory.nFailAt = n;
        EXPECT_THROW(BuildPotentialField(), Unwinding) << n;
        EXPECT_EQ(client.Errors().back(), "This application has exhausted all available memory.");
    }
    Run(Water(kAm1));
    memory.nTaken = 0;
    BuildPotentialField();
    EXPECT_EQ(memory.nTaken, 3);
}

TEST_F(Potential, StopsWhenTheClientHasGone) {
    Run(Water(kAm1));
    client.DuringPump = [] { throw LinkStop{}; };
    AskForAGrid();
    options.nGridRows = 1;
    options.nGridCols = 100000;
    std::vector<float> vRow(100000);
    EXPECT_THROW(PlotPotential(vRow.data()), LinkStop);
    EXPECT_EQ(vRow.back(), 0.0F);
}

}  // namespace
}  // namespace qsolve
