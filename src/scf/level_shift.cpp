#include "scf/level_shift.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "job/state.h"
#include "link/link.h"
#include "numeric/row.h"
#include "setup/parameters.h"
#include "setup/state.h"

namespace qsolve {
namespace {

// Energies in eV.
constexpr double kFirstShift = 1.0, kFirstTarget = -4.44, kFirstCap = 20.0;
constexpr double kFrozenShift = -0.1;  ///< of a closed system while its energy falls
constexpr double kLowestShift = -20.0;
constexpr double kHighAfterRise = 4.0;  ///< a shift above it, after a rise, ...
constexpr double kCapAfterRise = 4.5;   ///< ... brings the cap down to this
constexpr double kCapStep = 0.5;
constexpr double kAtCap = 1e-5, kCapRelease = 0.01;
constexpr double kDiisShift = -8.0;
constexpr double kTargetGrowth = 1.025, kTargetStep = 1.0;

bool InHartree() {
    return UsesAtomicUnits(system.MethodId);
}

bool IsClosed() {
    return setup.nOccupied == setup.nDoublyOcc;
}

/// Gap above the nOcc lowest levels, eV; 0 where there is no level on one of its sides.
double Gap(const Array<double>& vLevel, int nOcc) {
    if (nOcc <= 0 || nOcc >= setup.nOrbitals) return 0.0;
    const auto i = static_cast<std::size_t>(nOcc);
    return (vLevel[i] - vLevel[i - 1]) * (InHartree() ? kEvPerHartree : 1.0);
}

/// Brings the alpha shift below its cap, which gives way downwards after a rise of the energy.
void CapAlpha(bool fRisen, LevelShift& shift) {
    if (fRisen) {
        if (shift.dShiftA > kHighAfterRise) shift.dShiftCap = kCapAfterRise;
        if (shift.dShiftA > shift.dShiftCap)
            shift.dShiftCap = std::max(shift.dShiftCap - kCapStep, 0.0);
    }
    shift.dShiftA = std::max(std::min(shift.dShiftCap, shift.dShiftA), kLowestShift);
    if (std::abs(shift.dShiftA - shift.dShiftCap) < kAtCap) shift.dShiftCap += kCapRelease;
}

void UpdateAlpha(double dRise, LevelShift& shift, ScfCycle& cycle) {
    const bool fRisen = dRise > 0.0;
    if (cycle.fShiftFrozenClosed && IsClosed()) {
        shift.dShiftA = fRisen ? kFirstShift : kFrozenShift;
        if (fRisen && dRise > (InHartree() ? kHartreePerEv : 1.0))
            cycle.fShiftFrozenClosed = cycle.fNearConverged = false;
    } else {
        shift.dShiftA += shift.dShiftTarget + Gap(scf.vLevelA, setup.Map.nOccA);
    }
    CapAlpha(fRisen, shift);
    if (options.fDiis) shift.dShiftA = cycle.fShiftFrozenClosed ? 0.0 : kDiisShift;
}

void UpdateBeta(bool fRisen, LevelShift& shift, const ScfCycle& cycle) {
    if (cycle.fShiftFrozenClosed && IsClosed())
        shift.dShiftB = shift.dShiftTarget - scf.dSavedTarget;
    else
        shift.dShiftB += shift.dShiftTarget + Gap(scf.vLevelB, setup.Map.nOccB);
    if (fRisen) shift.dShiftB = std::min(kHighAfterRise, shift.dShiftB);
    shift.dShiftB = std::max(std::min(shift.dShiftCap, shift.dShiftB), kLowestShift);
    if (!options.fDiis) return;
    shift.dShiftB = kDiisShift;
    if (cycle.fShiftFrozenClosed) shift.dShiftA = 0.0;  // alpha is meant: beta keeps its shift
}

}  // namespace

LevelShift InitLevelShift() {
    if (options.nLevelShiftStart < 0) return {};
    return {kFirstShift, kFirstShift, kFirstTarget, kFirstCap, true};
}

void UpdateLevelShift(double dE1, double dE2, LevelShift& shift, ScfCycle& cycle) {
    if (cycle.fConverged || cycle.nCycle - 1 > options.nIterationLimit) {
        shift.dShiftA = shift.dShiftB = 0.0;
        return;
    }
    if (cycle.nCycle - 1 <= options.nLevelShiftStart) return;
    const double dRise = dE1 - dE2;
    const bool fRisen = dRise > 0.0;
    UpdateAlpha(dRise, shift, cycle);
    if (options.nSpinTreatment == 1) UpdateBeta(fRisen, shift, cycle);
    scf.dSavedTarget = shift.dShiftTarget;
    // Extrapolation ends the shift for good, also where the density settles in the same cycle: held
    // on, it would bring the levels of a pseudo-diagonalised cycle down once more with each cycle.
    const bool fEnded = options.fDiis && cycle.fShiftFrozenClosed;
    if (cycle.fTightDensity && !fEnded) {
        shift.dShiftA = scf.dSavedShiftA;
        shift.dShiftB = scf.dSavedShiftB;
    } else {
        scf.dSavedShiftA = shift.dShiftA;
        scf.dSavedShiftB = shift.dShiftB;
    }
    // The target only ever grows in magnitude.
    if (fRisen)
        shift.dShiftTarget -= kTargetStep;
    else
        shift.dShiftTarget *= kTargetGrowth;
}

void ApplyLevelShift(int nOcc, int nCycle, double dShift, const double* mDensitySpin,
                     double* vLevel, double* vEnergy, double* mFock) {
    if (nCycle - 1 <= options.nLevelShiftStart) return;
    const int n = setup.nOrbitals;
    const double s = InHartree() ? dShift * kHartreePerEv : dShift;
    for (int i = std::max(nOcc - 1, 0); i < n; ++i) vLevel[i] += s;
    for (int k = 0; k < n; ++k)  // without electrons every level is an empty one
        if (nOcc == 0 || vEnergy[k] >= vLevel[nOcc - 1]) vEnergy[k] += s;
    for (int i = 0; i < n; ++i) {
        double* f = Row(mFock, n, i);
        const double* p = Row(mDensitySpin, n, i);
        for (int j = 0; j < n; ++j) f[j] += s * p[j];
        f[i] -= s;
    }
}

}  // namespace qsolve
