#include "symmetry/labels.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "numeric/row.h"

namespace qsolve {
namespace {

/// Sums of characters this close to those of a species in every class are of that species.
constexpr double kMatch = 0.1;

/// Levels that wait for the rest of their set. No species is more than five-fold degenerate.
constexpr int kMostWaiting = 9;

struct Waiting {
    int nCount = 0;
    int vLevels[kMostWaiting];
};

/// The species that the sum over some levels is; -1 for none.
int SpeciesOfSum(const CharacterTable& table, const double* mCharacters, const int* vLevels,
                 int nLevels) {
    double dSum[kMostClasses] = {};
    for (int k = 0; k < nLevels; ++k) {
        const double* row = Row(mCharacters, table.nClasses, vLevels[k]);
        for (int c = 0; c < table.nClasses; ++c) dSum[c] += row[c];
    }
    for (int s = 0; s < table.nSpecies; ++s) {
        const double* row = table.Rows[s].dCharacter;
        if (std::equal(dSum, dSum + table.nClasses, row,
                       [](double a, double b) { return std::abs(a - b) < kMatch; }))
            return s;
    }
    return -1;
}

void Append(int nLevel, Waiting& waiting) {
    if (waiting.nCount == kMostWaiting) {
        std::copy(waiting.vLevels + 1, waiting.vLevels + kMostWaiting, waiting.vLevels);
        --waiting.nCount;
    }
    waiting.vLevels[waiting.nCount++] = nLevel;
}

}  // namespace

void SetDefaultLabels(int n, char (*sLabels)[4], int* vNumbers) {
    for (int k = 0; k < n; ++k) {
        std::memcpy(sLabels[k], "  ?", sizeof sLabels[k]);
        vNumbers[k] = k + 1;
    }
}

bool AssignSpecies(const CharacterTable& table, int n, const double* mCharacters,
                   char (*sLabels)[4], int* vNumbers) {
    int nOfSpecies[kMostSpecies] = {};
    const auto Label = [&](const int* vLevels, int nLevels, int nSpecies) {
        ++nOfSpecies[nSpecies];
        for (int k = 0; k < nLevels; ++k) {
            std::memcpy(sLabels[vLevels[k]], table.Rows[nSpecies].sLabel, sizeof sLabels[0]);
            vNumbers[vLevels[k]] = nOfSpecies[nSpecies];
        }
    };
    Waiting waiting;
    bool fAll = true;
    for (int k = 0; k < n; ++k) {
        const int nOwn = SpeciesOfSum(table, mCharacters, &k, 1);
        if (nOwn >= 0) {
            Label(&k, 1, nOwn);
            continue;
        }
        fAll = fAll && waiting.nCount < kMostWaiting;
        Append(k, waiting);
        for (int nFirst = 0; nFirst < waiting.nCount; ++nFirst) {
            const int *vTail = waiting.vLevels + nFirst, nTail = waiting.nCount - nFirst;
            const int nSpecies = SpeciesOfSum(table, mCharacters, vTail, nTail);
            if (nSpecies < 0) continue;
            Label(vTail, nTail, nSpecies);
            waiting.nCount = nFirst;
        }
    }
    return fAll && waiting.nCount == 0;
}

}  // namespace qsolve
