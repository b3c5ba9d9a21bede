#include "integrals/mindo3.h"

#include <algorithm>
#include <cmath>

#include "setup/state.h"

namespace qsolve {
namespace {

constexpr int kHydrogen = 1, kNitrogen = 7, kOxygen = 8;

const MindoPair& PairOf(const NddoAtom& a, const NddoAtom& b) {
    return setup.pMindoPairs[MindoPairIndex(a.Listed.nElement, b.Listed.nElement)];
}

/// Whether a bond is N-H or O-H.
bool HasHydrogenRule(const NddoAtom& a, const NddoAtom& b) {
    const int nLow = std::min(a.Listed.nElement, b.Listed.nElement);
    const int nHigh = std::max(a.Listed.nElement, b.Listed.nElement);
    return nLow == kHydrogen && (nHigh == kNitrogen || nHigh == kOxygen);
}

/// Ionisation potential of an orbital; the fields of the charge separations hold them.
double IonisationOf(const NddoAtom& atom, int nOrbital) {
    return nOrbital == 0 ? atom.pRow->dDipoleDistance : atom.pRow->dQuadDistance;
}

}  // namespace

double MindoCoulomb(const NddoAtom& a, const NddoAtom& b, double dDistance) {
    const double t = kMindoHalfCoulomb * (1.0 / a.pRow->dRho1 + 1.0 / b.pRow->dRho1);
    return kMindoCoulomb / std::sqrt(t * t + dDistance * dDistance);
}

double MindoCoulombSlope(double dGamma, double dDistance) {
    const double s = dGamma / kMindoCoulomb;
    return -kMindoCoulomb * s * s * s * dDistance;
}

double MindoCoreCore(const NddoAtom& a, const NddoAtom& b, double dDistance, double dGamma) {
    const double R = dDistance, ZZ = a.dCore * b.dCore;
    const double dAlpha = PairOf(a, b).dAlphaAB;
    const double x = HasHydrogenRule(a, b) ? dAlpha * std::exp(-R) : std::exp(-dAlpha * R);
    return dGamma * ZZ + std::abs((kMindoCoulomb / R - dGamma) * x * ZZ);
}

double MindoCoreExcessSlope(const NddoAtom& a, const NddoAtom& b, double dDistance, double dGamma,
                            double dGammaSlope) {
    const double R = dDistance, ZZ = a.dCore * b.dCore;
    const double dAlpha = PairOf(a, b).dAlphaAB;
    const bool fHydrogenRule = HasHydrogenRule(a, b);
    const double x = fHydrogenRule ? dAlpha * std::exp(-R) : std::exp(-dAlpha * R);
    const double dSlopeX = fHydrogenRule ? -x : -dAlpha * x;
    const double y = kMindoCoulomb / R - dGamma;
    const double dSign = y * x * ZZ < 0.0 ? -1.0 : 1.0;
    return dSign * ZZ * ((-kMindoCoulomb / (R * R) - dGammaSlope) * x + y * dSlopeX);
}

double MindoResonance(const NddoAtom& a, int mu, const NddoAtom& b, int nu) {
    return PairOf(a, b).dBetaAB * (IonisationOf(a, mu) + IonisationOf(b, nu));
}

}  // namespace qsolve
