#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include "link/conversation.h"
#include "link/messages.h"
#include "link/state.h"
#include "link/transport.h"
#include "numeric/pool.h"
#include "platform/platform.h"
#include "platform/posix_confine.h"
#include "platform/posix_frames.h"
#include "platform/posix_listener.h"
#include "platform/posix_transport.h"

namespace qsolve {

namespace {

constexpr int kRestOfListener = 100;   ///< milliseconds, where there is no room for a client
constexpr int kFlushPeriod = 10;       ///< milliseconds for which answers may wait for each other
constexpr int kLongestSilence = 3000;  ///< milliseconds; then a client without conversation may go

/// The process's side of the link.
struct Transport {
    MessageHandler pHandler = nullptr;
    int nListener = -1;
    int nClient = -1;
    FrameStream Stream;
    std::int64_t nClientCame = 0;     ///< Now() when the client was accepted
    std::int64_t nFlushed = 0;        ///< Now() when all that waited had been sent
    std::int64_t nListenAgain = 0;    ///< until then Now() the listener is left alone
    std::array<int, 2> nPosted = {};  ///< posted messages by kind; one of a kind is enough
    sigset_t waitMask;                ///< signals blocked during a wait: none of ours
};
Transport transport;

volatile sig_atomic_t fSignalled = 0;

void NoteSignal(int) {
    fSignalled = 1;
}

/// Signals that end the process reach it only inside ppoll, so that none is missed before a wait.
void CatchSignals() {
    struct sigaction action = {};
    action.sa_handler = NoteSignal;
    sigset_t ending;
    sigemptyset(&ending);
    for (const int nSignal : {SIGTERM, SIGINT, SIGHUP}) {
        sigaction(nSignal, &action, nullptr);
        sigaddset(&ending, nSignal);
    }
    sigprocmask(SIG_BLOCK, &ending, &transport.waitMask);
    for (const int nSignal : {SIGTERM, SIGINT, SIGHUP}) sigdelset(&transport.waitMask, nSignal);
    signal(SIGPIPE, SIG_IGN);
}

/// Milliseconds since some moment.
std::int64_t Now() {
    timespec time = {};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return std::int64_t{time.tv_sec} * 1000 + time.tv_nsec / 1000000;
}

bool IsSocket(int nDescriptor) {
    struct stat info;
    return fstat(nDescriptor, &info) == 0 && S_ISSOCK(info.st_mode);
}

/// ORBITRAX_CONFINE=off is for tools that look into the process and write what they see.
bool IsToBeConfined() {
    const char* sWish = getenv("ORBITRAX_CONFINE");
    return !sWish || strcmp(sWish, "off") != 0;
}

void CloseClient() {
    if (transport.nClient < 0) return;
    close(transport.nClient);
    transport.nClient = -1;
    Forget(transport.Stream);
    const bool fTalked = link.fConversation;
    OnDisconnect();
    if (!fTalked && transport.nListener < 0) link.fQuit = true;  // nobody else can ever come
}

void CloseViolator(const char* sWhy) {
    fprintf(stderr, "qsolve: the client broke the protocol (%s); conversation closed\n", sWhy);
    CloseClient();
}

/// Sends what waits; false when the client is gone.
bool Flush() {
    FrameStream& stream = transport.Stream;
    while (stream.nOutSent < stream.Out.size()) {
        const ssize_t n = send(transport.nClient, stream.Out.data() + stream.nOutSent,
                               stream.Out.size() - stream.nOutSent, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return errno == EAGAIN || errno == EWOULDBLOCK;
        stream.nOutSent += static_cast<std::size_t>(n);
    }
    stream.Out.clear();
    stream.nOutSent = 0;
    transport.nFlushed = Now();
    return true;
}

bool HasOutput() {
    return transport.Stream.nOutSent < transport.Stream.Out.size();
}

void FlushOrClose() {
    if (transport.nClient >= 0 && HasOutput() && !Flush()) CloseClient();
}

/// Takes what has come into the stream; false when nothing came. The client's end closes it.
bool ReadSome() {
    unsigned char buffer[65536];
    const std::size_t nRoom = std::min(sizeof buffer, Room(transport.Stream));
    if (nRoom == 0) return false;
    const ssize_t n = recv(transport.nClient, buffer, nRoom, MSG_DONTWAIT);
    if (n > 0) {
        TakeIn(transport.Stream, buffer, static_cast<std::size_t>(n));
        return true;
    }
    if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)) return false;
    CloseClient();
    return true;
}

/// Sends what waits, but not yet where the client's next frame has come already and there is room
/// for its answer: then all goes together, at the next look at the sockets.
void FlushUnlessMoreHasCome() {
    if (!HasMoreCome(transport.Stream)) FlushOrClose();
}

/// Handles one frame that has come whole. False when there is none.
bool HandleOneFrame() {
    if (transport.nClient < 0 || (HasOutput() && !HasMoreCome(transport.Stream))) return false;
    switch (HandleFrame(transport.Stream)) {
        case FrameResult::kNothing:
            return false;
        case FrameResult::kHandled:
            FlushUnlessMoreHasCome();
            return true;
        case FrameResult::kClosed:
            CloseClient();
            return true;
        case FrameResult::kViolation:
            FlushOrClose();
            CloseViolator("a frame that is none of ours");
            return true;
    }
    return true;
}

/// Hands over a packet for which the answers before it had left no room. False where there is none,
/// or still no room.
bool AnswerOnceThereIsRoom() {
    FlushOrClose();
    return AnswerWithPacket(transport.Stream);
}

/// Whether the client has had its time to ask for the conversation. Another may then come instead.
bool IsSilentForLong() {
    return !link.fConversation && Now() - transport.nClientCame >= kLongestSilence;
}

/// Turns a further client away while one has the conversation.
void AcceptOrRefuse() {
    const int nClient = AcceptClient(transport.nListener);
    if (nClient == kNoRoom) transport.nListenAgain = Now() + kRestOfListener;
    if (nClient < 0) return;
    if (transport.nClient >= 0 && IsSilentForLong()) CloseClient();
    if (transport.nClient < 0) {
        transport.nClient = nClient;
        transport.nClientCame = Now();
        return;
    }
    const std::uint32_t refusal[3] = {kTransactionConnect, sizeof refusal[2], 0};
    // A client that does not take the refusal sees the end of the stream.
    (void)!send(nClient, refusal, sizeof refusal, MSG_NOSIGNAL | MSG_DONTWAIT);
    close(nClient);
}

bool DispatchPosted() {
    for (std::size_t i = 0; i < transport.nPosted.size(); ++i) {
        if (!transport.nPosted[i]) continue;
        transport.nPosted[i] = 0;
        transport.pHandler(static_cast<Message>(i));
        return true;
    }
    return false;
}

/// How long the listener is left alone from now on, milliseconds; -1 where it is not.
int RestOfListener() {
    if (transport.nListenAgain == 0) return -1;
    const std::int64_t nRest = transport.nListenAgain - Now();
    if (nRest > 0) return static_cast<int>(nRest);
    transport.nListenAgain = 0;
    return -1;
}

/// The sockets of the link, with what may be waited for on each.
std::array<pollfd, 2> Sockets() {
    const int nListener = RestOfListener() < 0 ? transport.nListener : -1;
    std::array<pollfd, 2> sockets = {{{transport.nClient, 0, 0}, {nListener, POLLIN, 0}}};
    if (HasOutput())
        sockets[0].events = POLLOUT;
    else if (!IsBlocked(transport.Stream))
        sockets[0].events = POLLIN;
    return sockets;
}

/// Does what the sockets are ready for.
void ServeSockets(const pollfd* sockets) {
    if (sockets[0].revents & POLLOUT)
        FlushOrClose();
    else if (sockets[0].revents & POLLIN)
        ReadSome();
    else if (sockets[0].revents)
        CloseClient();
    // Nobody is refused for the sake of a client that has hung up and is only being read out.
    const bool fLeaving = (sockets[0].revents & POLLHUP) && transport.nClient >= 0;
    if (sockets[1].revents && !fLeaving) AcceptOrRefuse();
}

/// Waits at most nMilliseconds (-1: without end) for descriptors and a signal; how many are ready.
int PollDescriptors(pollfd* pDescriptors, std::size_t nCount, int nMilliseconds) {
    const timespec limit = {nMilliseconds / 1000, nMilliseconds % 1000 * 1000000L};
    const int n =
        ppoll(pDescriptors, nCount, nMilliseconds < 0 ? nullptr : &limit, &transport.waitMask);
    if (fSignalled) link.fQuit = true;
    return n;
}

/// The same for the sockets of the link; true when one is ready. Sends nothing first: where that
/// made room for a packet that is held back, nobody would hand it over before the next frame comes.
bool PollSockets(int nMilliseconds) {
    std::array<pollfd, 2> sockets = Sockets();
    if (PollDescriptors(sockets.data(), sockets.size(), nMilliseconds) <= 0) return link.fQuit;
    ServeSockets(sockets.data());
    return true;
}

}  // namespace

