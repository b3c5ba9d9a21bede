#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

/// The packet socket: the transactions of a conversation as frames on a byte stream. A frame is two
/// little-endian 32-bit words, transaction code and byte count, and the bytes. Every frame of the
/// client gets one back with the same code, but for a request for all packets of a session, which
/// gets one for each of them and one for its end.

namespace qsolve {

constexpr std::size_t kFrameHead = 8;
constexpr std::size_t kFrameCeiling = std::size_t{256} << 20;  ///< bytes of any frame, ever

/// One side of a byte stream: what came and is not yet understood, what goes out and is not yet
/// sent. Memory for both is taken by MakeRoom, before it is needed: between the head of an answer
/// and its end, or in the middle of a client's frame, nobody could be told that there is none.
struct FrameStream {
    std::vector<unsigned char> In;
    std::size_t nInUsed = 0;  ///< bytes of In that have been consumed
    std::vector<unsigned char> Out;
    std::size_t nOutSent = 0;   ///< bytes of Out that have been sent
    bool fRequestHeld = false;  ///< a request waits for a packet or for the session's end
    bool fAllAsked = false;     ///< it is one for all packets: it waits on until the session's end
};

/// What came of looking at the stream.
enum class FrameResult {
    kNothing,    ///< no frame, or none that may be handled now
    kHandled,    ///< one frame has been handled and answered, or its request is held
    kClosed,     ///< the client has disconnected
    kViolation,  ///< the bytes are no frame of the protocol: close the conversation
};

/// Most bytes that a frame may announce now: a header, an item name and what the session asks for.
std::size_t FrameBound();

/// Takes the memory for any answer and for a frame whose packet brings up to nPayload bytes, and
/// nothing where that is there already; much more than that is given back. Returns whether there is
/// enough now.
bool MakeRoom(FrameStream& stream, std::size_t nPayload);

/// How many bytes TakeIn can take without taking memory. Not 0 while the first frame of stream.In
/// has not come whole, as long as MakeRoom has been asked for what FrameBound allows.
std::size_t Room(const FrameStream& stream);

/// Forgets what came and what was to go out; the memory stays.
void Forget(FrameStream& stream);

/// Appends nBytes that came to stream.In, in the place of those that have been consumed, so that a
/// client that never pauses takes no more room than a frame and one read.
void TakeIn(FrameStream& stream, const unsigned char* pBytes, std::size_t nBytes);

/// Handles at most one frame of stream.In by feeding the conversation; the answer is appended to
/// stream.Out. While a request is held, further requests stay where they are; while it is one for
/// all packets, so does whatever belongs to the next session.
FrameResult HandleFrame(FrameStream& stream);

/// Whether bytes have come that HandleFrame would not take before a held request is answered.
bool IsBlocked(const FrameStream& stream);

/// Whether another answer may follow soon, as another frame has come whole or all packets of the
/// session have been asked for, and the answers that wait to be sent leave room for one more.
bool HasMoreCome(const FrameStream& stream);

/// Answers a held request with the pending packet, if there are both and room for the answer.
/// Returns whether it has.
bool AnswerWithPacket(FrameStream& stream);

/// Answers a held request with "no session".
void AnswerIdle(FrameStream& stream);

/// Appends a frame whose body is one little-endian word.
void AppendWord(FrameStream& stream, std::uint32_t nCode, std::uint32_t nWord);

}  // namespace qsolve
