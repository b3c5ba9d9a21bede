#include "scf/run.h"

#include "job/state.h"
#include "setup/state.h"

namespace qsolve {
namespace {

// clang-format off
constexpr ScfFamily kScfFamily[] = {  // Cndo, hartree; Zindo, hartree; Nddo, eV
    // kcal/mol       limits open-level shift       damp   seed   spins  keep   exit
    {kKcalPerHartree, 100.0, -0.009187327250685705, true,  true,  true,  false, false},
    {kKcalPerHartree,  10.0, -0.009187327250685705, false, true,  true,  true,  false},
    {kKcalPerEv,      100.0, -0.25,                 false, false, false, true,  true},
};
// clang-format on

}  // namespace

SpinRun AlphaRun() {
    return {.spin = Spin::kAlpha,
            .Counts = {.nOcc = setup.Map.nOccA, .nDoubly = setup.nDoublyOcc, .nIndexOffset = 0},
            .mFock = scf.mFockA,
            .mVectors = scf.mVectorsA,
            .vEnergy = scf.vEnergyA,
            .vLevel = scf.vLevelA,
            .vWeights = scf.vWeightsA,
            .mDensity = scf.mDensityA,
            .mDensityPrev = scf.mDensityPrevA,
            .vDiagOlder = scf.vDiagOlderA,
            .mDiisError = scf.mDiisErrorA,
            .mDiisFock = scf.mDiisFockA,
            .Held = {0, setup.nOrbitals}};
}

SpinRun BetaRun() {
    return {.spin = Spin::kBeta,
            .Counts = {.nOcc = setup.Map.nOccB, .nDoubly = 0, .nIndexOffset = setup.nOrbitals},
            .mFock = scf.mFockB,
            .mVectors = scf.mVectorsB,
            .vEnergy = scf.vEnergyB,
            .vLevel = scf.vLevelB,
            .vWeights = scf.vWeightsB,
            .mDensity = scf.mDensityB,
            .mDensityPrev = scf.mDensityPrevB,
            .vDiagOlder = scf.vDiagOlderB,
            .mDiisError = scf.mDiisErrorB,
            .mDiisFock = scf.mDiisFockB,
            .Held = {0, setup.nOrbitals}};
}

ScfRun StartRun() {
    const ScfFamily& family = kScfFamily[static_cast<int>(FamilyOf(system.MethodId)) - 1];
    const double dLimit = static_cast<double>(options.flConvergenceLimit);
    return {.Family = family,
            .fVerbose = options.nLogLevel < 10,
            .fUnrestricted = options.nSpinTreatment == 1,
            .fClosed = setup.nOccupied == setup.nDoublyOcc,
            .dLimit = dLimit,
            .dFullDiagLimit = dLimit * family.dFullDiagFactor,
            .dHeld = static_cast<double>(setup.nElectrons)};
}

}  // namespace qsolve
