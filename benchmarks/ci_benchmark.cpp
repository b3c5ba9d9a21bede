// Where the time of a configuration interaction goes, stage by stage, at a converged SCF.
//
//     ci_benchmark METHOD FILE.xyz KIND OCCUPIED UNOCCUPIED ...     KIND: singles or microstates
//
// Seconds of processor time of one run, so that other programs on the machine count little.
// ORBITRAX_KERNELS and ORBITRAX_THREADS (1) hold.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <vector>

#include "benchmarks/molecule_files.h"
#include "ci/ci.h"
#include "ci/ci_log.h"
#include "ci/spectrum.h"
#include "ci/state.h"
#include "job/state.h"
#include "link/link.h"
#include "numeric/kernels.h"
#include "numeric/pool.h"
#include "numeric/row.h"
#include "scf/state.h"
#include "setup/state.h"
#include "tests/support/ci_case.h"

namespace qsolve {
namespace {

double Seconds() {
    timespec t;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

void Time(const char* sStage, const std::function<void()>& Stage) {
    const double dStart = Seconds();
    Stage();
    std::printf("  %-24s %10.3f s\n", sStage, Seconds() - dStart);
}

/// The stages of an interaction, each alone.
void TimeStages() {
    const ScfLevels levels = LevelsOfScf();
    Interaction ci;
    Time("window, configurations", [&] { PlaceConfigurations(ci); });
    const double* pActive = Row(levels.mVectors, setup.nOrbitals, ci.Window.nBelow);
    Time("integrals", [&] { FillMoTable(ci.Window.nLevels, pActive, levels.vOrigin, ci.Table); });
    Time("one-electron energies",
         [&] { FillActiveEnergies(ci.Window, levels.vEnergy, ci.Table, ci.Energies); });
    Time("lists of pairs", [&] { FillLists(ci.Configs, ci.Lists); });
    Time("spin operator", [&] { FillSpinOperator(ci.Configs, ci.Lists, ci.Spin); });
    const CiOperator hamilton{ci.Window, ci.Table, ci.Energies, ci.Configs, ci.Lists};
    double dSum = 0.0;
    Time("elements of the matrix",
         [&] { ForEachElement(hamilton, [&](int, int, double d) { dSum += d; }); });
    Time("matrix, states, spins", [&] { SolveStates(hamilton, ci.Spin, ci.States); });
    std::vector<StateProperties> properties(static_cast<std::size_t>(ci.Configs.nConfigs));
    const int nStates = options.nCiKind == kSingles ? ci.Configs.nConfigs : 20;
    Time("dipoles", [&] { FillProperties(levels, ci, nStates, properties.data()); });
    std::printf("  (sum of the elements %.6f, state 1 at %.6f)\n", dSum, ci.States.vCiEnergy[1]);
}

/// The whole, as a job runs it.
void TimeWhole() {
    const ScfLevels levels = LevelsOfScf();
    const auto n = static_cast<std::size_t>(setup.nOrbitals);
    std::vector<double> vOcc(n), mSpin(n * n);
    link.fLogReports = false;
    Time("the whole, without log", [&] {
        if (options.nCiKind == kSingles)
            RunSinglesCi(levels);
        else
            RunMicrostateCi(levels, {scf.mDensityT.Data(), mSpin.data(), scf.mFockA.Data(),
                                     scf.mVectorsA.Data(), vOcc.data()});
    });
    std::printf("  %lld configurations, most memory %.1f MB\n", setup.nCiConfigurations,
                1e-6 * static_cast<double>(memory.nBytesHighest));
}

int Usage(const char* sProgram) {
    std::fprintf(stderr, "usage: %s METHOD FILE.xyz singles|microstates OCCUPIED UNOCCUPIED ...\n",
                 sProgram);
    return 2;
}

int Run(int nArguments, char** pArguments) {
    if (nArguments < 6 || nArguments % 5 != 1) return Usage(pArguments[0]);
    for (int i = 1; i < nArguments; i += 5) {
        CiCase c;
        c.nMethod = MethodNamed(pArguments[i]);
        c.Places = ReadXyz(pArguments[i + 1]);
        c.fMicrostates = std::strcmp(pArguments[i + 2], "microstates") == 0;
        c.nOccupied = std::atoi(pArguments[i + 3]);
        c.nUnoccupied = std::atoi(pArguments[i + 4]);
        if (c.nMethod == 0 || c.Places.empty()) return Usage(pArguments[0]);
        std::printf("%s %s, %s in %d + %d levels\n", pArguments[i], pArguments[i + 1],
                    pArguments[i + 2], c.nOccupied, c.nUnoccupied);
        Time("SCF", [&] { RunCase(c); });
        TimeStages();
        TimeWhole();
    }
    return 0;
}

}  // namespace
}  // namespace qsolve

int main(int nArguments, char** pArguments) {
    const char* sThreads = std::getenv("ORBITRAX_THREADS");
    if (!qsolve::ChooseKernels(std::getenv("ORBITRAX_KERNELS"))) return 1;
    qsolve::SetThreads(sThreads ? std::max(1, std::atoi(sThreads)) : 1);
    return qsolve::Run(nArguments, pArguments);
}
