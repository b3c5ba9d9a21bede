#include "numeric/divide.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "numeric/kernels.h"
#include "numeric/merge.h"
#include "numeric/pool.h"
#include "numeric/row.h"
#include "numeric/tridiagonal.h"

namespace qsolve {
namespace {

constexpr int kLargestLeaf = 32;

/// Order from which the threads share the parts.
constexpr int kWorthThreads = 200;

/// First row of part i of a level.
int FirstOf(int n, int nLevel, int i) {
    return static_cast<int>((static_cast<long long>(n) * i) >> nLevel);
}

/// Takes the elements that join leaves out of T: |e| from the diagonal at both sides.
void Tear(const Divide& divide) {
    const int nLevels = LevelsOfParts(divide.n);
    for (int i = 1; i < 1 << nLevels; ++i) {
        const int nCut = FirstOf(divide.n, nLevels, i);
        const double dOff = std::abs(divide.vOff[nCut - 1]);
        divide.vValues[nCut - 1] -= dOff;
        divide.vValues[nCut] -= dOff;
    }
}

/// Eigenvalues and vectors of the rows nFrom .. nTo - 1, sorted.
void SolveLeaf(const Divide& divide, int nFrom, int nTo) {
    const int n = divide.n, nOrder = nTo - nFrom;
    double* d = divide.vValues + nFrom;
    double* e = divide.vWork + nFrom;
    std::copy_n(divide.vOff + nFrom, nOrder, e);
    e[nOrder - 1] = 0.0;
    const bool fEnds = divide.kept == Kept::kEnds;
    std::fill(Row(divide.mVectors, divide.Step(), nFrom), Row(divide.mVectors, divide.Step(), nTo),
              0.0);
    if (fEnds) {
        divide.VectorOf(nFrom, nFrom)[0] = 1.0;
        divide.VectorOf(nFrom, nTo - 1)[1] = 1.0;
    } else {
        for (int i = nFrom; i < nTo; ++i) Row(divide.mVectors, n, i)[i] = 1.0;
    }
    TridiagonalVectors(nOrder, fEnds ? 2 : nOrder, d, e, divide.VectorOf(nFrom, nFrom),
                       divide.Step());
}

}  // namespace

int LevelsOfParts(int n) {
    int nLevels = 0;
    while ((n - 1) >> nLevels >= kLargestLeaf) ++nLevels;
    return nLevels;
}

void SolveLeaves(const Divide& divide) {
    Tear(divide);
    const int nLevels = LevelsOfParts(divide.n);
    ForEachTaskIf(divide.n >= kWorthThreads, 1 << nLevels, [&](int i) {
        SolveLeaf(divide, FirstOf(divide.n, nLevels, i), FirstOf(divide.n, nLevels, i + 1));
    });
}

void MergeParts(const Divide& divide, int nLevel) {
    const auto MergePart = [&](int i) {
        const int nFrom = FirstOf(divide.n, nLevel, i), nTo = FirstOf(divide.n, nLevel, i + 1);
        MergePair(divide, nFrom, FirstOf(divide.n, nLevel + 1, 2 * i + 1), nTo);
    };
    // Few parts are large: they are merged one by one, each by all threads.
    const bool fMany = 1 << nLevel >= 2 * Threads() && divide.n >= kWorthThreads;
    ForEachTaskIf(fMany, 1 << nLevel, MergePart);
}

}  // namespace qsolve
