#include "platform/posix_frames.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "link/conversation.h"
#include "link/state.h"

namespace qsolve {

namespace {

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "words of the wire are copied as they are");

constexpr std::size_t kLargestBlock = 92400;  ///< parameter block of AM1 and PM3
constexpr std::size_t kItemRoom = 64;
constexpr std::size_t kReadAhead = 65536;  ///< room beyond the largest frame that is usual
constexpr std::size_t kUsualRoom =
    kFrameHead + kItemRoom + sizeof(PacketHeader) + kLargestBlock + kReadAhead;
constexpr std::size_t kUnusualRoom = 4 * kUsualRoom;  ///< more than this is given back
constexpr std::size_t kLargestAnswer = kFrameHead + sizeof(PacketHeader) + kMaxPayload;
constexpr std::size_t kWordAnswer = kFrameHead + 4;
constexpr std::size_t kSentTogether = 16384;  ///< bytes of answers that may wait for the next one
constexpr std::uint32_t kIdle = 0, kInSession = 1;

struct Frame {
    std::uint32_t nCode;
    std::uint32_t nBytes;
    const unsigned char* pBody;
};

void Append(FrameStream& stream, const void* pBytes, std::size_t nBytes) {
    const auto* p = static_cast<const unsigned char*>(pBytes);
    stream.Out.insert(stream.Out.end(), p, p + nBytes);
}

void AppendHead(FrameStream& stream, std::uint32_t nCode, std::size_t nBytes) {
    const std::uint32_t words[2] = {nCode, static_cast<std::uint32_t>(nBytes)};
    Append(stream, words, sizeof words);
}

/// The next frame's head; false while it has not come whole.
bool PeekHead(const FrameStream& stream, Frame& frame) {
    const std::size_t nCame = stream.In.size() - stream.nInUsed;
    if (nCame < kFrameHead) return false;
    const unsigned char* p = stream.In.data() + stream.nInUsed;
    std::memcpy(&frame.nCode, p, 4);
    std::memcpy(&frame.nBytes, p + 4, 4);
    frame.pBody = p + kFrameHead;
    return true;
}

bool IsWhole(const FrameStream& stream, const Frame& frame) {
    return stream.In.size() - stream.nInUsed - kFrameHead >= frame.nBytes;
}

bool Reserve(std::vector<unsigned char>& bytes, std::size_t nBytes) {
    try {
        bytes.reserve(nBytes);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

/// Exchanges the room of an unusual demand, now empty, for the usual one.
void GiveBack(FrameStream& stream) {
    std::vector<unsigned char> usual;
    if (Reserve(usual, kUsualRoom)) stream.In.swap(usual);
}

void Consume(FrameStream& stream, std::size_t nBytes) {
    stream.nInUsed += nBytes;
    if (stream.nInUsed < stream.In.size()) return;
    stream.In.clear();
    stream.nInUsed = 0;
}

/// Length of the first NUL-ended text of a body, the NUL included; 0 where there is none.
std::size_t FirstText(const unsigned char* pBody, std::size_t nBytes) {
    const unsigned char* pEnd = std::find(pBody, pBody + nBytes, '\0');
    return pEnd == pBody + nBytes ? 0 : static_cast<std::size_t>(pEnd - pBody) + 1;
}

bool HandleConnect(FrameStream& stream, const Frame& frame) {
    const std::size_t nService = FirstText(frame.pBody, frame.nBytes);
    if (nService == 0) return false;
    const Name service = CopyName(frame.pBody, nService);
    const Name topic = CopyName(frame.pBody + nService, frame.nBytes - nService);
    const bool fAccepted = OnConnect(service, topic);
    if (fAccepted) OnConnectConfirm();
    AppendWord(stream, kTransactionConnect, fAccepted ? 1 : 0);
    return true;
}

void HandleRequest(FrameStream& stream, const Frame& frame) {
    const Name item = CopyName(frame.pBody, frame.nBytes);
    const bool fAll = IsSessionItem(item);
    if (link.fInSession && (fAll || IsPacketItem(item))) {
        stream.fRequestHeld = true;
        stream.fAllAsked = fAll;
        AnswerWithPacket(stream);
        return;
    }
    AppendWord(stream, kTransactionRequest, link.fInSession ? kInSession : kIdle);
}

bool HandlePoke(FrameStream& stream, const Frame& frame) {
    const std::size_t nItem = FirstText(frame.pBody, frame.nBytes);
    if (nItem == 0) return false;
    const Name item = CopyName(frame.pBody, nItem);
    const unsigned char* pBytes = frame.pBody + nItem;
    const std::size_t nBytes = frame.nBytes - nItem;
    const int nAnswer =
        IsPacketItem(item) ? OnPoke(item, pBytes, nBytes) : OnPokeAhead(item, pBytes, nBytes);
    AppendWord(stream, kTransactionPoke, static_cast<std::uint32_t>(nAnswer));
    return true;
}

/// Whether a frame is for the session that runs, as far as it has come: a poke of what it demands,
/// or the client's farewell.
bool IsForThisSession(const FrameStream& stream, const Frame& frame) {
    if (frame.nCode != kTransactionPoke) return frame.nCode == kTransactionDisconnect;
    const std::size_t nCame = stream.In.size() - stream.nInUsed - kFrameHead;
    const std::size_t nItem = FirstText(frame.pBody, std::min(nCame, std::size_t{frame.nBytes}));
    return nItem == 0 || IsPacketItem(CopyName(frame.pBody, nItem));
}

FrameResult Obey(FrameStream& stream, const Frame& frame) {
    bool fUnderstood = true;
    if (frame.nCode != kTransactionConnect && !link.fConversation) return FrameResult::kViolation;
    switch (frame.nCode) {
        case kTransactionConnect:
            fUnderstood = HandleConnect(stream, frame);
            break;
        case kTransactionRequest:
            HandleRequest(stream, frame);
            break;
        case kTransactionPoke:
            fUnderstood = HandlePoke(stream, frame);
            break;
        case kTransactionExecute:
            AppendWord(stream, kTransactionExecute,
                       static_cast<std::uint32_t>(OnExecute(CopyName(frame.pBody, frame.nBytes))));
            break;
        case kTransactionDisconnect:
            return FrameResult::kClosed;
        default:
            fUnderstood = false;
    }
    return fUnderstood ? FrameResult::kHandled : FrameResult::kViolation;
}

}  // namespace

std::size_t FrameBound() {
    const auto nAsked = static_cast<std::size_t>(std::max(link.nReceiveCapacity, 0));
    const std::size_t nBound = kItemRoom + sizeof(PacketHeader) + std::max(kLargestBlock, nAsked);
    return std::min(nBound, kFrameCeiling);
}

bool MakeRoom(FrameStream& stream, std::size_t nPayload) {
    const std::size_t nFrame = kFrameHead + kItemRoom + sizeof(PacketHeader) + nPayload;
    const std::size_t nRoom = std::clamp(nFrame, kUsualRoom, kFrameHead + kFrameCeiling);
    if (stream.In.empty() && stream.In.capacity() > kUnusualRoom && nRoom == kUsualRoom)
        GiveBack(stream);
    return Reserve(stream.Out, kSentTogether + kLargestAnswer + kWordAnswer) &&
           Reserve(stream.In, nRoom);
}

std::size_t Room(const FrameStream& stream) {
    return stream.In.capacity() - (stream.In.size() - stream.nInUsed);
}

void Forget(FrameStream& stream) {
    stream.In.clear();
    stream.Out.clear();
    stream.nInUsed = stream.nOutSent = 0;
    stream.fRequestHeld = stream.fAllAsked = false;
}

void TakeIn(FrameStream& stream, const unsigned char* pBytes, std::size_t nBytes) {
    const auto pStart = stream.In.begin();
    stream.In.erase(pStart, pStart + static_cast<std::ptrdiff_t>(stream.nInUsed));
    stream.nInUsed = 0;
    stream.In.insert(stream.In.end(), pBytes, pBytes + nBytes);
}

bool IsBlocked(const FrameStream& stream) {
    Frame frame;
    if (!stream.fRequestHeld || !PeekHead(stream, frame)) return false;
    if (frame.nCode == kTransactionRequest) return true;
    return stream.fAllAsked && !IsForThisSession(stream, frame);
}

bool HasMoreCome(const FrameStream& stream) {
    Frame frame;
    if (stream.Out.size() > kSentTogether) return false;
    return stream.fAllAsked || (PeekHead(stream, frame) && IsWhole(stream, frame));
}

FrameResult HandleFrame(FrameStream& stream) {
    Frame frame;
    if (!PeekHead(stream, frame)) return FrameResult::kNothing;
    if (frame.nBytes > FrameBound()) return FrameResult::kViolation;
    if (!IsWhole(stream, frame) || IsBlocked(stream)) return FrameResult::kNothing;
    const FrameResult result = Obey(stream, frame);
    Consume(stream, kFrameHead + frame.nBytes);
    return result;
}

bool AnswerWithPacket(FrameStream& stream) {
    if (!stream.fRequestHeld || !link.fPacketPending) return false;
    if (stream.Out.size() > kSentTogether) return false;
    const auto nPayload = static_cast<std::size_t>(link.SendBuffer.Header.nLength);
    AppendHead(stream, kTransactionRequest, sizeof(PacketHeader) + nPayload);
    Append(stream, &link.SendBuffer.Header, sizeof(PacketHeader));
    Append(stream, link.SendBuffer.Payload, nPayload);
    stream.fRequestHeld = stream.fAllAsked;
    PacketFetched();
    return true;
}

void AnswerIdle(FrameStream& stream) {
    if (!stream.fRequestHeld) return;
    stream.fRequestHeld = stream.fAllAsked = false;
    AppendWord(stream, kTransactionRequest, kIdle);
}

void AppendWord(FrameStream& stream, std::uint32_t nCode, std::uint32_t nWord) {
    AppendHead(stream, nCode, sizeof nWord);
    Append(stream, &nWord, sizeof nWord);
}

}  // namespace qsolve
