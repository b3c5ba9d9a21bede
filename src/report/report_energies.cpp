#include <cmath>

#include "gradient/state.h"
#include "job/kinds.h"
#include "job/state.h"
#include "link/link.h"
#include "report/report.h"
#include "report/report_orbitals.h"
#include "scf/state.h"
#include "setup/parameters.h"
#include "setup/state.h"
#include "symmetry/state.h"

namespace qsolve {

namespace {

/// Hartree in kcal/mol, as the energies in atomic units are shown.
constexpr double kHartreePerKcal = 0.001593569619711464;

bool HasCi() {
    return scf.nCiKind != 0;
}

/// A configuration interaction that is after the state above the lowest one.
bool IsNextLowestState() {
    return HasCi() && options.fNextLowestState == 1;
}

bool HasOpenLevels() {
    return setup.nOccupied != setup.nDoublyOcc;
}

/// Turns the gradient into kcal/mol, zeroes the rows of the capping atoms and sets its square and,
/// over all selected atoms, its root mean square, both per Angstrom: the capping ones count in the
/// mean.
void ConvertGradient(double dKcal) {
    gradient.dGradientSquared = gradient.dRmsGradient = 0.0;
    if (!gradient.fComputed || !gradient.pGradient) return;
    const int nReal = 3 * (system.nSelected - system.nCapping), nAll = 3 * system.nSelected;
    double* p = gradient.pGradient.Data();
    double dSquare = 0.0;
    for (int i = 0; i < nReal; ++i) {
        p[i] *= dKcal;
        dSquare += p[i] * p[i];
    }
    for (int i = nReal; i < nAll; ++i) p[i] = 0.0;
    if (UsesAtomicUnits(system.MethodId)) dSquare *= kBohrPerAngstrom * kBohrPerAngstrom;
    gradient.dGradientSquared = dSquare;
    gradient.dRmsGradient = std::sqrt(dSquare / nAll);
}

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
/// method. In a next lowest state they are those of that state. The restraints enter the total and
/// the binding energy; the heat of formation is that of the molecule without them.
void ConvertEnergies(double dEnergy, double dCoreEnergy, double dKcal) {
    scf.dStateCorrection *= dKcal;
    if (HasCi()) scf.dNextStateCorrection *= dKcal;
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

void ReportCorrection() {
    if (HasCi()) {
        LogFormat(HasOpenLevels() ? kMsgOpenCiEnergy : kMsgCiEnergy, scf.dStateCorrection);
        LogFormat(kMsgCiConfigurations, setup.nCiConfigurations);
    } else if (HasOpenLevels()) {
        LogFormat(kMsgHalfElectronCorrection, scf.dStateCorrection);
    }
}

void ReportGradient() {
    if (gradient.fComputed)
        LogFormat(HasCi() ? kMsgCiGradient : kMsgGradient, gradient.dRmsGradient);
}

void ReportRestraints() {
    if (!job.fRestraints) return;
    LogFormat(kMsgTetherEnergy, gradient.dRestraintEnergy[kTether]);
    LogFormat(kMsgStretchEnergy, gradient.dRestraintEnergy[kStretch]);
    LogFormat(kMsgBendEnergy, gradient.dRestraintEnergy[kBend]);
    LogFormat(kMsgTorsionEnergy, gradient.dRestraintEnergy[kTorsion]);
}

/// The energies of the state that was computed.
void ReportStateEnergies() {
    const bool fPotential = ThisKind().nKinetic != Kinetic::kNone;
    LogFormat(kMsgEnergyHeading);
    LogFormat(fPotential ? kMsgPotentialEnergy : kMsgTotalEnergy, scf.dTotalEnergy);
    LogFormat(fPotential ? kMsgPotentialEnergyAu : kMsgTotalEnergyAu,
              scf.dTotalEnergy * kHartreePerKcal);
    LogFormat(kMsgBindingEnergy, scf.dBinding);
    LogFormat(kMsgAtomicEnergy, setup.dAtomicEnergy);
    LogFormat(kMsgElectronicEnergy, scf.dElectronic);
    LogFormat(kMsgCoreEnergy, scf.dCoreRepulsion);
    ReportCorrection();
    ReportRestraints();
    LogFormat(kMsgHeatOfFormation, scf.dHeatOfFormation);
    ReportGradient();
}

/// The same of a next lowest state, beside the lowest.
void ReportNextStateEnergies(double dExcitation) {
    LogFormat(kMsgNextStateEnergy, scf.dTotalEnergy);
    LogFormat(kMsgLowestStateEnergy, scf.dTotalEnergy - dExcitation);
    LogFormat(kMsgExcitationEnergy, dExcitation);
    LogFormat(kMsgCiConfigurations, setup.nCiConfigurations);
    LogFormat(kMsgNextStateAtomic, setup.dAtomicEnergy);
    LogFormat(kMsgNextStateElectronic, scf.dElectronic);
    LogFormat(kMsgNextStateCore, scf.dCoreRepulsion);
    ReportRestraints();
    LogFormat(kMsgNextStateHeat, scf.dHeatOfFormation);
    ReportGradient();
}

void ReportSummary(double dEnergy) {
    if (ThisKind().fSummary)
        StatusFormat(kMsgSinglePointEnd, dEnergy, gradient.dRmsGradient,
                     results.Orbitals.sPointGroup);
}

/// The energies in the log and the summary on the status line, which in a next lowest state belongs
/// to the full report.
void ReportEnergyLines() {
    if (!IsNextLowestState()) {
        if (setup.fFinalReport) ReportStateEnergies();
        ReportSummary(scf.dBinding);
    } else if (setup.fFinalReport) {
        const double dExcitation = scf.dStateCorrection - scf.dNextStateCorrection;
        ReportNextStateEnergies(dExcitation);
        ReportSummary(dExcitation);
    }
}

}  // namespace

void ReportEnergies(double dEnergy, double dCoreEnergy) {
    const double dKcal = KcalPerUnit(system.MethodId);
    ConvertEnergies(dEnergy, dCoreEnergy, dKcal);
    ConvertGradient(dKcal);
    ConvertOrbitalEnergies();
    FillBlock();
    Yield(static_cast<std::size_t>(system.nSelected));

    ReportEnergyLines();
    if (!setup.fFinalReport) return;
    if (symmetry.fPointGroupKnown) LogFormat(kMsgPointGroup, results.Orbitals.sPointGroup);
    ReportLevels();
    ReportOrbitalPopulations();
    ReportAtoms();
}

}  // namespace qsolve
