#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>

#include "link/link.h"
#include "link/memory.h"
#include "link/packets.h"

/// What the files of the intake share: the checks of single words, and the pull of long tables.

namespace qsolve {

/// Bound of coordinates, Angstrom, and charges, e.
constexpr float kLargestCoordinate = 1e6F;

/// A flag as it is tested everywhere: 0 or 1.
constexpr int AsFlag(int nWord) {
    return nWord != 0 ? 1 : 0;
}

/// The number, or 0 if it is infinite or none.
inline float FiniteOrZero(float fl) {
    return std::isfinite(fl) ? fl : 0.0F;
}

/// A coordinate or charge that arithmetic can be trusted with.
inline bool IsCoordinate(float fl) {
    return std::isfinite(fl) && std::abs(fl) < kLargestCoordinate;
}
inline bool IsCoordinate(double d) {
    return std::isfinite(d) && std::abs(d) < static_cast<double>(kLargestCoordinate);
}

/// nWord + nAdded, held within the range of a word.
constexpr int AddSaturated(int nWord, long long nAdded) {
    const long long nSum = nWord + nAdded;
    return static_cast<int>(std::clamp<long long>(nSum, std::numeric_limits<int>::min(),
                                                  std::numeric_limits<int>::max()));
}

/// Pulls nCount records as one stream of bytes, in packets of at most nPieceBytes. The array
/// doubles as the bytes come, up to nCount records, so that an announced count alone costs nothing.
/// Without memory: Fatal by the phase.
template <class Record>
Array<Record> ReceiveRecords(const char* sStep, std::size_t nCount, std::size_t nPieceBytes,
                             Phase phase) {
    Array<Record> pRecords;
    const std::size_t nBytes = nCount * sizeof(Record);
    for (std::size_t nDone = 0; nDone < nBytes;) {
        const std::size_t nPiece = std::min(nPieceBytes, nBytes - nDone);
        const std::size_t nNeeded = (nDone + nPiece + sizeof(Record) - 1) / sizeof(Record);
        if (nNeeded > pRecords.Size()) {
            Array<Record> pLarger;
            pLarger.Take(std::min(nCount, std::max(nNeeded, 2 * pRecords.Size())), phase);
            std::copy_n(pRecords.begin(), pRecords.Size(), pLarger.begin());
            pRecords = std::move(pLarger);
        }
        unsigned char* pBytes = reinterpret_cast<unsigned char*>(pRecords.Data());
        RequestWhole(sStep, pBytes + nDone, static_cast<int>(nPiece));
        nDone += nPiece;
    }
    return pRecords;
}

}  // namespace qsolve
