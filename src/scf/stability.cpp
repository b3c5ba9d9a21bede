#include "scf/stability.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "algebra/diagonalise.h"
#include "link/memory.h"
#include "numeric/kernels.h"
#include "numeric/row.h"
#include "numeric/trace.h"
#include "scf/rotations.h"

namespace qsolve {
namespace {

constexpr int kMostVectors = 24;      ///< of the subspace; then it starts anew from its lowest
constexpr int kWhole = 16;            ///< rotations, up to which the space is all of them
constexpr int kStartVectors = 4;      ///< lowest differences of levels to begin with
constexpr double kMixedIn = 0.5;      ///< of all rotations in each start, against symmetry
constexpr double kSpread = 0.5;       ///< of the rotations between equal differences
constexpr double kSecondPart = 0.05;  ///< residual of the second lowest, as a part of it ...
constexpr double kSecondFloor = 1.0;  ///< ... or of this, eV
constexpr double kDependent = 1e-6;   ///< part of a vector that is new, at least

struct Space {
    int nSize;  ///< rotations
    int nVectors = 0;
    Array<double> mVectors = {};   ///< kMostVectors x nSize, orthonormal
    Array<double> mProducts = {};  ///< the Hessian times each
    Array<double> vBend = {};      ///< diagonal of the Hessian but for the electrons' answer
    /// The Hessian within the space; entry j of row i for j <= i.
    double mInside[kMostVectors][kMostVectors] = {};
};

double* RowOf(Array<double>& m, const Space& space, int i) {
    return Row(m.Data(), space.nSize, i);
}

/// v -= the parts of v along all vectors of the space.
void TakeOut(Space& space, double* v) {
    double vParts[kMostVectors];
    const double* b = space.mVectors.Data();
    kernels->DotRows(space.nSize, space.nVectors, b, space.nSize, v, vParts);
    for (int k = 0; k < space.nVectors; ++k) vParts[k] = -vParts[k];
    kernels->AddRows(space.nSize, space.nVectors, b, space.nSize, vParts, v);
}

/// Makes a vector orthogonal to those of the space and of unit length. False where little is left.
bool MakeNew(Space& space, double* v) {
    const int n = space.nSize;
    const double dBefore = std::sqrt(Dot(n, v, v));
    if (!(dBefore > 0.0)) return false;
    for (int nPass = 0; nPass < 2; ++nPass) TakeOut(space, v);
    const double dLength = std::sqrt(Dot(n, v, v));
    if (!(dLength > kDependent * dBefore)) return false;
    for (int i = 0; i < n; ++i) v[i] /= dLength;
    return true;
}

/// A fixed number between -1 and 1 for each place, without a pattern that a symmetry shares.
double Scattered(int i, int nSeed) {
    unsigned u = static_cast<unsigned>(i) * 2654435761U + static_cast<unsigned>(nSeed) * 40503U;
    u ^= u >> 15;
    u *= 2246822519U;
    u ^= u >> 13;
    return static_cast<double>(u) / 2147483648.0 - 1.0;
}

/// The start vector of a number: the rotation between the levels nearest to one another, with a
/// little of all others.
void StartVector(const Space& space, int nNumber, double* v) {
    Array<double> vSorted;
    vSorted.Take(static_cast<std::size_t>(space.nSize), kWork);
    std::copy(space.vBend.begin(), space.vBend.end(), vSorted.begin());
    std::nth_element(vSorted.begin(), vSorted.begin() + nNumber, vSorted.end());
    const double dScale = kMixedIn / std::sqrt(static_cast<double>(space.nSize));
    for (int i = 0; i < space.nSize; ++i) v[i] = dScale * Scattered(i, nNumber);
    for (int i = 0; i < space.nSize; ++i)
        if (space.vBend[i] <= vSorted[nNumber]) v[i] += 1.0 + kSpread * Scattered(i, nNumber + 7);
}

/// Takes the last vector and its product into the Hessian within the space, and counts it.
void CountVector(Space& space) {
    const int i = space.nVectors++, n = space.nSize;
    double vOfVector[kMostVectors], vOfProduct[kMostVectors];
    kernels->DotRows(n, i + 1, space.mProducts.Data(), n, RowOf(space.mVectors, space, i),
                     vOfVector);
    kernels->DotRows(n, i + 1, space.mVectors.Data(), n, RowOf(space.mProducts, space, i),
                     vOfProduct);
    for (int j = 0; j <= i; ++j) space.mInside[i][j] = 0.5 * (vOfVector[j] + vOfProduct[j]);
}

void Combine(const Space& space, const Array<double>& m, const double* vCoefficients, double* v) {
    std::fill_n(v, space.nSize, 0.0);
    kernels->AddRows(space.nSize, space.nVectors, m.Data(), space.nSize, vCoefficients, v);
}

/// The two lowest eigenvalues of the Hessian within the space, or the one that there is.
struct Inside {
    double mTurn[kMostVectors * kMostVectors];
    double vValues[kMostVectors];
};

void SolveInside(const Space& space, Inside& inside) {
    double mSmall[kMostVectors * kMostVectors];
    const int m = space.nVectors;
    for (int i = 0; i < m; ++i) std::copy_n(space.mInside[i], i + 1, Row(mSmall, m, i));
    DiagonaliseQuickly(m, 0, std::min(m, 2), mSmall, inside.mTurn, inside.vValues);
}

/// An eigenvalue of the Hessian within the space, and the length of what the Hessian itself leaves.
struct Root {
    double dValue, dResidual;
};

/// Number nRoot, 0 or 1, from the lowest: its vector and residual.
Root FindRoot(const Space& space, const Inside& inside, int nRoot, double* vVector,
              double* vResidual) {
    const double* c = Row(inside.mTurn, space.nVectors, nRoot);
    const double dValue = inside.vValues[nRoot];
    Combine(space, space.mVectors, c, vVector);
    Combine(space, space.mProducts, c, vResidual);
    for (int i = 0; i < space.nSize; ++i) vResidual[i] -= dValue * vVector[i];
    return {dValue, std::sqrt(Dot(space.nSize, vResidual, vResidual))};
}

/// The lowest vector alone, and its product, in place of all.
void StartAnew(Space& space, double* vVector, double* vResidual) {
    Inside inside;
    SolveInside(space, inside);
    const Root lowest = FindRoot(space, inside, 0, vVector, vResidual);
    std::copy_n(vVector, space.nSize, RowOf(space.mVectors, space, 0));
    for (int i = 0; i < space.nSize; ++i)
        RowOf(space.mProducts, space, 0)[i] = vResidual[i] + lowest.dValue * vVector[i];
    space.nVectors = 0;
    CountVector(space);
}

/// The residual over the difference of the diagonal and the eigenvalue.
void Precondition(const Space& space, double dValue, double dSmallest, double* vResidual) {
    for (int i = 0; i < space.nSize; ++i) {
        const double d = space.vBend[i] - dValue;
        vResidual[i] /= std::abs(d) < dSmallest ? std::copysign(dSmallest, d) : d;
    }
}

/// The error of an eigenvalue is at most the residual, and mostly its square by a gap.
bool IsKnown(const Root& lowest, double dEv) {
    return lowest.dResidual * lowest.dResidual * dEv * dEv <
           0.1 * std::max(kCurvatureError, kCurvaturePart * std::abs(lowest.dValue) * dEv);
}

/// A lower one that the starts have missed, of another symmetry perhaps, is part of whatever is not
/// yet known: of the second lowest it shows as a residual that does not vanish.
bool IsRoughlyKnown(const Root& second, double dEv) {
    return second.dResidual * dEv <
           kSecondPart * std::max(kSecondFloor, std::abs(second.dValue) * dEv);
}

}  // namespace

Curvature LowestCurvature(Electrons& electrons, Turn turn, int nMost, double* vDirection) {
    const std::size_t nSize = CountRotations(electrons);
    if (nSize == 0) return {.fKnown = true};
    Space space{.nSize = static_cast<int>(nSize)};
    for (Array<double>* m : {&space.mVectors, &space.mProducts})
        m->Take(kMostVectors, nSize, kWork);
    space.vBend.Take(nSize, kWork);
    Array<double> vNext, vSecond;
    vNext.Take(nSize, kWork);
    vSecond.Take(nSize, kWork);
    FillBend(electrons, space.vBend.Data());

    Curvature found;
    const auto Add = [&]() {
        double* v = RowOf(space.mVectors, space, space.nVectors);
        std::copy(vNext.begin(), vNext.end(), v);
        MultiplyByHessian(electrons, turn, space.vBend.Data(), v,
                          RowOf(space.mProducts, space, space.nVectors));
        CountVector(space);
        ++found.nProducts;
    };
    const bool fWhole = space.nSize <= kWhole;
    for (int k = 0; k < (fWhole ? space.nSize : kStartVectors); ++k) {
        if (fWhole) {
            std::fill(vNext.begin(), vNext.end(), 0.0);
            vNext[k] = 1.0;
        } else {
            StartVector(space, k, vNext.Data());
        }
        if (MakeNew(space, vNext.Data())) Add();
    }
    Inside inside;
    while (space.nVectors > 0) {
        SolveInside(space, inside);
        Root root = FindRoot(space, inside, 0, vDirection, vNext.Data());
        found.dLowest = root.dValue * electrons.dEv;
        found.fKnown = space.nVectors == space.nSize || IsKnown(root, electrons.dEv);
        if (found.nProducts >= nMost || space.nVectors == space.nSize) return found;
        if (found.fKnown && space.nVectors > 1) {
            root = FindRoot(space, inside, 1, vSecond.Data(), vNext.Data());
            if (IsRoughlyKnown(root, electrons.dEv)) return found;
        }
        Precondition(space, root.dValue, kSmallestBend / electrons.dEv, vNext.Data());
        if (space.nVectors == kMostVectors) {
            Array<double> vWork;
            vWork.Take(nSize, kWork);
            StartAnew(space, vDirection, vWork.Data());
        }
        if (!MakeNew(space, vNext.Data())) {
            found.fKnown = true;  // nothing is left to be added
            return found;
        }
        Add();
    }
    return found;  // of numbers that are none
}

}  // namespace qsolve
