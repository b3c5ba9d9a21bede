#pragma once

#include <cstddef>

#include "ci/determinants.h"
#include "link/link.h"

/// Pairs of configurations that an operator of one or two electrons connects, from lists of the
/// rows of each spin, and without comparing configurations.

namespace qsolve {

enum class MovedSpin { kAlpha, kBeta };

/// One electron moves from nHole to nParticle and makes row nRow of another one.
struct Move {
    int nRow, nHole, nParticle, nSign;
};

/// A list for each of several numbers: entries vStart[i] .. vStart[i + 1] - 1.
template <class T>
struct Lists {
    Array<std::size_t> vStart;
    Array<T> pEntries;

    const T* begin(int i) const { return pEntries.Data() + vStart[i]; }
    const T* end(int i) const { return pEntries.Data() + vStart[i + 1]; }
};

/// Makes lists of their lengths, which stand in vStart[i + 1]. What goes into list i is then to be
/// put at vNext[i]++. Without memory: Fatal.
template <class T>
void TakeEntries(int nLists, Lists<T>& lists, Array<std::size_t>& vNext) {
    for (int i = 0; i < nLists; ++i) lists.vStart[i + 1] += lists.vStart[i];
    lists.pEntries.Take(lists.vStart[nLists], kWork);
    vNext.Take(static_cast<std::size_t>(nLists), kWork);
    for (int i = 0; i < nLists; ++i) vNext[i] = lists.vStart[i];
}

/// What the walks over pairs need beside the configurations.
struct ConfigLists {
    Lists<int> AlphaGroups, BetaGroups;  ///< by row: the configurations that have it
    Lists<Move> AlphaMoves, BetaMoves;   ///< by row: the rows that one electron's move leads to
};

/// Fills the lists. Without memory: Fatal. Yields.
void FillLists(const Determinants& d, ConfigLists& lists);

/// Calls visit(k, q, spin, move) once for each pair of configurations of which one electron's move
/// makes q of k. The sign of the move is that of the determinants. Yields.
template <class Visit>
void ForEachSingle(const Determinants& d, const ConfigLists& lists, Visit visit) {
    for (int k = 0; k < d.nConfigs; ++k) {
        const int a = d.vAlphaRow[k], b = d.vBetaRow[k];
        const auto Offer = [&](MovedSpin spin, Move move, int q) {
            if (q < 0) return;
            move.nSign *= d.vParity[k] * d.vParity[q];
            visit(k, q, spin, move);
        };
        for (const Move* p = lists.AlphaMoves.begin(a); p != lists.AlphaMoves.end(a); ++p)
            if (p->nRow < a) Offer(MovedSpin::kAlpha, *p, ConfigOf(d, p->nRow, b));
        for (const Move* p = lists.BetaMoves.begin(b); p != lists.BetaMoves.end(b); ++p)
            if (p->nRow < b) Offer(MovedSpin::kBeta, *p, ConfigOf(d, a, p->nRow));
        Yield(1);
    }
}

/// Calls visit(k, q, difference) for each pair that differs in two electrons of one spin, once.
/// Yields.
template <class Visit>
void ForEachDoubleOfOneSpin(const Determinants& d, const ConfigLists& lists, Visit visit) {
    const auto Walk = [&](const SpinRows& rows, const Lists<int>& groups, auto partner) {
        for (int r = 0; r < rows.nRows; ++r)
            for (int s = 0; s < r; ++s) {
                const Difference difference = Compare(rows, r, s);
                if (difference.nOrder != 2) continue;
                for (const int* k = groups.begin(r); k != groups.end(r); ++k) {
                    const int q = partner(*k, s);
                    if (q < 0) continue;
                    Difference pair = difference;
                    pair.nSign *= d.vParity[*k] * d.vParity[q];
                    visit(*k, q, pair);
                }
                Yield(1);
            }
    };
    Walk(d.mOccAlpha, lists.AlphaGroups,
         [&](int k, int s) { return ConfigOf(d, s, d.vBetaRow[k]); });
    Walk(d.mOccBeta, lists.BetaGroups,
         [&](int k, int s) { return ConfigOf(d, d.vAlphaRow[k], s); });
}

/// Calls visit(k, q, alpha move, beta move, sign) for each pair that differs in one electron of
/// either spin, once. Yields.
template <class Visit>
void ForEachDoubleOfBothSpins(const Determinants& d, const ConfigLists& lists, Visit visit) {
    for (int k = 0; k < d.nConfigs; ++k) {
        const int a = d.vAlphaRow[k], b = d.vBetaRow[k];
        for (const Move* i = lists.AlphaMoves.begin(a); i != lists.AlphaMoves.end(a); ++i) {
            if (i->nRow > a) continue;
            for (const Move* j = lists.BetaMoves.begin(b); j != lists.BetaMoves.end(b); ++j) {
                const int q = ConfigOf(d, i->nRow, j->nRow);
                if (q < 0) continue;
                visit(k, q, *i, *j, i->nSign * j->nSign * d.vParity[k] * d.vParity[q]);
            }
        }
        Yield(1);
    }
}

}  // namespace qsolve
