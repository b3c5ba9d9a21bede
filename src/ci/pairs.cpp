#include "ci/pairs.h"

#include <cstddef>

namespace qsolve {
namespace {

std::size_t Size(int n) {
    return static_cast<std::size_t>(n);
}

void FillGroups(int nRows, const Array<int>& vRow, Lists<int>& groups) {
    groups.vStart.Take(Size(nRows) + 1, kWork);
    for (const int nRow : vRow) ++groups.vStart[nRow + 1];
    Array<std::size_t> vNext;
    TakeEntries(nRows, groups, vNext);
    int k = 0;
    for (const int nRow : vRow) groups.pEntries[vNext[nRow]++] = k++;
}

/// Calls visit(r, s, difference) for every two rows that differ in one electron.
template <class Visit>
void ForEachNeighbour(const SpinRows& rows, Visit visit) {
    for (int r = 0; r < rows.nRows; ++r)
        for (int s = 0; s < r; ++s) {
            const Difference difference = Compare(rows, r, s);
            if (difference.nOrder == 1) visit(r, s, difference);
            Yield(1);
        }
}

void FillMoves(const SpinRows& rows, Lists<Move>& moves) {
    moves.vStart.Take(Size(rows.nRows) + 1, kWork);
    ForEachNeighbour(rows, [&](int r, int s, const Difference&) {
        ++moves.vStart[r + 1];
        ++moves.vStart[s + 1];
    });
    Array<std::size_t> vNext;
    TakeEntries(rows.nRows, moves, vNext);
    ForEachNeighbour(rows, [&](int r, int s, const Difference& x) {
        moves.pEntries[vNext[r]++] = {s, x.nHole[0], x.nParticle[0], x.nSign};
        moves.pEntries[vNext[s]++] = {r, x.nParticle[0], x.nHole[0], x.nSign};
    });
}

}  // namespace

void FillLists(const Determinants& d, ConfigLists& lists) {
    FillGroups(d.mOccAlpha.nRows, d.vAlphaRow, lists.AlphaGroups);
    FillGroups(d.mOccBeta.nRows, d.vBetaRow, lists.BetaGroups);
    FillMoves(d.mOccAlpha, lists.AlphaMoves);
    FillMoves(d.mOccBeta, lists.BetaMoves);
}

}  // namespace qsolve
