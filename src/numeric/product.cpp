#include "numeric/product.h"

#include <algorithm>

#include "numeric/lanes.h"
#include "numeric/row.h"

namespace qsolve {
namespace {

// A tile of C is kTileRows x kTileColumns and stays in twelve registers of four doubles while it
// runs along kInner terms of the sum. kRows x kInner of A and kInner x kColumns of B are packed so
// that the tile reads both without a gap.
constexpr int kTileRows = 6, kTileColumns = 8;
constexpr int kInner = 128, kRows = 48, kColumns = 192;

/// A strip of A, scaled, as tiles of kTileRows: pPacked[tile][k][row], zero beyond the last row.
void PackA(const Product& product, int i0, int nRows, int k0, int nInner, double* pPacked) {
    const Factor& a = product.a;
    for (int i = 0; i < nRows; i += kTileRows) {
        const int nTile = std::min(kTileRows, nRows - i);
        const double* pFrom = a.pData + (i0 + i) * a.nRowStep + k0 * a.nColumnStep;
        for (int k = 0; k < nInner; ++k, pFrom += a.nColumnStep, pPacked += kTileRows) {
            const double w =
                product.vWeights ? product.dFactor * product.vWeights[k0 + k] : product.dFactor;
            for (int r = 0; r < nTile; ++r) pPacked[r] = w * pFrom[r * a.nRowStep];
            for (int r = nTile; r < kTileRows; ++r) pPacked[r] = 0.0;
        }
    }
}

/// A strip of B as tiles of kTileColumns: pPacked[tile][k][column], zero beyond the last column.
void PackB(const Factor& b, int k0, int nInner, int j0, int nColumns, double* pPacked) {
    for (int j = 0; j < nColumns; j += kTileColumns) {
        const int nTile = std::min(kTileColumns, nColumns - j);
        const double* pFrom = b.pData + k0 * b.nRowStep + (j0 + j) * b.nColumnStep;
        for (int k = 0; k < nInner; ++k, pFrom += b.nRowStep, pPacked += kTileColumns) {
            if (nTile == kTileColumns && b.nColumnStep == 1) {
                std::copy_n(pFrom, kTileColumns, pPacked);
                continue;
            }
            for (int c = 0; c < nTile; ++c) pPacked[c] = pFrom[c * b.nColumnStep];
            for (int c = nTile; c < kTileColumns; ++c) pPacked[c] = 0.0;
        }
    }
}

/// One tile of the product of a packed strip of A and one of B, kTileRows x kTileColumns.
inline void MultiplyTile(int nInner, const double* pA, const double* pB, double* pTile) {
    Four sum[kTileRows][2] = {};
    for (int k = 0; k < nInner; ++k, pA += kTileRows, pB += kTileColumns) {
        Four b0, b1;
        Load(pB, b0);
        Load(pB + kFour, b1);
#pragma GCC unroll 6
        for (int r = 0; r < kTileRows; ++r) {
            sum[r][0] += pA[r] * b0;
            sum[r][1] += pA[r] * b1;
        }
    }
#pragma GCC unroll 6
    for (int r = 0; r < kTileRows; ++r) {
        Store(pTile + r * kTileColumns, sum[r][0]);
        Store(pTile + r * kTileColumns + kFour, sum[r][1]);
    }
}

/// Adds the part of a tile that lies within the matrix and the wanted triangle.
void AddTile(const Product& product, int i0, int j0, int nRows, int nColumns, const double* pTile) {
    for (int r = 0; r < nRows; ++r) {
        double* c = Row(product.pC, product.nStepC, i0 + r) + j0;
        int nFirst = 0, nEnd = nColumns;
        if (product.triangle == Triangle::kLower) nEnd = std::min(nColumns, i0 + r - j0 + 1);
        if (product.triangle == Triangle::kUpper) nFirst = std::max(0, i0 + r - j0);
        const double* t = pTile + r * kTileColumns;
        if (nFirst == 0 && nEnd == kTileColumns) {
            for (int q = 0; q < kTileColumns; ++q) c[q] += t[q];
        } else {
            for (int q = nFirst; q < nEnd; ++q) c[q] += t[q];
        }
    }
}

/// Whether a block of C, from row i0 and column j0, holds nothing of the wanted triangle.
bool Outside(Triangle triangle, int i0, int nRows, int j0, int nColumns) {
    if (triangle == Triangle::kLower) return j0 > i0 + nRows - 1;
    if (triangle == Triangle::kUpper) return i0 > j0 + nColumns - 1;
    return false;
}

/// All tiles of a packed strip of A, from row i0, with a packed strip of B, from column j0.
void AddBlock(const Product& product, int i0, int nRows, int j0, int nColumns, int nInner,
              const double* pA, const double* pB) {
    alignas(64) double tile[kTileRows * kTileColumns];
    for (int j = 0; j < nColumns; j += kTileColumns) {
        const int nTileColumns = std::min(kTileColumns, nColumns - j);
        for (int i = 0; i < nRows; i += kTileRows) {
            const int nTileRows = std::min(kTileRows, nRows - i);
            if (Outside(product.triangle, i0 + i, nTileRows, j0 + j, nTileColumns)) continue;
            MultiplyTile(nInner, pA + static_cast<std::ptrdiff_t>(i) * nInner,
                         pB + static_cast<std::ptrdiff_t>(j) * nInner, tile);
            AddTile(product, i0 + i, j0 + j, nTileRows, nTileColumns, tile);
        }
    }
}

}  // namespace

void AddProduct(const Product& product) {
    alignas(64) double packedA[kRows * kInner];
    alignas(64) double packedB[kInner * kColumns];
    for (int k = 0; k < product.nInner; k += kInner) {
        const int nInner = std::min(kInner, product.nInner - k);
        for (int j = 0; j < product.nColumns; j += kColumns) {
            const int nColumns = std::min(kColumns, product.nColumns - j);
            PackB(product.b, k, nInner, j, nColumns, packedB);
            for (int i = 0; i < product.nRows; i += kRows) {
                const int nRows = std::min(kRows, product.nRows - i);
                if (Outside(product.triangle, i, nRows, j, nColumns)) continue;
                PackA(product, i, nRows, k, nInner, packedA);
                AddBlock(product, i, nRows, j, nColumns, nInner, packedA, packedB);
            }
        }
    }
}

void Multiply(int nRows, int nInner, int nColumns, const double* mA, const double* mB, double* mC) {
    std::fill(mC, Row(mC, nColumns, nRows), 0.0);
    AddProduct({nRows, nInner, nColumns, Plain(mA, nInner), Plain(mB, nColumns), mC, nColumns});
}

void MultiplyByTransposed(int nRows, int nInner, int nColumns, const double* mA, const double* mB,
                          double* mC) {
    std::fill(mC, Row(mC, nColumns, nRows), 0.0);
    AddProduct({nRows, nInner, nColumns, Plain(mA, nInner), Transposed(mB, nInner), mC, nColumns});
}

void MultiplyTransposed(int nRows, int nInner, int nColumns, const double* mA, const double* mB,
                        double* mC) {
    std::fill(mC, Row(mC, nColumns, nRows), 0.0);
    AddProduct({nRows, nInner, nColumns, Transposed(mA, nRows), Plain(mB, nColumns), mC, nColumns});
}

void SubtractTransposed(int n, const double* mX, double* mC) {
    constexpr int kBlock = 16;  // two blocks of this side stay in the first cache
    for (int i0 = 0; i0 < n; i0 += kBlock) {
        for (int j0 = 0; j0 < n; j0 += kBlock) {
            const int nEnd = std::min(n, j0 + kBlock);
            for (int i = i0; i < std::min(n, i0 + kBlock); ++i) {
                const double* x = Row(mX, n, i);
                double* c = Row(mC, n, i);
                for (int j = j0; j < nEnd; ++j) c[j] = x[j] - Row(mX, n, j)[i];
            }
        }
    }
}

void Commutator(int n, const double* mA, const double* mB, double* mWork, double* mC) {
    Multiply(n, n, n, mA, mB, mWork);
    SubtractTransposed(n, mWork, mC);
}

}  // namespace qsolve
