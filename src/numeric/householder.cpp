#include "numeric/householder.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "numeric/kernels.h"
#include "numeric/pool.h"
#include "numeric/product.h"
#include "numeric/row.h"
#include "numeric/strips.h"
#include "numeric/trace.h"

namespace qsolve {
namespace {

/// Rows of a part of a product with a vector, and the order from which threads share the parts.
constexpr int kRowsOfPart = 128, kWorthThreads = 256;

/// The panel at work: q of reflector r stands in row r of the scratch, t in row 2 nReflectors - 1 -
/// r, so that the pairs (t, q), (q, t) of the update are the rows read upwards and downwards. Both
/// are zero up to the column of their reflector, and in what is padded.
struct Panel {
    int n, nStep, nFirst, nReflectors;
    double* mRows;
    double* Q(int r) const { return Row(mRows, nStep, r); }
    double* T(int r) const { return Row(mRows, nStep, 2 * nReflectors - 1 - r); }
    double* Part(int i) const { return Row(mRows, nStep, 2 * kPanel + i); }
};

/// The column where a padded part of a row begins that holds column c.
int PadBefore(int c) {
    return c / kPad * kPad;
}

/// Row of a part: parts have the same area of the triangle that begins at column nFrom.
int FirstRowOfPart(int nFrom, int nTo, int nParts, int i) {
    if (i == nParts) return nTo;
    const double dLeft = std::sqrt(1.0 - static_cast<double>(i) / nParts);
    return std::max(nFrom, PadBefore(nTo - static_cast<int>(dLeft * (nTo - nFrom))));
}

/// A power of two, so that two and four threads have as much to do each.
int PartsOf(int nLength) {
    int nParts = 1;
    while (nParts < kMostParts && 2 * nParts * kRowsOfPart <= nLength) nParts *= 2;
    return nParts;
}

/// p = B t for the matrix from column c on; t is zero before it. p is meaningless before it. vT and
/// vQ are the products of t with the first nDone vectors of the panel.
void MultiplyByMatrices(const Panel& panel, int nDone, const double* mMatrix, int c,
                        const double* t, double* p, double* vT, double* vQ) {
    const int nFrom = PadBefore(c), nTo = Padded(panel.n), nLength = nTo - nFrom;
    const int nParts = PartsOf(nLength);
    const auto AddPart = [&](int i) {
        double* pSum = i == 0 ? p : panel.Part(i);
        std::fill(pSum + nFrom, pSum + nTo, 0.0);
        kernels->AddSymmetricRows(nTo, FirstRowOfPart(nFrom, nTo, nParts, i),
                                  FirstRowOfPart(nFrom, nTo, nParts, i + 1), mMatrix, panel.nStep,
                                  t, pSum);
    };
    const auto DotRows = [&](const double* pFirst, std::ptrdiff_t nStep, double* v) {
        kernels->DotRows(nLength, nDone, pFirst + nFrom, nStep, t + nFrom, v);
    };
    // Neighbours to one thread, and mostly the same as for the row before: what it has read then
    // may still be in its processor's cache. The vectors of the panel come when those are done, in
    // the middle, since tasks are taken from both ends.
    const int nShares = nLength >= kWorthThreads ? std::min(Threads(), nParts) : 1;
    const int nMiddle = (nShares + 1) / 2;
    ForEachTask(nShares + 2, [&](int nTask) {
        if (nTask == nMiddle) return DotRows(panel.T(0), -panel.nStep, vT);
        if (nTask == nMiddle + 1) return DotRows(panel.Q(0), panel.nStep, vQ);
        const int nShare = nTask < nMiddle ? nTask : nTask - 2;
        for (int i = nShare * nParts / nShares; i < (nShare + 1) * nParts / nShares; ++i)
            AddPart(i);
    });
    const double ones[kMostParts] = {1, 1, 1, 1, 1, 1, 1, 1};
    if (nParts > 1)
        kernels->AddRows(nLength, nParts - 1, panel.Part(1) + nFrom, panel.nStep, ones, p + nFrom);
}

/// row += sum_r t_r[c] q_r + q_r[c] t_r over the first nDone reflectors.
void UpdateRow(const Panel& panel, int nDone, int c, double* row) {
    const int nFrom = PadBefore(c), nLength = Padded(panel.n) - nFrom;
    double vT[kPanel], vQ[kPanel];
    for (int r = 0; r < nDone; ++r) {
        vT[r] = panel.T(r)[c];
        vQ[r] = panel.Q(r)[c];
    }
    kernels->AddRows(nLength, nDone, panel.Q(0) + nFrom, panel.nStep, vT, row + nFrom);
    kernels->AddRows(nLength, nDone, panel.T(0) + nFrom, -panel.nStep, vQ, row + nFrom);
}

/// q = K t - p with p = B t / h and K = t . p / 2h, B being the matrix from column c on after the
/// first nDone reflectors of the panel; mMatrix is the matrix before them.
void MakeUpdateVector(const Panel& panel, int nDone, int c, const double* mMatrix, double h,
                      const double* t, double* q) {
    const int nFrom = PadBefore(c), nLength = Padded(panel.n) - nFrom;
    double vT[kPanel], vQ[kPanel];
    MultiplyByMatrices(panel, nDone, mMatrix, c, t, q, vT, vQ);
    std::fill(q + nFrom, q + c, 0.0);
    t += nFrom;
    q += nFrom;
    kernels->AddRows(nLength, nDone, panel.Q(0) + nFrom, panel.nStep, vT, q);
    kernels->AddRows(nLength, nDone, panel.T(0) + nFrom, -panel.nStep, vQ, q);
    const double dInverse = 1.0 / h;
    for (int j = 0; j < nLength; ++j) q[j] *= dInverse;
    const double dK = Dot(nLength, t, q) * (0.5 * dInverse);
    for (int j = 0; j < nLength; ++j) q[j] = dK * t[j] - q[j];
    std::fill(q, q + (c - nFrom), 0.0);
}

/// Makes reflector r of the panel from row c = nFirst + r.
void Reflect(const Reduction& reduction, const Panel& panel, int r) {
    const int n = reduction.n, c = panel.nFirst + r, nLength = n - c - 1;
    double* row = Row(reduction.mMatrix, panel.nStep, c);
    UpdateRow(panel, r, c, row);
    reduction.vDiagonal[c] = row[c];
    double* t = row + c + 1;
    double s = std::sqrt(Dot(nLength, t, t));
    if (t[0] < 0.0) s = -s;
    reduction.vOff[c] = -s;
    t[0] += s;
    const double h = t[0] * s;
    const bool fApply = std::abs(h) >= kSmallestScale;
    reduction.vScale[c] = fApply ? h : 0.0;
    double *pT = panel.T(r), *pQ = panel.Q(r);
    std::fill_n(pT, c + 1, 0.0);
    std::copy_n(t, nLength, pT + c + 1);
    std::fill(pT + n, pT + panel.nStep, 0.0);
    std::fill_n(pQ, fApply ? c + 1 : panel.nStep, 0.0);
    if (fApply) MakeUpdateVector(panel, r, c + 1, reduction.mMatrix, h, pT, pQ);
}

/// Makes the squares on the diagonal whole, from the one that holds column c on.
void MirrorSquares(const Reduction& reduction, int c) {
    const int nStep = ReductionStep(reduction.n);
    for (int i0 = PadBefore(c); i0 < reduction.n; i0 += kPad)
        for (int i = i0; i < i0 + kPad; ++i)
            for (int j = std::max(i0, c); j < i; ++j)
                Row(reduction.mMatrix, nStep, i)[j] = Row(reduction.mMatrix, nStep, j)[i];
}

/// S of I - Y S Y^T = H_0 ... H_(b - 1), upper triangular: S_ii = 1 / h_i and the column above it
/// -S G_i / h_i, with G = Y^T Y. mG and mS are nReflectors x nReflectors, mS is 0 before.
void MakeTriangle(int nReflectors, const double* vScale, const double* mG, double* mS) {
    double column[BlockOf(1 << 20)];
    for (int i = 0; i < nReflectors; ++i) {
        if (vScale[i] == 0.0) continue;
        const double dTau = 1.0 / vScale[i];
        for (int k = 0; k < i; ++k) column[k] = -dTau * Row(mG, nReflectors, k)[i];
        for (int j = 0; j < i; ++j)
            Row(mS, nReflectors, j)[i] = Dot(i - j, Row(mS, nReflectors, j) + j, column + j);
        Row(mS, nReflectors, i)[i] = dTau;
    }
}

}  // namespace

void LoadMatrix(const Reduction& reduction, const double* mLower) {
    constexpr int kBlock = 16;  // two blocks of this side stay in the first cache
    const int n = reduction.n, nStep = ReductionStep(n);
    ForEachStrip(Padded(n), [&](int, int nFirst, int nEnd) {
        std::fill(Row(reduction.mMatrix, nStep, nFirst), Row(reduction.mMatrix, nStep, nEnd), 0.0);
    });
    ForEachStrip(n, [&](int, int nFirst, int nEnd) {
        for (int i0 = nFirst; i0 < nEnd; i0 += kBlock)
            for (int j0 = 0; j0 <= i0; j0 += kBlock)
                for (int i = i0; i < std::min(nEnd, i0 + kBlock); ++i) {
                    const double* a = Row(mLower, n, i);
                    for (int j = j0; j < std::min(i + 1, j0 + kBlock); ++j)
                        Row(reduction.mMatrix, nStep, j)[i] = a[j];
                }
    });
    MirrorSquares(reduction, 0);
}

int ReducePanel(const Reduction& reduction, int c) {
    const int n = reduction.n, nStep = ReductionStep(n);
    const Panel panel{n, nStep, c, std::min(kPanel, n - 2 - c), reduction.mPanel};
    for (int r = 0; r < panel.nReflectors; ++r) Reflect(reduction, panel, r);

    const int nNext = c + panel.nReflectors, nRest = n - nNext;
    const double* pFirst = panel.Q(0) + nNext;
    const double* pLast = panel.T(0) + nNext;
    Product update{nRest,
                   2 * panel.nReflectors,
                   nRest,
                   {pLast, 1, -nStep},
                   {pFirst, nStep, 1},
                   Row(reduction.mMatrix, nStep, nNext) + nNext,
                   nStep};
    update.triangle = Triangle::kUpper;
    AddProduct(update);
    MirrorSquares(reduction, nNext);
    return nNext;
}

void FinishReduction(const Reduction& reduction) {
    const int n = reduction.n, nStep = ReductionStep(n);
    const double *a = Row(reduction.mMatrix, nStep, n - 2),
                 *b = Row(reduction.mMatrix, nStep, n - 1);
    reduction.vDiagonal[n - 2] = a[n - 2];
    reduction.vDiagonal[n - 1] = b[n - 1];
    reduction.vOff[n - 2] = a[n - 1];
    reduction.vOff[n - 1] = 0.0;
}

void TransformBack(const Reduction& reduction, int c, int nEnd, int nVectors, double* mVectors,
                   double* vWork) {
    const int n = reduction.n, nStep = ReductionStep(n);
    const int nReflectors = nEnd - c, nLength = n - c - 1;
    double *mG = vWork, *mS = Row(mG, nReflectors, nReflectors);
    double *mZy = Row(mS, nReflectors, nReflectors), *mZys = Row(mZy, nReflectors, nVectors);
    for (int r = 1; r < nReflectors; ++r)
        std::fill_n(Row(reduction.mMatrix, nStep, c + r) + c + 1, r, 0.0);

    const double* pY = Row(reduction.mMatrix, nStep, c) + c + 1;
    const Factor y = Plain(pY, nStep), yt = Transposed(pY, nStep);
    std::fill(mS, mZy, 0.0);
    Product gram{nReflectors, nLength, nReflectors, y, yt, mG, nReflectors};
    gram.triangle = Triangle::kUpper;
    MakeProduct(gram);
    MakeTriangle(nReflectors, reduction.vScale + c, mG, mS);

    double* pZ = mVectors + c + 1;
    MakeProduct({nVectors, nLength, nReflectors, Plain(pZ, n), yt, mZy, nReflectors});
    MakeProduct({nVectors, nReflectors, nReflectors, Plain(mZy, nReflectors),
                 Transposed(mS, nReflectors), mZys, nReflectors});
    AddProduct({nVectors, nReflectors, nLength, Plain(mZys, nReflectors), y, pZ, n, -1.0});
}

}  // namespace qsolve
