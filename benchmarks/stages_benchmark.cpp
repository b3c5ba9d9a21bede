// Where the time of a single point goes: the SCF as our client asks for it, stage by stage, beside
// the same SCF as a whole.
//
//     stages_benchmark METHOD FILE.xyz [METHOD FILE.xyz ...]      METHOD as on the command line
//
// The stages are run one after the other as the SCF runs them, each between two looks at the clock:
// so they find the memory as they find it in the SCF. What they leave unexplained of the whole is
// printed; where they end elsewhere than the whole, that is said, and the status is 1.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <type_traits>
#include <vector>

#include "algebra/diagonalise.h"
#include "benchmarks/molecule_files.h"
#include "job/state.h"
#include "numeric/kernels.h"
#include "numeric/pool.h"
#include "scf/account.h"
#include "scf/density.h"
#include "scf/due_orbitals.h"
#include "scf/electronic_energy.h"
#include "scf/finish.h"
#include "scf/fock.h"
#include "scf/framed.h"
#include "scf/guarded.h"
#include "scf/guess.h"
#include "scf/patches.h"
#include "scf/rotations.h"
#include "scf/scf.h"
#include "scf/stability.h"
#include "scf/starts.h"
#include "scf/state.h"
#include "setup/state.h"
#include "tests/support/scf_job.h"

namespace qsolve {
namespace {

constexpr int kRuns = 7;                   ///< the least of which counts
constexpr double kLimit = 1e-6;            ///< of the energy, kcal/mol, as of our client
constexpr double kCommutatorLimit = 1e-5;  ///< and what belongs to it, eV
constexpr int kMostCycles = 401, kMostProducts = 150;
constexpr int kMostTested = 60;  ///< orbitals of a closed shell whose state our client has tested

/// Milliseconds: processor time for one thread, which other programs disturb less, else by the
/// clock.
double Now() {
    if (Threads() == 1) return 1e3 * static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration<double, std::milli>(now).count();
}

struct Stage {
    std::string sName;
    int nCalls = 0;
    double dMs = 0.0;
};

/// The stages of one run in the order in which they first came.
struct Stages {
    std::vector<Stage> list;

