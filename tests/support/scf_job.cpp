#include "tests/support/scf_job.h"

#include "exchange/intake.h"
#include "job/state.h"
#include "link/link.h"
#include "scf/scf.h"
#include "scf/state.h"
#include "session/session.h"
#include "setup/parameter_intake.h"
#include "setup/state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scripted_client.h"

namespace qsolve {

void SetUpJob(const JobScript& script) {
    ResetAllState();
    NewScriptedClient();
    PokeSession(script);
    ReadParameters();
    parameters.fLoaded = true;
    ReadDebugWord();
    ReadRunOptions();
    ReadJobOptions();
    ReadFurtherOptions();
    ReadAtoms();
    ReadSelection();
    SetUpCalculation();
}

void SetPositions(const std::vector<double>& vAngstrom) {
    const double dUnit = UsesAtomicUnits(system.MethodId) ? 1.889726 : 1.0;
    for (std::size_t i = 0; i < vAngstrom.size(); ++i) system.pCoords[i] = dUnit * vAngstrom[i];
}

double EnergyOf(const JobScript& script) {
    SetUpJob(script);
    RunScf();
    return scf.dTotalEnergy;
}

double EnergyOf(const JobScript& script, const std::vector<double>& vAngstrom) {
    SetUpJob(script);
    SetPositions(vAngstrom);
    RunScf();
    return scf.dTotalEnergy;
}

JobScript Molecule(int nMethod, const std::vector<Place>& places) {
    JobScript script = Water(nMethod);
    script.Atoms.clear();
    for (const Place& p : places)
        script.Add(p.nElement, static_cast<float>(p.x), static_cast<float>(p.y),
                   static_cast<float>(p.z));
    return script;
}

std::vector<double> PositionsOf(const std::vector<Place>& places) {
    std::vector<double> v;
    for (const Place& p : places) v.insert(v.end(), {p.x, p.y, p.z});
    return v;
}

}  // namespace qsolve
