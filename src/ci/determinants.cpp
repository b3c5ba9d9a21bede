#include "ci/determinants.h"

#include <algorithm>
#include <cstddef>
#include <limits>

#include "link/link.h"
#include "setup/validate_ci.h"

namespace qsolve {
namespace {

constexpr int kNone = -1;

std::size_t Size(int n) {
    return static_cast<std::size_t>(n);
}

/// A number of configurations or rows, which are counted by an int.
int Countable(long long n) {
    if (n < 0 || n > std::numeric_limits<int>::max()) Fatal(kMsgOutOfMemory);
    return static_cast<int>(n);
}

/// Calls visit(hole, particle) for each excitation of one spin out of its nOccupied lowest levels.
template <class Visit>
void ForEachExcitation(const CiWindow& window, const double* vLevel, int nOccupied, Visit visit) {
    const double* e = vLevel + window.nBelow;
    for (int i = nOccupied - 1; i >= 0; --i)
        for (int j = nOccupied; j < window.nLevels; ++j)
            if (e[j] - e[i] <= window.dLimit) visit(i, j);
}

/// The reference row of one spin and its excitations.
void FillExcitedRows(const CiWindow& window, const double* vLevel, int nOccupied, SpinRows& rows) {
    long long nCount = 1;
    ForEachExcitation(window, vLevel, nOccupied, [&](int, int) { ++nCount; });
    TakeRows(Countable(nCount), window.nLevels, rows);
    for (int r = 0; r < rows.nRows; ++r)
        for (int i = 0; i < nOccupied; ++i) Occupy(rows, r, i);
    int r = 0;
    ForEachExcitation(window, vLevel, nOccupied, [&](int nHole, int nParticle) {
        ++r;
        Vacate(rows, r, nHole);
        Occupy(rows, r, nParticle);
    });
}

void FillMicrostateRows(int nElectrons, int nLevels, MessageId error, SpinRows& rows) {
    const int nExpected = Countable(Combinations(nLevels, nElectrons));
    TakeRows(nExpected, nLevels, rows);
    int nCount = 0;
    GenerateMicrostates(rows, nElectrons, nLevels, nCount);
    if (nCount != nExpected) Fatal(error);
}

/// Alpha electrons to the right of each beta electron stand behind it in one order and before it in
/// the other.
signed char ParityOf(const Determinants& d, int nAlphaRow, int nBetaRow) {
    int nBetaBefore = 0, nExchanges = 0;
    for (int i = 0; i < d.nLevels; ++i) {
        if (IsOccupied(d.mOccAlpha, nAlphaRow, i)) nExchanges += nBetaBefore;
        if (IsOccupied(d.mOccBeta, nBetaRow, i)) ++nBetaBefore;
    }
    return nExchanges % 2 == 0 ? 1 : -1;
}

void TakeConfigurations(const CiWindow& window, long long nConfigs, Determinants& d) {
    d.nLevels = window.nLevels;
    d.nAlpha = window.nAlphaRef;
    d.nBeta = window.nBetaRef;
    d.nConfigs = Countable(nConfigs);
    d.vAlphaRow.Take(Size(d.nConfigs), kWork);
    d.vBetaRow.Take(Size(d.nConfigs), kWork);
    d.vParity.Take(Size(d.nConfigs), kWork);
    d.vConfigOf.Take(Size(d.mOccAlpha.nRows), Size(d.mOccBeta.nRows), kWork);
    std::fill(d.vConfigOf.begin(), d.vConfigOf.end(), kNone);
}

void SetConfiguration(Determinants& d, int k, int nAlphaRow, int nBetaRow) {
    d.vAlphaRow[k] = nAlphaRow;
    d.vBetaRow[k] = nBetaRow;
    d.vParity[k] = ParityOf(d, nAlphaRow, nBetaRow);
    d.vConfigOf[Size(nAlphaRow) * Size(d.mOccBeta.nRows) + Size(nBetaRow)] = k;
}

}  // namespace

void PlaceSingles(const CiWindow& window, const double* vLevel, Determinants& d) {
    FillExcitedRows(window, vLevel, window.nAlphaRef, d.mOccAlpha);
    FillExcitedRows(window, vLevel, window.nBetaRef, d.mOccBeta);
    const int nAlphaRows = d.mOccAlpha.nRows, nBetaRows = d.mOccBeta.nRows;
    TakeConfigurations(window, static_cast<long long>(nAlphaRows) + nBetaRows - 1, d);
    for (int a = 0; a < nAlphaRows; ++a) SetConfiguration(d, a, a, 0);
    for (int b = 1; b < nBetaRows; ++b) SetConfiguration(d, nAlphaRows - 1 + b, 0, b);
}

long long CountMicrostates(const CiWindow& window) {
    long long nCount = 0;
    const bool fTooMany =
        __builtin_mul_overflow(Combinations(window.nLevels, window.nAlphaRef),
                               Combinations(window.nLevels, window.nBetaRef), &nCount);
    return fTooMany ? std::numeric_limits<long long>::max() : nCount;
}

void PlaceMicrostates(const CiWindow& window, Determinants& d) {
    FillMicrostateRows(window.nBetaRef, window.nLevels, kMsgMicrostateErrorBeta, d.mOccBeta);
    FillMicrostateRows(window.nAlphaRef, window.nLevels, kMsgMicrostateErrorAlpha, d.mOccAlpha);
    const int nAlphaRows = d.mOccAlpha.nRows, nBetaRows = d.mOccBeta.nRows;
    TakeConfigurations(window, static_cast<long long>(nAlphaRows) * nBetaRows, d);
    for (int a = 0; a < nAlphaRows; ++a)
        for (int b = 0; b < nBetaRows; ++b) SetConfiguration(d, a * nBetaRows + b, a, b);
}

}  // namespace qsolve
