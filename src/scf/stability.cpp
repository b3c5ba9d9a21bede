#include "scf/stability.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "algebra/diagonalise.h"
#include "link/memory.h"
#include "numeric/row.h"
#include "numeric/trace.h"
#include "scf/rotations.h"

namespace qsolve {
namespace {

constexpr int kMostVectors = 24;     ///< of the subspace; then it starts anew from its lowest
constexpr int kStartVectors = 3;     ///< lowest differences of levels to begin with
constexpr double kMixedIn = 0.2;     ///< of all rotations in each start, against symmetry
constexpr double kDependent = 1e-6;  ///< part of a vector that is new, at least

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

/// Makes a vector orthogonal to those of the space and of unit length. False where little is left.
bool MakeNew(Space& space, double* v) {
    const int n = space.nSize;
    const double dBefore = std::sqrt(Dot(n, v, v));
    if (!(dBefore > 0.0)) return false;
    for (int nPass = 0; nPass < 2; ++nPass)
        for (int k = 0; k < space.nVectors; ++k) {
            const double* b = RowOf(space.mVectors, space, k);
            const double d = Dot(n, b, v);
            for (int i = 0; i < n; ++i) v[i] -= d * b[i];
        }
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
        if (space.vBend[i] <= vSorted[nNumber]) v[i] += 1.0 + 0.1 * Scattered(i, nNumber + 7);
}

/// Takes the last vector and its product into the Hessian within the space, and counts it.
void CountVector(Space& space) {
    const int i = space.nVectors++;
    for (int j = 0; j <= i; ++j)
        space.mInside[i][j] =
            0.5 *
            (Dot(space.nSize, RowOf(space.mVectors, space, i), RowOf(space.mProducts, space, j)) +
             Dot(space.nSize, RowOf(space.mVectors, space, j), RowOf(space.mProducts, space, i)));
}

/// The lowest eigenvector of the Hessian within the space: its coefficients and eigenvalue.
double LowestInSpace(const Space& space, double* vCoefficients) {
    double mSmall[kMostVectors * kMostVectors + kMostVectors];
    double mTurn[kMostVectors * kMostVectors + kMostVectors], vValues[kMostVectors];
    const int m = space.nVectors;
    for (int i = 0; i < m; ++i) std::copy_n(space.mInside[i], i + 1, Row(mSmall, m, i));
    DiagonaliseRange(m, 0, 1, mSmall, mTurn, vValues);
    std::copy_n(mTurn, m, vCoefficients);
    return vValues[0];
}

void Combine(Space& space, Array<double>& m, const double* vCoefficients, double* v) {
    std::fill_n(v, space.nSize, 0.0);
    for (int k = 0; k < space.nVectors; ++k) {
        const double* p = RowOf(m, space, k);
        for (int i = 0; i < space.nSize; ++i) v[i] += vCoefficients[k] * p[i];
    }
}

}  // namespace

Curvature LowestCurvature(Electrons& electrons, Turn turn, int nMost, double* vDirection) {
    const std::size_t nSize = CountRotations(electrons);
    if (nSize == 0) return {.fKnown = true};
    const double dError = kCurvatureError / electrons.dEv;
    Space space{.nSize = static_cast<int>(nSize)};
    for (Array<double>* m : {&space.mVectors, &space.mProducts})
        m->Take(kMostVectors, nSize, kWork);
    space.vBend.Take(nSize, kWork);
    Array<double> vNext, vResidual;
    vNext.Take(nSize, kWork);
    vResidual.Take(nSize, kWork);
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
    for (int k = 0; k < std::min(kStartVectors, space.nSize); ++k) {
        StartVector(space, k, vNext.Data());
        if (MakeNew(space, vNext.Data())) Add();
    }
    double vCoefficients[kMostVectors];
    while (true) {
        const double dLowest = LowestInSpace(space, vCoefficients);
        Combine(space, space.mVectors, vCoefficients, vDirection);
        Combine(space, space.mProducts, vCoefficients, vResidual.Data());
        for (int i = 0; i < space.nSize; ++i) vResidual[i] -= dLowest * vDirection[i];
        const double dResidual = std::sqrt(Dot(space.nSize, vResidual.Data(), vResidual.Data()));
        found.dLowest = dLowest * electrons.dEv;
        // The error of an eigenvalue is at most the residual, and mostly its square by a gap.
        found.fKnown = dResidual * dResidual <
                       std::max(dError, kCurvaturePart * std::abs(dLowest)) * 0.1 / electrons.dEv;
        if (found.fKnown || found.nProducts >= nMost) return found;
        for (int i = 0; i < space.nSize; ++i) {
            const double d = space.vBend[i] - dLowest;
            const double dSmallest = kSmallestBend / electrons.dEv;
            vNext[i] = vResidual[i] / (std::abs(d) < dSmallest ? std::copysign(dSmallest, d) : d);
        }
        if (space.nVectors == kMostVectors) {
            std::copy_n(vDirection, space.nSize, RowOf(space.mVectors, space, 0));
            for (int i = 0; i < space.nSize; ++i)
                RowOf(space.mProducts, space, 0)[i] = vResidual[i] + dLowest * vDirection[i];
            space.nVectors = 0;
            CountVector(space);
        }
        if (!MakeNew(space, vNext.Data())) {
            found.fKnown = true;  // nothing is left to be added
            return found;
        }
        Add();
    }
}

}  // namespace qsolve
