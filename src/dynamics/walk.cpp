#include "dynamics/walk.h"

#include <cmath>
#include <cstddef>

#include "dynamics/constants.h"
#include "dynamics/metropolis.h"
#include "dynamics/random.h"
#include "dynamics/velocities.h"
#include "job/methods.h"
#include "job/state.h"
#include "link/link.h"
#include "scf/scf.h"
#include "scf/state.h"

namespace qsolve {

namespace {

double Wide(float fl) {
    return static_cast<double>(fl);
}

float Narrow(double d) {
    return static_cast<float>(d);
}

/// A first failure is told, and tried once more.
void TakeEnergies(Array<double>& vEnergyBefore) {
    const auto n = static_cast<std::size_t>(system.nAtoms);
    if (vEnergyBefore.TryTake(n)) return;
    ErrorFormat(kMsgEnergyMemory);
    if (!vEnergyBefore.TryTake(n)) Fatal(kMsgOutOfMemory);
}

/// Energy of the last SCF as trials compare it: to single precision unless asked otherwise.
double ComparedEnergy() {
    return further.Motion.fDoubleEnergies ? scf.dTotalEnergy : Wide(results.Block.flTotalEnergy);
}

bool IsTried(const AtomRecord& atom) {
    const bool fFree = atom.nState == kSelected;
    if (further.Motion.fMovableOnly) return fFree && atom.nAtomicNumber > 0;
    return fFree || system.nAtomsActive == system.nAtoms;
}

/// Energy of the present places, computed again where the client does not ask otherwise.
double EnergyOfState(Walk& walk) {
    if (!walk.fEnergyKnown || !further.Motion.fKnownEnergies) EvaluateState(walk);
    return walk.dEnergy;
}

/// Whether the geometry of the last SCF becomes the state.
bool Accepts(double dGain, Walk& walk) {
    const Verdict verdict = JudgeTrial(dGain, walk.dThermal);
    if (verdict != Verdict::kDraw) return verdict == Verdict::kAccept;
    return IsAccepted(dGain, walk.dThermal, UniformDeviate(job.nRandomSeed, walk.fReseed));
}

void Reject(double dBefore, const double (&before)[3], double* pPlace, Walk& walk) {
    ++walk.nRejected;
    walk.fAtTrial = true;
    results.Block.flTotalEnergy = Narrow(dBefore);
    for (int k = 0; k < 3; ++k) pPlace[k] = before[k];
    if (!std::isfinite(scf.dTotalEnergy)) ForgetDensity();
}

void TryAtom(int nAtom, Walk& walk) {
    const double dBefore = walk.vEnergyBefore[nAtom] = EnergyOfState(walk);
    double* pPlace = system.pCoords.Data() + 3 * static_cast<std::ptrdiff_t>(nAtom);
    const double before[3] = {pPlace[0], pPlace[1], pPlace[2]};
    for (int k = 0; k < 3; ++k)
        pPlace[k] += (2.0 * UniformDeviate(job.nRandomSeed, walk.fReseed) - 1.0) * walk.dEdge;
    RunScf();
    walk.fAtTrial = false;
    const double dAfter = ComparedEnergy();
    const bool fAccepted = Accepts(dAfter - dBefore, walk);
    walk.dEnergy = fAccepted ? dAfter : dBefore;
    walk.fEnergyKnown = true;
    if (fAccepted)
        ++walk.nAccepted;
    else
        Reject(dBefore, before, pPlace, walk);
}

}  // namespace

Walk StartWalk() {
    Walk walk;
    walk.nSteps = StepsIn(Wide(job.flRunTime), 1.0);
    walk.Lengths =
        DerivePhaseLengths(Wide(job.flHeatTime), Wide(job.flRunTime), Wide(job.flCoolTime), 1.0);
    if (Wide(job.flTimeStep) < kLeastStep) ErrorFormat(kMsgDisplacementTooSmall);
    TakeEnergies(walk.vEnergyBefore);
    walk.dTemperature = Wide(walk.Lengths.nHeatSteps > 0 ? job.flStartTemp : job.flSimTemp);
    walk.dKineticEnergy = KineticEnergyAt(walk.dTemperature);
    walk.dThermal = Wide(job.flSimTemp * kSamplingBoltzmann);
    walk.dEdge = Wide(job.flTimeStep);
    if (UsesAtomicUnits(system.MethodId)) walk.dEdge *= kTrialBohr;
    return walk;
}

void EvaluateState(Walk& walk) {
    RunScf();
    walk.fAtTrial = false;
    walk.fEnergyKnown = true;
    walk.dEnergy = ComparedEnergy();
}

void MetropolisSweep(Walk& walk) {
    for (int nAtom = 0; nAtom < system.nAtoms; ++nAtom)
        if (IsTried(system.pAtoms[nAtom])) TryAtom(nAtom, walk);
    Yield(static_cast<std::size_t>(system.nAtoms));
}

double AcceptRatio(const Walk& walk) {
    const double dAll = static_cast<double>(walk.nAccepted) + static_cast<double>(walk.nRejected);
    return dAll > 0.0 ? static_cast<double>(walk.nAccepted) / dAll : 0.0;
}

}  // namespace qsolve
