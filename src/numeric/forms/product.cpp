#include "numeric/product.h"

#include <cstddef>

#include "numeric/forms/forms.h"
#include "numeric/forms/transpose.h"
#include "numeric/forms/wide.h"

namespace qsolve::QSOLVE_FORM {
namespace {

// A tile of C is kTileRows x kTileColumns and stays in registers while it runs along kInner terms
// of the sum. kRows x kInner of A and kInner x kColumns of B are packed so that the tile reads both
// without a gap.
#if defined(__AVX512F__)
constexpr int kTileRows = 8, kTileWides = 3;  // 24 of 32 registers
#elif defined(__AVX2__)
constexpr int kTileRows = 6, kTileWides = 2;  // 12 of 16
#else
constexpr int kTileRows = 4, kTileWides = 2;  // 8 of 16, and some for the products
#endif
constexpr int kInner = 256, kRows = 96, kColumns = 288;
constexpr int kTileColumns = kTileWides * kWide;
static_assert(kRows % kTileRows == 0 && kColumns % kTileColumns == 0);

/// One column of a tile of A, nHere of kTileRows elements nStep apart, scaled; zero beyond them.
[[gnu::always_inline]] inline void PackColumn(const double* pFrom, std::ptrdiff_t nStep, int nHere,
                                              double w, double* pTo) {
    if (nHere == kTileRows) {
        for (int r = 0; r < kTileRows; ++r) pTo[r] = w * pFrom[r * nStep];
        return;
    }
    for (int r = 0; r < nHere; ++r) pTo[r] = w * pFrom[r * nStep];
    for (int r = nHere; r < kTileRows; ++r) pTo[r] = 0.0;
}

/// As many columns of a whole tile of A as squares hold, where they lie along its rows. Returns
/// their number.
int PackSquares(const Product& product, const double* pFrom, int k0, int nInner, double* pTo) {
    if (kTileRows % kWide != 0 || product.a.nColumnStep != 1) return 0;
    for (int k = 0; k + kWide <= nInner; k += kWide)
        for (int i = 0; i < kTileRows; i += kWide) {
            Wide x[kWide];
#pragma GCC unroll 8
            for (int r = 0; r < kWide; ++r) Load(pFrom + (i + r) * product.a.nRowStep + k, x[r]);
            Transpose(x);
#pragma GCC unroll 8
            for (int c = 0; c < kWide; ++c)
                Store(pTo + (k + c) * kTileRows + i, WeightOf(product, k0 + k + c) * x[c]);
        }
    return nInner / kWide * kWide;
}

/// A strip of A, scaled, as tiles of kTileRows: pPacked[tile][k][row], zero beyond the last row.
/// Runs along the memory of A, whichever way that lies.
void PackA(const Product& product, int i0, int nRows, int k0, int nInner, double* pPacked) {
    const Factor& a = product.a;
    const double* pFrom = a.pData + i0 * a.nRowStep + k0 * a.nColumnStep;
    if (a.nRowStep == 1) {
        for (int k = 0; k < nInner; ++k, pFrom += a.nColumnStep) {
            const double w = WeightOf(product, k0 + k);
            for (int i = 0; i < nRows; i += kTileRows)
                PackColumn(pFrom + i, 1, Least(kTileRows, nRows - i), w,
                           pPacked + static_cast<std::ptrdiff_t>(i) * nInner + k * kTileRows);
        }
        return;
    }
    for (int i = 0; i < nRows; i += kTileRows, pPacked += kTileRows * nInner) {
        const double* pTile = pFrom + i * a.nRowStep;
        const int nHere = Least(kTileRows, nRows - i);
        const int nDone = nHere == kTileRows ? PackSquares(product, pTile, k0, nInner, pPacked) : 0;
        for (int k = nDone; k < nInner; ++k)
            PackColumn(pTile + k * a.nColumnStep, a.nRowStep, nHere, WeightOf(product, k0 + k),
                       pPacked + k * kTileRows);
    }
}

/// A row of a tile of B, nHere of kTileColumns elements beside one another; zero beyond them.
[[gnu::always_inline]] inline void PackRow(const double* pFrom, int nHere, double* pTo) {
    constexpr Wide kNone = {};
    for (int w = 0; w < kTileColumns; w += kWide) {
        Wide x;
        if (w + kWide <= nHere) {
            Load(pFrom + w, x);
            Store(pTo + w, x);
            continue;
        }
        Store(pTo + w, kNone);
        for (int c = w; c < nHere; ++c) pTo[c] = pFrom[c];
    }
}

/// A tile of B whose columns lie along the memory, nStep apart; zero beyond the last one.
void PackColumns(const double* pFrom, std::ptrdiff_t nRowStep, std::ptrdiff_t nStep, int nInner,
                 int nHere, double* pTo) {
    const int nSquares = nRowStep == 1 ? nHere / kWide * kWide : 0;
    const int nInSquares = nInner / kWide * kWide;
    for (int c = 0; c < nSquares; c += kWide)
        for (int k = 0; k < nInSquares; k += kWide) {
            Wide x[kWide];
#pragma GCC unroll 8
            for (int r = 0; r < kWide; ++r) Load(pFrom + (c + r) * nStep + k, x[r]);
            Transpose(x);
#pragma GCC unroll 8
            for (int r = 0; r < kWide; ++r) Store(pTo + (k + r) * kTileColumns + c, x[r]);
        }
    for (int c = 0; c < nHere; ++c)
        for (int k = c < nSquares ? nInSquares : 0; k < nInner; ++k)
            pTo[k * kTileColumns + c] = pFrom[k * nRowStep + c * nStep];
    for (int k = 0; k < nInner && nHere < kTileColumns; ++k)
        for (int c = nHere; c < kTileColumns; ++c) pTo[k * kTileColumns + c] = 0.0;
}

/// A strip of B as tiles of kTileColumns: pPacked[tile][k][column], zero beyond the last column.
void PackB(const Factor& b, int k0, int nInner, int j0, int nColumns, double* pPacked) {
    const double* pFrom = b.pData + k0 * b.nRowStep + j0 * b.nColumnStep;
    for (int j = 0; j < nColumns; j += kTileColumns, pPacked += nInner * kTileColumns) {
        const int nHere = Least(kTileColumns, nColumns - j);
        const double* p = pFrom + j * b.nColumnStep;
        if (b.nColumnStep != 1)
            PackColumns(p, b.nRowStep, b.nColumnStep, nInner, nHere, pPacked);
        else
            for (int k = 0; k < nInner; ++k)
                PackRow(p + k * b.nRowStep, nHere, pPacked + k * kTileColumns);
    }
}

/// The product of a packed strip of A and the first kWides registers of one of B.
template <int kWides>
[[gnu::always_inline]] inline void SumTile(int nInner, const double* pA, const double* pB,
                                           Wide (&sum)[kTileRows][kWides]) {
    for (int k = 0; k < nInner; ++k, pA += kTileRows, pB += kTileColumns) {
        Wide b[kWides];
#pragma GCC unroll 4
        for (int w = 0; w < kWides; ++w) Load(pB + w * kWide, b[w]);
#pragma GCC unroll 16
        for (int r = 0; r < kTileRows; ++r) {
#pragma GCC unroll 4
            for (int w = 0; w < kWides; ++w) sum[r][w] += pA[r] * b[w];
        }
    }
}

/// C += one tile of the product of a packed strip of A and one of B, kTileRows x kTileColumns.
[[gnu::always_inline]] inline void AddTile(int nInner, const double* pA, const double* pB,
                                           double* pC, int nStepC) {
    Wide sum[kTileRows][kTileWides] = {};
    // The tile of C comes from far away while the sum is made.
#pragma GCC unroll 16
    for (int r = 0; r < kTileRows; ++r)
        for (int w = 0; w < kTileWides; ++w) __builtin_prefetch(At(pC, nStepC, r) + w * kWide, 1);
    SumTile(nInner, pA, pB, sum);
#pragma GCC unroll 16
    for (int r = 0; r < kTileRows; ++r) {
#pragma GCC unroll 4
        for (int w = 0; w < kTileWides; ++w) {
            double* c = At(pC, nStepC, r) + w * kWide;
            Wide x;
            Load(c, x);
            x += sum[r][w];
            Store(c, x);
        }
    }
}

/// A tile into memory, rows of kTileColumns, of which kWides registers are made.
template <int kWides>
void StoreTile(int nInner, const double* pA, const double* pB, double* pTile) {
    Wide sum[kTileRows][kWides] = {};
    SumTile(nInner, pA, pB, sum);
#pragma GCC unroll 16
    for (int r = 0; r < kTileRows; ++r)
#pragma GCC unroll 4
        for (int w = 0; w < kWides; ++w) Store(pTile + r * kTileColumns + w * kWide, sum[r][w]);
}

/// A tile at the edge of the matrix or of the wanted triangle: by way of a tile in memory.
void AddPartOfTile(const Product& product, int i0, int j0, int nRows, int nColumns, int nInner,
                   const double* pA, const double* pB) {
    alignas(64) double tile[kTileRows * kTileColumns];
    if (nColumns <= kWide)
        StoreTile<1>(nInner, pA, pB, tile);
    else if (nColumns <= 2 * kWide)
        StoreTile<2>(nInner, pA, pB, tile);
    else
        StoreTile<kTileWides>(nInner, pA, pB, tile);
    for (int r = 0; r < nRows; ++r) {
        double* c = At(product.pC, product.nStepC, i0 + r) + j0;
        int nFirst = 0, nEnd = nColumns;
        if (product.triangle == Triangle::kLower) nEnd = Least(nColumns, i0 + r - j0 + 1);
        if (product.triangle == Triangle::kUpper && i0 + r > j0) nFirst = i0 + r - j0;
        const double* t = tile + r * kTileColumns;
        for (int q = nFirst; q < nEnd; ++q) c[q] += t[q];
    }
}

/// Whether a block of C, from row i0 and column j0, holds nothing of the wanted triangle.
bool Outside(Triangle triangle, int i0, int nRows, int j0, int nColumns) {
    if (triangle == Triangle::kLower) return j0 > i0 + nRows - 1;
    if (triangle == Triangle::kUpper) return i0 > j0 + nColumns - 1;
    return false;
}

/// Whether a block of C lies wholly in the wanted triangle.
bool Inside(Triangle triangle, int i0, int nRows, int j0, int nColumns) {
    if (triangle == Triangle::kLower) return j0 + nColumns - 1 <= i0;
    if (triangle == Triangle::kUpper) return i0 + nRows - 1 <= j0;
    return true;
}

/// All tiles of a packed strip of A, from row i0, with a packed strip of B, from column j0.
void AddBlock(const Product& product, int i0, int nRows, int j0, int nColumns, int nInner,
              const double* pA, const double* pB) {
    for (int j = 0; j < nColumns; j += kTileColumns) {
        const int nTileColumns = Least(kTileColumns, nColumns - j);
        const double* pTileB = pB + static_cast<std::ptrdiff_t>(j) * nInner;
        for (int i = 0; i < nRows; i += kTileRows) {
            const int nTileRows = Least(kTileRows, nRows - i);
            const int iC = i0 + i, jC = j0 + j;
            if (Outside(product.triangle, iC, nTileRows, jC, nTileColumns)) continue;
            const double* pTileA = pA + static_cast<std::ptrdiff_t>(i) * nInner;
            if (nTileRows == kTileRows && nTileColumns == kTileColumns &&
                Inside(product.triangle, iC, kTileRows, jC, kTileColumns))
                AddTile(nInner, pTileA, pTileB, At(product.pC, product.nStepC, iC) + jC,
                        product.nStepC);
            else
                AddPartOfTile(product, iC, jC, nTileRows, nTileColumns, nInner, pTileA, pTileB);
        }
    }
}

/// With room on the stack for what is packed, which small products leave alone.
[[gnu::noinline]] void AddPacked(const Product& product) {
    alignas(64) double packedA[kRows * kInner];
    alignas(64) double packedB[kInner * kColumns];
    for (int k = 0; k < product.nInner; k += kInner) {
        const int nInner = Least(kInner, product.nInner - k);
        for (int j = 0; j < product.nColumns; j += kColumns) {
            const int nColumns = Least(kColumns, product.nColumns - j);
            PackB(product.b, k, nInner, j, nColumns, packedB);
            for (int i = 0; i < product.nRows; i += kRows) {
                const int nRows = Least(kRows, product.nRows - i);
                if (Outside(product.triangle, i, nRows, j, nColumns)) continue;
                PackA(product, i, nRows, k, nInner, packedA);
                AddBlock(product, i, nRows, j, nColumns, nInner, packedA, packedB);
            }
        }
    }
}

}  // namespace

void AddProduct(const Product& product) {
    if (!AddSmallProduct(product)) AddPacked(product);
}

}  // namespace qsolve::QSOLVE_FORM
