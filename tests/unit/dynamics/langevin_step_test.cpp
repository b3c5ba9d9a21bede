#include "dynamics/langevin_step.h"

#include <cmath>
#include <vector>

#include "dynamics/constants.h"
#include "job/methods.h"
#include "tests/support/bare_molecule.h"
#include "tests/support/fresh_state.h"
#include "tests/support/reference_table.h"

namespace qsolve {
namespace {

void ExpectClose(double d, double dTrue, const char* sWhat, double h) {
    EXPECT_NEAR(d, dTrue, 5e-15 * std::abs(dTrue)) << sWhat << " at " << h;
}

TEST(LangevinTermsOf, AnyFrictionAreThoseOfTheClosedForms) {
    for (const ReferenceRow& row : ReadReferenceRows("langevin_terms.txt")) {
        const std::vector<double>& v = row.Values;
        const LangevinTerms terms = DeriveLangevinTerms(v[0]);
        ExpectClose(terms.C0, v[1], "C0", v[0]);
        ExpectClose(terms.C1, v[2], "C1", v[0]);
        ExpectClose(terms.C2, v[3], "C2", v[0]);
        ExpectClose(terms.dPlaceWidth, v[4], "wr", v[0]);
        ExpectClose(terms.dVelocityWidth, v[5], "wv", v[0]);
        ExpectClose(terms.dCorrelation, v[6], "c", v[0]);
    }
}

// What the series give without friction: velocity Verlet, no noise, and a correlation of sqrt(3)/2.
TEST(LangevinTermsOf, VanishingFrictionAreThoseOfVelocityVerlet) {
    const LangevinTerms terms = DeriveLangevinTerms(1e-300);
    EXPECT_EQ(terms.C0, 1.0);
    EXPECT_EQ(terms.C1, 1.0);
    EXPECT_EQ(terms.C2, 0.5);
    EXPECT_LT(terms.dPlaceWidth, 1e-149);
    EXPECT_NEAR(terms.dCorrelation, std::sqrt(3.0) / 2, 1e-14);
}

TEST(LangevinTermsOf, HugeFrictionStayFinite) {
    for (const double h : {1e3, 1e10, 1e38, 1e76}) {
        const LangevinTerms terms = DeriveLangevinTerms(h);
        EXPECT_EQ(terms.C0, 0.0);
        EXPECT_EQ(terms.dVelocityWidth, 1.0);
        EXPECT_NEAR(terms.C1 * h, 1.0, 1e-15);
        EXPECT_NEAR(terms.dPlaceWidth * std::sqrt(h), std::sqrt(2.0), 2e-3);
        EXPECT_LE(std::abs(terms.dCorrelation), 1.0);
    }
}

/// Second moments of place and velocity of a free particle, in units of kT/m.
struct Moments {
    double xx = 0, xv = 0, vv = 0;
};

/// The same after a step of the map x + t C1 v + t wr u, C0 v + wv (c u + ...).
Moments After(const Moments& a, double t, const LangevinTerms& s) {
    return {a.xx + 2 * t * s.C1 * a.xv + t * t * s.C1 * s.C1 * a.vv +
                t * t * s.dPlaceWidth * s.dPlaceWidth,
            s.C0 * a.xv + t * s.C0 * s.C1 * a.vv +
                t * s.dCorrelation * s.dPlaceWidth * s.dVelocityWidth,
            s.C0 * s.C0 * a.vv + s.dVelocityWidth * s.dVelocityWidth};
}

// S. Chandrasekhar, Rev. Mod. Phys. 15, 1 (1943): a particle that starts at rest.
TEST(FreeParticles, ReachTheirMomentsInStepsOfAnyLength) {
    const double f = 10.0, dEnd = 0.5, ft = f * dEnd;
    for (const int nSteps : {1, 2, 7, 50, 5000}) {
        const double t = dEnd / nSteps;
        const LangevinTerms terms = DeriveLangevinTerms(f * t);
        Moments m;
        for (int i = 0; i < nSteps; ++i) m = After(m, t, terms);
        const double e = std::exp(-ft);
        EXPECT_NEAR(m.vv, 1 - e * e, 1e-11) << nSteps;
        EXPECT_NEAR(m.xx, (2 * ft - 3 + 4 * e - e * e) / (f * f), 1e-11) << nSteps;
        EXPECT_NEAR(m.xv, (1 - e) * (1 - e) / f, 1e-11) << nSteps;
    }
}

class LangevinMove : public FreshState {
  protected:
    /// nAtoms atoms of a mass (amu) side by side, at rest, and no forces.
    void Free(int nMethod, int nAtoms, float flMass) {
        BareMolecule molecule;
        molecule.nMethod = nMethod;
        for (int i = 0; i < nAtoms; ++i) molecule.Atoms.push_back({1, 1});
        Build(molecule);
        for (AtomRecord& atom : system.pAtoms) atom.flMass = flMass;
        v.assign(3 * static_cast<std::size_t>(nAtoms), 0.0);
        g = v;
    }
    void Move(const LangevinStep& step, double dTemperature) {
        LangevinHalfStep(step, dTemperature, g.data(), force, system.pCoords.Data(), v.data());
        LangevinFinishStep(step, g.data(), v.data());
    }
    /// Mean of the product of two lists.
    template <class A, class B>
    static double Mean(const A& a, const B& b, std::size_t n) {
        double dSum = 0.0;
        for (std::size_t i = 0; i < n; ++i) dSum += a[i] * b[i];
        return dSum / static_cast<double>(n);
    }

