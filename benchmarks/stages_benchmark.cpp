// Where the time of a single point goes: each stage of the SCF alone, at the converged density.
//
//     stages_benchmark METHOD FILE.xyz [METHOD FILE.xyz ...]      METHOD as on the command line

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "algebra/diagonalise.h"
#include "benchmarks/molecule_files.h"
#include "gradient/gradient.h"
#include "gradient/resonance.h"
#include "gradient/state.h"
#include "integrals/integrals.h"
#include "integrals/state.h"
#include "job/state.h"
#include "numeric/kernels.h"
#include "numeric/pool.h"
#include "scf/density.h"
#include "scf/diis.h"
#include "scf/electronic_energy.h"
#include "scf/fock_cndo.h"
#include "scf/fock_nddo_one_centre.h"
#include "scf/fock_nddo_two_centre.h"
#include "scf/fock_zindo.h"
#include "scf/guess.h"
#include "scf/pseudo_diagonalise.h"
#include "scf/scf.h"
#include "scf/state.h"
#include "setup/state.h"
#include "tests/support/scripted_client.h"

namespace qsolve {
namespace {

using Clock = std::chrono::steady_clock;

double Milliseconds(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

/// Best of several runs; a stage that destroys its input gets it anew from Prepare, unmeasured.
void Time(const char* sStage, const std::function<void()>& Prepare,
          const std::function<void()>& Stage) {
    double dBest = 1e300;
    for (int i = 0; i < 5; ++i) {
        Prepare();
        const auto start = Clock::now();
        Stage();
        dBest = std::min(dBest, Milliseconds(start));
    }
    std::printf("  %-24s %10.3f ms\n", sStage, dBest);
}

void Nothing() {}

void BuildIntegralsOfJob() {
    const int n = setup.nOrbitals;
    double* mCore = scf.mCore.Data();
    double* pStore = integrals.pIntegrals.Data();
    double dCoreEnergy = 0.0;
    if (FamilyOf(system.MethodId) == Family::kNddo) {
        BuildNddoCore(mCore, pStore, integrals.pPairIndex.Data(), &dCoreEnergy, n, n);
        return;
    }
    if (system.MethodId == kZindoS)
        BuildMatagaCoulombMatrix(pStore, n, n);
    else
        BuildSlaterCoulombMatrix(pStore, n, n);
    double* vDiagonal = integrals.vCoreDiagonal.Data();
    if (FamilyOf(system.MethodId) == Family::kZindo)
        BuildZindoCore(mCore, pStore, vDiagonal, &dCoreEnergy, n, n);
    else
        BuildCndoCore(mCore, pStore, vDiagonal, &dCoreEnergy, n, n);
}

void BuildFockOfJob() {
    const int n = setup.nOrbitals;
    double* mFock = scf.mFockA.Data();
    const double* mTotal = scf.mDensityT.Data();
    const double* mSpin = scf.mDensityA.Data();
    const double* pStore = integrals.pIntegrals.Data();
    switch (FamilyOf(system.MethodId)) {
        case Family::kCndo:
            BuildFockCndo(mTotal, mSpin, pStore, mFock);
            break;
        case Family::kZindo:
            BuildFockZindo(mTotal, mSpin, pStore, n, mFock);
            break;
        case Family::kNddo:
            BuildFockTwoCentre(mFock, mTotal, mSpin, pStore, integrals.pPairIndex.Data(), n);
            BuildFockOneCentreSp(mFock, mTotal, mSpin, mSpin, n);
            break;
        case Family::kNone:
            break;
    }
}

int CyclesOfStatus() {
    int nCycles = 0;
    for (const std::string& sText : client.Texts(kPacketStatusLine))
        std::sscanf(sText.c_str(), "Iteration = %d", &nCycles);
    return nCycles + 1;
}

void TimeStages() {
    const int n = setup.nOrbitals, nOcc = setup.nDoublyOcc;
    const auto RebuildFock = [] {
        CopyCoreToFock(9, scf.mFockA.Data());
        BuildFockOfJob();
    };
    Time("overlap", Nothing, [n] { BuildOverlapMatrix(scf.mCore.Data(), n, n); });
    Time(
        "integrals and core", [n] { BuildOverlapMatrix(scf.mCore.Data(), n, n); },
        BuildIntegralsOfJob);
    Time(
        "Fock", [] { CopyCoreToFock(9, scf.mFockA.Data()); }, BuildFockOfJob);
    RebuildFock();
    Time("electronic energy", Nothing, [n] {
        ComputeElectronicEnergy(n, scf.mCore.Data(), scf.mFockA.Data(), scf.mDensityA.Data());
    });
    Time("pseudo-diagonalisation", RebuildFock, [n, nOcc] {
        PseudoDiagonalise(n, nOcc, scf.mFockA.Data(), scf.mVectorsA.Data(), scf.vLevelA.Data(),
                          scf.pWork.Data(), scf.mSquareWork.Data());
    });
    Time("orbitals of the density", RebuildFock, [n, nOcc] {
        const LevelRange levels = DensityLevels({nOcc, nOcc, 0});
        DiagonaliseRange(n, levels.nFirst, levels.nEnd, scf.mFockA.Data(), scf.mVectorsA.Data(),
                         scf.vEnergyA.Data());
    });
    Time("full diagonalisation", RebuildFock,
         [n] { Diagonalise(n, scf.mFockA.Data(), scf.mVectorsA.Data(), scf.vEnergyA.Data()); });
    Time("density", Nothing, [nOcc] {
        BuildDensity({nOcc, nOcc, 0}, scf.vEnergyA.Data(), scf.vLevelA.Data(), scf.mVectorsA.Data(),
                     scf.mDensityA.Data(), scf.vWeightsA.Data());
    });
    FinishDensity();
    DiisHistory history;
    const LevelRange levels = DensityLevels({nOcc, nOcc, 0});
    const SpinDensity density{scf.mDensityA.Data(), levels.nFirst,        levels.nEnd,
                              scf.mVectorsA.Data(), scf.vWeightsA.Data(), 0.5};
    RebuildFock();
    Time("extrapolation", Nothing, [n, &density, &history] {
        ExtrapolateFockDiis(n, scf.mFockA.Data(), density, scf.mDiisErrorA.Data(),
                            scf.mDiisFockA.Data(), scf.mSquareWork.Data(), history);
    });
}

double Megabytes(std::size_t nBytes) {
    return 1e-6 * static_cast<double>(nBytes);
}

void Measure(int nMethod, const std::vector<Place>& places) {
    JobScript script = Molecule(nMethod, places);
    script.Options.flConvergenceLimit = 1e-4F;
    SetUpJob(script);
    const auto start = Clock::now();
    RunScf();
    const double dTotal = Milliseconds(start);
    std::printf("%zu atoms, %d orbitals, %d cycles, SCF in all %.2f ms\n", places.size(),
                setup.nOrbitals, CyclesOfStatus(), dTotal);
    const double* mSpin = scf.mDensityA.Data();
    Time("resonance gradient", Nothing,
         [] { AddResonanceGradient(scf.mDensityT.Data(), gradient.pGradient.Data()); });
    const std::size_t nHeld = memory.nBytesHeld;
    memory.nBytesHighest = nHeld;
    Time("gradient", Nothing, [mSpin] { ComputeGradient(scf.mDensityT.Data(), mSpin, mSpin); });
    std::printf("  %-24s %10.3f MB, at most %.3f more in the gradient\n", "arrays",
                Megabytes(nHeld), Megabytes(memory.nBytesHighest - nHeld));
    TimeStages();
}

}  // namespace
}  // namespace qsolve

int main(int nArguments, char** pArguments) {
    const char* sThreads = std::getenv("ORBITRAX_THREADS");
    if (!qsolve::ChooseKernels(std::getenv("ORBITRAX_KERNELS"))) return 1;
    qsolve::SetThreads(sThreads ? std::max(1, std::atoi(sThreads)) : 1);
    return qsolve::MeasureMolecules(nArguments, pArguments, qsolve::Measure);
}
