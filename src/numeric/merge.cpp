#include "numeric/merge.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "numeric/divide.h"
#include "numeric/kernels.h"
#include "numeric/pool.h"
#include "numeric/product.h"
#include "numeric/row.h"
#include "numeric/secular.h"
#include "numeric/trace.h"
#include "numeric/tridiagonal.h"

namespace qsolve {
namespace {

constexpr double kEpsilon = std::numeric_limits<double>::epsilon() / 2.0;
constexpr int kWorthThreads = 200;  ///< order from which the threads share a merging
constexpr int kChunk = 16;          ///< roots, or elements of a vector, that one task finds

/// Where the elements of a vector are not zero.
enum Columns : int { kOfFirst, kOfBoth, kOfSecond };

/// Two parts on their way to one. Rows, columns and values are numbered from the first of the
/// whole; the remaining vectors are those that take part in the merging, the others are deflated.
/// Where the ends of vectors alone are kept, they have two columns, one of either part.
struct Merge {
    const Divide& divide;
    int nFrom, nSize;
    int nOfFirst;  ///< rows of the first part
    double dRho = 0.0;
    int nLeft = 0;        ///< remaining vectors
    int nCounts[3] = {};  ///< of them, by their columns

    bool AreEnds() const { return divide.kept == Kept::kEnds; }
    int Columns() const { return AreEnds() ? 2 : nSize; }
    int ColumnsOfFirst() const { return AreEnds() ? 1 : nOfFirst; }
    int ColumnsOfSecond() const { return Columns() - ColumnsOfFirst(); }
    double* Vector(int i) const { return divide.VectorOf(nFrom, nFrom + i); }
    double& Value(int i) const { return divide.vValues[nFrom + i]; }
    double* Scratch(int i) const { return Row(divide.vWork, divide.n, i) + nFrom; }
    int* Indices(int i) const { return divide.vIndex + i * divide.n + nFrom; }

    double* Z() const { return Scratch(0); }        ///< by row
    double* Poles() const { return Scratch(1); }    ///< remaining values, ascending
    double* Squares() const { return Scratch(2); }  ///< of z, in their order
    double* Weights() const { return Scratch(3); }  ///< z that the roots belong to exactly
    double* PolesBy() const { return Scratch(4); }  ///< the poles by columns
    double* WeightsBy() const { return Scratch(5); }
    double* Shifts() const { return Scratch(6); }  ///< of the roots
    double* Rest() const { return Scratch(7); }    ///< deflated values
    int* Rows() const { return Indices(0); }       ///< remaining rows ascending, then deflated ones
    int* Kinds() const { return Indices(1); }      ///< columns by row; then: place by columns
    int* Origins() const { return Indices(2); }    ///< of the roots
    int* Sorted() const { return Indices(3); }     ///< all rows by value

