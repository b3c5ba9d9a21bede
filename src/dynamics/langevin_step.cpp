#include "dynamics/langevin_step.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "dynamics/constants.h"
#include "job/methods.h"
#include "job/state.h"

namespace qsolve {

namespace {

/// Below this h differences of the closed forms lose digits, and their series are summed instead.
constexpr double kSeriesBelow = 0.5;
constexpr int kPhiTerms = 18, kWidthTerms = 28;

/// C1 and C2: sum over k of (-h)^k / (k + 1)! and / (k + 2)!.
void SumPhi(double h, LangevinTerms& terms) {
    double dTerm = 1.0;  // (-h)^k / (k + 1)!
    terms.C1 = terms.C2 = 0.0;
    for (int k = 0; k <= kPhiTerms; ++k) {
        terms.C1 += dTerm;
        terms.C2 += dTerm / (k + 2);
        dTerm *= -h / (k + 2);
    }
}

/// wr^2: sum over k of (-1)^(k+1) (2^k - 4) / k! h^(k-2), from k = 3.
double SumPlaceVariance(double h) {
    double dSum = 0.0, dTerm = h / 6.0, dPower = 8.0;  // (-1)^(k+1) h^(k-2) / k!, 2^k
    for (int k = 3; k <= kWidthTerms; ++k) {
        dSum += (dPower - 4.0) * dTerm;
        dTerm *= -h / (k + 1);
        dPower *= 2.0;
    }
    return dSum;
}

double PlaceVariance(double h) {
    if (h < kSeriesBelow) return SumPlaceVariance(h);
    const double dInner = std::exp(-2.0 * h) + 3.0 - 4.0 * std::exp(-h);
    return (2.0 - dInner / h) / h;
}

double Root(double d) {
    return std::sqrt(std::max(0.0, d));
}

/// Calls move(place of the first of three coordinates, of three velocities, acceleration) for each
/// atom that is free to move, acceleration being that of a unit force in Angstrom/ps^2.
template <class Move>
void ForEachFreeAtom(Move move) {
    for (int i = 0; i < system.nSelected; ++i) {
        const int nAtom = system.nSelectedAtoms[i] - 1;
        const AtomRecord& atom = system.pAtoms[nAtom];
        if (atom.nState != kSelected) continue;
        const double a =
            atom.nAtomicNumber > 0 ? kAcceleration / static_cast<double>(atom.flMass) : 0.0;
        move(3 * static_cast<std::ptrdiff_t>(nAtom), 3 * static_cast<std::ptrdiff_t>(i), a);
    }
}

/// Velocity Verlet, one component: place and half the change of velocity.
void MoveFreely(const LangevinStep& s, double dForce, double& x, double& v) {
    const double b1 = s.dPlaceUnit, t = s.dTimeStep;
    x += b1 * (v * t - 0.5 * dForce * b1 * t * t);
    v -= 0.5 * dForce * s.dVelocityUnit * t;
}

/// One component with friction and the noise drawn for it.
void MoveDamped(const LangevinStep& s, double dForce, const DeviatePair& noise, double& x,
                double& v) {
    const double b1 = s.dPlaceUnit, t = s.dTimeStep;
    const LangevinTerms& c = s.Terms;
    x += b1 * (v * c.C1 * t - dForce * b1 * c.C2 * t * t) + noise.x * s.dNoiseUnit;
    v = v * c.C0 - dForce * s.dVelocityUnit * t * (c.C1 - c.C2) + noise.y;
}

}  // namespace

LangevinTerms DeriveLangevinTerms(double h) {
    LangevinTerms terms;
    terms.C0 = std::exp(-h);
    if (h < kSeriesBelow) {
        SumPhi(h, terms);
    } else {
        terms.C1 = (1.0 - terms.C0) / h;
        terms.C2 = (1.0 - terms.C1) / h;
    }
    terms.dPlaceWidth = Root(PlaceVariance(h));
    terms.dVelocityWidth = Root(-std::expm1(-2.0 * h));
    const double dProduct = terms.dPlaceWidth * terms.dVelocityWidth;
    const double dGain = -std::expm1(-h);
    if (dProduct > 0.0) terms.dCorrelation = dGain / h * dGain / dProduct;
    return terms;
}

LangevinStep StartLangevin(int nMethod, double dFriction, double dTimeStep, bool fScaledNoise) {
    LangevinStep step;
    step.dTimeStep = dTimeStep;
    step.fFriction = dFriction > 0.0;
    const double h = dFriction * dTimeStep;
    if (step.fFriction && h > 0.0) step.Terms = DeriveLangevinTerms(h);
    if (!UsesAtomicUnits(nMethod)) return step;
    step.dPlaceUnit = kLangevinPlaceBohr;
    step.dVelocityUnit = kLangevinVelocityBohr;
    if (fScaledNoise) step.dNoiseUnit = kLangevinPlaceBohr;
    return step;
}

void LangevinHalfStep(const LangevinStep& step, double dTemperature, const double* pGradient,
                      RandomForce& force, double* pCoords, double* pVelocity) {
    const LangevinTerms& terms = step.Terms;
    const double kT = kBoltzmann * std::max(0.0, dTemperature);
    ForEachFreeAtom([&](std::ptrdiff_t nPlace, std::ptrdiff_t nRow, double a) {
        const double dThermal = std::sqrt(a * kT);
        const double sr = dThermal * terms.dPlaceWidth * step.dTimeStep;
        const double sv = dThermal * terms.dVelocityWidth;
        for (int k = 0; k < 3; ++k) {
            const double dForce = pGradient[nRow + k] * a;
            double &x = pCoords[nPlace + k], &v = pVelocity[nRow + k];
            if (!step.fFriction) {
                MoveFreely(step, dForce, x, v);
                continue;
            }
            MoveDamped(step, dForce, CorrelatedDeviates(sr, sv, terms.dCorrelation, force), x, v);
        }
    });
}

void LangevinFinishStep(const LangevinStep& step, const double* pGradient, double* pVelocity) {
    const double dWeight = step.fFriction ? step.Terms.C2 : 0.5;
    ForEachFreeAtom([&](std::ptrdiff_t, std::ptrdiff_t nRow, double a) {
        for (int k = 0; k < 3; ++k)
            pVelocity[nRow + k] -=
                pGradient[nRow + k] * a * step.dVelocityUnit * dWeight * step.dTimeStep;
    });
}

}  // namespace qsolve
