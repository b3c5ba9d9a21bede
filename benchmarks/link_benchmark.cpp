// What the link costs: start of the process, round trips, whole sessions, and processor time while
// nothing happens. Drives the real program over a socket pair, as a client does.
//
//     link_benchmark [program]

#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "link/conversation.h"
#include "link/packets.h"

namespace qsolve {
namespace {

using Clock = std::chrono::steady_clock;

double SecondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

/// A backend process and the client's end of its socket pair.
struct Peer {
    pid_t nProcess = -1;
    int nSocket = -1;

    explicit Peer(const char* sProgram) {
        int ends[2];
        if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) std::abort();
        nProcess = fork();
        if (nProcess == 0) {
            dup2(ends[1], 0);
            close(ends[0]);
            close(ends[1]);
            execl(sProgram, sProgram, static_cast<char*>(nullptr));
            _exit(127);
        }
        close(ends[1]);
        nSocket = ends[0];
    }
    ~Peer() {
        close(nSocket);
        waitpid(nProcess, nullptr, 0);
    }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    void ReadAll(void* pBytes, std::size_t nBytes) const {
        auto* p = static_cast<char*>(pBytes);
        while (nBytes > 0) {
            const ssize_t n = read(nSocket, p, nBytes);
            if (n <= 0) {
                std::fprintf(stderr, "the backend has gone\n");
                std::exit(1);
            }
            p += n;
            nBytes -= static_cast<std::size_t>(n);
        }
    }
    /// Sends one frame and returns the body of the answer.
    std::vector<char> Exchange(std::uint32_t nCode, const std::string& sBody) const {
        const std::uint32_t head[2] = {nCode, static_cast<std::uint32_t>(sBody.size())};
        std::string sFrame(reinterpret_cast<const char*>(head), sizeof head);
        sFrame += sBody;
        if (write(nSocket, sFrame.data(), sFrame.size()) < 0) std::exit(1);
        std::uint32_t answer[2];
        ReadAll(answer, sizeof answer);
        std::vector<char> body(answer[1]);
        ReadAll(body.data(), body.size());
        return body;
    }
    void Connect() const {
        Exchange(kTransactionConnect, std::string("qsolve\0CalcBackend\0", 19));
    }
    std::vector<char> Request() const {
        return Exchange(kTransactionRequest, std::string("Packet\0", 7));
    }
    void Poke(const void* pBytes, std::size_t nBytes) const {
        const PacketHeader header{static_cast<int>(nBytes), kPacketData, 0, 1, 0};
        std::string sBody("Packet\0", 7);
        sBody.append(reinterpret_cast<const char*>(&header), sizeof header);
        sBody.append(static_cast<const char*>(pBytes), nBytes);
        Exchange(kTransactionPoke, sBody);
    }
    /// Processor seconds of the backend so far.
    double ProcessorSeconds() const {
        const std::string sPath = "/proc/" + std::to_string(nProcess) + "/schedstat";
        std::FILE* pFile = std::fopen(sPath.c_str(), "r");
        unsigned long long nNanoseconds = 0;
        if (!pFile || std::fscanf(pFile, "%llu", &nNanoseconds) != 1) nNanoseconds = 0;
        if (pFile) std::fclose(pFile);
        return 1e-9 * static_cast<double>(nNanoseconds);
    }
};

/// Payloads that the demands of a session get, in order, for a session that asks for nothing.
std::vector<std::string> ScriptOfSession(bool fFirst) {
    const auto Word = [](std::int32_t n) { return std::string(reinterpret_cast<char*>(&n), 4); };
    std::vector<std::string> script;
    if (fFirst) {
        script.push_back(Word(4));
        script.push_back(Word(1));
        script.emplace_back(std::size_t{kCindoBlockBytes}, '\0');
    }
    script.push_back(Word(0));
    script.emplace_back(sizeof(RunOptions), '\0');
    script.emplace_back(sizeof(JobOptions), '\0');
    return script;
}

/// Serves one session; returns the number of its packets.
int ServeSession(const Peer& peer, const std::vector<std::string>& script) {
    int nPackets = 0;
    std::size_t iNext = 0;
    for (std::vector<char> body = peer.Request(); body.size() > 4; body = peer.Request()) {
        ++nPackets;
        PacketHeader header;
        std::memcpy(&header, body.data(), sizeof header);
        if (header.nType != kPacketRequestNext) continue;
        if (iNext >= script.size()) std::exit(1);
        peer.Poke(script[iNext].data(), script[iNext].size());
        ++iNext;
    }
    return nPackets;
}

void MeasureStart(const char* sProgram) {
    double dBest = 1e9;
    for (int i = 0; i < 20; ++i) {
        const auto start = Clock::now();
        Peer peer(sProgram);
        peer.Connect();
        peer.Request();
        dBest = std::min(dBest, SecondsSince(start));
    }
    std::printf("process start to first packet  %10.2f ms   (best of 20, aim 5)\n", 1e3 * dBest);
}

void MeasureRoundTrips(const Peer& peer) {
    const int nTrips = 100000;
    const auto start = Clock::now();
    for (int i = 0; i < nTrips; ++i) peer.Request();
    std::printf("round trips, small frames      %10.0f 1/s  (aim 100000)\n",
                nTrips / SecondsSince(start));
}

void MeasureSessions(const Peer& peer) {
    const int nSessions = 3000;
    const std::vector<std::string> script = ScriptOfSession(false);
    int nPackets = 0;
    const auto start = Clock::now();
    for (int i = 0; i < nSessions; ++i) {
        peer.Exchange(kTransactionExecute, std::string("[reset]\0", 8));
        nPackets += ServeSession(peer, script);
    }
    const double dSeconds = SecondsSince(start);
    std::printf("sessions without a job         %10.0f 1/s  (%.0f packets/s)\n",
                nSessions / dSeconds, nPackets / dSeconds);
}

void MeasureSilence(const Peer& peer, const char* sWhere) {
    const double dSeconds = 10.0, dBefore = peer.ProcessorSeconds();
    usleep(static_cast<useconds_t>(1e6 * dSeconds));
    std::printf("processor time, %-14s %10.4f %%    (10 s, bound 0.1)\n", sWhere,
                100 * (peer.ProcessorSeconds() - dBefore) / dSeconds);
}

int Run(const char* sProgram) {
    MeasureStart(sProgram);
    Peer peer(sProgram);
    peer.Connect();
    ServeSession(peer, ScriptOfSession(true));
    MeasureRoundTrips(peer);
    MeasureSessions(peer);
    MeasureSilence(peer, "idle");
    peer.Exchange(kTransactionExecute, std::string("[reset]\0", 8));
    MeasureSilence(peer, "packet waits");
    peer.Request();
    MeasureSilence(peer, "poke awaited");
    return 0;
}

}  // namespace
}  // namespace qsolve

int main(int nArguments, char** pArguments) {
    return qsolve::Run(nArguments > 1 ? pArguments[1] : ORBITRAX_QSOLVE);
}
