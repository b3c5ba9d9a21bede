#include "numeric/householder.h"

#include <algorithm>
#include <cmath>

#include "numeric/kernels.h"
#include "numeric/product.h"
#include "numeric/row.h"
#include "numeric/trace.h"

namespace qsolve {
namespace {

/// A reflector with less than this is not applied.
constexpr double kSmallestScale = 1e-30;

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
    kernels->AddRows(panel.n - c, nDone, panel.Q(0) + c, panel.n, vT, row + c);
    kernels->AddRows(panel.n - c, nDone, panel.T(0) + c, -panel.n, vQ, row + c);
}

/// q = K t - p with p = B t / h and K = t . p / 2h, B being the matrix after the first nDone
/// reflectors of the panel; pB is the matrix before them, from element (c, c) on.
void MakeUpdateVector(const Panel& panel, int nDone, int c, const double* pB, double h,
                      const double* t, double* q) {
    const int nLength = panel.n - c;
    double vT[kPanel], vQ[kPanel];
    std::fill_n(q, nLength, 0.0);
    kernels->AddSymmetricRows(nLength, 0, nLength, pB, panel.n, t, q);
    kernels->DotRows(nLength, nDone, panel.T(0) + c, -panel.n, t, vT);
    kernels->DotRows(nLength, nDone, panel.Q(0) + c, panel.n, t, vQ);
    kernels->AddRows(nLength, nDone, panel.Q(0) + c, panel.n, vT, q);
    kernels->AddRows(nLength, nDone, panel.T(0) + c, -panel.n, vQ, q);
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
