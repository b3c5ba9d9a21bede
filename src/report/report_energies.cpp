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
    if (ThisKind().fSummary && further.Scf.nQuiet < kTellStart)
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

void ReportEnergies() {
    Yield(static_cast<std::size_t>(system.nSelected));

    ReportEnergyLines();
    if (!setup.fFinalReport) return;
    if (symmetry.fPointGroupKnown) LogFormat(kMsgPointGroup, results.Orbitals.sPointGroup);
    ReportLevels();
    ReportOrbitalPopulations();
    ReportAtoms();
}

}  // namespace qsolve
