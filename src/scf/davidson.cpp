#include "scf/davidson.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "algebra/diagonalise.h"
#include "numeric/kernels.h"
#include "numeric/row.h"
#include "numeric/trace.h"

namespace qsolve {
namespace {

constexpr double kDependent = 1e-6;  ///< part of a vector that is new, at least
constexpr int kMostSteps = 12;       ///< of a root, each of which doubles its digits
constexpr double kSameRoot = 1e-13;  ///< change of a root that ends them, as a part of its terms
constexpr double kNearRoot = 1e-8;   ///< ... or this one, much smaller than that before
constexpr double kMuchSmaller = 0.1;

/// v -= the parts of v along all vectors of the space.
void TakeOut(Space& space, double* v) {
    double vParts[kMostVectors];
    const double* b = space.mVectors.Data();
    kernels->DotRows(space.nSize, space.nVectors, b, space.nSize, v, vParts);
    for (int k = 0; k < space.nVectors; ++k) vParts[k] = -vParts[k];
    kernels->AddRows(space.nSize, space.nVectors, b, space.nSize, vParts, v);
}

void Combine(const Space& space, const Array<double>& m, const double* vCoefficients, double* v) {
    std::fill_n(v, space.nSize, 0.0);
    kernels->AddRows(space.nSize, space.nVectors, m.Data(), space.nSize, vCoefficients, v);
}

/// Solves (M - value) x = b for the first m vectors of the space, by elimination without exchanges.
/// False where the value is not below all eigenvalues of M.
bool SolveBelow(const Space& space, int m, double dValue, const double* b, double* x) {
    double mLower[kMostVectors][kMostVectors];   // over the pivots
    double mPivots[kMostVectors][kMostVectors];  // and times them
    double vInverse[kMostVectors];
    for (int i = 0; i < m; ++i) {
        double dPivot = space.mInside[i][i] - dValue;
        x[i] = b[i];
        for (int j = 0; j < i; ++j) {
            double d = space.mInside[i][j];
            for (int k = 0; k < j; ++k) d -= mPivots[i][k] * mLower[j][k];
            mPivots[i][j] = d;
            mLower[i][j] = d * vInverse[j];
            dPivot -= mLower[i][j] * d;
            x[i] -= mLower[i][j] * x[j];
        }
        if (!(dPivot > 0.0)) return false;
        vInverse[i] = 1.0 / dPivot;
    }
    for (int i = m - 1; i >= 0; --i) {
        x[i] *= vInverse[i];
        for (int j = i + 1; j < m; ++j) x[i] -= mLower[j][i] * x[j];
    }
    return true;
}

/// The lower eigenvalue of a 2 x 2 matrix of these values and this coupling.
double LowerOfTwo(double dValue, double dNew, double dCoupling) {
    const double dHalf = 0.5 * (dNew - dValue);
    const double dRoot = std::sqrt(dHalf * dHalf + dCoupling * dCoupling);
    if (!(dHalf > 0.0)) return dValue + dHalf - dRoot;
    return dValue - dCoupling * dCoupling / (dHalf + dRoot);
}

/// v := what of it is at right angles to the unit vector u, of unit length. False for too little.
bool MakeUpright(int m, const double* u, double* v) {
    for (int nPass = 0; nPass < 2; ++nPass) {
        const double dAlong = Dot(m, u, v);
        for (int i = 0; i < m; ++i) v[i] -= dAlong * u[i];
        const double dLength = std::sqrt(Dot(m, v, v));
        if (!(dLength > kDependent)) return false;
        for (int i = 0; i < m; ++i) v[i] /= dLength;
    }
    return true;
}

}  // namespace

Space::Space(int n, int nMost) : nSize(n) {
    for (Array<double>* m : {&mVectors, &mProducts})
        m->TakeUnset(static_cast<std::size_t>(nMost), static_cast<std::size_t>(n), kWork);
    vDiagonal.TakeUnset(static_cast<std::size_t>(n), kWork);
}

double* Space::Vector(int i) {
    return Row(mVectors.Data(), nSize, i);
}

double* Space::Product(int i) {
    return Row(mProducts.Data(), nSize, i);
}

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

void CountVector(Space& space) {
    const int i = space.nVectors++, n = space.nSize;
    double vOfVector[kMostVectors], vOfProduct[kMostVectors];
    kernels->DotRows(n, i + 1, space.mProducts.Data(), n, space.Vector(i), vOfVector);
    kernels->DotRows(n, i + 1, space.mVectors.Data(), n, space.Product(i), vOfProduct);
    for (int j = 0; j <= i; ++j) space.mInside[i][j] = 0.5 * (vOfVector[j] + vOfProduct[j]);
}

void SolveInside(const Space& space, Inside& inside) {
    double mSmall[kMostVectors * kMostVectors];
    const int m = space.nVectors;
    for (int i = 0; i < m; ++i) std::copy_n(space.mInside[i], i + 1, Row(mSmall, m, i));
    DiagonaliseQuickly(m, 0, std::min(m, 2), mSmall, inside.mTurn, inside.vValues);
}

void FollowLowest(const Space& space, Inside& inside) {
    const int m = space.nVectors, nOld = m - 1;
    const double* b = space.mInside[nOld];
    if (m == 1) {
        inside.mTurn[0] = 1.0;
        inside.vValues[0] = b[0];
        return;
    }
    double vOld[kMostVectors], x[kMostVectors];
    std::copy_n(inside.mTurn, nOld, vOld);
    vOld[nOld] = 0.0;
    double dValue = LowerOfTwo(inside.vValues[0], b[nOld], Dot(nOld, vOld, b));
    double dLength = 1.0, dBefore = 0.0;
    for (int nStep = 0;; ++nStep) {  // many where what lowers it is hardly coupled to it
        if (nStep == kMostSteps || !SolveBelow(space, nOld, dValue, b, x))
            return SolveInside(space, inside);
        dLength = 1.0 + Dot(nOld, x, x);
        const double dStep = (b[nOld] - dValue - Dot(nOld, b, x)) / dLength;
        dValue += dStep;
        const double dTerms = std::abs(dValue) + std::abs(b[nOld]), dSize = std::abs(dStep);
        if (!(dSize > kSameRoot * dTerms)) break;
        if (dSize < kNearRoot * dTerms && dSize < kMuchSmaller * dBefore) break;
        dBefore = dSize;
    }
    double* c = inside.mTurn;
    for (int i = 0; i < nOld; ++i) c[i] = -x[i] / std::sqrt(dLength);
    c[nOld] = 1.0 / std::sqrt(dLength);
    inside.vValues[0] = dValue;
    inside.vValues[1] = HUGE_VAL;  // row 1 is no eigenvector
    if (!MakeUpright(m, c, vOld)) return SolveInside(space, inside);
    std::copy_n(vOld, m, Row(inside.mTurn, m, 1));
}

RitzValue FindRoot(const Space& space, const Inside& inside, int nRoot, double* vVector,
                   double* vResidual) {
    const double* c = Row(inside.mTurn, space.nVectors, nRoot);
    const double dValue = inside.vValues[nRoot];
    Combine(space, space.mVectors, c, vVector);
    Combine(space, space.mProducts, c, vResidual);
    for (int i = 0; i < space.nSize; ++i) vResidual[i] -= dValue * vVector[i];
    return {dValue, std::sqrt(Dot(space.nSize, vResidual, vResidual))};
}

void StartAnew(Space& space, Inside& inside, double* vWork) {
    const int nKept = std::min(space.nVectors, 2), n = space.nSize;
    for (Array<double>* m : {&space.mVectors, &space.mProducts}) {
        for (int k = 0; k < nKept; ++k)
            Combine(space, *m, Row(inside.mTurn, space.nVectors, k), Row(vWork, n, k));
        std::copy_n(vWork, nKept * n, m->Data());
    }
    space.nVectors = 0;
    for (int k = 0; k < nKept; ++k) CountVector(space);
    for (int k = 0; k < nKept; ++k) {
        std::fill_n(Row(inside.mTurn, nKept, k), nKept, 0.0);
        Row(inside.mTurn, nKept, k)[k] = 1.0;
        inside.vValues[k] = space.mInside[k][k];
    }
}

void Precondition(const Space& space, double dValue, double dSmallest, double* vResidual) {
    for (int i = 0; i < space.nSize; ++i) {
        const double d = space.vDiagonal[i] - dValue;
        vResidual[i] /= std::abs(d) < dSmallest ? std::copysign(dSmallest, d) : d;
    }
}

}  // namespace qsolve
