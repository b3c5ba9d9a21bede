#include "ci/spectrum.h"

#include <cmath>
#include <cstddef>

#include "job/methods.h"
#include "job/state.h"
#include "link/link.h"

namespace qsolve {
namespace {

constexpr double kDebye = 2.5416;  ///< of e bohr

/// Units of the two families: eV and 1/cm in a hartree and in an eV.
struct EnergyUnits {
    double dEv, dWavenumber;
};
EnergyUnits UnitsOf(int nMethod) {
    if (UsesAtomicUnits(nMethod)) return {kEvPerHartree, 219470.0};
    return {1.0, 8066.0};
}

/// Oscillator strength of a moment of 1 e bohr and a wavenumber of 1/cm.
constexpr double kOscillator = 3.0376209504715906e-06;

constexpr double kNmPerWavenumber = 10000000.0;

/// The reference counts as the determinant of the SCF when its coefficient is as near to 1, and a
/// coefficient of a state is shown above this one: a tenth of the state.
constexpr double kPureReference = 1e-07, kShownCoefficient = 0.316228;

void Scale(double dFactor, double* v) {
    for (int k = 0; k < 3; ++k) v[k] *= dFactor;
}

double SquareOf(const double* v) {
    return v[0] * v[0] + v[1] * v[1] + v[2] * v[2];
}

/// Writes the large coefficients of the configurations that excite an electron of one spin, with
/// the orbitals that it comes from and goes to, from 1.
void LogExcitations(const Interaction& ci, MovedSpin spin, const double* vState) {
    const bool fAlpha = spin == MovedSpin::kAlpha;
    const SpinRows& rows = fAlpha ? ci.Configs.mOccAlpha : ci.Configs.mOccBeta;
    const Array<int>& vRow = fAlpha ? ci.Configs.vAlphaRow : ci.Configs.vBetaRow;
    LogFormat(fAlpha ? kMsgSpinUpHeading : kMsgSpinDownHeading);
    for (int k = 0; k < ci.Configs.nConfigs; ++k) {
        if (vRow[k] == 0 || !(std::abs(vState[k]) > kShownCoefficient)) continue;
        const Difference x = Compare(rows, 0, vRow[k]);
        LogFormat(kMsgExcitation, ci.Window.nBelow + x.nHole[0] + 1,
                  ci.Window.nBelow + x.nParticle[0] + 1, vState[k]);
    }
}

void LogReference(const StateProperties& p) {
    LogFormat(kMsgReferenceState, 0, p.dEnergy, 0, p.dSpin, LengthOf(p.vDipole));
    LogFormat(kMsgStateDipole, p.vDipole[0], p.vDipole[1], p.vDipole[2]);
}

void LogTransition(int nState, const StateProperties& p) {
    LogFormat(kMsgTransitionEnergy, nState, WavelengthOf(p.dEnergy), "nm", p.dEnergy, "1/cm");
    LogFormat(kMsgTransitionState, 0, nState, p.dSpin, LengthOf(p.vDipole), p.dOscillator);
    LogFormat(kMsgStateDipole, p.vDipole[0], p.vDipole[1], p.vDipole[2]);
    LogFormat(kMsgTransitionDipole, p.vTransition[0], p.vTransition[1], p.vTransition[2]);
}

}  // namespace

void FillProperties(const ScfLevels& levels, const Interaction& ci, int nStates,
                    StateProperties* pProperties) {
    const EnergyUnits units = UnitsOf(system.MethodId);
    const auto nConfigs = static_cast<std::size_t>(ci.Configs.nConfigs);
    const double* vEnergy = ci.States.vCiEnergy.Data();
    CiDipoles dipoles;
    FillCiDipoles(levels, ci, dipoles);
    Array<double> vReference, vState;
    vReference.Take(nConfigs, kWork);
    vState.Take(nConfigs, kWork);
    TakeState(ci.States, 0, vReference.Data());
    for (int k = 0; k < nStates; ++k) {
        StateProperties& p = pProperties[k];
        p.dSpin = SpinOf(ci.States.vSpinSquare[k]);
        TakeState(ci.States, k, vState.Data());
        StateDipole(ci, vState.Data(), dipoles, p.vDipole);
        Scale(kDebye, p.vDipole);
        if (k == 0) {
            p.dEnergy = (vEnergy[0] + levels.dEnergy + levels.dCoreEnergy) * units.dEv;
        } else {
            p.dEnergy = (vEnergy[k] - vEnergy[0]) * units.dWavenumber;
            TransitionDipole(ci, vReference.Data(), vState.Data(), dipoles, p.vTransition);
            p.dOscillator = SquareOf(p.vTransition) * p.dEnergy * kOscillator;
            Scale(kDebye, p.vTransition);
        }
        Yield(nConfigs);
    }
}

double LengthOf(const double* v) {
    return std::sqrt(SquareOf(v));
}

double WavelengthOf(double dWavenumber) {
    return dWavenumber == 0.0 ? 0.0 : kNmPerWavenumber / dWavenumber;
}

UvRecord RecordOf(int nState, int nVector, const StateProperties& p) {
    const auto Narrow = [](double d) { return static_cast<float>(d); };
    return {.nState = nState,
            .flEnergy = Narrow(nState == 0 ? p.dEnergy : WavelengthOf(p.dEnergy)),
            .nVector = nVector,
            .flSpin = Narrow(p.dSpin),
            .flDipole = Narrow(LengthOf(p.vDipole)),
            .flOscillator = Narrow(p.dOscillator),
            .flTransitionX = Narrow(p.vTransition[0]),
            .flTransitionY = Narrow(p.vTransition[1]),
            .flTransitionZ = Narrow(p.vTransition[2]),
            .flDipoleX = Narrow(p.vDipole[0]),
            .flDipoleY = Narrow(p.vDipole[1]),
            .flDipoleZ = Narrow(p.vDipole[2])};
}

void LogSpectrum(const Interaction& ci, const StateProperties* pProperties) {
    if (!link.fLogReports) return;
    Array<double> vState;
    vState.Take(static_cast<std::size_t>(ci.Configs.nConfigs), kWork);
    TakeState(ci.States, 0, vState.Data());
    const bool fPure = std::abs(vState[0] - 1.0) <= kPureReference;
    LogFormat(kMsgSpectrumHeading);
    LogFormat(kMsgSpectrumUnits);
    LogReference(pProperties[0]);
    for (int k = 1; k < ci.Configs.nConfigs; ++k) {
        LogTransition(k, pProperties[k]);
        if (!fPure) continue;
        TakeState(ci.States, k, vState.Data());
        LogExcitations(ci, MovedSpin::kAlpha, vState.Data());
        LogExcitations(ci, MovedSpin::kBeta, vState.Data());
    }
    LogFormat(kMsgReportRow);
}

}  // namespace qsolve
