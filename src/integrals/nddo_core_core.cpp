#include "integrals/nddo_core_core.h"

#include <cmath>

#include "job/state.h"
#include "setup/state.h"

namespace qsolve {
namespace {

constexpr int kBoron = 5, kNitrogen = 7, kOxygen = 8;

// Sums of the atomic numbers by which a partner is told.
constexpr int kNitrogenWithHydrogen = 8, kOxygenWithHydrogen = 9;
constexpr int kBoronWithHydrogen = 6, kBoronWithCarbon = 11;
constexpr int kBoronWithHalogen[] = {14, 22, 40, 58};  // F, Cl, Br, I

// clang-format off
constexpr CoreGaussian kBoronDefault[kBoronGaussians] = {
    {0.182613, 6, 0.727592}, {0.118587, 6, 1.466639}, {-0.07328, 5, 1.570975}};
constexpr CoreGaussian kBoronHydrogen[kBoronGaussians] = {
    {0.412253, 10, 0.832586}, {-0.149917, 6, 1.18622}, {0, 0, 0}};
constexpr CoreGaussian kBoronCarbon[kBoronGaussians] = {
    {0.261751, 8, 1.063995}, {0.050275, 5, 1.936492}, {0, 0, 0}};
constexpr CoreGaussian kBoronHalogen[kBoronGaussians] = {
    {0.359244, 9, 0.819351}, {0.074729, 9, 1.574414}, {0, 0, 0}};
// clang-format on

/// A function of the distance and its derivative.
struct Sloped {
    double dValue = 0.0, dSlope = 0.0;  ///< per Angstrom
};

/// An atom's part of s.
Sloped Screening(const NddoAtom& atom, bool fHydrogenRule, double R) {
    const double dAlpha = atom.pRow->dAlpha, d = std::exp(-dAlpha * R);
    const int nElement = atom.Listed.nElement;
    if (fHydrogenRule && (nElement == kNitrogen || nElement == kOxygen))
        return {R * d, (1.0 - dAlpha * R) * d};
    return {d, -dAlpha * d};
}

void AddGaussian(const CoreGaussian& g, double R, Sloped& sum) {
    if (g.K == 0.0) return;
    const double u = -g.L * (R - g.M) * (R - g.M);
    // The least exponential is a constant of the compiler; most pairs are that far apart.
    if (u <= kLowestGaussianExponent) {
        sum.dValue += g.K * std::exp(kLowestGaussianExponent);
        return;
    }
    const double d = g.K * std::exp(u);
    sum.dValue += d;
    sum.dSlope -= 2.0 * g.L * (R - g.M) * d;
}

/// Adds an atom's Gaussians. AM1's boron takes its first ones by its partner.
void AddGaussians(const NddoAtom& atom, int nSumOfNumbers, double R, Sloped& sum) {
    int k = 0;
    if (system.MethodId == kAm1 && atom.Listed.nElement == kBoron)
        for (const CoreGaussian* g = BoronGaussians(nSumOfNumbers); k < kBoronGaussians; ++k)
            AddGaussian(g[k], R, sum);
    const GaussianRow& row = parameters.pGaussianParams[atom.Listed.Row()];
    for (; k < kCoreGaussians; ++k) AddGaussian({row.dK[k], row.dL[k], row.dM[k]}, R, sum);
}

/// The Gaussians of both atoms, and none in methods that have none.
Sloped GaussiansOf(const NddoAtom& a, const NddoAtom& b, double R) {
    Sloped sum;
    if (system.MethodId != kAm1 && system.MethodId != kPm3) return sum;
    const int nSum = a.Listed.nElement + b.Listed.nElement;
    AddGaussians(a, nSum, R, sum);
    AddGaussians(b, nSum, R, sum);
    return sum;
}

/// s of two atoms.
Sloped ScreeningOf(const NddoAtom& a, const NddoAtom& b, double R) {
    const int nSum = a.Listed.nElement + b.Listed.nElement;
    const bool fHydrogenRule = nSum == kNitrogenWithHydrogen || nSum == kOxygenWithHydrogen;
    const Sloped sA = Screening(a, fHydrogenRule, R), sB = Screening(b, fHydrogenRule, R);
    return {sA.dValue + sB.dValue, sA.dSlope + sB.dSlope};
}

}  // namespace

const CoreGaussian* BoronGaussians(int nSumOfNumbers) {
    if (nSumOfNumbers == kBoronWithHydrogen) return kBoronHydrogen;
    if (nSumOfNumbers == kBoronWithCarbon) return kBoronCarbon;
    for (int nSum : kBoronWithHalogen)
        if (nSumOfNumbers == nSum) return kBoronHalogen;
    return kBoronDefault;
}

double NddoCoreCore(const NddoAtom& a, const NddoAtom& b, double dDistance, double dSs) {
    const double R = dDistance, ZZ = a.dCore * b.dCore;
    const double dScreened = ScreeningOf(a, b, R).dValue * ZZ * dSs;
    return ZZ * dSs + std::abs(dScreened) + ZZ / R * GaussiansOf(a, b, R).dValue;
}

double NddoCoreExcessSlope(const NddoAtom& a, const NddoAtom& b, double dDistance, double dSs,
                           double dSsSlope) {
    const double R = dDistance, ZZ = a.dCore * b.dCore;
    const Sloped s = ScreeningOf(a, b, R), g = GaussiansOf(a, b, R);
    const double dSign = s.dValue * ZZ * dSs < 0.0 ? -1.0 : 1.0;
    return ZZ * (dSign * (s.dSlope * dSs + s.dValue * dSsSlope) + (g.dSlope - g.dValue / R) / R);
}

}  // namespace qsolve
