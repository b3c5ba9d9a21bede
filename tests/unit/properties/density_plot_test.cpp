#include <cmath>

#include "job/state.h"
#include "link/link.h"
#include "numeric/row.h"
#include "properties/orbital_values.h"
#include "tests/unit/properties/plot_fixture.h"

namespace qsolve {
namespace {

class DensityPlot : public PlotTest {
  protected:
    static double Value(int m, double x, double y, double z) {
        const double chi = SlaterOrbitalValue(m, x, y, z, setup.vZeta1[m]);
        if (setup.vCoef2[m] == 0.0) return chi;
        return setup.vCoef1[m] * chi +
               setup.vCoef2[m] * SlaterOrbitalValue(m, x, y, z, setup.vZeta2[m]);
    }

    /// The sum over pairs of orbitals of the same atom, with elements p(m, v), at every point of
    /// AskForAGrid.
    template <class Element>
    static void ExpectSum(const std::vector<float>& grid, Element p) {
        double dLargest = 0.0;
        for (int j = 0; j < 3; ++j)
            for (int i = 0; i < 5; ++i) {
                const double x = -1.0 + 0.75 * i, y = 0.5 + static_cast<double>(0.1F) * i - 0.5 * j,
                             z = 0.25 + 0.125 * i + 0.5 * j;
                double dSum = 0.0;
                for (int m = 0; m < scf.nOrbitals; ++m)
                    for (int v = 0; v < scf.nOrbitals; ++v)
                        if (setup.vOrbitalAtom[m] == setup.vOrbitalAtom[v])
                            dSum += p(m, v) * Value(m, x, y, z) * Value(v, x, y, z);
                dLargest = std::max(dLargest, std::abs(dSum));
                EXPECT_NEAR(grid[static_cast<std::size_t>(5 * j + i)], dSum,
                            1e-6 * std::abs(dSum) + 1e-9)
                    << j << ' ' << i;
            }
        EXPECT_GT(dLargest, 0.01);
    }

