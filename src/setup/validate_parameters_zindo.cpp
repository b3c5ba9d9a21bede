#include <cmath>

#include "job/state.h"
#include "link/link.h"
#include "setup/parameter_check.h"
#include "setup/state.h"
#include "setup/validate_parameters.h"

namespace qsolve {

namespace {

using R = ZindoRow;
using G = GammaRow;
using enum Fault;
using enum Shell;
using enum Reach;

// clang-format off
constexpr ParameterCheck<R> kZindoChecks[] = {
    {&R::dZetaS,       kNotPositive, kS, kMsgZindoExponent,   kMsgCappingZindoExponent,   "s",       kWithClassical},
    {&R::dZetaP,       kNotPositive, kP, kMsgZindoExponent,   kMsgCappingZindoExponent,   "p",       kWithClassical},
    {&R::dIonisationS, kNotPositive, kS, kMsgZindoIonisation, kMsgCappingZindoIonisation, "s"},
    {&R::dIonisationP, kNotPositive, kP, kMsgZindoIonisation, kMsgCappingZindoIonisation, "p"},
    {&R::dBetaS,       kNotPositive, kS, kMsgZindoBeta,       kMsgCappingZindoBeta,       "s"},
    {&R::dBetaP,       kNotPositive, kP, kMsgZindoBeta,       kMsgCappingZindoBeta,       "p"},
    {&R::dSlaterF2pp,  kNotPositive, kP, kMsgZindoSlater,     kMsgCappingZindoSlater,     "F2(p,p)"},
    {&R::dSlaterG1sp,  kNotPositive, kP, kMsgZindoSlater,     kMsgCappingZindoSlater,     "G1(s,p)"},
};

/// Transition metals; a capping atom has no d shell.
constexpr ParameterCheck<R> kTransitionChecks[] = {
    {&R::dZetaD1,      kNotPositive, kD, kMsgFirstDExponent,  kSilent, nullptr,   kCalculated, &R::dCoefD1},
    {&R::dZetaD2,      kNotPositive, kD, kMsgSecondDExponent, kSilent, nullptr,   kCalculated, &R::dCoefD2},
    {&R::dIonisationD, kNotPositive, kD, kMsgZindoIonisation, kSilent, "d"},
    {&R::dBetaD,       kNotPositive, kD, kMsgZindoBeta,       kSilent, "d"},
    {&R::dSlaterF2pd,  kNotPositive, kD, kMsgZindoSlater,     kSilent, "F2(p,d)"},
    {&R::dSlaterF2dd,  kNotPositive, kD, kMsgZindoSlater,     kSilent, "F2(d,d)"},
    {&R::dSlaterF4dd,  kNotPositive, kD, kMsgZindoSlater,     kSilent, "F4(d,d)"},
    {&R::dSlaterG1pd,  kNotPositive, kD, kMsgZindoSlater,     kSilent, "G1(p,d)"},
    {&R::dSlaterG2sd,  kNotPositive, kD, kMsgZindoSlater,     kSilent, "G2(s,d)"},
    {&R::dSlaterG3pd,  kNotPositive, kD, kMsgZindoSlater,     kSilent, "G3(p,d)"},
};

/// The Coulomb integrals of ZINDO/1 take a single d exponent.
constexpr ParameterCheck<R> kZindo1Checks[] = {
    {&R::dZetaD, kNotPositive, kD, kMsgCoulombDExponent, kSilent, nullptr},
};

constexpr ParameterCheck<G> kGammaChecks[] = {
    {&G::dGammaSS, kZero, kS, kMsgCoulombZero, kMsgCappingCoulombZero, "ss"},
    {&G::dGammaSD, kZero, kD, kMsgCoulombZero, kSilent,                "sd"},
    {&G::dGammaDD, kZero, kD, kMsgCoulombZero, kSilent,                "dd"},
};

constexpr const char* kShellName[] = {"s", "p", "d"};
// clang-format on

/// A row of transition metals: Sc to Cu with their 3d, Y to Ag with their 4d shell.
struct TransitionRow {
    int nFirst, nLast;  ///< atomic numbers
    int nShell;         ///< principal quantum number of the d shell
    int nMix;           ///< ground-state configurations that are mixed
};
constexpr TransitionRow kTransitionRows[] = {{21, 29, 3, 2}, {39, 47, 4, 3}};

constexpr double kMixTolerance = 1e-5, kSmallestMix = 1e-7;
constexpr double kNormTolerance = 1e-4;

/// The weights of the ground-state configurations of one transition metal: their sum, and the
/// ionisation potentials of the second configuration where it has a weight.
void CheckConfigurations(const TransitionRow& metals, int nAtom, const AtomRecord& atom) {
    const ZindoRow& row = setup.pZindo[RowOf(atom)];
    double dSum = 0.0;
    for (int i = 0; i < metals.nMix; ++i) dSum += row.dConfigMix[i];
    if (std::abs(dSum - 1.0) > kMixTolerance) Complain(kMsgConfigurationMix, nAtom, atom, nullptr);
    if (dSum < kSmallestMix) Complain(kMsgConfigurationMixZero, nAtom, atom, nullptr);

    if (metals.nMix != 2 || row.dConfigMix[1] == 0.0) return;
    for (int l = 0; l < 3; ++l)
        if (!(row.dIonisation2[l] > 0.0))
            Complain(kMsgSecondIonisation, nAtom, atom, kShellName[l]);
}

void CheckTransitionRow(const TransitionRow& metals) {
    ForEachAtomOf(AtomGroup::kSelected, [&](int nAtom, const AtomRecord& atom) {
        if (atom.nAtomicNumber >= metals.nFirst && atom.nAtomicNumber <= metals.nLast)
            CheckConfigurations(metals, nAtom, atom);
    });
}

bool IsSelectedElement(int nElement) {
    bool fFound = false;
    ForEachAtomOf(AtomGroup::kSelected, [&](int, const AtomRecord& atom) {
        fFound = fFound || atom.nAtomicNumber == nElement;
    });
    return fFound;
}

/// Norm of c1 f(zeta1) + c2 f(zeta2) for normalised Slater functions f with principal quantum
/// number n, whose overlap is (2 sqrt(zeta1 zeta2) / (zeta1 + zeta2))^(2n+1).
double DoubleZetaNorm(const ZindoRow& row, int nShell) {
    const double z1 = row.dZetaD1, z2 = row.dZetaD2;
    const double c1 = row.dCoefD1, c2 = row.dCoefD2;
    double s = 0.0;
    if (z1 > 0.0 && z2 > 0.0) s = std::pow(2.0 * std::sqrt(z1 * z2) / (z1 + z2), 2 * nShell + 1);
    return std::sqrt(c1 * c1 + c2 * c2 + 2.0 * s * c1 * c2);
}

void NormaliseElement(int nElement, int nShell) {
    const int nRow = nElement - 1;
    ZindoRow& row = setup.pZindo[nRow];
    const double dNorm = DoubleZetaNorm(row, nShell);
    if (std::abs(dNorm - 1.0) <= kNormTolerance) return;
    if (!parameters.fNormalisationWarned[nRow]) {
        parameters.fNormalisationWarned[nRow] = true;
        Warn(kMsgDoubleZeta, kElementSymbol[nRow]);
    }
    if (!(dNorm > 0.0) || !std::isfinite(dNorm)) return;  // no function there to normalise
    row.dCoefD1 /= dNorm;
    row.dCoefD2 /= dNorm;
}

}  // namespace

void ValidateZindoParameters() {
    RunChecks(kZindoChecks, setup.pZindo.Data());
    RunChecks(kTransitionChecks, setup.pZindo.Data());
    for (const TransitionRow& metals : kTransitionRows) CheckTransitionRow(metals);
    if (system.MethodId == kZindo1) RunChecks(kZindo1Checks, setup.pZindo.Data());
    if (system.MethodId == kZindoS) RunChecks(kGammaChecks, setup.pGamma.Data());
}

void NormaliseDoubleZeta() {
    if (FamilyOf(system.MethodId) != Family::kZindo) return;
    for (const TransitionRow& metals : kTransitionRows)
        for (int z = metals.nFirst; z <= metals.nLast; ++z)
            if (IsSelectedElement(z)) NormaliseElement(z, metals.nShell);
}

}  // namespace qsolve