bool StartPlatform(MessageHandler pHandler) {
    transport.pHandler = pHandler;
    if (!MakeRoomFor(0)) {
        fprintf(stderr, "qsolve: %s\n", MessageText(kMsgOutOfMemory));
        return false;
    }
    CatchSignals();
    pthread_atfork(nullptr, nullptr, ForgetThreads);  // threads do not follow into a child
    const bool fListening = !IsSocket(STDIN_FILENO);
    if (fListening)
        transport.nListener = OpenListener(link.sTopicName);
    else
        transport.nClient = STDIN_FILENO;
    if (fListening && transport.nListener < 0) return false;
    // Where the system has no such promise the process works without it.
    if (IsToBeConfined()) Confine(fListening);
    return true;
}

int StopPlatform() {
    if (transport.nClient >= 0) close(transport.nClient);
    CloseListener(transport.nListener);
    transport.nClient = transport.nListener = -1;
    return 0;
}

void PostToSelf(Message message) {
    transport.nPosted[static_cast<std::size_t>(message)] = 1;
}

bool MakeRoomFor(std::size_t nBytes) {
    return MakeRoom(transport.Stream, nBytes);
}

void PacketOffered() {
    AnswerWithPacket(transport.Stream);
    FlushUnlessMoreHasCome();
}

