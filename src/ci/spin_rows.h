#pragma once

#include <cstddef>
#include <cstdint>

#include "link/memory.h"

/// The electrons of one spin on the levels of a window.

namespace qsolve {

/// Ways to place the electrons of one spin on n levels, one a row; bit i of a row, counted on
/// through its words, is set where level i is occupied. All rows hold equally many electrons.
struct SpinRows {
    int nRows = 0;
    int nWords = 0;              ///< of a row
    Array<std::uint64_t> mBits;  ///< nRows x nWords

    const std::uint64_t* At(int nRow) const {
        return mBits.Data() + static_cast<std::size_t>(nRow) * static_cast<std::size_t>(nWords);
    }
    std::uint64_t* At(int nRow) {
        return mBits.Data() + static_cast<std::size_t>(nRow) * static_cast<std::size_t>(nWords);
    }
};

/// Takes nRows empty rows over nLevels levels.
void TakeRows(int nRows, int nLevels, SpinRows& rows);

/// Whether a level of a row is occupied, and the setting of it.
inline bool IsOccupied(const SpinRows& rows, int nRow, int nLevel) {
    return (rows.At(nRow)[nLevel / 64] >> (nLevel % 64) & 1U) != 0;
}
inline void Occupy(SpinRows& rows, int nRow, int nLevel) {
    rows.At(nRow)[nLevel / 64] |= std::uint64_t{1} << (nLevel % 64);
}
inline void Vacate(SpinRows& rows, int nRow, int nLevel) {
    rows.At(nRow)[nLevel / 64] &= ~(std::uint64_t{1} << (nLevel % 64));
}

/// Writes a row for each way of placing nElectrons on nLevels levels, ordered by the positions of
/// the electrons, of which the last one moves fastest. nCount becomes the number of rows written;
/// as many as the rows have room for at most.
void GenerateMicrostates(SpinRows& rows, int nElectrons, int nLevels, int& nCount);

/// What makes another row of one: nOrder electrons move from the levels nHole, which only the one
/// occupies, to nParticle, which only the other does, both ascending. nSign is that of the moves in
/// a determinant with its electrons in the order of their levels. Beyond two electrons nOrder is 3,
/// and nothing else is set.
struct Difference {
    int nOrder = 0;
    int nHole[2] = {}, nParticle[2] = {};
    int nSign = 1;
};

/// How row s comes from row r.
Difference Compare(const SpinRows& rows, int r, int s);

}  // namespace qsolve
