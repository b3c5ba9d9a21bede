#include "integrals/integrals.h"

#include <benchmark/benchmark.h>

#include <cstddef>

#include "benchmarks/silent_transport.h"
#include "integrals/state.h"
#include "job/state.h"
#include "scf/state.h"
#include "setup/state.h"

/// What is computed once per geometry: matrices of a hydrocarbon of 200 atoms in items (atom pairs)
/// a second, and the diatomic blocks they are made of.

namespace qsolve {
namespace {

constexpr int kAtoms = 200;

void UseHydrocarbonRows() {
    parameters.pCindoParams.Take(kRows, kSetUp);
    setup.pZindo.Take(kRows, kSetUp);
    setup.pGamma.Take(kRows, kSetUp);
    setup.pNddo.Take(kRows, kSetUp);
    parameters.pCindoParams[0].dZetaS = setup.pZindo[0].dZetaS = 1.2;
    parameters.pCindoParams[5].dZetaS = parameters.pCindoParams[5].dZetaP = 1.625;
    setup.pZindo[5].dZetaS = setup.pZindo[5].dZetaP = 1.625;
    setup.pGamma[0].dGammaSS = 12.85;
    setup.pGamma[5].dGammaSS = 11.11;
    setup.pNddo[0].dZetaS = 1.188;
    setup.pNddo[5].dZetaS = 1.808;
    setup.pNddo[5].dZetaP = 1.685;
    options.flOverlapSigma = 1.267f;
    options.flOverlapPi = 0.585f;
}

/// Carbon and hydrogen by turns on a lattice of 2.7 length units.
void PlaceHydrocarbon(int nMethod) {
    system.MethodId = nMethod;
    system.nAtoms = system.nSelected = kAtoms;
    system.pAtoms.Take(kAtoms, kSetUp);
    system.pCoords.Take(kAtoms, 3, kSetUp);
    system.nSelectedAtoms.Take(kAtoms, kSetUp);
    setup.Map.pFirstOrbital.Take(kAtoms, kSetUp);
    setup.Map.pLastOrbital.Take(kAtoms, kSetUp);
    setup.vZeta1.Take(4 * kAtoms, kSetUp);
    setup.vOrbitalShell.Take(4 * kAtoms, kSetUp);
    int nOrbitals = 0;
    for (int i = 0; i < kAtoms; ++i) {
        const bool fCarbon = i % 2 == 0;
        system.pAtoms[i].nAtomicNumber = fCarbon ? 6 : 1;
        const int vCell[3] = {i % 6, i / 6 % 6, i / 36};
        for (int c = 0; c < 3; ++c) system.pCoords[3 * i + c] = 2.7 * vCell[c] + 0.013 * i;
        system.nSelectedAtoms[i] = i + 1;
        setup.Map.pFirstOrbital[i] = nOrbitals + 1;
        for (int k = 0; k < (fCarbon ? 4 : 1); ++k, ++nOrbitals) {
            setup.vZeta1[nOrbitals] = fCarbon ? 1.625 : 1.2;
            setup.vOrbitalShell[nOrbitals] = fCarbon ? 2 : 1;
        }
        setup.Map.pLastOrbital[i] = nOrbitals;
    }
    setup.nOrbitals = nOrbitals;
    scf.mCore.Take(static_cast<std::size_t>(nOrbitals), static_cast<std::size_t>(nOrbitals),
                   kSetUp);
}

void CountPairs(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations() * kAtoms * (kAtoms - 1) / 2);
}

void OverlapMatrix(benchmark::State& state) {
    UseHydrocarbonRows();
    PlaceHydrocarbon(static_cast<int>(state.range(0)));
    for (auto _ : state) BuildOverlapMatrix(scf.mCore.Data(), setup.nOrbitals, setup.nOrbitals);
    CountPairs(state);
}
BENCHMARK(OverlapMatrix)->ArgName("method")->Arg(kCndo)->Arg(kZindoS)->Arg(kAm1);

void CoulombMatrix(benchmark::State& state) {
    UseHydrocarbonRows();
    PlaceHydrocarbon(static_cast<int>(state.range(0)));
    double* m = scf.mCore.Data();
    for (auto _ : state) {
        if (system.MethodId == kZindoS)
            BuildMatagaCoulombMatrix(m, setup.nOrbitals, setup.nOrbitals);
        else
            BuildSlaterCoulombMatrix(m, setup.nOrbitals, setup.nOrbitals);
    }
    CountPairs(state);
}
BENCHMARK(CoulombMatrix)->ArgName("method")->Arg(kCndo)->Arg(kZindoS);

AtomShells ShellsFor(int nElement, int nOrbitals) {
    ShellExponents x = {1.625, 1.625};
    if (nOrbitals == 9) x = {1.37, 1.37, 6.068, 2.618, 0.40379, 0.71984};
    return MakeAtomShells(kZindoS, nElement, nOrbitals, x);
}

/// Blocks of carbon with carbon (4 orbitals) or of iron with iron (9).
void DiatomicBlock(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    const AtomShells a = ShellsFor(n == 4 ? 6 : 26, n);
    double pVector[3] = {1.1, -1.9, 2.3}, mBlock[81];
    for (auto _ : state) {
        ComputeDiatomicOverlap(a, a, pVector, {}, mBlock);
        benchmark::DoNotOptimize(mBlock);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(DiatomicBlock)->ArgName("orbitals")->Arg(4)->Arg(9);

void DiatomicDerivative(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    const AtomShells a = ShellsFor(n == 4 ? 6 : 26, n);
    double pVector[3] = {1.1, -1.9, 2.3}, mX[81], mY[81], mZ[81];
    for (auto _ : state) {
        ComputeDiatomicOverlapDerivative(a, a, pVector, {}, mX, mY, mZ);
        benchmark::DoNotOptimize(mX);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(DiatomicDerivative)->ArgName("orbitals")->Arg(4)->Arg(9);

void SlaterCoulombSlope(benchmark::State& state) {
    const SlaterCloud a{2, 1.625}, b{2, 2.275};
    for (auto _ : state) benchmark::DoNotOptimize(EvaluateSlaterCoulombSlope(a, b, 2.6));
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(SlaterCoulombSlope);

}  // namespace
}  // namespace qsolve

BENCHMARK_MAIN();