    static double Of(const Array<double>& m, int i, int j) {
        return Row(m.Data(), scf.nOrbitals, i)[j];
    }
};

const std::vector<Place> kOxygen = {{8, 0.0, 0.1, -0.6}, {8, 0.2, 0.0, 0.6}};

TEST_F(DensityPlot, IsTheOneCentreSumInAllMethods) {
    for (int nMethod : {kCndo, kIndo, kMindo3, kMndo, kAm1, kPm3, kZindo1, kZindoS, kMndoD}) {
        Run(Water(nMethod));
        PlaceAtoms();
        AskForAGrid();
        ExpectSum(Filled(PlotChargeDensity), [](int m, int v) { return Of(scf.mDensityT, m, v); });
    }
}

TEST_F(DensityPlot, HasDOrbitalsOfTwoExponents) {
    JobScript script =
        Molecule(kZindoS, {{22, 0.0, 0.0, 0.0}, {17, 0.0, 0.4, -2.2}, {1, 1.6, 0.4, 0.3}});
    script.Options.nTotalCharge = 2;
    Run(script);
    PlaceAtoms();
    AskForAGrid();
    ExpectSum(Filled(PlotChargeDensity), [](int m, int v) { return Of(scf.mDensityT, m, v); });
}

TEST_F(DensityPlot, IntegratesToTheElectrons) {
    for (int nMethod : {kCndo, kMindo3, kAm1, kZindoS, kMndoD}) {
        JobScript script = Molecule(nMethod, {{9, 0.0, 0.0, -0.05}, {1, 0.1, 0.0, 0.87}});
        Run(script);
        PlaceAtoms();
        EXPECT_NEAR(Integral(PlotChargeDensity), 8.0, 4e-3) << nMethod;
    }
}

TEST_F(DensityPlot, OfAnIonHasItsElectrons) {
    JobScript script = WithSpin(Molecule(kAm1, kOxygen), 2, 1);
    script.Options.nTotalCharge = 1;
    Run(script);
    PlaceAtoms();
    EXPECT_NEAR(Integral(PlotChargeDensity), 11.0, 4e-3);
    EXPECT_NEAR(Integral(PlotSpinDensity), 1.0, 1e-3);
}

TEST_F(DensityPlot, OfSpinIntegratesToTheUnpairedElectrons) {
    for (int nMethod : {kIndo, kPm3, kZindo1})
        for (const int nSpinTreatment : {0, 1}) {
            Run(WithSpin(Molecule(nMethod, kOxygen), 3, nSpinTreatment));
            PlaceAtoms();
            EXPECT_NEAR(Integral(PlotSpinDensity), 2.0, 1e-3) << nMethod << ' ' << nSpinTreatment;
        }
}

TEST_F(DensityPlot, OfSpinIsTheDifferenceOfTheTwoSpins) {
    Run(WithSpin(Molecule(kAm1, kOxygen), 3, 1));
    PlaceAtoms();
    AskForAGrid();
    ExpectSum(Filled(PlotSpinDensity),
              [](int m, int v) { return Of(scf.mDensityA, m, v) - Of(scf.mDensityB, m, v); });
}

TEST_F(DensityPlot, OfSpinIsThatOfTheOpenLevelsWithoutSpinOrbitals) {
    Run(WithSpin(Molecule(kAm1, kOxygen), 3, 0));
    ASSERT_FALSE(scf.mDensityB);
    PlaceAtoms();
    AskForAGrid();
    ExpectSum(Filled(PlotSpinDensity), [](int m, int v) {
        return Of(scf.mVectorsA, 5, m) * Of(scf.mVectorsA, 5, v) +
               Of(scf.mVectorsA, 6, m) * Of(scf.mVectorsA, 6, v);
    });
}

TEST_F(DensityPlot, OfSpinIsZeroWithoutUnpairedElectrons) {
    Run(Water(kAm1));
    PlaceAtoms();
    AskForAGrid();
    options.nMultiplicity = 3;  // of a later session
    options.nSpinTreatment = 1;
    for (const float fl : Filled(PlotSpinDensity)) EXPECT_EQ(fl, 0.0F);
    EXPECT_FALSE(scf.mDensityB);
}

TEST_F(DensityPlot, OfMicrostatesIsTheSpinDensityThatTheyLeft) {
    Run(WithSpin(Molecule(kAm1, kOxygen), 3, 0));
    PlaceAtoms();
    AskForAGrid();
    scf.nCiKind = kMicrostates;
    scf.mDensityB.Take(64, kSetUp);
    scf.mDensityB[9] = 4.0;
    ExpectSum(Filled(PlotSpinDensity), [](int m, int v) { return m == 1 && v == 1 ? 4.0 : 0.0; });
}

/// Four levels, two of them equal, whose vectors are the unit vectors times 1, 2, 3, 4.
class OpenLevels : public PlotTest {
  protected:
    OpenLevels() {
        NewScriptedClient();
        scf.nOrbitals = 4;
        setup.Map.dOpenOccupancy = 1.0;
    }
    std::vector<double> Diagonal(int nOccupied, int nDoublyOcc) {
        BuildSpinDensityRhf(vEnergy, vLevel, mVectors, nOccupied, nDoublyOcc);
        std::vector<double> found;
        for (int i = 0; i < 4; ++i)
            for (int j = 0; j < 4; ++j)
                if (i == j)
                    found.push_back(scf.mDensityB[5 * i]);
                else
                    EXPECT_EQ(scf.mDensityB[4 * i + j], 0.0);
        return found;
    }
    double vEnergy[4] = {-4.0, -2.0, -2.0, 1.0};
    double vLevel[4] = {-4.0, -2.0, -2.0, 1.0};
    double mVectors[16] = {1, 0, 0, 0, 0, 2, 0, 0, 0, 0, 3, 0, 0, 0, 0, 4};
};

using Doubles = std::vector<double>;

TEST_F(OpenLevels, AreThoseBetweenTheBoundsInEnergy) {
    EXPECT_EQ(Diagonal(3, 1), (Doubles{0, 4, 9, 0}));
    EXPECT_EQ(Diagonal(4, 3), (Doubles{0, 0, 0, 16}));
    EXPECT_EQ(Diagonal(2, 1), (Doubles{0, 4, 9, 0}));  // an equal level belongs to them too
    EXPECT_EQ(Diagonal(1, 0), (Doubles{1, 0, 0, 0}));
}

TEST_F(OpenLevels, AreNoneInAClosedShellAndOutsideTheLevels) {
    EXPECT_EQ(Diagonal(3, 1).size(), 4U);
    EXPECT_EQ(Diagonal(1, 1), (Doubles{0, 0, 0, 0}));
    EXPECT_EQ(Diagonal(5, 4), (Doubles{0, 0, 0, 0}));
    EXPECT_EQ(Diagonal(0, 0), (Doubles{0, 0, 0, 0}));
}

TEST_F(OpenLevels, CountByTheirElectronsUnlessThatIsOne) {
    setup.Map.dOpenOccupancy = 1.5;
    EXPECT_EQ(Diagonal(3, 1), (Doubles{0, 6, 13.5, 0}));
    setup.Map.dOpenOccupancy = 1.00009;
    EXPECT_EQ(Diagonal(3, 1), (Doubles{0, 4, 9, 0}));
}

TEST_F(OpenLevels, WithoutMemoryAreRefused) {
    memory.nTaken = 0;
    memory.nFailAt = 0;
    EXPECT_THROW(BuildSpinDensityRhf(vEnergy, vLevel, mVectors, 3, 1), Unwinding);
    EXPECT_EQ(client.Errors().back(), "This application has exhausted all available memory.");
}

}  // namespace
}  // namespace qsolve
