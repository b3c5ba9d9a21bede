#include "numeric/product.h"

#include <algorithm>
#include <cmath>

#include "numeric/kernels.h"
#include "numeric/pool.h"
#include "numeric/row.h"
#include "numeric/strips.h"

namespace qsolve {
namespace {

/// Operations below which a product is no work for several threads.
constexpr double kWorthThreads = 2e6;
constexpr int kTasksOfThread = 3;  ///< so that a thread that is held up holds up little
constexpr int kFewestRows = 48, kFewestRowsOfTriangle = 72, kFewestColumns = 72;
constexpr int kWholeRows = 8, kWholeColumns = 24;  ///< multiples of a tile's in most forms

double Operations(const Product& product) {
    const double d = 2.0 * product.nRows * product.nInner * product.nColumns;
    return product.triangle == Triangle::kWhole ? d : d / 2.0;
}

/// The part of a product with rows nRow .. nRowEnd - 1 and columns nColumn .. nColumnEnd - 1.
Product PartOf(const Product& product, int nRow, int nRowEnd, int nColumn, int nColumnEnd) {
    Product part = product;
    part.nRows = nRowEnd - nRow;
    part.nColumns = nColumnEnd - nColumn;
    part.a.pData += nRow * product.a.nRowStep;
    part.b.pData += nColumn * product.b.nColumnStep;
    part.pC = Row(product.pC, product.nStepC, nRow) + nColumn;
    return part;
}

/// What is added to: a matrix as it is, or cleared before, by the thread that then adds to it.
enum class To { kPresent, kCleared };

void AddPart(const Product& part, To to) {
    for (int i = 0; to == To::kCleared && i < part.nRows; ++i) {
        const int nFrom = part.triangle == Triangle::kUpper ? std::min(i, part.nColumns) : 0;
        const int nTo =
            part.triangle == Triangle::kLower ? std::min(i + 1, part.nColumns) : part.nColumns;
        double* row = Row(part.pC, part.nStepC, i);
        std::fill(row + nFrom, row + nTo, 0.0);
    }
    kernels->AddProduct(part);
}

/// A strip of rows: of a triangle, the square on the diagonal and the rectangle beside it.
void AddRowsOf(const Product& product, int nRow, int nRowEnd, To to) {
    const int nColumns = product.nColumns;
    if (product.triangle == Triangle::kWhole)
        return AddPart(PartOf(product, nRow, nRowEnd, 0, nColumns), to);
    const int nFrom = std::min(nRow, nColumns), nTo = std::min(nRowEnd, nColumns);
    AddPart(PartOf(product, nRow, nRowEnd, nFrom, nTo), to);
    const bool fLower = product.triangle == Triangle::kLower;
    Product rest = PartOf(product, nRow, nRowEnd, fLower ? 0 : nTo, fLower ? nFrom : nColumns);
    rest.triangle = Triangle::kWhole;
    AddPart(rest, to);
}

/// How work is shared out to tasks, as many of them to each thread where there is enough of it.
/// Two threads begin with its ends, and the next task of each is half of the one before: so who is
/// held up leaves the other little to wait for.
struct Shares {
    int nTasks;
    bool fHalved;

    /// The part of the work before task i.
    double Before(int i) const {
        if (!fHalved) return static_cast<double>(i) / nTasks;
        const int nEach = nTasks / 2;
        if (i > nEach) return 1.0 - Before(nTasks - i);
        return ((1 << nEach) - (1 << (nEach - i))) / (2.0 * ((1 << nEach) - 1));
    }
};

/// For work that can be cut into nMost pieces, each worth a task.
Shares ShareOut(int nMost, int nThreads) {
    if (nThreads < 2 || nMost < 2) return {1, false};
    if (nThreads == 2) {
        int nEach = kTasksOfThread;
        while (nEach > 1 && nMost < 2 * ((1 << nEach) - 1)) --nEach;
        return {2 * nEach, true};
    }
    const int nEach = std::min(kTasksOfThread, nMost / nThreads);
    return {nEach > 0 ? nEach * nThreads : nMost, false};
}

/// The part of the rows of a square that hold a part of its triangle.
double PartBefore(Triangle triangle, double dArea) {
    if (triangle == Triangle::kLower) return std::sqrt(dArea);
    return triangle == Triangle::kUpper ? 1.0 - std::sqrt(1.0 - dArea) : dArea;
}

// By columns where there are enough of them: each thread then packs its own part of B, and of A,
// which is packed again for every few columns anyway, hardly more than one thread does.
void AddTo(To to, const Product& product) {
    const int nThreads = Operations(product) < kWorthThreads ? 1 : Threads();
    const bool fByColumns =
        product.triangle == Triangle::kWhole &&
        (product.nColumns >= kFewestColumns * nThreads || product.nColumns > product.nRows);
    const int nLength = fByColumns ? product.nColumns : product.nRows;
    const int nFewest = fByColumns                             ? kFewestColumns
                        : product.triangle == Triangle::kWhole ? kFewestRows
                                                               : kFewestRowsOfTriangle;
    const Shares shares = ShareOut(nLength / nFewest, nThreads);
    const int nTasks = shares.nTasks;
    if (nTasks < 2) return AddPart(product, to);
    const int nWhole = fByColumns ? kWholeColumns : kWholeRows;
    const auto From = [&](int i) {
        const double d = PartBefore(product.triangle, shares.Before(i));
        return i < nTasks ? static_cast<int>(d * nLength) / nWhole * nWhole : nLength;
    };
    ForEachTask(nTasks, [&](int i) {
        if (fByColumns)
            AddPart(PartOf(product, 0, product.nRows, From(i), From(i + 1)), to);
        else
            AddRowsOf(product, From(i), From(i + 1), to);
    });
}

}  // namespace

void AddProduct(const Product& product) {
    AddTo(To::kPresent, product);
}

void MakeProduct(const Product& product) {
    AddTo(To::kCleared, product);
}

void Multiply(int nRows, int nInner, int nColumns, const double* mA, const double* mB, double* mC) {
    AddTo(To::kCleared,
          {nRows, nInner, nColumns, Plain(mA, nInner), Plain(mB, nColumns), mC, nColumns});
}

void MultiplyByTransposed(int nRows, int nInner, int nColumns, const double* mA, const double* mB,
                          double* mC) {
    AddTo(To::kCleared,
          {nRows, nInner, nColumns, Plain(mA, nInner), Transposed(mB, nInner), mC, nColumns});
}

void MultiplyTransposed(int nRows, int nInner, int nColumns, const double* mA, const double* mB,
                        double* mC) {
    AddTo(To::kCleared,
          {nRows, nInner, nColumns, Transposed(mA, nRows), Plain(mB, nColumns), mC, nColumns});
}

void SubtractTransposed(int n, const double* mX, double* mC) {
    constexpr int kBlock = 16;  // two blocks of this side stay in the first cache
    ForEachStrip(n, [&](int, int nFirst, int nEnd) {
        for (int i0 = nFirst; i0 < nEnd; i0 += kBlock) {
            for (int j0 = 0; j0 <= i0; j0 += kBlock) {
                for (int i = i0; i < std::min(nEnd, i0 + kBlock); ++i) {
                    const double* x = Row(mX, n, i);
                    double* c = Row(mC, n, i);
                    for (int j = j0; j < std::min(i + 1, j0 + kBlock); ++j)
                        c[j] = x[j] - Row(mX, n, j)[i];
                }
            }
        }
    });
}

}  // namespace qsolve
