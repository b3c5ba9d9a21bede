#include "tests/support/guarded_job.h"

#include "scf/fock.h"
#include "scf/rotations.h"
#include "scf/starts.h"

namespace qsolve {
namespace {

ScfRun RunOf(const JobScript& script) {
    SetUpJob(script);
    return StartRun();
}

void Copy(Electrons& electrons, std::vector<double>& kept, bool fBack) {
    std::size_t i = 0;
    for (int k = 0; k < electrons.nSets; ++k)
        for (double& c : electrons.pSets[k]->mVectors) {
            if (!fBack)
                kept.push_back(c);
            else
                c = kept[i++];
        }
}

}  // namespace

GuardedJob::GuardedJob(const JobScript& script)
    : run(RunOf(script)), a(AlphaRun()), b(BetaRun()), electrons(ElectronsOf(run, a, b)) {
    run.dCoreEnergy = BuildIntegrals();
    GuessPopulations(electrons, HasEqualSpins(electrons));
}

GuardEnd GuardedJob::Converge() {
    MixHistory history;
    const GuardEnd end = RunGuarded(electrons, {1e-9, 1e-7, 100}, history);
    TakeOrbitals(electrons);
    FillDensities(electrons);
    EvaluateFock(electrons);
    return end;
}

double GuardedJob::EnergyTurned(const std::vector<double>& vTurns) {
    std::vector<double> kept;
    Copy(electrons, kept, false);
    RotateOrbitals(electrons, vTurns.data());
    FillDensities(electrons);
    const double dEnergy = EvaluateFock(electrons);
    Copy(electrons, kept, true);
    FillDensities(electrons);
    EvaluateFock(electrons);
    return dEnergy;
}

void GuardedJob::Scatter(double dTurn) {
    ScatterOrbitals(electrons, 5, dTurn);
    EvaluateFock(electrons);
}

JobScript Spins(JobScript script, int nCharge, int nMultiplicity, bool fUnrestricted) {
    script.Options.nTotalCharge = nCharge;
    script.Options.nMultiplicity = nMultiplicity;
    script.Options.nSpinTreatment = fUnrestricted ? 1 : 0;
    return script;
}

}  // namespace qsolve
