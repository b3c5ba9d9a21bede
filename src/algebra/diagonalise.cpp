#include "algebra/diagonalise.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <utility>

#include "algebra/state.h"
#include "link/link.h"
#include "numeric/divide.h"
#include "numeric/householder.h"
#include "numeric/inverse_iteration.h"
#include "numeric/paired_steps.h"
#include "numeric/row.h"
#include "numeric/trace.h"
#include "numeric/tridiagonal.h"

namespace qsolve {
namespace {

constexpr double kSmallestNorm = 1e-22;  ///< below it T counts as diagonal
constexpr double kSmallestPivot = 1e-30;
constexpr double kRounding = 1e-16;  ///< of a number, relative to the norm of the matrix

/// Eigenvalues closer than this, in the unit of the matrix or relative to its norm, have vectors
/// that inverse iteration alone would not make orthogonal.
constexpr double kCluster = 0.05, kRelativeCluster = 1e-3;

/// Equal eigenvalues are told apart by this for the factors, relative to the norm: an exact one
/// would give the same vector again.
constexpr double kSeparation = 2e-15;

/// A vector of which less than this is left, once the vectors before it are taken out, has lost too
/// many digits and is iterated again.
constexpr double kLeast = 0.1;

/// Orders from this on are solved by divide and conquer.
constexpr int kSmallestDivided = kAtOnce + 1;

/// The same for levels alone, which QR iteration finds as fast on one thread.
constexpr int kSmallestDividedAlone = 256;

constexpr int kMostPasses = 5;
constexpr double kGrown = 1.0;  ///< growth from a length of 1e-5 that tells a vector has converged

/// T, the room for its factors, and what runs through all vectors.
struct Vectors {
    int n;
    const double *vDiagonal, *vOff, *vValues;
    double dNorm;
    LaneFactors factors;
    double* vX;        ///< n x kLanes
    double* mVectors;  ///< n x n
    bool fYields;
    double dSeed = 0.0;
    double dShift = 0.0;  ///< of the vector before
    int nCluster = 0;     ///< first vector of the cluster
};

constexpr double NextStart(double dSeed) {
    dSeed += 6.180339887485e-09;  // a golden section of the range
    return dSeed >= 1e-8 ? dSeed - 1e-8 : dSeed;
}

/// The sequence from its beginning, as far as small matrices take it: each number waits for the one
/// before, so that to make them took as long as the passes.
constexpr int kStartsKnown = kAtOnce * kAtOnce;
constexpr auto kStarts = [] {
    std::array<double, kStartsKnown> v = {};
    double dSeed = 0.0;
    for (double& x : v) x = dSeed = NextStart(dSeed);
    return v;
}();

/// Start vectors 0 < x_i < 1e-8 of the vectors k .. k + nLanes - 1, one sequence for all vectors;
/// the other lanes are those of the last one.
void FillStart(Vectors& v, int k, int nLanes) {
    const bool fKnown = v.n <= kAtOnce;
    for (int t = 0; t < nLanes; ++t) {
        for (int i = 0; i < v.n; ++i) {
            if (!fKnown) v.dSeed = NextStart(v.dSeed);
            Row(v.vX, kLanes, i)[t] = fKnown ? Row(kStarts.data(), v.n, k + t)[i] : v.dSeed;
        }
    }
    for (int i = 0; i < v.n; ++i) {
        double* x = Row(v.vX, kLanes, i);
        for (int t = nLanes; t < kLanes; ++t) x[t] = x[nLanes - 1];
    }
}

/// Eigenvalue k as a shift, apart from the one before by at least the separation.
void StepShift(Vectors& v, int k) {
    const double x = v.vValues[k], dApart = kSeparation * std::abs(x);
    v.dShift = k > 0 && x < v.dShift + dApart ? v.dShift + dApart : x;
}

/// The eigenvalues k .. k + nLanes - 1 as shifts.
void FillShifts(Vectors& v, int k, int nLanes, double* vShifts) {
    for (int t = 0; t < kLanes; ++t) {
        if (t < nLanes) StepShift(v, k + t);
        vShifts[t] = v.dShift;
    }
}

void TakeLane(const Vectors& v, int t, double* x) {
    for (int i = 0; i < v.n; ++i) x[i] = Row(v.vX, kLanes, i)[t];
}

/// Inverse iteration for the vectors k .. k + nLanes - 1: at least two passes, at most five.
void IterateLanes(Vectors& v, int k, int nLanes) {
    double shifts[kLanes], largest[kLanes];
    bool done[kLanes] = {};
    FillStart(v, k, nLanes);
    FillShifts(v, k, nLanes, shifts);
    const double dPivot = std::max(kRounding * v.dNorm, kSmallestPivot);
    FactorLanes(v.factors, v.vDiagonal, v.vOff, shifts, dPivot);
    int nLeft = nLanes;
    for (int nPass = 1; nLeft > 0; ++nPass) {
        if (nPass > 1) SolveForward(v.factors, v.vX);
        SolveBackward(v.factors, v.vX, largest);
        for (int t = 0; t < nLanes; ++t) {
            const bool fGood = nPass >= 2 && largest[t] > kGrown;
            if (done[t] || !(fGood || nPass == kMostPasses)) continue;
            TakeLane(v, t, Row(v.mVectors, v.n, k + t));
            done[t] = true;
            --nLeft;
        }
    }
}

/// x -= (v_j . x) v_j for the vectors j = nFirst .. nEnd - 1, one after the other.
void TakeOut(const Vectors& v, int nFirst, int nEnd, double* x) {
    for (int j = nFirst; j < nEnd; ++j) {
        const double* y = Row(v.mVectors, v.n, j);
        const double dDot = Dot(v.n, x, y);
        for (int i = 0; i < v.n; ++i) x[i] -= dDot * y[i];
    }
}

/// Scales x to unit length.
void Normalise(int n, double* x) {
    const double dFactor = 1.0 / std::sqrt(1e-40 + Dot(n, x, x));
    for (int i = 0; i < n; ++i) x[i] *= dFactor;
}

/// Two more passes of lane t from x, which may be nothing but rounding.
void IterateAgain(const Vectors& v, int t, double* x) {
    double largest[kLanes];
    for (int i = 0; i < v.n; ++i) std::fill_n(Row(v.vX, kLanes, i), kLanes, x[i]);
    for (int nPass = 0; nPass < 2; ++nPass) {
        SolveForward(v.factors, v.vX);
        SolveBackward(v.factors, v.vX, largest);
    }
    TakeLane(v, t, x);
}

double ClusterWindow(double dNorm) {
    return std::max(kCluster, kRelativeCluster * dNorm);
}

/// Makes vector k, lane t, orthogonal to those of its cluster and of unit length. Where little is
/// left of it, rounding has been raised: the rest is a start vector for another pass.
void Orthogonalise(Vectors& v, int k, int t) {
    double* x = Row(v.mVectors, v.n, k);
    const double dWindow = ClusterWindow(v.dNorm);
    int j = v.nCluster;
    while (j < k && !(std::abs(v.vValues[j] - v.vValues[k]) < dWindow)) ++j;
    v.nCluster = j;
    Normalise(v.n, x);
    for (int nPass = 0; j < k; ++nPass) {
        TakeOut(v, j, k, x);
        const double dLeft = std::sqrt(Dot(v.n, x, x));
        if (dLeft == 0.0) x[(k + nPass) % v.n] = 1.0;  // any start will do
        Normalise(v.n, x);
        if (!(dLeft < 0.5)) break;
        TakeOut(v, j, k, x);  // twice is enough
        Normalise(v.n, x);
        if (!(dLeft < kLeast) || nPass == kMostPasses) break;
        IterateAgain(v, t, x);
        Normalise(v.n, x);
    }
    Normalise(v.n, x);
}

/// Takes what runs through all vectors past the first nFirst of them.
void SkipVectors(Vectors& v, int nFirst) {
    for (int k = 0; k < nFirst; ++k) StepShift(v, k);
    for (int i = 0; v.n > kAtOnce && i < nFirst * v.n; ++i) v.dSeed = NextStart(v.dSeed);
    v.nCluster = nFirst;
}

/// Eigenvectors nFirst .. nEnd - 1 of T, in order; before them those of the same cluster, which
/// they are to be orthogonal to.
void FindVectors(Vectors& v, int nFirst, int nEnd) {
    const double dWindow = ClusterWindow(v.dNorm);
    if (nFirst >= nEnd) return;
    while (nFirst > 0 && std::abs(v.vValues[nFirst - 1] - v.vValues[nFirst]) < dWindow) --nFirst;
    SkipVectors(v, nFirst);
    for (int k = nFirst; k < nEnd; k += kLanes) {
        const int nLanes = std::min(kLanes, nEnd - k);
        IterateLanes(v, k, nLanes);
        for (int t = 0; t < nLanes; ++t) {
            Orthogonalise(v, k + t, t);
            if (v.fYields) Yield(static_cast<std::size_t>(v.n));
        }
    }
}

/// Where a solution works, and whether it may yield meanwhile.
struct Place {
    EigenScratch scratch;
    bool fYields;
    void Breathe(int n, int m) const {
        if (fYields) Yield(static_cast<std::size_t>(n) * static_cast<std::size_t>(m));
    }
};

/// T and what solving it works on.
struct Problem {
    int n, nFirst, nEnd;  ///< order, and the vectors that are wanted
    const Place& place;
    double* mMatrix;  ///< n x n, free once it is loaded into the reduction
    double* mVectors;
    double* vValues;
    double *vDiagonal, *vOff;  ///< T
    double* vRest;             ///< work space
};

bool IsLarge(int n) {
    return n >= kSmallestDivided;
}

/// How the reflectors of a reduction are made.
enum class Way { kInPanels, kAtOnce };

/// Rows of the panel of a reduction.
int PanelRows(Way way) {
    return way == Way::kInPanels ? kPanelRows : 0;
}

/// Doubles of work space: the reduction, T and h, and then in turn what solves T and what
/// transforms back.
std::size_t WorkSize(int n, Way way) {
    const auto nOrder = static_cast<std::size_t>(n);
    const std::size_t nSolve =
        IsLarge(n) ? nOrder * nOrder + 3 * nOrder + static_cast<std::size_t>(DivideWork(n))
                   : (1 + 5 * kLanes) * nOrder;
    const std::size_t nTransform =
        way == Way::kInPanels ? static_cast<std::size_t>(TransformWork(n, n)) : 0;
    return static_cast<std::size_t>(ReductionSize(n, PanelRows(way))) + 3 * nOrder +
           std::max(nSolve, nTransform);
}

/// QR iteration and inverse iteration.
void SolveByIteration(Problem& problem, Way way, double dNorm) {
    const int n = problem.n;
    double *vOffCopy = problem.vRest, *vLanes = vOffCopy + n;
    std::copy_n(problem.vDiagonal, n, problem.vValues);
    std::copy_n(problem.vOff, n, vOffCopy);
    const bool fPaired = way == Way::kAtOnce && n >= kFewestPaired;
    if (fPaired && dNorm > kSmallestPaired && dNorm < kLargestPaired)
        PairedEigenvalues(n, kRounding * dNorm, problem.vValues, vOffCopy);
    else if (dNorm >= kSmallestNorm)
        TridiagonalEigenvalues(n, kRounding * dNorm, problem.vValues, vOffCopy);
    WidenRange(n, problem.vValues, problem.nFirst, problem.nEnd);
    const std::ptrdiff_t nLanes = static_cast<std::ptrdiff_t>(n) * kLanes;
    const LaneFactors factors{n, vLanes, vLanes + nLanes, vLanes + 2 * nLanes, vLanes + 3 * nLanes};
    Vectors vectors{n,       problem.vDiagonal,   problem.vOff,     problem.vValues,      dNorm,
                    factors, vLanes + 4 * nLanes, problem.mVectors, problem.place.fYields};
    FindVectors(vectors, problem.nFirst, problem.nEnd);
}

/// Gives the vectors nFirst .. nEnd - 1 the signs that their products with parts of a fixed
/// sequence of positive numbers have. vSequence is scratch of n + nEnd.
void FixSigns(int n, int nFirst, int nEnd, double* mVectors, double* vSequence) {
    constexpr double kGolden = 0.6180339887498949;
    for (int i = 0; i < n + nEnd; ++i)
        vSequence[i] = kGolden * (i + 1) - std::floor(kGolden * (i + 1));
    for (int k = nFirst; k < nEnd; ++k) {
        double* x = Row(mVectors, n, k);
        if (Dot(n, vSequence + k, x) < 0.0)
            for (int i = 0; i < n; ++i) x[i] = -x[i];
    }
}

/// Divide and conquer, on T over a power of two that brings its norm near 1.
void SolveByDivision(Problem& problem, double dNorm) {
    const int n = problem.n;
    const std::ptrdiff_t nSquare = static_cast<std::ptrdiff_t>(n) * n;
    const double dScale = std::ldexp(1.0, -std::ilogb(dNorm));
    double *vOff = problem.vRest, *mWork = vOff + n, *vWork = mWork + nSquare;
    double* vEnds = vWork + DivideWork(n);
    for (int i = 0; i < n; ++i) {
        problem.vValues[i] = dScale * problem.vDiagonal[i];
        vOff[i] = dScale * problem.vOff[i];
    }
    const Divide divide{n,
                        problem.nFirst,
                        problem.nEnd,
                        problem.vValues,
                        vOff,
                        problem.mVectors ? Kept::kVectors : Kept::kEnds,
                        problem.mVectors ? problem.mVectors : vEnds,
                        mWork,
                        problem.mMatrix,
                        vWork,
                        problem.place.scratch.vIndex};
    SolveLeaves(divide);
    for (int nLevel = LevelsOfParts(n) - 1; nLevel >= 0; --nLevel) {
        problem.place.Breathe(n, kPanel);
        MergeParts(divide, nLevel);
    }
    WidenRange(n, problem.vValues, problem.nFirst, problem.nEnd);
    for (int i = 0; i < n; ++i) problem.vValues[i] /= dScale;
    if (problem.mVectors) FixSigns(n, problem.nFirst, problem.nEnd, problem.mVectors, divide.vWork);
}

/// T of the matrix; leaves the reflectors.
void Reduce(const Reduction& reduction, Way way, const double* mMatrix, const Place& place) {
    const int n = reduction.n;
    if (n == 2) {
        reduction.vDiagonal[0] = mMatrix[0];
        reduction.vDiagonal[1] = mMatrix[3];
        reduction.vOff[0] = mMatrix[2];
        reduction.vOff[1] = 0.0;
        return;
    }
    if (way == Way::kAtOnce) {
        ReduceAtOnce(reduction, mMatrix);
        place.Breathe(n, kPanel);
        return;
    }
    LoadMatrix(reduction, mMatrix);
    for (int c = 0; c < n - 2;) {
        c = ReducePanel(reduction, c);
        place.Breathe(n, kPanel);
    }
    FinishReduction(reduction);
}

/// Vectors of T to vectors of the matrix.
void TransformVectors(const Reduction& reduction, Way way, int nVectors, double* mVectors,
                      double* vWork, const Place& place) {
    const int n = reduction.n, nBlock = BlockOf(n);
    if (n == 2 || nVectors <= 0) return;
    if (way == Way::kAtOnce) {
        TransformAtOnce(reduction, nVectors, mVectors);
        place.Breathe(n, nVectors);
        return;
    }
    for (int c = (n - 3) / nBlock * nBlock; c >= 0; c -= nBlock) {
        TransformBack(reduction, c, std::min(c + nBlock, n - 2), nVectors, mVectors, vWork);
        place.Breathe(n, nBlock);
    }
}

/// Without mVectors the values alone.
void Solve(int n, int nFirst, int nEnd, Way way, double* mMatrix, double* mVectors, double* vValues,
           const Place& place) {
    if (n <= 1) {
        if (n == 1) {
            vValues[0] = mMatrix[0];
            if (mVectors) mVectors[0] = 1.0;
        }
        return;
    }
    // What is padded begins where the memory does, at the border of a line of the cache.
    double* mReduced = place.scratch.vWork;
    double* mPanel = Row(mReduced, ReductionStep(n), Padded(n));
    double* vDiagonal = Row(mPanel, ReductionStep(n), PanelRows(way));
    double *vOff = vDiagonal + n, *vScale = vOff + n, *vRest = vScale + n;
    const Reduction reduction{n, mReduced, mPanel, vDiagonal, vOff, vScale};
    Reduce(reduction, way, mMatrix, place);

    Problem problem{n, nFirst, nEnd, place, mMatrix, mVectors, vValues, vDiagonal, vOff, vRest};
    const double dNorm = TridiagonalNorm(n, vDiagonal, vOff);
    const bool fDivide = n >= (mVectors ? kSmallestDivided : kSmallestDividedAlone);
    if (fDivide && dNorm >= kSmallestNorm && std::isfinite(dNorm))
        SolveByDivision(problem, dNorm);
    else
        SolveByIteration(problem, way, dNorm);
    if (mVectors)
        TransformVectors(reduction, way, problem.nEnd - problem.nFirst,
                         Row(mVectors, n, problem.nFirst), vRest, place);
}

/// The scratch that the calculation has, taken anew where it is too short.
Place OwnPlace(int n, Way way) {
    const std::size_t nWork = n > 1 ? WorkSize(n, way) : 0, nIndices = EigenIndices(n);
    if (algebra.vEigenWork.Size() < nWork) algebra.vEigenWork.TakeUnset(nWork, kWork);
    if (algebra.vEigenIndex.Size() < nIndices) algebra.vEigenIndex.Take(nIndices, kWork);
    return {{algebra.vEigenWork.Data(), algebra.vEigenIndex.Data()}, true};
}

Way QuickWay(int n) {
    return IsLarge(n) ? Way::kInPanels : Way::kAtOnce;
}

}  // namespace

void Diagonalise(int n, double* mMatrix, double* mVectors, double* vValues) {
    DiagonaliseRange(n, 0, n, mMatrix, mVectors, vValues);
}

void DiagonaliseRange(int n, int nFirst, int nEnd, double* mMatrix, double* mVectors,
                      double* vValues) {
    const Way way = Way::kInPanels;
    Solve(n, nFirst, nEnd, way, mMatrix, mVectors, vValues, OwnPlace(n, way));
}

void DiagonaliseQuickly(int n, int nFirst, int nEnd, double* mMatrix, double* mVectors,
                        double* vValues) {
    const Way way = QuickWay(n);
    Solve(n, nFirst, nEnd, way, mMatrix, mVectors, vValues, OwnPlace(n, way));
}

void Eigenvalues(int n, double* mMatrix, double* vValues) {
    const Way way = QuickWay(n);
    Solve(n, 0, 0, way, mMatrix, nullptr, vValues, OwnPlace(n, way));
}

std::size_t EigenWork(int n) {
    return n > 1 ? WorkSize(n, QuickWay(n)) : 0;
}

std::size_t EigenIndices(int n) {
    return IsLarge(n) ? static_cast<std::size_t>(DivideIndices(n)) : 0;
}

void DiagonaliseInTask(int n, double* mMatrix, double* mVectors, double* vValues,
                       const EigenScratch& scratch) {
    Solve(n, 0, n, QuickWay(n), mMatrix, mVectors, vValues, {scratch, false});
}

void SortVectors(int n, double* mVectors, double* vEnergy, int nStep) {
    for (int i = 0; i < n; ++i) {
        for (int j = i + 1; j < n; ++j) {
            if (!(vEnergy[j] < vEnergy[i])) continue;
            std::swap(vEnergy[i], vEnergy[j]);
            double* x = Row(mVectors, nStep, i);
            std::swap_ranges(x, x + nStep, Row(mVectors, nStep, j));
        }
    }
}

}  // namespace qsolve
