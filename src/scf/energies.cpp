#include "scf/energies.h"

#include <cmath>

#include "gradient/state.h"
#include "job/kinds.h"
#include "job/state.h"
#include "scf/state.h"
#include "setup/parameters.h"
#include "setup/state.h"

namespace qsolve {

namespace {

void ConvertOrbitalEnergies() {
    if (!UsesAtomicUnits(system.MethodId)) return;
    for (float& flEnergy : results.Orbitals.vOrbitalEnergy)
        flEnergy = static_cast<float>(static_cast<double>(flEnergy) * kReportEvPerHartree);
}

double RestraintEnergy() {
    double dSum = 0.0;
    for (const double dEnergy : gradient.dRestraintEnergy) dSum += dEnergy;
    return dSum;
}

/// Sets the energies of `scf`, kcal/mol, from the electronic and the core energy in the unit of the
/// method.
void ConvertEnergies(double dEnergy, double dCoreEnergy, double dKcal) {
    scf.dStateCorrection *= dKcal;
    if (scf.nCiKind != 0) scf.dNextStateCorrection *= dKcal;
    scf.dElectronic = dEnergy * dKcal + scf.dStateCorrection;
    scf.dCoreRepulsion = dCoreEnergy * dKcal;
    scf.dTotalEnergy = (dEnergy + dCoreEnergy) * dKcal + scf.dStateCorrection + RestraintEnergy();
    scf.dBinding = scf.dTotalEnergy - setup.dAtomicEnergy;
    scf.dHeatOfFormation = scf.dCoreRepulsion + scf.dElectronic + setup.dHeatCorrection;
}

void FillBlock() {
    ResultBlock& block = results.Block;
    if (ThisKind().nKinetic != Kinetic::kInTotal)
        block.flTotalEnergy = static_cast<float>(scf.dTotalEnergy);
    block.flAtomicEnergy = static_cast<float>(setup.dAtomicEnergy);
    block.flElectronicEnergy = static_cast<float>(scf.dElectronic);
    block.flCoreEnergy = static_cast<float>(scf.dCoreRepulsion);
    block.flHeatOfFormation = static_cast<float>(scf.dHeatOfFormation);
    block.flRmsGradient = static_cast<float>(gradient.dRmsGradient);
    block.flBindingEnergy = static_cast<float>(scf.dBinding);
    block.flTetherEnergy = static_cast<float>(gradient.dRestraintEnergy[kTether]);
    block.flStretchEnergy = static_cast<float>(gradient.dRestraintEnergy[kStretch]);
    block.flBendEnergy = static_cast<float>(gradient.dRestraintEnergy[kBend]);
    block.flTorsionEnergy = static_cast<float>(gradient.dRestraintEnergy[kTorsion]);
}

}  // namespace

void FinishGradient(double dFactor) {
    gradient.dGradientSquared = gradient.dRmsGradient = 0.0;
    if (!gradient.fComputed || !gradient.pGradient) return;
    const int nReal = 3 * (system.nSelected - system.nCapping), nAll = 3 * system.nSelected;
    double* p = gradient.pGradient.Data();
    double dSquare = 0.0;
    for (int i = 0; i < nReal; ++i) {
        p[i] *= dFactor;
        dSquare += p[i] * p[i];
    }
    for (int i = nReal; i < nAll; ++i) p[i] = 0.0;
    if (UsesAtomicUnits(system.MethodId)) dSquare *= kBohrPerAngstrom * kBohrPerAngstrom;
    gradient.dGradientSquared = dSquare;
    gradient.dRmsGradient = std::sqrt(dSquare / nAll);
}

void FinishEnergies(double dEnergy, double dCoreEnergy) {
    const double dKcal = KcalPerUnit(system.MethodId);
    ConvertEnergies(dEnergy, dCoreEnergy, dKcal);
    FinishGradient(dKcal);
    ConvertOrbitalEnergies();
    FillBlock();
}

}  // namespace qsolve
