#include "integrals/nddo_core_core.h"

#include <cmath>

#include "link/state.h"
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

/// An atom's part of s.
double Screening(const NddoAtom& atom, bool fHydrogenRule, double R) {
    const double d = std::exp(-atom.pRow->dAlpha * R);
    const int nElement = atom.Listed.nElement;
    return fHydrogenRule && (nElement == kNitrogen || nElement == kOxygen) ? R * d : d;
}

double Gaussian(const CoreGaussian& g, double R) {
    if (g.K == 0.0) return 0.0;
    const double u = -g.L * (R - g.M) * (R - g.M);
    // The least exponential is a constant of the compiler; most pairs are that far apart.
    return g.K * (u > kLowestGaussianExponent ? std::exp(u) : std::exp(kLowestGaussianExponent));
}

/// The sum of an atom's Gaussians. AM1's boron takes its first ones by its partner.
double GaussiansOf(const NddoAtom& atom, int nSumOfNumbers, double R) {
    double dSum = 0.0;
    int k = 0;
    if (system.MethodId == kAm1 && atom.Listed.nElement == kBoron)
        for (const CoreGaussian* g = BoronGaussians(nSumOfNumbers); k < kBoronGaussians; ++k)
            dSum += Gaussian(g[k], R);
    const GaussianRow& row = parameters.pGaussianParams[atom.Listed.Row()];
    for (; k < kCoreGaussians; ++k) dSum += Gaussian({row.dK[k], row.dL[k], row.dM[k]}, R);
    return dSum;
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
    const int nSum = a.Listed.nElement + b.Listed.nElement;
    const bool fHydrogenRule = nSum == kNitrogenWithHydrogen || nSum == kOxygenWithHydrogen;
    const double s = Screening(a, fHydrogenRule, R) + Screening(b, fHydrogenRule, R);
    const double dEnergy = ZZ * dSs + std::abs(s * ZZ * dSs);
    if (system.MethodId != kAm1 && system.MethodId != kPm3) return dEnergy;
    return dEnergy + ZZ / R * (GaussiansOf(a, nSum, R) + GaussiansOf(b, nSum, R));
}

}  // namespace qsolve
