#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "link/conversation.h"
#include "link/state.h"
#include "platform/posix_frames.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scripted_client.h"

/// The byte stream of a client and what the backend does meanwhile, as steps of one byte each with
/// the bytes that they need: whatever comes, the answers are whole frames, no more than were asked
/// for, and nothing is written beyond the buffer that waits for a packet.

namespace qsolve {
namespace {

enum Step { kFeed, kFeedFrame, kFeedPoke, kSession, kOffer, kAwait, kEnd, kHandle, kAsk, kSteps };

constexpr std::uint32_t kCodes[] = {kTransactionConnect, kTransactionRequest,    kTransactionPoke,
                                    kTransactionExecute, kTransactionDisconnect, 0};

void Require(bool fHolds) {
    if (!fHolds) std::abort();
}

/// Reads the input; zeros when it has ended.
struct Input {
    const std::uint8_t* p;
    std::size_t nLeft;

    bool IsEmpty() const { return nLeft == 0; }
    std::uint8_t Byte() {
        if (nLeft == 0) return 0;
        --nLeft;
        return *p++;
    }
    std::vector<unsigned char> Bytes(std::size_t n) {
        n = std::min(n, nLeft);
        std::vector<unsigned char> bytes(p, p + n);
        p += n;
        nLeft -= n;
        return bytes;
    }
};

struct Player {
    FrameStream stream;
    std::unique_ptr<unsigned char[]> pBuffer;  ///< exactly as long as the packet that is awaited
    int nFrames = 0;
    int nAnswers = 0;
    int nOfSession = 0;  ///< packets that answer a request for all of them
    bool fOpen = true;

    void Feed(const void* pBytes, std::size_t nBytes) {
        const auto* p = static_cast<const unsigned char*>(pBytes);
        stream.In.insert(stream.In.end(), p, p + nBytes);
    }

    void FeedRaw(const std::vector<unsigned char>& bytes) { Feed(bytes.data(), bytes.size()); }

    void FeedFrame(std::uint32_t nCode, const std::vector<unsigned char>& body) {
        const std::uint32_t head[2] = {nCode, static_cast<std::uint32_t>(body.size())};
        Feed(head, sizeof head);
        Feed(body.data(), body.size());
    }

    void FeedPoke(int nLength, const std::vector<unsigned char>& payload) {
        const PacketHeader header{nLength, kPacketData, 0, 1, 0};
        std::vector<unsigned char> body(sizeof kItemName + sizeof header);
        std::memcpy(body.data(), kItemName, sizeof kItemName);
        std::memcpy(body.data() + sizeof kItemName, &header, sizeof header);
        body.insert(body.end(), payload.begin(), payload.end());
        FeedFrame(kTransactionPoke, body);
    }

    void Await(int nCapacity) {
        pBuffer = std::make_unique<unsigned char[]>(static_cast<std::size_t>(nCapacity));
        link.pReceiveBuffer = pBuffer.get();
        link.ReceivedHeader = PacketHeader{};
        link.nReceiveCapacity = nCapacity;
        link.fAwaitingPoke = true;
    }

    /// What has been answered are whole frames, of the codes that there are.
    void CheckAnswers() {
        std::size_t nAt = 0;
        while (nAt < stream.Out.size()) {
            std::uint32_t head[2];
            Require(stream.Out.size() - nAt >= sizeof head);
            std::memcpy(head, stream.Out.data() + nAt, sizeof head);
            Require(std::find(std::begin(kCodes), std::end(kCodes), head[0]) != std::end(kCodes));
            Require(head[1] >= 4 && head[1] <= sizeof(PacketHeader) + kMaxPayload);
            nAt += sizeof head + head[1];
            ++nAnswers;
        }
        Require(nAt == stream.Out.size());
        stream.Out.clear();
        Require(nAnswers - nOfSession + stream.fRequestHeld <= nFrames);
        Require(stream.nInUsed <= stream.In.size());
    }

    void Answer() {
        const bool fAll = stream.fAllAsked;
        nOfSession += AnswerWithPacket(stream) && fAll;
    }

    void HandleAll() {
        while (fOpen) {
            const bool fPending = link.fPacketPending;
            const FrameResult result = HandleFrame(stream);
            nOfSession += fPending && !link.fPacketPending && stream.fAllAsked;
            nFrames += result == FrameResult::kHandled;
            CheckAnswers();
            if (link.ReceivedHeader.nLength != 0)
                Require(link.ReceivedHeader.nLength > 0 &&
                        link.ReceivedHeader.nLength <= link.nReceiveCapacity);
            if (result == FrameResult::kNothing) return;
            fOpen = result == FrameResult::kHandled;
        }
        OnDisconnect();
    }

    void Play(Input& input) {
        switch (static_cast<Step>(input.Byte() % kSteps)) {
            case kFeed:
                return FeedRaw(input.Bytes(input.Byte()));
            case kFeedFrame: {
                const std::uint32_t nCode = kCodes[input.Byte() % std::size(kCodes)];
                return FeedFrame(nCode, input.Bytes(input.Byte()));
            }
            case kFeedPoke: {
                const int nLength = input.Byte() - 1;
                return FeedPoke(nLength, input.Bytes(input.Byte()));
            }
            case kSession:
                link.fInSession = true;
                return;
            case kOffer:
                link.SendBuffer.Header.nLength = input.Byte() * 64;
                link.fPacketPending = true;
                return Answer();
            case kAwait:
                return Await(input.Byte());
            case kEnd:
                link.fInSession = link.fAwaitingPoke = false;
                return AnswerIdle(stream);
            case kHandle:
                return HandleAll();
            case kAsk:
            case kSteps: {
                const char* sItem = input.Byte() % 2 == 0 ? kItemName : kItemNameSession;
                return FeedFrame(kTransactionRequest, {sItem, sItem + std::strlen(sItem) + 1});
            }
        }
    }
};

/// Half of the inputs start with a conversation that stands.
void PlayClient(const std::uint8_t* pData, std::size_t nBytes) {
    ResetAllState();
    NewScriptedClient();
    Input input{pData, nBytes};
    link.fConversation = input.Byte() % 2 == 0;
    Player player;
    while (player.fOpen && !input.IsEmpty()) player.Play(input);
    player.HandleAll();
    link.pReceiveBuffer = nullptr;
}

}  // namespace
}  // namespace qsolve

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nBytes) {
    qsolve::PlayClient(pData, nBytes);
    return 0;
}
