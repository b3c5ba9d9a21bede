#include "integrals/nddo_classical.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "integrals/mindo3.h"
#include "integrals/nddo_pair_sp.h"
#include "job/state.h"
#include "numeric/row.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scf_job.h"

namespace qsolve {
namespace {

constexpr double q = -0.41;

class NddoClassical : public FreshState {
  protected:
    /// Formaldehyde's C and O selected, with a hydrogen that is a charge.
    static void SetUp(int nMethod) {
        JobScript script = Molecule(nMethod, {{6, 0, 0, 0}, {8, 1.2, 0.1, 0}});
        script.Add(1, -0.7F, 1.1F, 2.1F, kClassical).flCharge = static_cast<float>(q);
        script.Add(1, 0.7F, 1.1F, 4.1F, kClassical).flCharge = 9e-6F;  // too small to count
        SetUpJob(script);
    }
    static double Charge() { return static_cast<double>(static_cast<float>(q)); }
    static std::vector<double> Zeros() {
        return std::vector<double>(static_cast<std::size_t>(setup.nOrbitals * setup.nOrbitals));
    }
    static ClassicalPlace PlaceOf(int nPosition) {
        return ClassicalPlaceOf(NddoAtomAt(nPosition).Listed.pXyz,
                                Row(system.pCoords.Data(), 3, 2));
    }
};

TEST_F(NddoClassical, PotentialIsThatOfAMonopoleInAPairBlock) {
    SetUp(kAm1);
    const NddoAtom a = NddoAtomAt(1);
    NddoAtom p = NddoAtomOf(1);
    const ClassicalPlace place = PlaceOf(1);
    double V[kClassicalProducts], f = 0.0, vBlock[kClassicalProducts];
    ClassicalPotential(a, p, place.vDirection, place.dDistance, V, &f);
    p.Listed.nOrbitals = p.nProducts = 1;  // an s orbital has the monopole alone
    PairTerms terms;
    const PairGeometry geometry{place.dDistance,
                                {place.vDirection[0], place.vDirection[1], place.vDirection[2]}};
    ComputePairSp(a, p, geometry, vBlock, terms);
    for (int n = 0; n < kClassicalProducts; ++n) EXPECT_NEAR(V[n], vBlock[n], 1e-14);
    const double R = place.dDistance;
    EXPECT_NEAR(f, std::exp(-a.pRow->dAlpha * R) + std::exp(-p.pRow->dAlpha * R) / R + 1.0, 1e-14);
}

TEST_F(NddoClassical, ChargesActOnTheOrbitalsAndTheCores) {
    SetUp(kPm3);
    std::vector<double> m = Zeros();
    const double dEnergy = AddClassicalChargesNddo(m.data(), setup.nOrbitals);
    double dExpected = 0.0;
    for (int iA = 0; iA < 2; ++iA) {
        const NddoAtom a = NddoAtomAt(iA);
        double V[kClassicalProducts], f = 0.0;
        ClassicalPotential(a, NddoAtomOf(1), PlaceOf(iA).vDirection, PlaceOf(iA).dDistance, V, &f);
        dExpected += a.dCore * V[0] * (1.0 * f - (1.0 - Charge()));
        for (int i = 0; i < 4; ++i)
            for (int j = 0; j < 4; ++j) {
                const int n = i > j ? ProductNumber(i, j) : ProductNumber(j, i);
                EXPECT_NEAR(Row(m.data(), 8, 4 * iA + i)[4 * iA + j], -Charge() * V[n], 1e-13);
            }
    }
    EXPECT_NEAR(dEnergy, dExpected, 1e-12);
    EXPECT_EQ(Row(m.data(), 8, 5)[2], 0.0);
}

TEST_F(NddoClassical, ChargesOfMindoActOnTheDiagonal) {
    SetUp(kMindo3);
    std::vector<double> m = Zeros();
    const double dEnergy = AddClassicalChargesMindo(m.data(), setup.nOrbitals);
    double dExpected = 0.0;
    for (int iA = 0; iA < 2; ++iA) {
        const NddoAtom a = NddoAtomAt(iA);
        const double R = PlaceOf(iA).dDistance, g = MindoCoulomb(a, NddoAtomOf(1), R);
        const double x =
            std::exp(-setup.pMindoPairs[MindoPairIndex(a.Listed.nElement, 1)].dAlphaAB * R);
        dExpected += a.dCore * ((14.399651703941002 / R - g) * x + g - (1.0 - Charge()) * g);
        for (int i = 4 * iA; i < 4 * iA + 4; ++i)
            EXPECT_NEAR(Row(m.data(), 8, i)[i], -Charge() * g, 1e-13);
    }
    EXPECT_NEAR(dEnergy, dExpected, 1e-12);
    EXPECT_EQ(Row(m.data(), 8, 1)[0], 0.0);
}

TEST_F(NddoClassical, ADistantChargeShiftsAnIonByItsPotential) {
    for (const int nMethod : {kMindo3, kMndo, kAm1, kPm3}) {
        JobScript script = Molecule(nMethod, {{8, 0, 0, 0}, {1, 0.97, 0, 0}});
        script.Options.nTotalCharge = -1;
        const double dAlone = EnergyOf(script);
        const double R = 400.0;
        script.Add(9, 0, static_cast<float>(R), 0, kClassical).flCharge = 0.5F;
        const double dShift = -0.5 * 14.399651703941 / R * 23.061;
        EXPECT_NEAR(EnergyOf(script) - dAlone, dShift, 1e-2 * std::abs(dShift)) << nMethod;
    }
}

TEST_F(NddoClassical, AChargeInTheSamePlaceGivesNumbers) {
    for (const int nMethod : {kMindo3, kAm1}) {
        SetUp(nMethod);
        SetPositions({0, 0, 0, 1.2, 0.1, 0, 0, 0, 0, 9, 9, 9});
        EXPECT_EQ(PlaceOf(0).dDistance, 1e-6);
        std::vector<double> m = Zeros();
        const double d = nMethod == kMindo3 ? AddClassicalChargesMindo(m.data(), setup.nOrbitals)
                                            : AddClassicalChargesNddo(m.data(), setup.nOrbitals);
        EXPECT_TRUE(std::isfinite(d));
        for (const double x : m) EXPECT_TRUE(std::isfinite(x));
    }
}

}  // namespace
}  // namespace qsolve
