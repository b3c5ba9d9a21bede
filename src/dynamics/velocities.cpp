#include "dynamics/velocities.h"

#include <algorithm>
#include <cmath>

#include "dynamics/constants.h"
#include "dynamics/random.h"
#include "job/state.h"

namespace qsolve {

namespace {

const AtomRecord& AtomAt(int nPosition) {
    return system.pAtoms[system.nSelectedAtoms[nPosition] - 1];
}

bool IsDummyAtom(const AtomRecord& atom) {
    return atom.nAtomicNumber <= 0;
}

double MassOf(const AtomRecord& atom) {
    return static_cast<double>(atom.flMass);
}

/// Mean velocity of what has been drawn, each atom by its weight.
struct CentreOfMass {
    double dWeight = 0.0;
    double dMomentum[3] = {};

    void Add(double dMass, const double* v) {
        dWeight += dMass;
        for (int k = 0; k < 3; ++k) dMomentum[k] += dMass * v[k];
    }
    double Velocity(int k) const { return dWeight > 0.0 ? dMomentum[k] / dWeight : 0.0; }
};

}  // namespace

void InitVelocities(double dTemperature, int nSeed, double* pVelocity) {
    bool fReseed = true;
    CentreOfMass centre;
    for (int nAtom = 0; nAtom < system.nAtoms; ++nAtom) {
        const AtomRecord& atom = system.pAtoms[nAtom];
        if (IsDummyAtom(atom)) continue;
        const bool fMoves = atom.nState == kSelected;
        const double a = kAcceleration / MassOf(atom);
        const double dWidth =
            fMoves ? std::sqrt(a * kBoltzmann * std::max(0.0, dTemperature)) : 0.0;
        double v[3];
        for (double& d : v) d = GaussianDeviate(dWidth, nSeed, fReseed);
        if (fMoves) centre.Add(1.0 / a, v);
        const int nPosition = system.nAtomToSelected[nAtom];
        if (nPosition >= 1 && nPosition <= system.nSelected)
            std::copy_n(v, 3, pVelocity + 3 * (nPosition - 1));
    }
    for (int i = 0; i < 3 * system.nSelected; ++i) pVelocity[i] -= centre.Velocity(i % 3);
}

double InstantTemperature(const double* pVelocity) {
    double dSum = 0.0;
    for (int i = 0; i < system.nSelected; ++i) {
        if (IsDummyAtom(AtomAt(i))) continue;
        const double* v = pVelocity + 3 * i;
        dSum += MassOf(AtomAt(i)) * (v[0] * v[0] + v[1] * v[1] + v[2] * v[2]) / kAcceleration;
    }
    return system.nAtomsActive > 0 ? dSum / (system.nAtomsActive * kThreeBoltzmann) : 0.0;
}

double KineticEnergyAt(double dTemperature) {
    return 3.0 * system.nAtoms * dTemperature * kHalfBoltzmann;
}

void ScaleVelocities(double dFactor, double* pVelocity) {
    for (int i = 0; i < 3 * system.nSelected; ++i) pVelocity[i] *= dFactor;
}

void ScaleToTemperature(double dTemperature, double* pVelocity) {
    if (!(dTemperature > kLeastTemperature)) return;
    const double dNow = std::max(InstantTemperature(pVelocity), kLeastTemperature);
    ScaleVelocities(std::sqrt(dTemperature / dNow), pVelocity);
}

void RestUnmovingAtoms(double* pVelocity) {
    for (int i = 0; i < system.nSelected; ++i)
        if (IsDummyAtom(AtomAt(i)) || AtomAt(i).nState != kSelected)
            std::fill_n(pVelocity + 3 * i, 3, 0.0);
}

void KickVelocities(double dTimeStep, const double* pGradient, double* pVelocity) {
    for (int i = 0; i < system.nSelected; ++i) {
        if (IsDummyAtom(AtomAt(i))) continue;
        const double dFactor = kAcceleration / MassOf(AtomAt(i)) * dTimeStep;
        for (int k = 3 * i; k < 3 * i + 3; ++k) pVelocity[k] -= dFactor * pGradient[k];
    }
}

}  // namespace qsolve