void SessionEnded() {
    if (link.fQuit)
        return;  // the client learns it from the end of the link, not as a session's end
    AnswerIdle(transport.Stream);
    FlushUnlessMoreHasCome();
}

bool HandleOneMessage() {
    if (DispatchPosted() || HandleOneFrame()) return true;
    if (HasOutput() && Now() - transport.nFlushed < kFlushPeriod) return false;
    FlushOrClose();
    if (!PollSockets(0)) return false;
    HandleOneFrame();
    return true;
}

void WaitForMessage() {
    while (!link.fQuit) {
        if (DispatchPosted() || HandleOneFrame() || AnswerOnceThereIsRoom()) return;
        PollSockets(RestOfListener());
    }
}

void AbandonLink() {
    if (transport.nClient >= 0) close(transport.nClient);
    if (transport.nListener >= 0) close(transport.nListener);
    transport = Transport{};
    for (const int nSignal : {SIGTERM, SIGINT, SIGHUP}) signal(nSignal, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

void WaitWithLink(const int* pDescriptors, int nCount) {
    if (link.fQuit || DispatchPosted() || HandleOneFrame()) return;
    FlushOrClose();
    const std::array<pollfd, 2> sockets = Sockets();
    std::vector<pollfd> all(sockets.begin(), sockets.end());
    for (int i = 0; i < nCount; ++i) all.push_back({pDescriptors[i], POLLIN, 0});
    if (PollDescriptors(all.data(), all.size(), RestOfListener()) <= 0) return;
    ServeSockets(all.data());
    HandleOneFrame();
}

void PrintLine(const char* sText) {
    puts(sText);
    fflush(stdout);
}

}  // namespace qsolve
