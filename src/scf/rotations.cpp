#include "scf/rotations.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "algebra/diagonalise.h"
#include "link/link.h"
#include "link/memory.h"
#include "numeric/product.h"
#include "numeric/row.h"
#include "numeric/trace.h"

namespace qsolve {
namespace {

constexpr int kStrip = 96;  ///< rows between two yields

/// Calls a function with p, q and the weight f_p - f_q of each rotation in their order.
template <class Function>
void ForRotations(const Shells& shells, Function function) {
    for (int p = 0; p < shells.Occupied(); ++p)
        for (int q = shells.EndOfShell(p); q < shells.n; ++q)
            function(p, q, shells.Filling(p) - shells.Filling(q));
}

/// nRows orbitals from the first on times a matrix, and that times the orbitals from nFrom on: C_p
/// M C_q, a row of mResult for each p with n - nFrom elements.
void TransformRows(const Shells& shells, int nRows, int nFrom, const double* mVectors,
                   const double* mMatrix, double* mWork, double* mResult) {
    const int n = shells.n, nColumns = n - nFrom;
    for (int i = 0; i < nRows; i += kStrip) {
        const int nStrip = std::min(kStrip, nRows - i);
        Multiply(nStrip, n, n, Row(mVectors, n, i), mMatrix, Row(mWork, n, i));
        MultiplyByTransposed(nStrip, n, nColumns, Row(mWork, n, i), Row(mVectors, n, nFrom),
                             Row(mResult, nColumns, i));
        Yield(2 * static_cast<std::size_t>(n) * kStrip);
    }
}

/// One shell's orbitals nFirst .. nEnd - 1 made diagonal.
void SolveShell(int n, int nFirst, int nEnd, const double* mFock, double* mVectors,
                double* vEnergy) {
    const int m = nEnd - nFirst;
    if (m <= 0) return;
    const auto nRows = static_cast<std::size_t>(m), nAll = static_cast<std::size_t>(n);
    Array<double> mBlock, mTurn, mRows;
    mBlock.Take(nRows + 1, nRows, kWork);
    mTurn.Take(nRows + 1, nRows, kWork);
    mRows.Take(nRows, nAll, kWork);
    double* pShell = Row(mVectors, n, nFirst);
    Multiply(m, n, n, pShell, mFock, mRows.Data());
    MultiplyByTransposed(m, n, m, mRows.Data(), pShell, mBlock.Data());
    Diagonalise(m, mBlock.Data(), mTurn.Data(), vEnergy + nFirst);
    Multiply(m, m, n, mTurn.Data(), pShell, mRows.Data());
    std::copy(mRows.begin(), mRows.end(), pShell);
}

/// Gram and Schmidt's way over the rows, twice, so that little is left of rounding.
void MakeOrthonormal(int n, double* mVectors) {
    for (int k = 0; k < n; ++k) {
        double* c = Row(mVectors, n, k);
        for (int nPass = 0; nPass < 2; ++nPass)
            for (int j = 0; j < k; ++j) {
                const double* b = Row(mVectors, n, j);
                const double d = Dot(n, b, c);
                for (int i = 0; i < n; ++i) c[i] -= d * b[i];
            }
        const double dLength = std::sqrt(Dot(n, c, c));
        for (int i = 0; i < n; ++i) c[i] /= dLength;
        Yield(static_cast<std::size_t>(n));
    }
}

}  // namespace

std::size_t RotationsOf(const Shells& shells) {
    const auto nFull = static_cast<std::size_t>(shells.nFull);
    const auto nOpen = static_cast<std::size_t>(shells.nOpen);
    const auto n = static_cast<std::size_t>(shells.n);
    return nFull * (n - nFull) + nOpen * (n - nFull - nOpen);
}

std::size_t CountRotations(const Electrons& electrons) {
    std::size_t nCount = 0;
    for (int k = 0; k < electrons.nSets; ++k) nCount += RotationsOf(electrons.vShells[k]);
    return nCount;
}

double RotationSlope(const Electrons& electrons, double* mWork, double* vSlope, double* vBend) {
    const int n = electrons.n;
    Array<double> mOrbitalFock;
    mOrbitalFock.Take(static_cast<std::size_t>(n), static_cast<std::size_t>(n), kWork);
    double dLargest = 0.0;
    std::size_t i = 0;
    for (int k = 0; k < electrons.nSets; ++k) {
        const Shells& shells = electrons.vShells[k];
        const SpinRun& s = *electrons.pSets[k];
        TransformRows(shells, vBend ? n : shells.Occupied(), 0, s.mVectors.Data(), s.mFock.Data(),
                      mWork, mOrbitalFock.Data());
        const double* f = mOrbitalFock.Data();
        ForRotations(shells, [&](int p, int q, double dFilling) {
            const double dElement = dFilling * Row(f, n, p)[q];
            dLargest = std::max(dLargest, std::abs(dElement));
            vSlope[i] = 2.0 * electrons.dWeight * dElement;
            if (vBend)
                vBend[i] = 2.0 * electrons.dWeight * dFilling * (Row(f, n, q)[q] - Row(f, n, p)[p]);
            ++i;
        });
    }
    return dLargest;
}

void RotateOrbitals(Electrons& electrons, const double* vRotations) {
    const int n = electrons.n;
    Array<double> mOld;
    mOld.Take(static_cast<std::size_t>(n), static_cast<std::size_t>(n), kWork);
    for (int k = 0; k < electrons.nSets; ++k) {
        double* c = electrons.pSets[k]->mVectors.Data();
        std::copy_n(c, mOld.Size(), mOld.Data());
        ForRotations(electrons.vShells[k], [&](int p, int q, double) {
            const double x = *vRotations++;
            if (x == 0.0) return;
            const double *pOld = Row(mOld.Data(), n, p), *qOld = Row(mOld.Data(), n, q);
            double *pNew = Row(c, n, p), *qNew = Row(c, n, q);
            for (int i = 0; i < n; ++i) {
                pNew[i] += x * qOld[i];
                qNew[i] -= x * pOld[i];
            }
        });
        MakeOrthonormal(n, c);
    }
}

void FillDensities(Electrons& electrons) {
    for (int k = 0; k < electrons.nSets; ++k)
        FillDensity(electrons.vShells[k], electrons.pSets[k]->mVectors.Data(),
                    electrons.pSets[k]->vWeights.Data(), electrons.pSets[k]->mDensity.Data());
}

void OrbitalsOfDensity(const Shells& shells, const double* mDensity, double* mWork,
                       double* mVectors, double* vWork) {
    const double* pEnd = Row(mDensity, shells.n, shells.n);
    std::transform(mDensity, pEnd, mWork, [](double d) { return -d; });
    Diagonalise(shells.n, mWork, mVectors, vWork);
}

void OrbitalsWithinShells(const Shells& shells, const double* mFock, double* mVectors,
                          double* vEnergy) {
    SolveShell(shells.n, 0, shells.nFull, mFock, mVectors, vEnergy);
    SolveShell(shells.n, shells.nFull, shells.Occupied(), mFock, mVectors, vEnergy);
    SolveShell(shells.n, shells.Occupied(), shells.n, mFock, mVectors, vEnergy);
}

void DensityChange(const Shells& shells, const double* mVectors, const double* vRotations,
                   double* mWork, double* mChange) {
    const int n = shells.n, nOcc = shells.Occupied();
    const int nFrom = shells.EndOfShell(0), nColumns = n - nFrom;  // no rotation before them
    double* mTurn = mChange;                                       // free until the end
    std::fill(mTurn, Row(mTurn, nColumns, nOcc), 0.0);
    ForRotations(shells, [&](int p, int q, double dFilling) {
        Row(mTurn, nColumns, p)[q - nFrom] = dFilling * *vRotations++;
    });
    Multiply(nOcc, nColumns, n, mTurn, Row(mVectors, n, nFrom), mWork);
    MultiplyTransposed(n, nOcc, n, mVectors, mWork, mChange);
    Yield(2 * static_cast<std::size_t>(n) * static_cast<std::size_t>(nOcc));
    for (int i = 0; i < n; ++i)
        for (int j = 0; j <= i; ++j)
            Row(mChange, n, i)[j] = Row(mChange, n, j)[i] =
                Row(mChange, n, i)[j] + Row(mChange, n, j)[i];
}

void AddMatrixOfRotations(const Shells& shells, const double* mVectors, const double* mMatrix,
                          double dFactor, double* mWork, double* vRotations) {
    const int n = shells.n, nOcc = shells.Occupied();
    const int nFrom = shells.EndOfShell(0), nColumns = n - nFrom;
    Array<double> mOwn;
    double* mResult = Row(mWork, n, nOcc);  // behind the rows that are filled, where there is room
    if (nOcc * nColumns > (n - nOcc) * n) {
        mOwn.Take(static_cast<std::size_t>(nOcc), static_cast<std::size_t>(nColumns), kWork);
        mResult = mOwn.Data();
    }
    TransformRows(shells, nOcc, nFrom, mVectors, mMatrix, mWork, mResult);
    ForRotations(shells, [&](int p, int q, double dFilling) {
        *vRotations++ += dFactor * dFilling * Row(mResult, nColumns, p)[q - nFrom];
    });
}

}  // namespace qsolve