    std::vector<double> v, g;
    RandomForce force = StartRandomForce(1, true);
};

// Mean squares of n Gaussian numbers have a relative standard error of sqrt(2 / n).
TEST_F(LangevinMove, OfFreeAtomsHasTheMomentsOfTheTheory) {
    const std::size_t n = 60000;
    const double f = 5.0, t = 0.02, dTemperature = 300.0, kTm = 7.035577;  // of 35.453 amu
    Free(kAm1, static_cast<int>(n) / 3, 35.453F);
    const LangevinStep step = StartLangevin(kAm1, f, t, true);
    for (int i = 0; i < 5; ++i) Move(step, dTemperature);
    const double dError = 4 * std::sqrt(2.0 / static_cast<double>(n)), e = std::exp(-f * 5 * t);
    const double vv = kTm * (1 - e * e), xx = kTm * (2 * f * 5 * t - 3 + 4 * e - e * e) / (f * f);
    EXPECT_NEAR(Mean(v, v, n) / vv, 1.0, dError);
    EXPECT_NEAR(Mean(system.pCoords, system.pCoords, n) / xx, 1.0, dError);
    EXPECT_NEAR(Mean(system.pCoords, v, n), kTm * (1 - e) * (1 - e) / f,
                dError * std::sqrt(xx * vv));
    EXPECT_NEAR(Mean(v, std::vector<double>(n, 1.0), n), 0.0, dError * std::sqrt(vv));
}

TEST_F(LangevinMove, ForgetsItsVelocityExponentially) {
    const std::size_t n = 30000;
    const double f = 5.0, t = 0.02;
    Free(kAm1, static_cast<int>(n) / 3, 12.0F);
    const LangevinStep step = StartLangevin(kAm1, f, t, true);
    for (int i = 0; i < 100; ++i) Move(step, 300.0);
    const std::vector<double> vStart = v;
    for (int i = 1; i <= 10; ++i) {
        Move(step, 300.0);
        const double dNorm = std::sqrt(Mean(v, v, n) * Mean(vStart, vStart, n));
        EXPECT_NEAR(Mean(v, vStart, n) / dNorm, std::exp(-f * t * i),
                    4 / std::sqrt(static_cast<double>(n)));
    }
}

TEST_F(LangevinMove, AddsNoiseInAngstromUnlessAskedForTheWorkingUnit) {
    const std::size_t n = 3000;
    const auto SpreadOf = [&](int nMethod, bool fScaled) {
        Free(nMethod, static_cast<int>(n) / 3, 12.0F);
        force = StartRandomForce(1, true);
        Move(StartLangevin(nMethod, 5.0, 0.02, fScaled), 300.0);
        return std::sqrt(Mean(system.pCoords, system.pCoords, n));
    };
    const double dSpread = SpreadOf(kAm1, false);
    EXPECT_EQ(SpreadOf(kAm1, true), dSpread);
    for (const int nMethod : {kCndo, kIndo, kZindo1, kZindoS}) {
        EXPECT_NEAR(SpreadOf(nMethod, false) / dSpread, 1.0, 1e-14) << nMethod;
        EXPECT_NEAR(SpreadOf(nMethod, true) / dSpread, 1.889725985, 1e-13) << nMethod;
    }
}

TEST_F(LangevinMove, MovesTheFreeAtomsAlone) {
    Free(kAm1, 3, 1.0F);
    system.pAtoms[1].nState = kCapping;
    v.assign(9, 1.0);
    g.assign(9, 10.0);
    const std::vector<double> vStart = v;
    Move(StartLangevin(kAm1, 5.0, 0.001, true), 300.0);
    for (std::size_t i = 0; i < 9; ++i) {
        const bool fCap = i / 3 == 1;
        EXPECT_EQ(system.pCoords[i] == 0.0, fCap) << i;
        EXPECT_EQ(v[i] == 1.0, fCap) << i;
    }
}

TEST_F(LangevinMove, WithoutFrictionIsVelocityVerletAndDrawsNothing) {
    for (const int nMethod : {kAm1, kCndo}) {
        Free(nMethod, 1, 2.0F);
        v = {1.0, -2.0, 3.0};
        g = {40.0, 0.0, -80.0};
        const RandomForce before = force = StartRandomForce(1, false);
        // Places and velocities have each their bohr.
        const double t = 0.003, b = nMethod == kCndo ? 1.889725985 : 1.0;
        const double b2 = nMethod == kCndo ? 1.8897259850078587 : 1.0;
        LangevinHalfStep(StartLangevin(nMethod, 0.0, t, false), 300.0, g.data(), force,
                         system.pCoords.Data(), v.data());
        EXPECT_EQ(force.nLangevinSeed, before.nLangevinSeed);
        EXPECT_TRUE(force.fReseed);
        // 418.4 / 2 of an acceleration for each kcal/(mol Angstrom); g is per working unit.
        const double a[] = {-40.0 * 209.2 * b, 0.0, 80.0 * 209.2 * b}, v0[] = {1.0, -2.0, 3.0};
        for (std::size_t k = 0; k < 3; ++k) {
            EXPECT_NEAR(system.pCoords[k], b * (v0[k] * t + 0.5 * a[k] * t * t), 1e-13);
            EXPECT_NEAR(v[k], v0[k] + 0.5 * a[k] / b * b2 * t, 1e-12);
        }
        g = {0.0, 20.0, 0.0};
        LangevinFinishStep(StartLangevin(nMethod, 0.0, t, false), g.data(), v.data());
        EXPECT_NEAR(v[1], -2.0 - 0.5 * 20.0 * 209.2 * b2 * t, 1e-12);
    }
}

// A constant force drives a damped particle as v(t) = F/f (1 - exp(-f t)): the two stages together
// are exact for it.
TEST_F(LangevinMove, IsExactForAConstantForce) {
    for (const int nMethod : {kAm1, kZindo1}) {
        Free(nMethod, 1, 4.0F);
        g.assign(3, -50.0);
        const double f = 20.0, t = 0.01, b = UsesAtomicUnits(nMethod) ? 1.889725985 : 1.0;
        const LangevinStep step = StartLangevin(nMethod, f, t, false);
        for (int i = 0; i < 30; ++i) Move(step, 0.0);
        const double F = 50.0 * 104.6 * b, T = 30 * t, e = std::exp(-f * T);
        EXPECT_NEAR(v[0], F / f * (1 - e), 1e-10 * F);
        EXPECT_NEAR(system.pCoords[0] / b, F / f * (T - (1 - e) / f), 1e-10 * F);
    }
}

TEST_F(LangevinMove, HasNoNoiseAtOrBelowZero) {
    for (const double dTemperature : {0.0, -5.0}) {
        Free(kAm1, 2, 1.0F);
        v.assign(6, 1.0);
        Move(StartLangevin(kAm1, 5.0, 0.001, false), dTemperature);
        for (const double d : v) EXPECT_NEAR(d, std::exp(-0.005), 1e-15);
    }
}

TEST_F(LangevinMove, StaysFiniteWithHostileSettings) {
    for (const double f : {1e-38, 1e38})
        for (const double t : {0.0, 1e-40, 1e38}) {
            Free(kCndo, 1, 1.0F);
            v.assign(3, 1.0);
            Move(StartLangevin(kCndo, f, t, true), 300.0);
            EXPECT_FALSE(std::isnan(v[0])) << f << ' ' << t;
            EXPECT_FALSE(std::isnan(system.pCoords[0])) << f << ' ' << t;
        }
}

}  // namespace
}  // namespace qsolve
