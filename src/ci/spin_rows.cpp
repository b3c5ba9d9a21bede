#include "ci/spin_rows.h"

#include <bit>

namespace qsolve {
namespace {

constexpr int kMostElectrons = 20;
constexpr int kMostMoved = 2;

/// Electrons of a row below a level.
int ElectronsBelow(const SpinRows& rows, int nRow, int nLevel) {
    const std::uint64_t* p = rows.At(nRow);
    int nCount = 0;
    for (int w = 0; w < nLevel / 64; ++w) nCount += std::popcount(p[w]);
    const std::uint64_t nMask = (std::uint64_t{1} << (nLevel % 64)) - 1;
    return nCount + std::popcount(p[nLevel / 64] & nMask);
}

/// Levels that are set in a and not in b, ascending; returns their number, of which two are stored.
int LevelsOnlyIn(int nWords, const std::uint64_t* a, const std::uint64_t* b, int* vLevels) {
    int nCount = 0;
    for (int w = 0; w < nWords; ++w)
        for (std::uint64_t nLeft = a[w] & ~b[w]; nLeft != 0; nLeft &= nLeft - 1) {
            if (nCount < kMostMoved) vLevels[nCount] = 64 * w + std::countr_zero(nLeft);
            ++nCount;
        }
    return nCount;
}

/// Moves the positions to their next combination; false behind the last one.
bool Advance(int nElectrons, int nLevels, int* vPosition) {
    int i = nElectrons - 1;
    while (i >= 0 && vPosition[i] == nLevels - nElectrons + i) --i;
    if (i < 0) return false;
    ++vPosition[i];
    for (int k = i + 1; k < nElectrons; ++k) vPosition[k] = vPosition[k - 1] + 1;
    return true;
}

}  // namespace

void TakeRows(int nRows, int nLevels, SpinRows& rows) {
    rows.nRows = nRows;
    rows.nWords = (nLevels + 63) / 64;
    rows.mBits.Take(static_cast<std::size_t>(nRows), static_cast<std::size_t>(rows.nWords), kWork);
}

void GenerateMicrostates(SpinRows& rows, int nElectrons, int nLevels, int& nCount) {
    nCount = 0;
    if (nElectrons < 0 || nElectrons > nLevels || nElectrons > kMostElectrons) return;
    int vPosition[kMostElectrons];
    for (int i = 0; i < nElectrons; ++i) vPosition[i] = i;
    do {
        if (nCount == rows.nRows) return;
        for (int i = 0; i < nElectrons; ++i) Occupy(rows, nCount, vPosition[i]);
        ++nCount;
    } while (Advance(nElectrons, nLevels, vPosition));
}

Difference Compare(const SpinRows& rows, int r, int s) {
    Difference difference;
    difference.nOrder = LevelsOnlyIn(rows.nWords, rows.At(r), rows.At(s), difference.nHole);
    if (difference.nOrder > kMostMoved) {
        difference.nOrder = kMostMoved + 1;
        return difference;
    }
    LevelsOnlyIn(rows.nWords, rows.At(s), rows.At(r), difference.nParticle);
    int nPassed = 0;  // electrons that the moved ones pass, up to a multiple of two
    for (int i = 0; i < difference.nOrder; ++i)
        nPassed += ElectronsBelow(rows, r, difference.nHole[i]) +
                   ElectronsBelow(rows, s, difference.nParticle[i]);
    if (nPassed % 2 != 0) difference.nSign = -1;
    return difference;
}

}  // namespace qsolve
