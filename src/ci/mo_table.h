#pragma once

#include <cstddef>

#include "link/memory.h"

namespace qsolve {

/// Integrals over the levels of a window, by pairs of levels: two levels, in any order, make a
/// pair.
struct MoTable {
    int nPairs = 0;         ///< n (n + 1) / 2
    Array<double> vMoInt;   ///< nPairs x nPairs: (ab|cd) of the pairs ab and cd, unit of the method
    Array<double> mDipole;  ///< 3 x nPairs: <a| -(r - R_0) |b>, e bohr
};

/// Number of the pair of two levels.
constexpr int PairOf(int a, int b) {
    return a > b ? a * (a + 1) / 2 + b : b * (b + 1) / 2 + a;
}

/// (ab|cd)
inline double Integral(const MoTable& table, int a, int b, int c, int d) {
    return table
        .vMoInt[static_cast<std::size_t>(PairOf(a, b)) * static_cast<std::size_t>(table.nPairs) +
                static_cast<std::size_t>(PairOf(c, d))];
}

/// Fills the table for nLevels orbitals, the rows of mActive (nLevels x N). vOrigin is R_0 in the
/// working unit. The charge distribution of each pair and its potential are formed once, and the
/// integrals are products of the two: O(n^2 N^2) and a product of matrices. Tells of the progress
/// on the status line. Without memory: Fatal. Yields.
void FillMoTable(int nLevels, const double* mActive, const double* vOrigin, MoTable& table);

}  // namespace qsolve
