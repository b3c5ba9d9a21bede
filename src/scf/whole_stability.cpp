#include <algorithm>
#include <cmath>
#include <cstddef>

#include "algebra/diagonalise.h"
#include "link/link.h"
#include "numeric/definite.h"
#include "numeric/kernels.h"
#include "numeric/row.h"
#include "scf/davidson.h"
#include "scf/stability.h"

namespace qsolve {
namespace {

constexpr int kAtOnce = 16;       ///< rotations, up to which the matrix is diagonalised
constexpr int kStartVectors = 2;  ///< lowest rotations by the diagonal to begin with
constexpr int kFewVectors = 6;    ///< of the space: products cost less here than a larger one
/// Residual, eV, below which the lowest one in the space is put to the proof: its error is mostly
/// the square of that by a gap of some tenths.
constexpr double kTried = 1e-3;

/// The matrix, its search and the scratch of both.
struct Search {
    int n;
    double dEv;
    Array<double> mHessian = {}, mShifted = {}, vNext = {};
    Space space;
    Inside inside = {};
};

/// The lowest eigenvalue of a small matrix. vDirection gets its vector.
double LowestAtOnce(Search& search, double* vDirection) {
    double vValues[kAtOnce];
    DiagonaliseQuickly(search.n, 0, 1, search.mHessian.Data(), search.mShifted.Data(), vValues);
    std::copy_n(search.mShifted.Data(), search.n, vDirection);
    return vValues[0];
}

/// Takes vNext into the space where something of it is new.
bool Add(Search& search) {
    Space& space = search.space;
    if (!MakeNew(space, search.vNext.Data())) return false;
    std::copy(search.vNext.begin(), search.vNext.end(), space.Vector(space.nVectors));
    kernels->DotRows(search.n, search.n, search.mHessian.Data(), search.n, search.vNext.Data(),
                     space.Product(space.nVectors));
    CountVector(space);
    FollowLowest(space, search.inside);
    return true;
}

void AddStarts(Search& search) {
    const double* d = search.space.vDiagonal.Data();
    int vLowest[kStartVectors];
    for (int k = 0; k < kStartVectors; ++k) {
        int nBest = -1;
        for (int i = 0; i < search.n; ++i)
            if ((nBest < 0 || d[i] < d[nBest]) && std::find(vLowest, vLowest + k, i) == vLowest + k)
                nBest = i;
        vLowest[k] = nBest;
        std::fill(search.vNext.begin(), search.vNext.end(), 0.0);
        search.vNext[nBest] = 1.0;
        Add(search);
    }
}

/// Whether no eigenvalue is below the given one less the error. Otherwise vNext leads to a lower.
bool IsLowest(Search& search, double dValue) {
    const int n = search.n;
    for (int i = 0; i < n; ++i) {
        double* row = Row(search.mShifted.Data(), n, i) + i;  // of the upper triangle
        std::copy_n(Row(search.mHessian.Data(), n, i) + i, n - i, row);
        *row -= dValue - kLowestError / search.dEv;
    }
    Yield(static_cast<std::size_t>(n) * static_cast<std::size_t>(n));
    return IsPositiveDefinite(n, search.mShifted.Data(), search.vNext.Data());
}

}  // namespace

Curvature LowestCurvature(const WholeHessian& whole, Turn turn, double* vDirection) {
    const auto n = static_cast<std::size_t>(whole.nSize);
    if (n == 0) return {.fKnown = true, .fLowest = true};
    Search search{.n = whole.nSize, .dEv = whole.dEv, .space = Space(whole.nSize, kFewVectors)};
    for (Array<double>* m : {&search.mHessian, &search.mShifted}) m->TakeUnset(n, n, kWork);
    FillHessian(whole, turn, search.mHessian.Data());
    if (whole.nSize <= kAtOnce) {
        const double dLowest = LowestAtOnce(search, vDirection) * whole.dEv;
        return {.fKnown = std::isfinite(dLowest),
                .fLowest = std::isfinite(dLowest),
                .dLowest = dLowest};
    }

    search.vNext.TakeUnset(n, kWork);
    Array<double> vWork;
    vWork.TakeUnset(2, n, kWork);
    Space& space = search.space;
    for (std::size_t i = 0; i < n; ++i) space.vDiagonal[i] = search.mHessian[i * n + i];
    AddStarts(search);
    Curvature found;
    while (space.nVectors > 0) {
        const RitzValue root = FindRoot(space, search.inside, 0, vDirection, search.vNext.Data());
        found.dLowest = root.dValue * whole.dEv;
        if (root.dResidual * whole.dEv < kTried) {
            found.fKnown = true;
            found.fLowest = IsLowest(search, root.dValue);
            if (found.fLowest) return found;
        } else {
            Precondition(space, root.dValue, kSmallestBend / whole.dEv, search.vNext.Data());
        }
        if (space.nVectors == kFewVectors) StartAnew(space, search.inside, vWork.Data());
        if (!Add(search)) return found;
    }
    return found;  // of numbers that are none
}

}  // namespace qsolve
