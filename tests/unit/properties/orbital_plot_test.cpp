#include <cmath>
#include <limits>
#include <tuple>

#include "integrals/integrals.h"
#include "job/state.h"
#include "numeric/row.h"
#include "properties/orbital_values.h"
#include "tests/unit/properties/plot_fixture.h"

namespace qsolve {
namespace {

class OrbitalPlot : public PlotTest {
  protected:
    /// Value of an orbital, a row of the vectors, at point (j, i) of AskForAGrid.
    static double Expected(const double* pVector, int j, int i) {
        const double x = -1.0 + 0.75 * i, y = 0.5 + static_cast<double>(0.1F) * i - 0.5 * j,
                     z = 0.25 + 0.125 * i + 0.5 * j;
        double dSum = 0.0;
        for (int m = 0; m < scf.nOrbitals; ++m) {
            double chi = SlaterOrbitalValue(m, x, y, z, setup.vZeta1[m]);
            if (setup.vCoef2[m] != 0.0)
                chi = setup.vCoef1[m] * chi +
                      setup.vCoef2[m] * SlaterOrbitalValue(m, x, y, z, setup.vZeta2[m]);
            dSum += pVector[m] * chi;
        }
        return dSum;
    }

    /// The plot that the options ask for is that of row nRow of the vectors.
    static void ExpectRow(const Array<double>& mVectors, int nRow) {
        const double* pVector = Row(mVectors.Data(), scf.nOrbitals, nRow);
        const std::vector<float> grid = Orbital();
        // Coefficients of up to 1e-5 are left out, of orbitals that are nowhere much above 1.
        const double dOmitted = 1e-5 * scf.nOrbitals;
        double dLargest = 0.0;
        for (int j = 0; j < 3; ++j)
            for (int i = 0; i < 5; ++i) {
                const double d = Expected(pVector, j, i);
                dLargest = std::max(dLargest, std::abs(d));
                ASSERT_NEAR(grid[static_cast<std::size_t>(5 * j + i)], d,
                            dOmitted + 1e-6 * std::abs(d))
                    << "row " << nRow << " at " << j << ' ' << i;
            }
        EXPECT_GT(dLargest, 1e-3);
    }