    // What the products work on, in the rows of the scratch matrices that are these parts' own.
    double* Upper() const { return Row(divide.mWork, divide.n, nFrom); }
    double* Lower() const {
        return Upper() + Area(nCounts[kOfFirst] + nCounts[kOfBoth], ColumnsOfFirst());
    }
    double* Deflated() const {
        return Lower() + Area(nCounts[kOfBoth] + nCounts[kOfSecond], ColumnsOfSecond());
    }
    double* Secular() const { return Row(divide.mSecular, divide.n, nFrom); }
    static std::size_t Area(int nRows, int nColumns) {
        return static_cast<std::size_t>(nRows) * static_cast<std::size_t>(nColumns);
    }
};

/// z of rho z z^T, of unit length: the last column of the first part, the first of the second. Ends
/// of vectors become those that they have in the whole.
void FillZ(Merge& merge) {
    const double dOff = merge.divide.vOff[merge.nFrom + merge.nOfFirst - 1];
    merge.dRho = 2.0 * std::abs(dOff);
    const double dScale = std::sqrt(0.5), dSecond = std::copysign(dScale, dOff);
    for (int i = 0; i < merge.nSize; ++i) {
        const bool fFirst = i < merge.nOfFirst;
        double* x = merge.Vector(i);
        double& dInner =
            merge.AreEnds() ? x[fFirst ? 1 : 0] : x[fFirst ? merge.nOfFirst - 1 : merge.nOfFirst];
        merge.Z()[i] = (fFirst ? dScale : dSecond) * dInner;
        if (merge.AreEnds()) dInner = 0.0;
        merge.Kinds()[i] = fFirst ? kOfFirst : kOfSecond;
    }
}

/// All rows in the order of their values, of which each part has its own sorted.
void SortRows(const Merge& merge, int* vRows) {
    int a = 0, b = merge.nOfFirst;
    for (int i = 0; i < merge.nSize; ++i) {
        const bool fFirst =
            b == merge.nSize || (a < merge.nOfFirst && !(merge.Value(b) < merge.Value(a)));
        vRows[i] = fFirst ? a++ : b++;
    }
}

/// Turns the vectors of two close values so that one of them is left out of z. Returns false, and
/// does nothing, if what that takes out of the matrix is more than dTolerance.
bool TurnOut(const Merge& merge, int i, int j, double dTolerance) {
    double &zi = merge.Z()[i], &zj = merge.Z()[j], &di = merge.Value(i), &dj = merge.Value(j);
    const double r = std::sqrt(zi * zi + zj * zj), c = zj / r, s = -zi / r;
    if (!(std::abs((dj - di) * c * s) <= dTolerance)) return false;
    kernels->Rotate(merge.Columns(), c, s, merge.Vector(i), merge.Vector(j));
    zi = 0.0;
    zj = r;
    const double dOut = di * c * c + dj * s * s;
    dj = di * s * s + dj * c * c;
    di = dOut;
    if (merge.Kinds()[i] != merge.Kinds()[j]) merge.Kinds()[j] = kOfBoth;
    return true;
}

/// The largest element of z or of the values, which rounding is measured by.
double Size(const Merge& merge) {
    double dLargest = 0.0;
    for (int i = 0; i < merge.nSize; ++i)
        dLargest = std::max({dLargest, std::abs(merge.Value(i)), std::abs(merge.Z()[i])});
    return dLargest;
}

/// Finds the vectors that the merging leaves as they are: those that z does not touch, and one of
/// two with nearly equal values. Rows() becomes the remaining ones, ascending, and after them the
/// others.
void Deflate(Merge& merge) {
    int* vRows = merge.Sorted();
    SortRows(merge, vRows);
    const double dTolerance = 8.0 * kEpsilon * Size(merge);
    int nLeft = 0, nOut = 0, nLast = -1;  // the last one may still be turned out
    int *pLeft = merge.Rows(), *pOut = merge.Origins();
    for (int m = 0; m < merge.nSize; ++m) {
        const int i = vRows[m];
        if (!(merge.dRho * std::abs(merge.Z()[i]) > dTolerance)) {
            pOut[nOut++] = i;
            continue;
        }
        if (nLast >= 0 && TurnOut(merge, nLast, i, dTolerance))
            pOut[nOut++] = nLast;
        else if (nLast >= 0)
            pLeft[nLeft++] = nLast;
        nLast = i;
    }
    if (nLast >= 0) pLeft[nLeft++] = nLast;
    for (int m = 0; m < nOut; ++m) {  // nearly sorted
        int k = m;
        for (; k > 0 && merge.Value(pOut[m]) < merge.Value(pLeft[nLeft + k - 1]); --k)
            pLeft[nLeft + k] = pLeft[nLeft + k - 1];
        pLeft[nLeft + k] = pOut[m];
    }
    merge.nLeft = nLeft;
}

/// Packs the remaining vectors by columns, so that the products skip what is zero, and puts the
/// deflated ones aside. Kinds() becomes the place of each remaining vector by columns.
void Pack(Merge& merge) {
    const int n1 = merge.ColumnsOfFirst(), n2 = merge.ColumnsOfSecond(), nColumns = n1 + n2;
    for (int m = 0; m < merge.nLeft; ++m) ++merge.nCounts[merge.Kinds()[merge.Rows()[m]]];
    int next[3] = {0, merge.nCounts[kOfFirst], merge.nCounts[kOfFirst] + merge.nCounts[kOfBoth]};
    int* vPlaces = merge.Origins();
    for (int m = 0; m < merge.nLeft; ++m) vPlaces[m] = next[merge.Kinds()[merge.Rows()[m]]]++;
    ForEachTaskIf(
        merge.nSize >= kWorthThreads, (merge.nSize + kChunk - 1) / kChunk, [&](int nTask) {
            const int nEnd = std::min(merge.nSize, (nTask + 1) * kChunk);
            for (int m = nTask * kChunk; m < nEnd; ++m) {
                const double* x = merge.Vector(merge.Rows()[m]);
                if (m >= merge.nLeft) {
                    std::copy_n(x, nColumns, Row(merge.Deflated(), nColumns, m - merge.nLeft));
                    continue;
                }
                const int nKind = merge.Kinds()[merge.Rows()[m]], nPlace = vPlaces[m];
                if (nKind != kOfSecond) std::copy_n(x, n1, Row(merge.Upper(), n1, nPlace));
                if (nKind != kOfFirst)
                    std::copy_n(x + n1, n2,
                                Row(merge.Lower(), n2, nPlace - merge.nCounts[kOfFirst]));
            }
        });
    for (int m = 0; m < merge.nSize; ++m) {
        const int i = merge.Rows()[m];
        if (m >= merge.nLeft) {
            merge.Rest()[m - merge.nLeft] = merge.Value(i);
            continue;
        }
        merge.Poles()[m] = merge.Value(i);
        merge.Squares()[m] = merge.Z()[i] * merge.Z()[i];
        merge.Weights()[m] = merge.Z()[i];
    }
    std::copy_n(vPlaces, merge.nLeft, merge.Kinds());
}

/// Finds all roots.
void FindRoots(const Merge& merge) {
    const Secular secular{merge.nLeft, merge.dRho, merge.Poles(), merge.Squares()};
    ForEachTaskIf(merge.nSize >= kWorthThreads, (merge.nLeft + kChunk - 1) / kChunk,
                  [&](int nTask) {
                      const int nEnd = std::min(merge.nLeft, (nTask + 1) * kChunk);
                      for (int j = nTask * kChunk; j < nEnd; ++j) {
                          const Root root = FindRoot(secular, j);
                          merge.Origins()[j] = root.nOrigin;
                          merge.Shifts()[j] = root.dShift;
                      }
                  });
}

/// The z whose roots are exactly those found, which makes their vectors orthogonal.
void FillWeights(const Merge& merge) {
    const int nLeft = merge.nLeft;
    const double* d = merge.Poles();
    constexpr int kWeights = 4 * kChunk;
    ForEachTaskIf(merge.nSize >= kWorthThreads, (nLeft + kWeights - 1) / kWeights, [&](int nTask) {
        const int a = nTask * kWeights, b = std::min(nLeft, a + kWeights);
        double w[kWeights];
        std::fill_n(w, b - a, 1.0);
        for (int j = 0; j < nLeft; ++j) {
            const double dOrigin = d[merge.Origins()[j]], dShift = merge.Shifts()[j];
            const int nBelow = std::clamp(j, a, b), nAbove = std::clamp(j + 1, a, b);
            kernels->MultiplyRatios(nBelow - a, d + a, dOrigin, dShift, d[j], w);
            if (nBelow < nAbove) w[j - a] *= (d[j] - dOrigin) - dShift;
            kernels->MultiplyRatios(b - nAbove, d + nAbove, dOrigin, dShift, d[j], w + nAbove - a);
        }
        for (int i = a; i < b; ++i) {
            const double z = std::copysign(std::sqrt(std::abs(w[i - a])), merge.Weights()[i]);
            merge.Weights()[i] = z;
            merge.PolesBy()[merge.Kinds()[i]] = d[i];
            merge.WeightsBy()[merge.Kinds()[i]] = z;
        }
    });
}

/// Of vector j of the whole its ends, from what it is made of.
void MakeEnds(const Merge& merge, const double* s, int j) {
    const int nSkipped = merge.nCounts[kOfFirst];
    double* x = merge.Vector(j);
    x[0] = Dot(nSkipped + merge.nCounts[kOfBoth], s, merge.Upper());
    x[1] = Dot(merge.nLeft - nSkipped, s + nSkipped, merge.Lower());
}

/// Remaining vectors nBegin .. nEnd - 1 of the whole, in rows of the same numbers.
void MakeVectors(const Merge& merge, int nBegin, int nEnd) {
    const int nLeft = merge.nLeft, n = merge.divide.n, n1 = merge.nOfFirst, n2 = merge.nSize - n1;
    ForEachTaskIf(
        merge.nSize >= kWorthThreads, (nEnd - nBegin + kChunk - 1) / kChunk, [&](int nTask) {
            const int nStop = std::min(nEnd, nBegin + (nTask + 1) * kChunk);
            for (int j = nBegin + nTask * kChunk; j < nStop; ++j) {
                double* s = Row(merge.Secular(), nLeft, j);
                const double dSquare =
                    kernels->FillPoles(nLeft, merge.PolesBy(), merge.WeightsBy(),
                                       merge.Poles()[merge.Origins()[j]], merge.Shifts()[j], s);
                const double dFactor = 1.0 / std::sqrt(dSquare);
                for (int i = 0; i < nLeft; ++i) s[i] *= dFactor;
                if (merge.AreEnds())
                    MakeEnds(merge, s, j);
                else
                    std::fill_n(merge.Vector(j), merge.nSize, 0.0);
            }
        });
    if (merge.AreEnds()) return;
    const int nUpper = merge.nCounts[kOfFirst] + merge.nCounts[kOfBoth];
    const int nSkipped = merge.nCounts[kOfFirst], nRows = nEnd - nBegin;
    const double* mS = Row(merge.Secular(), nLeft, nBegin);
    double* pTo = merge.Vector(nBegin);
    AddProduct({nRows, nUpper, n1, Plain(mS, nLeft), Plain(merge.Upper(), n1), pTo, n});
    AddProduct({nRows, nLeft - nSkipped, n2, Plain(mS + nSkipped, nLeft), Plain(merge.Lower(), n2),
                pTo + n1, n});
}

/// Puts the values of all in order. Sorted() becomes, place by place, the number of a remaining
/// one, or -1 less that of a deflated one. A remaining one never stands before the place of its
/// number.
void OrderValues(const Merge& merge) {
    int j = merge.nLeft - 1, k = merge.nSize - merge.nLeft - 1;
    for (int i = merge.nSize - 1; i >= 0; --i) {
        const double dRoot = j < 0 ? 0.0 : merge.Poles()[merge.Origins()[j]] + merge.Shifts()[j];
        const bool fRoot = j >= 0 && (k < 0 || !(merge.Rest()[k] > dRoot));
        merge.Value(i) = fRoot ? dRoot : merge.Rest()[k];
        merge.Sorted()[i] = fRoot ? j-- : -1 - k--;
    }
}

/// Makes the vectors of the places nFirst .. nLast - 1.
void PlaceVectors(const Merge& merge, int nFirst, int nLast) {
    int nBegin = merge.nLeft, nEnd = 0;
    for (int i = nFirst; i < nLast; ++i) {
        if (merge.Sorted()[i] < 0) continue;
        nBegin = std::min(nBegin, merge.Sorted()[i]);
        nEnd = merge.Sorted()[i] + 1;
    }
    if (nBegin < nEnd) MakeVectors(merge, nBegin, nEnd);
    for (int i = nLast - 1; i >= nFirst; --i) {  // from the last on: nobody is trodden on
        const int j = merge.Sorted()[i];
        const double* x = j >= 0 ? merge.Vector(j) : Row(merge.Deflated(), merge.Columns(), -1 - j);
        if (j != i) std::copy_n(x, merge.Columns(), merge.Vector(i));
    }
}

}  // namespace

void MergePair(const Divide& divide, int nFrom, int nMiddle, int nTo) {
    Merge merge{divide, nFrom, nTo - nFrom, nMiddle - nFrom};
    FillZ(merge);
    Deflate(merge);
    Pack(merge);
    FindRoots(merge);
    OrderValues(merge);
    int nFirst = 0, nEnd = merge.nSize;
    if (merge.nSize == divide.n) {
        nFirst = divide.nFirst;
        nEnd = divide.nEnd;
        WidenRange(divide.n, divide.vValues, nFirst, nEnd);
    }
    if (nFirst >= nEnd) return;
    FillWeights(merge);
    PlaceVectors(merge, nFirst, nEnd);
}

}  // namespace qsolve
