#include <cstddef>

#include "numeric/forms/forms.h"
#include "numeric/forms/wide.h"
#include "numeric/product.h"

namespace qsolve::QSOLVE_FORM {
namespace {

// A tile of C as large as the registers hold while it runs along the sum.
#if defined(__AVX512F__)
constexpr int kTileRows = 8, kTileWides = 3;
#elif defined(__AVX2__)
constexpr int kTileRows = 6, kTileWides = 2;
#else
constexpr int kTileRows = 4, kTileWides = 2;
#endif

/// Elements of B, which comes anew for every few rows: from one of the nearer caches.
constexpr int kMostOfB = 8192;
constexpr int kMostInner = 256;  ///< terms that the other way sums at once

/// The part of C that a tile makes.
struct Tile {
    int iRow, jColumn, nColumns;
};

/// C += x in the lanes nFirst .. nEnd - 1, of which there may be none.
[[gnu::always_inline]] inline void AddLanes(const Wide& x, int nFirst, int nEnd, double* c) {
    Wide sum;
    if (nFirst <= 0 && nEnd >= kWide) {
        Load(c, sum);
        Store(c, sum + x);
        return;
    }
    if (nFirst <= 0) {
        if (nEnd <= 0) return;
        LoadPart(c, Least(nEnd, kWide), sum);
        StorePart(sum + x, Least(nEnd, kWide), c);
        return;
    }
    double v[kWide];
    Store(v, x);
    for (int t = nFirst; t < Least(nEnd, kWide); ++t) c[t] += v[t];
}

/// One tile, whose last register of columns may have only some of them.
template <int kRows, int kWides>
void AddTile(const Product& product, const Tile& tile) {
    const Factor &a = product.a, &b = product.b;
    const double* pA = a.pData + tile.iRow * a.nRowStep;
    const double* pB = b.pData + tile.jColumn;
    const int nLast = tile.nColumns - (kWides - 1) * kWide;
    // A is scaled before the sum, as the other way does; a sign alone may come after it.
    const bool fScaled = product.vWeights || (product.dFactor != 1.0 && product.dFactor != -1.0);
    Wide sum[kRows][kWides] = {};
    for (int k = 0; k < product.nInner; ++k, pA += a.nColumnStep, pB += b.nRowStep) {
        Wide row[kWides];
#pragma GCC unroll 4
        for (int w = 0; w + 1 < kWides; ++w) Load(pB + w * kWide, row[w]);
        LoadPart(pB + (kWides - 1) * kWide, nLast, row[kWides - 1]);
#pragma GCC unroll 8
        for (int r = 0; r < kRows; ++r) {
            double x = pA[r * a.nRowStep];
            if (fScaled) x *= WeightOf(product, k);
#pragma GCC unroll 4
            for (int w = 0; w < kWides; ++w) sum[r][w] += x * row[w];
        }
    }
    const double dFactor = fScaled ? 1.0 : product.dFactor;
#pragma GCC unroll 8
    for (int r = 0; r < kRows; ++r) {
        const int i = tile.iRow + r;
        double* c = At(product.pC, product.nStepC, i) + tile.jColumn;
        int nFirst = 0, nEnd = tile.nColumns;
        if (product.triangle == Triangle::kLower) nEnd = Least(nEnd, i + 1 - tile.jColumn);
        if (product.triangle == Triangle::kUpper) nFirst = i - tile.jColumn;
#pragma GCC unroll 4
        for (int w = 0; w < kWides; ++w)
            AddLanes(dFactor * sum[r][w], nFirst - w * kWide, nEnd - w * kWide, c + w * kWide);
    }
}

/// As many rows as a tile has, or as many halves of it as are left. Returns how many.
template <int kRows>
int AddRowsFrom(const Product& product, int iRow) {
    if constexpr (kRows > 1)
        if (product.nRows - iRow < kRows) return AddRowsFrom<kRows / 2>(product, iRow);
    const bool fLower = product.triangle == Triangle::kLower;
    const int nEnd = fLower ? Least(product.nColumns, iRow + kRows) : product.nColumns;
    int j = product.triangle == Triangle::kUpper ? iRow : 0;
    for (; nEnd - j > (kTileWides - 1) * kWide; j += kTileWides * kWide)
        AddTile<kRows, kTileWides>(product, {iRow, j, Least(nEnd - j, kTileWides * kWide)});
    if (kTileWides > 2 && nEnd - j > kWide)
        AddTile<kRows, 2>(product, {iRow, j, nEnd - j});
    else if (nEnd > j)
        AddTile<kRows, 1>(product, {iRow, j, nEnd - j});
    return kRows;
}

}  // namespace

bool AddSmallProduct(const Product& product) {
    if (product.b.nColumnStep != 1 || product.nInner > kMostInner ||
        static_cast<std::ptrdiff_t>(product.nInner) * product.nColumns > kMostOfB)
        return false;
    for (int i = 0; i < product.nRows;) i += AddRowsFrom<kTileRows>(product, i);
    return true;
}

}  // namespace qsolve::QSOLVE_FORM