    static std::string OnlyWarning() {
        EXPECT_EQ(client.Warnings().size(), 1U);
        return client.Warnings().empty() ? "" : client.Warnings().back();
    }
};

const std::vector<Place> kFormaldehyde = {
    {6, 0.0, 0.0, 0.0}, {8, 0.3, 0.2, 1.15}, {1, 0.94, 0.1, -0.54}, {1, -0.94, 0.05, -0.54}};

TEST_F(OrbitalPlot, IsTheSumOfSlaterOrbitalsInAllMethods) {
    for (int nMethod : {kCndo, kIndo, kMindo3, kMndo, kAm1, kPm3, kZindo1, kZindoS, kMndoD}) {
        Run(Molecule(nMethod, kFormaldehyde));
        PlaceAtoms();
        AskForAGrid();
        for (int k = 1; k <= scf.nOrbitals; ++k) {
            AskForOrbital(2, k);
            ExpectRow(scf.mVectorsA, k - 1);
        }
    }
}

TEST_F(OrbitalPlot, HasDOrbitalsOfOneAndTwoExponents) {
    for (int nMethod : {kZindoS, kMndoD}) {
        const int nMetal = nMethod == kMndoD ? 53 : 22;
        JobScript script =
            Molecule(nMethod, {{nMetal, 0.0, 0.0, 0.0}, {17, 0.0, 0.4, -2.2}, {1, 1.6, 0.4, 0.3}});
        script.Options.nTotalCharge = nMethod == kMndoD ? 1 : 2;
        script.Options.nMultiplicity = 1;
        Run(script);
        PlaceAtoms();
        AskForAGrid();
        ASSERT_EQ(setup.vCoef2[8] != 0.0, nMethod == kZindoS);
        for (int k = 1; k <= scf.nOrbitals; ++k) {
            AskForOrbital(2, k);
            ExpectRow(scf.mVectorsA, k - 1);
        }
    }
}

TEST_F(OrbitalPlot, SquaredIsTheSquare) {
    Run(Water(kAm1));
    PlaceAtoms();
    AskForAGrid();
    AskForOrbital(2, 3);
    const std::vector<float> amplitude = Orbital(), square = Orbital(true);
    for (std::size_t i = 0; i < square.size(); ++i)
        EXPECT_FLOAT_EQ(square[i], amplitude[i] * amplitude[i]);
}

TEST_F(OrbitalPlot, HasTheNormOfItsCoefficientsAndOverlaps) {
    for (int nMethod : {kCndo, kAm1}) {
        Run(Molecule(nMethod, {{9, 0.0, 0.0, -0.05}, {1, 0.1, 0.0, 0.87}}));
        const int n = scf.nOrbitals;
        std::vector<double> mOverlap(static_cast<std::size_t>(n * n));
        BuildOverlapMatrix(mOverlap.data(), n, n);
        PlaceAtoms();
        double dFarthest = 0.0;
        for (int k = 1; k <= n; ++k) {
            const double* c = Row(scf.mVectorsA.Data(), n, k - 1);
            double dNorm = 0.0;
            for (int i = 0; i < n; ++i)
                for (int j = 0; j < n; ++j) dNorm += c[i] * c[j] * Row(mOverlap.data(), n, i)[j];
            dFarthest = std::max(dFarthest, std::abs(dNorm - 1.0));
            AskForOrbital(2, k);
            EXPECT_NEAR(Integral([](float* p) { PlotOrbital(true, p); }), dNorm, 1e-3)
                << nMethod << ' ' << k;
        }
        EXPECT_GT(dFarthest, 0.1);  // the overlap is seen
    }
}

TEST_F(OrbitalPlot, OfOneAtomHasTheNormOne) {
    JobScript script = Molecule(kMndoD, {{17, 0.02, -0.01, 0.03}});
    script.Options.nMultiplicity = 2;
    Run(script);
    ASSERT_EQ(scf.nOrbitals, 9);
    PlaceAtoms();
    for (int k = 1; k <= 9; ++k) {
        AskForOrbital(2, k);
        EXPECT_NEAR(Integral([](float* p) { PlotOrbital(true, p); }, 24.0, 120), 1.0, 1e-3) << k;
    }
}

/// Spin treatment, multiplicity, beta flag, and the highest occupied level that is meant.
using Treatment = std::tuple<int, int, int, int>;
class Reference : public OrbitalPlot, public testing::WithParamInterface<Treatment> {};

TEST_P(Reference, IsTheHighestOccupiedLevelOfItsSpin) {
    const auto [nSpinTreatment, nMultiplicity, fBeta, nHighest] = GetParam();
    Run(WithSpin(Molecule(kAm1, {{8, 0.0, 0.1, -0.6}, {8, 0.2, 0.0, 0.6}}), nMultiplicity,
                 nSpinTreatment));
    PlaceAtoms();
    AskForAGrid();
    const Array<double>& mVectors = nSpinTreatment == 1 && fBeta ? scf.mVectorsB : scf.mVectorsA;
    for (int nOffset = -1; nOffset <= 1; ++nOffset) {
        if (nHighest + nOffset < scf.nOrbitals) {
            AskForOrbital(0, nOffset, fBeta);
            ExpectRow(mVectors, nHighest + nOffset);
        }
        if (nHighest - nOffset <= scf.nOrbitals) {
            AskForOrbital(1, nOffset, fBeta);
            ExpectRow(mVectors, nHighest - 1 - nOffset);
        }
    }
}

// O2 has 12 valence electrons.
INSTANTIATE_TEST_SUITE_P(Spins, Reference,
                         testing::Values(Treatment{0, 1, 0, 6}, Treatment{0, 1, 1, 6},
                                         Treatment{0, 3, 0, 7}, Treatment{0, 3, 1, 5},
                                         Treatment{1, 3, 0, 7}, Treatment{1, 3, 1, 5}));

TEST_F(OrbitalPlot, CountsNaturalOrbitalsEmptyBelowHalfAnElectron) {
    Run(Water(kAm1));
    PlaceAtoms();
    AskForAGrid();
    scf.nCiKind = kMicrostates;
    // Natural orbitals ascend in occupation, and the table goes through them from the other end.
    const float flOccupancy[6] = {2.0F, 1.9F, 1.2F, 0.5F, 0.4F, 0.0F};
    for (int k = 0; k < 6; ++k) {
        results.Orbitals.vOccupancy[k] = flOccupancy[k];
        results.Orbitals.vOrbitalOrder[k] = 5 - k;
    }
    AskForOrbital(0, 0);
    ExpectRow(scf.mVectorsA, 1);
    AskForOrbital(1, 0);
    ExpectRow(scf.mVectorsA, 2);
    results.Orbitals.vOccupancy[4] = results.Orbitals.vOccupancy[5] = 1.0F;
    ExpectRow(scf.mVectorsA, 0);
}

TEST_F(OrbitalPlot, FindsItsVectorThroughTheTableOfItsSpin) {
    Run(WithSpin(Molecule(kAm1, {{8, 0.0, 0.1, -0.6}, {8, 0.2, 0.0, 0.6}}), 3, 1));
    PlaceAtoms();
    AskForAGrid();
    for (int k = 0; k < 8; ++k) results.Orbitals.vOrbitalOrder[8 + k] = 7 - k;
    AskForOrbital(2, 3, 0);
    ExpectRow(scf.mVectorsA, 2);
    AskForOrbital(2, 3, 1);
    ExpectRow(scf.mVectorsB, 5);
}

TEST_F(OrbitalPlot, GoesByTheTreatmentThatTheVectorsHaveAndNotByNewOptions) {
    Run(Water(kAm1));
    PlaceAtoms();
    AskForAGrid();
    options.nSpinTreatment = 1;
    options.nCiKind = kMicrostates;
    AskForOrbital(1, 0, 1);
    ExpectRow(scf.mVectorsA, 3);
}

TEST_F(OrbitalPlot, LeavesSmallCoefficientsOut) {
    Run(Water(kAm1));
    PlaceAtoms();
    AskForAGrid();
    std::fill_n(scf.mVectorsA.begin(), 6, 1e-05);
    AskForOrbital(2, 1);
    for (const float fl : Orbital()) EXPECT_EQ(fl, 0.0F);
    scf.mVectorsA[4] = -1.01e-05;
    for (const float fl : Orbital()) EXPECT_LT(fl, 0.0F);
}

TEST_F(OrbitalPlot, ThatIsNotThereIsAWarningAndLeavesTheGrid) {
    Run(Water(kAm1));
    PlaceAtoms();
    AskForAGrid();
    const int nMost = std::numeric_limits<int>::max(), nLeast = std::numeric_limits<int>::min();
    for (const auto& [nMode, nOffset, nSaid] : {std::tuple{2, 0, 0LL},
                                                {2, 7, 7LL},
                                                {2, -1, -1LL},
                                                {0, 2, 7LL},
                                                {1, 4, 0LL},
                                                {0, nMost, 5LL + nMost},
                                                {1, nLeast, 4LL - nLeast},
                                                {3, 1, 0LL},
                                                {-1, 1, 0LL}}) {
        client.Sent.clear();
        AskForOrbital(nMode, nOffset);
        for (const float fl : Orbital()) EXPECT_EQ(fl, 7.0F);
        EXPECT_EQ(OnlyWarning(), "The orbital to be plotted (" + std::to_string(nSaid) +
                                     ") doesn't exist; please choose one from 1 to 6.");
    }
}

}  // namespace
}  // namespace qsolve
