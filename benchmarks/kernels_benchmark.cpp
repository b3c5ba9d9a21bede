// Rates of the dense kernels in GFLOP/s beside the machine's peak on one core, and the time of a
// whole diagonalisation. ORBITRAX_KERNELS chooses the form, ORBITRAX_THREADS the threads, one if
// it is not set. Counts are those of the textbook algorithm: a triangle counts half, the
// reduction 4/3 n^3, the transformation 2 n^3.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "algebra/diagonalise.h"
#include "benchmarks/silent_transport.h"
#include "numeric/householder.h"
#include "numeric/kernels.h"
#include "numeric/pool.h"
#include "numeric/product.h"
#include "numeric/rank_update.h"
#include "numeric/row.h"
#include "numeric/trace.h"
#include "numeric/tridiagonal.h"
#include "scf/pseudo_diagonalise.h"
#include "tests/support/matrices.h"

namespace qsolve {
namespace {

/// Multiplications and additions in ten independent registers: what the machine can do. The best of
/// many short tries, so that other programs do not count. Inlined where the compiler may use the
/// registers that it is for.
template <class Register>
[[gnu::always_inline]] inline double BestRate() {
    constexpr int kChains = 10, kRounds = 200'000, kTries = 100;
    constexpr int kElements = sizeof(Register) / sizeof(double);
    double dBest = 0.0;
    for (int nTry = 0; nTry < kTries; ++nTry) {
        const Register a = 0.999999 - Register{}, b = 1e-6 - Register{};
        Register x[kChains];
        for (Register& chain : x) chain = b;
        const auto start = std::chrono::steady_clock::now();
        for (int i = 0; i < kRounds; ++i) {
#pragma GCC unroll 10
            for (int k = 0; k < kChains; ++k) x[k] = x[k] * a + b;
        }
        const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
        for (Register& chain : x) benchmark::DoNotOptimize(chain);
        dBest = std::max(dBest, 2e-9 * kElements * kChains * kRounds / time.count());
    }
    return dBest;
}

using Two = double __attribute__((vector_size(16)));
#if defined(__x86_64__)
using Four = double __attribute__((vector_size(32)));
using Eight = double __attribute__((vector_size(64)));

[[gnu::target("avx2,fma")]] double RateOfFour() {
    return BestRate<Four>();
}
[[gnu::target("avx512f")]] double RateOfEight() {
    return BestRate<Eight>();
}
#endif

/// The peak of one core with the registers of the form in use.
double MeasurePeak() {
#if defined(__x86_64__)
    const std::string sForm = kernels->sName;
    if (sForm == "avx2") return RateOfFour();
    if (sForm == "avx512") return RateOfEight();
#endif
    return BestRate<Two>();
}

double Peak() {
    static const double dPeak = MeasurePeak();
    return dPeak;
}

/// Reports a rate from the operations of one round.
void Report(benchmark::State& state, double dOperations) {
    using benchmark::Counter;
    const double dGiga = dOperations * 1e-9;
    state.counters["GFLOP/s"] = Counter(dGiga, Counter::kIsIterationInvariantRate);
    state.counters["of_peak"] = Counter(dGiga / Peak(), Counter::kIsIterationInvariantRate);
}

int Order(const benchmark::State& state) {
    return static_cast<int>(state.range(0));
}
double Cube(int n) {
    return static_cast<double>(n) * n * n;
}

/// F.C of the pseudo-diagonaliser and the products of the extrapolation.
void MatrixProduct(benchmark::State& state) {
    const int n = Order(state);
    const TestMatrix a = RandomMatrix(n, n, 1), b = RandomMatrix(n, n, 2);
    TestMatrix c(n, n);
    for (auto _ : state) Multiply(n, n, n, a.Data(), b.Data(), c.Data());
    Report(state, 2.0 * Cube(n));
}

void ProductByTransposed(benchmark::State& state) {
    const int n = Order(state);
    const TestMatrix a = RandomMatrix(n, n, 1), b = RandomMatrix(n, n, 2);
    TestMatrix c(n, n);
    for (auto _ : state) MultiplyByTransposed(n, n, n, a.Data(), b.Data(), c.Data());
    Report(state, 2.0 * Cube(n));
}

void ProductOfTransposed(benchmark::State& state) {
    const int n = Order(state);
    const TestMatrix a = RandomMatrix(n, n, 1), b = RandomMatrix(n, n, 2);
    TestMatrix c(n, n);
    for (auto _ : state) MultiplyTransposed(n, n, n, a.Data(), b.Data(), c.Data());
    Report(state, 2.0 * Cube(n));
}

/// The commutator F P - P F by one product; the rate counts that one.
void CommutatorOfSymmetric(benchmark::State& state) {
    const int n = Order(state);
    const TestMatrix a = RandomSymmetric(n, 1), b = RandomSymmetric(n, 2);
    TestMatrix c(n, n), work(n, n);
    for (auto _ : state) {
        Multiply(n, n, n, a.Data(), b.Data(), work.Data());
        SubtractTransposed(n, work.Data(), c.Data());
    }
    Report(state, 2.0 * Cube(n));
}

/// The density build with half of the levels filled.
void OuterProducts(benchmark::State& state) {
    const int n = Order(state);
    const TestMatrix c = RandomMatrix(n / 2, n, 1), w(1, n / 2, 2.0);
    TestMatrix p(n, n);
    for (auto _ : state) AddOuterProducts(n, n / 2, c.Data(), w.Data(), p.Data());
    Report(state, Cube(n) / 2.0);
}

void TraceOfProduct(benchmark::State& state) {
    const int n = Order(state);
    const TestMatrix a = RandomSymmetric(n, 1), b = RandomSymmetric(n, 2);
    for (auto _ : state) benchmark::DoNotOptimize(TraceProductHalf(n, a.Data(), b.Data()));
    Report(state, 1.0 * n * n);
}

/// The arrays of a reduction.
struct Parts {
    TestMatrix matrix, a, panel, diagonal, off, scale;
    Reduction reduction;
    explicit Parts(int n)
        : matrix(RandomSymmetric(n, 1)),
          a(Padded(n), ReductionStep(n)),
          panel(kPanelRows, ReductionStep(n)),
          diagonal(1, n),
          off(1, n),
          scale(1, n),
          reduction{n, a.Data(), panel.Data(), diagonal.Data(), off.Data(), scale.Data()} {}
    Parts(const Parts&) = delete;
    void Reduce() {
        LoadMatrix(reduction, matrix.Data());
        for (int c = 0; c < matrix.nRows - 2;) c = ReducePanel(reduction, c);
        FinishReduction(reduction);
    }
};

void HouseholderReduction(benchmark::State& state) {
    const int n = Order(state);
    Parts parts(n);
    for (auto _ : state) parts.Reduce();
    Report(state, 4.0 / 3.0 * Cube(n));
}

void BackTransformation(benchmark::State& state) {
    const int n = Order(state), nBlock = BlockOf(n);
    Parts parts(n);
    parts.Reduce();
    TestMatrix vectors = RandomMatrix(n, n, 2), work(1, static_cast<int>(TransformWork(n, n)));
    for (auto _ : state)
        for (int c = (n - 3) / nBlock * nBlock; c >= 0; c -= nBlock)
            TransformBack(parts.reduction, c, std::min(c + nBlock, n - 2), n, vectors.Data(),
                          work.Data());
    Report(state, 2.0 * Cube(n));
}

void QrIteration(benchmark::State& state) {
    const int n = Order(state);
    Parts parts(n);
    parts.Reduce();
    for (auto _ : state) {
        TestMatrix d = parts.diagonal, e = parts.off;
        benchmark::DoNotOptimize(TridiagonalEigenvalues(n, 1e-15, d.Data(), e.Data()));
    }
}

/// A matrix with the width of an orbital spectrum in hartree.
TestMatrix FockLike(int n) {
    TestMatrix f = RandomSymmetric(n, 1);
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) f(i, j) *= std::exp(-0.1 * std::abs(i - j));
    return f;
}

void WholeDiagonalisation(benchmark::State& state) {
    const int n = Order(state);
    const TestMatrix f = FockLike(n);
    TestMatrix a = f, v(n, n), e(1, n);
    for (auto _ : state) {
        std::memcpy(a.Data(), f.Data(), f.v.size() * sizeof(double));
        Diagonalise(n, a.Data(), v.Data(), e.Data());
    }
    Report(state, 10.0 / 3.0 * Cube(n));
}

/// The third of the levels that is empty in most molecules, and nothing else.
void ThirdOfDiagonalisation(benchmark::State& state) {
    const int n = Order(state);
    const TestMatrix f = FockLike(n);
    TestMatrix a = f, v(n, n), e(1, n);
    for (auto _ : state) {
        std::memcpy(a.Data(), f.Data(), f.v.size() * sizeof(double));
        DiagonaliseRange(n, n - n / 3, n, a.Data(), v.Data(), e.Data());
    }
    Report(state, (4.0 / 3.0 + 2.0 / 3.0) * Cube(n));
}

/// A sweep with half of the levels filled, near convergence.
void PseudoDiagonalisation(benchmark::State& state) {
    const int n = Order(state), nOcc = n / 2;
    const TestMatrix f = FockLike(n);
    TestMatrix a = f, v(n, n), e(1, n), scratch(n, n), work(n, n);
    for (int i = 0; i < n; ++i) a(i, i) += 1e-3 * (i % 7);
    Diagonalise(n, a.Data(), v.Data(), e.Data());
    TestMatrix c = v;
    for (auto _ : state) {
        std::memcpy(c.Data(), v.Data(), v.v.size() * sizeof(double));
        PseudoDiagonalise(n, nOcc, f.Data(), c.Data(), e.Data(), scratch.Data(), work.Data());
    }
}

#define KERNEL(Name) \
    BENCHMARK(Name)->Arg(100)->Arg(300)->Arg(600)->Arg(1200)->Unit(benchmark::kMillisecond)
KERNEL(MatrixProduct);
KERNEL(ProductByTransposed);
KERNEL(ProductOfTransposed);
KERNEL(CommutatorOfSymmetric);
KERNEL(OuterProducts);
KERNEL(TraceOfProduct);
KERNEL(HouseholderReduction);
KERNEL(BackTransformation);
KERNEL(QrIteration);
KERNEL(WholeDiagonalisation);
KERNEL(ThirdOfDiagonalisation);
KERNEL(PseudoDiagonalisation);
#undef KERNEL

}  // namespace
}  // namespace qsolve

int main(int nArguments, char** pArguments) {
    const char *sForm = std::getenv("ORBITRAX_KERNELS"),
               *sThreads = std::getenv("ORBITRAX_THREADS");
    if (!qsolve::ChooseKernels(sForm)) {
        std::fprintf(stderr, "this processor has no kernels \"%s\"\n", sForm);
        return 1;
    }
    qsolve::SetThreads(sThreads ? std::max(1, std::atoi(sThreads)) : 1);
    std::printf("%s kernels, %d thread(s), peak of one core: %.1f GFLOP/s\n",
                qsolve::kernels->sName, qsolve::Threads(), qsolve::Peak());
    benchmark::Initialize(&nArguments, pArguments);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