    template <class Work>
    auto Time(const char* sName, Work work) {
        const double dStart = Now();
        if constexpr (std::is_void_v<decltype(work())>) {
            work();
            Add(sName, Now() - dStart);
        } else {
            const auto result = work();
            Add(sName, Now() - dStart);
            return result;
        }
    }
    void Add(const char* sName, double dMs) {
        auto it = std::find_if(list.begin(), list.end(),
                               [&](const Stage& stage) { return stage.sName == sName; });
        if (it == list.end()) it = list.insert(list.end(), {sName});
        ++it->nCalls;
        it->dMs += dMs;
    }
    double Sum() const {
        double d = 0.0;
        for (const Stage& stage : list) d += stage.dMs;
        return d;
    }
};

/// Where an SCF has ended.
struct End {
    int nCycles = 0;
    double dEnergy = 0.0;  ///< kcal/mol
};

void SetUp(int nMethod, const std::vector<Place>& places) {
    JobScript script = Molecule(nMethod, places);
    script.Options.flConvergenceLimit = static_cast<float>(kLimit);
    script.Options.nIterationLimit = kMostCycles - 1;
    script.Options.nLogLevel = 10;  // no log, as our client asks for
    SetUpJob(script);
    further.Scf.fGuarded = 1;
    further.Scf.dCommutatorLimit = kCommutatorLimit;
    further.Scf.nStability = setup.nOrbitals <= kMostTested ? kFollowStability : kNoStability;
}

End RunWhole(double& dMs) {
    const double dStart = Now();
    RunScf();
    dMs = std::min(dMs, Now() - dStart);
    return {scf.End.nCycles, scf.dTotalEnergy};
}

/// New densities from the Fock matrix of a closed shell, by a solution.
void SolveForDensity(Electrons& electrons, Stages& stages) {
    SpinRun& s = *electrons.pSets[0];
    const Shells& shells = electrons.vShells[0];
    const LevelRange levels = SummedLevels(shells);
    stages.Time("orbitals solved", [&] {
        DiagonaliseQuickly(electrons.n, levels.nFirst, levels.nEnd, s.mFock.Data(),
                           s.mVectors.Data(), s.vEnergy.Data());
    });
    stages.Time("density", [&] { FillDensities(electrons); });
}

/// The cycles of RunInFrame, which need not give up here.
GuardEnd RunSearch(Electrons& electrons, const GuardLimits& limits, GuardEnd end, Stages& stages) {
    FramedSearch search;
    stages.Time("frame", [&] { StartSearch(electrons, search); });
    ErrorOfNorm error(electrons.n);
    while (true) {
        stages.Time("density", [&] { FillDensities(electrons); });
        stages.Time("Fock and energy", [&] { NextFock(electrons, end); });
        const double dNorm =
            stages.Time("couplings", [&] { return RememberPoint(electrons, search); });
        end.dCommutator = error.Expected(dNorm);
        const bool fSettled = IsEnergySettled(electrons, limits, end);
        if (fSettled && end.dCommutator < limits.dCommutator) {
            end.dCommutator =
                stages.Time("commutator", [&] { return error.Measured(electrons, dNorm); });
            end.fConverged = end.dCommutator < limits.dCommutator;
        }
        if (!end.fConverged && end.nCycles >= limits.nCycles) return end;
        if (!stages.Time("orbitals turned", [&] { return MovePoint(electrons, search); }))
            return end;
        if (end.fConverged) {
            stages.Time("density", [&] { FillDensities(electrons); });
            end.fAhead = true;
            return end;
        }
    }
}

/// The cycles of RunGuarded from a start, which need not give up here.
GuardEnd RunCycles(Electrons& electrons, Stages& stages) {
    const GuardLimits limits{electrons.Run.dLimit, kCommutatorLimit / electrons.dEv, kMostCycles};
    GuardEnd end;
    const bool fPatched =
        stages.Time("patches", [&] { return PatchDensities(electrons, kMostCycles - 2, end); });
    if (fPatched) {
        stages.Time("Fock and energy", [&] { NextFock(electrons, end); });
        return RunSearch(electrons, limits, end, stages);
    }
    MixHistory history;
    stages.Time("history", [&] { StartHistory(electrons, history); });
    double dFormer = HUGE_VAL;
    while (true) {
        stages.Time("Fock and energy", [&] { NextFock(electrons, end); });
        if (end.nCycles == 1 && !HoldsItsElectrons(electrons)) {
            SolveForDensity(electrons, stages);
            continue;
        }
        end.dCommutator = stages.Time("commutator", [&] {
            return Remember(electrons, end.dEnergy, end.nCycles > 1, scf.mSquareWork.Data(),
                            history);
        });
        end.fConverged =
            IsEnergySettled(electrons, limits, end) && end.dCommutator < limits.dCommutator;
        if (end.fConverged || end.nCycles >= limits.nCycles) return end;
        stages.Time("mixture",
                    [&] { MixPoints(electrons, end.dEnergy, end.dCommutator, history); });
        const bool fFalls = end.nCycles >= 2 && end.dCommutator < dFormer;
        if (end.nCycles >= 2) dFormer = end.dCommutator;
        if (fFalls && MayUseFrame(electrons, end.dCommutator))
            return RunSearch(electrons, limits, end, stages);
        SolveForDensity(electrons, stages);
    }
}

void TestState(Electrons& electrons) {
    Array<double> vDirection;
    vDirection.Take(CountRotations(electrons), kWork);
    StateTest test(electrons);
    for (const Turn turn : {Turn::kSame, Turn::kSpinsApart}) test.Lowest(turn, vDirection.Data());
    FillDensities(electrons);
}

/// The SCF of a closed shell, a stage at a time.
End RunInStages(Stages& stages) {
    ScfRun run = StartRun();
    ++scf.nScfRuns;
    run.dCoreEnergy = stages.Time("integrals and core", [] { return BuildIntegrals(); });
    SpinRun a = AlphaRun(), b = BetaRun();
    Electrons electrons = ElectronsOf(run, a, b);
    stages.Time("start", [&] {
        InitScfGuess();
        GuessPopulations(electrons, false);
    });
    const GuardEnd end = RunCycles(electrons, stages);
    const bool fLevels =
        end.fAhead && further.Scf.nStability == kNoStability &&
        stages.Time("levels", [&] { return TakeLevels(electrons, WantedAtTheEnd(electrons.Run)); });
    if (!fLevels) stages.Time("all orbitals", [&] { TakeOrbitals(electrons, end.fAhead); });
    if (further.Scf.nStability != kNoStability)
        stages.Time("test of the state", [&] { TestState(electrons); });
    stages.Time("gradient and charges", [&] {
        for (double& p : scf.mDensityA) p *= 2.0;
        FinishDensity();
        PublishLevels(a.Counts.nIndexOffset, a.vEnergy.Data(), a.vLevel.Data());
        run.dEnergy = end.dEnergy;
        run.Cycle.fConverged = end.fConverged;
        CountScf(run);
        FinishRun(run, a, b);
    });
    return {end.nCycles, scf.dTotalEnergy};
}

int Measure(int nMethod, const std::vector<Place>& places) {
    double dWhole = 1e300;
    Stages least;
    bool fSame = true;
    End whole;
    for (int i = 0; i < kRuns; ++i) {
        SetUp(nMethod, places);
        whole = RunWhole(dWhole);
        SetUp(nMethod, places);
        Stages stages;
        const End staged = RunInStages(stages);
        if (i == 0 || stages.Sum() < least.Sum()) least = stages;
        fSame &= staged.nCycles == whole.nCycles && staged.dEnergy == whole.dEnergy;
    }
    std::printf("%zu atoms, %d orbitals, %d cycles\n", places.size(), setup.nOrbitals,
                whole.nCycles);
    for (const Stage& stage : least.list)
        std::printf("  %-22s %4d x %9.3f ms  %9.3f ms  %5.1f %%\n", stage.sName.c_str(),
                    stage.nCalls, stage.dMs / stage.nCalls, stage.dMs, 100.0 * stage.dMs / dWhole);
    std::printf("  %-22s %30.3f ms  %5.1f %% of the SCF as a whole, %.3f ms\n", "sum", least.Sum(),
                100.0 * least.Sum() / dWhole, dWhole);
    if (!fSame) std::printf("  the stages have ended elsewhere than the whole\n");
    return fSame ? 0 : 1;
}

}  // namespace
}  // namespace qsolve

int main(int nArguments, char** pArguments) {
    const char* sThreads = std::getenv("ORBITRAX_THREADS");
    if (!qsolve::ChooseKernels(std::getenv("ORBITRAX_KERNELS"))) return 1;
    qsolve::SetThreads(sThreads ? std::max(1, std::atoi(sThreads)) : 1);
    int nStatus = 0;
    const int nUsage = qsolve::MeasureMolecules(
        nArguments, pArguments, [&](int nMethod, const std::vector<qsolve::Place>& places) {
            nStatus |= qsolve::Measure(nMethod, places);
        });
    return nUsage != 0 ? nUsage : nStatus;
}
