#include <cstddef>

#include "exchange/results.h"
#include "job/state.h"
#include "link/link.h"

namespace qsolve {

void SendVibrations() {
    const ModeResults& modes = results.Modes;
    const int n = modes.nModes;
    const std::size_t nCoordinates = static_cast<std::size_t>(n);
    SendPacket(kPacketData, &n, sizeof n);
    SendChunked(kPacketData, modes.Records.Data(), modes.Records.Size() * sizeof(ModeRecord));
    Array<float> mRows;
    mRows.Take(nCoordinates, nCoordinates, kWork);
    ScatterGradientRows(modes.mModes.Data(), mRows.Data(), n);
    SendPacket(kPacketData, &n, sizeof n);
    SendChunked(kPacketData, mRows.Data(), mRows.Size() * sizeof(float));
}

}  // namespace qsolve
