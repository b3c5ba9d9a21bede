#include "numeric/householder.h"

#include <algorithm>
#include <cmath>

#include "numeric/lanes.h"
#include "numeric/product.h"
#include "numeric/row.h"
#include "numeric/trace.h"

namespace qsolve {
namespace {

/// A reflector with less than this is not applied.
constexpr double kSmallestScale = 1e-30;

/// y += sum_r w_r x_r over n elements and nRows rows, the first at mRows, nStep apart.
void AddRows(int n, int nRows, const double* mRows, std::ptrdiff_t nStep, const double* w,
             double* y) {
    int r = 0;
    for (; r + 4 <= nRows; r += 4) {
        const double *x0 = mRows + r * nStep, *x1 = x0 + nStep, *x2 = x1 + nStep, *x3 = x2 + nStep;
        const double w0 = w[r], w1 = w[r + 1], w2 = w[r + 2], w3 = w[r + 3];
        for (int j = 0; j < n; ++j) y[j] += w0 * x0[j] + w1 * x1[j] + w2 * x2[j] + w3 * x3[j];
    }
    for (; r < nRows; ++r) {
        const double* x = mRows + r * nStep;
        for (int j = 0; j < n; ++j) y[j] += w[r] * x[j];
    }
}

/// v_r = x_r . t over n elements and nRows rows, the first at mRows, nStep apart.
void DotRows(int n, int nRows, const double* mRows, std::ptrdiff_t nStep, const double* t,
             double* v) {
    for (int r = 0; r < nRows; ++r) v[r] = Dot(n, mRows + r * nStep, t);
}

/// Four rows of p = B t: the square on the diagonal by elements.
void MultiplyCorner(int nSide, const double* pB, int nStep, const double* t, double* p) {
    for (int i = 0; i < nSide; ++i) {
        const double* b = Row(pB, nStep, i);
        p[i] += b[i] * t[i];
        for (int j = i + 1; j < nSide; ++j) {
            p[i] += b[j] * t[j];
            p[j] += b[j] * t[i];
        }
    }
}

/// Four rows of B, n elements each, against t, and their transposed into p.
void MultiplyStrip(int n, const double* pB, int nStep, const double* tRows, const double* t,
                   double* pRows, double* p) {
    const double *b0 = pB, *b1 = Row(pB, nStep, 1), *b2 = Row(pB, nStep, 2),
                 *b3 = Row(pB, nStep, 3);
    const double t0 = tRows[0], t1 = tRows[1], t2 = tRows[2], t3 = tRows[3];
    Four s0{}, s1{}, s2{}, s3{};
    int j = 0;
    for (; j + kFour <= n; j += kFour) {
        Four x0, x1, x2, x3, tj, pj;
        Load(b0 + j, x0), Load(b1 + j, x1), Load(b2 + j, x2), Load(b3 + j, x3);
        Load(t + j, tj), Load(p + j, pj);
        s0 += x0 * tj;
        s1 += x1 * tj;
        s2 += x2 * tj;
        s3 += x3 * tj;
        pj += x0 * t0;
        pj += x1 * t1;
        pj += x2 * t2;
        pj += x3 * t3;
        Store(p + j, pj);
    }
    pRows[0] += Sum(s0), pRows[1] += Sum(s1), pRows[2] += Sum(s2), pRows[3] += Sum(s3);
    for (; j < n; ++j) {
        pRows[0] += b0[j] * t[j], pRows[1] += b1[j] * t[j];
        pRows[2] += b2[j] * t[j], pRows[3] += b3[j] * t[j];
        p[j] += b0[j] * t0 + b1[j] * t1 + b2[j] * t2 + b3[j] * t3;
    }
}

/// p = B t for the symmetric B of order n whose upper triangle begins at pB, rows nStep apart. Each
/// element is read once.
void MultiplySymmetric(int n, const double* pB, int nStep, const double* t, double* p) {
    std::fill_n(p, n, 0.0);
    for (int i = 0; i < n; i += 4) {
        const double* b = Row(pB, nStep, i) + i;
        const int nSide = std::min(4, n - i);
        MultiplyCorner(nSide, b, nStep, t + i, p + i);
        if (nSide == 4) MultiplyStrip(n - i - 4, b + 4, nStep, t + i, t + i + 4, p + i, p + i + 4);
    }
}

/// The panel at work: q of reflector r stands in row r of the scratch, t in row 2 nReflectors - 1 -
/// r, so that the pairs (t, q), (q, t) of the update are the rows read upwards and downwards.
struct Panel {
    int n, nFirst, nReflectors;
    double* mRows;
    double* Q(int r) const { return Row(mRows, n, r); }
    double* T(int r) const { return Row(mRows, n, 2 * nReflectors - 1 - r); }
};

/// row += sum_r t_r[c] q_r + q_r[c] t_r over the first nDone reflectors, from element c on.
void UpdateRow(const Panel& panel, int nDone, int c, double* row) {
    double vT[kPanel], vQ[kPanel];
    for (int r = 0; r < nDone; ++r) {
        vT[r] = panel.T(r)[c];
        vQ[r] = panel.Q(r)[c];
    }
    AddRows(panel.n - c, nDone, panel.Q(0) + c, panel.n, vT, row + c);
    AddRows(panel.n - c, nDone, panel.T(0) + c, -panel.n, vQ, row + c);
}

/// q = K t - p with p = B t / h and K = t . p / 2h, B being the matrix after the first nDone
/// reflectors of the panel; pB is the matrix before them, from element (c, c) on.
void MakeUpdateVector(const Panel& panel, int nDone, int c, const double* pB, double h,
                      const double* t, double* q) {
    const int nLength = panel.n - c;
    double vT[kPanel], vQ[kPanel];
    MultiplySymmetric(nLength, pB, panel.n, t, q);
    DotRows(nLength, nDone, panel.T(0) + c, -panel.n, t, vT);
    DotRows(nLength, nDone, panel.Q(0) + c, panel.n, t, vQ);
    AddRows(nLength, nDone, panel.Q(0) + c, panel.n, vT, q);
    AddRows(nLength, nDone, panel.T(0) + c, -panel.n, vQ, q);
    for (int j = 0; j < nLength; ++j) q[j] /= h;
    const double dK = Dot(nLength, t, q) / (2.0 * h);
    for (int j = 0; j < nLength; ++j) q[j] = dK * t[j] - q[j];
}

/// Makes reflector r of the panel from row c = nFirst + r.
void Reflect(const Reduction& reduction, const Panel& panel, int r) {
    const int n = reduction.n, c = panel.nFirst + r, nLength = n - c - 1;
    double* row = Row(reduction.mMatrix, n, c);
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
    std::fill_n(panel.T(r), c + 1, 0.0);
    std::fill_n(panel.Q(r), fApply ? c + 1 : n, 0.0);
    std::copy_n(t, nLength, panel.T(r) + c + 1);
    if (fApply)
        MakeUpdateVector(panel, r, c + 1, Row(reduction.mMatrix, n, c + 1) + c + 1, h, t,
                         panel.Q(r) + c + 1);
}

/// S of I - Y S Y^T = H_0 ... H_(b - 1), upper triangular: S_ii = 1 / h_i and the column above it
/// -S G_i / h_i, with G = Y^T Y. mG and mS are kPanel x kPanel.
void MakeTriangle(int nReflectors, const double* vScale, const double* mG, double* mS) {
    std::fill_n(mS, kPanel * kPanel, 0.0);
    for (int i = 0; i < nReflectors; ++i) {
        if (vScale[i] == 0.0) continue;
        const double dTau = 1.0 / vScale[i];
        for (int j = 0; j < i; ++j) {
            double dSum = 0.0;
            for (int k = j; k < i; ++k) dSum += Row(mS, kPanel, j)[k] * Row(mG, kPanel, k)[i];
            Row(mS, kPanel, j)[i] = -dTau * dSum;
        }
        Row(mS, kPanel, i)[i] = dTau;
    }
}

}  // namespace

int ReducePanel(const Reduction& reduction, int c) {
    const int n = reduction.n;
    const Panel panel{n, c, std::min({kPanel, n / 2, n - 2 - c}), reduction.mPanel};
    for (int r = 0; r < panel.nReflectors; ++r) Reflect(reduction, panel, r);

    const int nNext = c + panel.nReflectors, nRest = n - nNext;
    const double* pFirst = panel.Q(0) + nNext;
    const double* pLast = panel.T(0) + nNext;
    Product update{nRest,
                   2 * panel.nReflectors,
                   nRest,
                   {pLast, 1, -n},
                   {pFirst, n, 1},
                   Row(reduction.mMatrix, n, nNext) + nNext,
                   n};
    update.triangle = Triangle::kUpper;
    AddProduct(update);
    return nNext;
}

void FinishReduction(const Reduction& reduction) {
    const int n = reduction.n;
    const double *a = Row(reduction.mMatrix, n, n - 2), *b = Row(reduction.mMatrix, n, n - 1);
    reduction.vDiagonal[n - 2] = a[n - 2];
    reduction.vDiagonal[n - 1] = b[n - 1];
    reduction.vOff[n - 2] = a[n - 1];
    reduction.vOff[n - 1] = 0.0;
}

void TransformBack(const Reduction& reduction, int c, int nEnd, int nVectors, double* mVectors,
                   double* vWork) {
    const int n = reduction.n, nReflectors = nEnd - c, nLength = n - c - 1;
    double *mG = vWork, *mS = mG + kPanel * kPanel, *mZy = mS + kPanel * kPanel;
    double* mZys = mZy + static_cast<std::ptrdiff_t>(nVectors) * kPanel;
    for (int r = 1; r < nReflectors; ++r)
        std::fill_n(Row(reduction.mMatrix, n, c + r) + c + 1, r, 0.0);

    const double* pY = Row(reduction.mMatrix, n, c) + c + 1;
    std::fill_n(vWork, 2 * kPanel * kPanel + 2 * static_cast<std::ptrdiff_t>(nVectors) * kPanel,
                0.0);
    AddProduct({nReflectors, nLength, nReflectors, Plain(pY, n), Transposed(pY, n), mG, kPanel});
    MakeTriangle(nReflectors, reduction.vScale + c, mG, mS);

    double* pZ = mVectors + c + 1;
    AddProduct({nVectors, nLength, nReflectors, Plain(pZ, n), Transposed(pY, n), mZy, kPanel});
    AddProduct({nVectors, nReflectors, nReflectors, Plain(mZy, kPanel), Transposed(mS, kPanel),
                mZys, kPanel});
    AddProduct({nVectors, nReflectors, nLength, Plain(mZys, kPanel), Plain(pY, n), pZ, n, -1.0});
}

}  // namespace qsolve
