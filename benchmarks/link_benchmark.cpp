// What the link costs: start of the process, round trips, whole sessions, single points of small
// molecules a second, and processor time while nothing happens. Drives the real program over a
// socket pair, as a client does.
//
//     link_benchmark [program [molecule]]
//
// With the name of a molecule of the table, or "ten", only its single points.

#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "benchmarks/molecule_files.h"
#include "link/conversation.h"
#include "link/packets.h"
#include "setup/state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scf_job.h"
#include "tests/support/scripted_client.h"

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
    static std::string Frame(std::uint32_t nCode, const std::string& sBody) {
        const std::uint32_t head[2] = {nCode, static_cast<std::uint32_t>(sBody.size())};
        return std::string(reinterpret_cast<const char*>(head), sizeof head) + sBody;
    }
    void Send(const std::string& sFrames) const {
        for (std::size_t i = 0; i < sFrames.size();) {
            const ssize_t n = write(nSocket, sFrames.data() + i, sFrames.size() - i);
            if (n < 0) std::exit(1);
            i += static_cast<std::size_t>(n);
        }
    }
    /// Sends one frame and returns the body of the answer.
    std::vector<char> Exchange(std::uint32_t nCode, const std::string& sBody) const {
        Send(Frame(nCode, sBody));
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
    static std::string Packet(const std::string& sPayload) {
        const PacketHeader header{static_cast<int>(sPayload.size()), kPacketData, 0, 1, 0};
        return std::string(reinterpret_cast<const char*>(&header), sizeof header) + sPayload;
    }
    void Poke(const std::string& sPayload) const {
        Exchange(kTransactionPoke, std::string("Packet\0", 7) + Packet(sPayload));
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
        peer.Poke(script[iNext]);
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

// ---- single points ------------------------------------------------------------------------------

/// The payloads of a session for an AM1 single point with gradient, as our client asks for it; the
/// first of a process brings the tables.
std::vector<std::string> ScriptOfMolecule(const std::vector<Place>& places, bool fFirst) {
    JobScript script = Molecule(kAm1, places);
    script.Options.nIterationLimit = 400;
    script.Options.nLogLevel = 10;
    script.Options.nExtensions =
        static_cast<int>(kSectionsMark | kFurtherOptionsBit | 0x7FU);  // energies to state
    script.AddSection(kGivenCoordinates, PositionsOf(places));
    const ScfWishes wishes{.fGuarded = 1, .nStability = kFollowStability, .nQuiet = kTellStart};
    std::vector<double> words(sizeof wishes / sizeof(double));
    std::memcpy(words.data(), &wishes, sizeof wishes);
    script.AddSection(kGivenScf, words);
    ResetAllState();
    NewScriptedClient();
    parameters.fLoaded = !fFirst;
    PokeSession(script);
    std::vector<std::string> payloads;
    for (const auto& payload : client.Script) payloads.emplace_back(payload.begin(), payload.end());
    return payloads;
}

/// What is left of the stream of answers.
struct Answers {
    const Peer& peer;
    std::vector<char> bytes = {};
    std::size_t iNext = 0;

    /// The length of the next answer's body; its bytes are dropped.
    std::size_t Take() {
        while (true) {
            std::uint32_t head[2] = {};
            const std::size_t nHere = bytes.size() - iNext;
            if (nHere >= sizeof head) {
                std::memcpy(head, &bytes[iNext], sizeof head);
                if (nHere >= sizeof head + head[1]) {
                    iNext += sizeof head + head[1];
                    return head[1];
                }
            }
            bytes.erase(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(iNext));
            iNext = 0;
            const std::size_t nOld = bytes.size();
            bytes.resize(nOld + 65536);
            const ssize_t n = read(peer.nSocket, &bytes[nOld], 65536);
            if (n <= 0) std::exit(1);
            bytes.resize(nOld + static_cast<std::size_t>(n));
        }
    }
};

/// One session whose packets go ahead of it, with nRequests requests behind them; returns the
/// number of packets that came.
int ServeAhead(Answers& answers, const std::string& sAhead, int nRequests) {
    static const std::string sRequest =
        Peer::Frame(kTransactionRequest, std::string("Packet\0", 7));
    std::string sFrames = sAhead;
    for (int i = 0; i < nRequests; ++i) sFrames += sRequest;
    answers.peer.Send(sFrames);
    if (answers.Take() != 4 || answers.Take() != 4) std::exit(1);  // of the poke and of the start
    int nPackets = 0;
    for (int i = 0; i < nRequests; ++i)
        if (answers.Take() > 4) ++nPackets;
    return nPackets;
}

/// The packets of molecules and what starts their sessions, of nCount jobs that take the molecules
/// in turn, each with its own places.
std::vector<std::string> FramesOf(const std::vector<std::vector<Place>>& molecules, int nCount) {
    std::vector<std::string> frames;
    for (int i = 0; i < nCount; ++i) {
        std::vector<Place> moved = molecules[static_cast<std::size_t>(i) % molecules.size()];
        for (Place& p : moved) p.x += 1e-3 * std::sin(7.0 * p.y + i);
        std::string sPackets(kItemNameAhead, sizeof kItemNameAhead);
        for (const std::string& sPayload : ScriptOfMolecule(moved, false))
            sPackets += Peer::Packet(sPayload);
        frames.push_back(Peer::Frame(kTransactionPoke, sPackets) +
                         Peer::Frame(kTransactionExecute, std::string("[reset]\0", 8)));
    }
    return frames;
}

constexpr int kKinds = 50, kJobsOfRun = 400;

/// Best of ten runs of kJobsOfRun molecules by each of nBackends: how many a second, and the
/// processor time of the first backend for one, ms.
template <class Run>
void PrintBest(const Peer& peer, const char* sName, const char* sHow, Run run, int nBackends = 1) {
    double dRate = 0.0, dBackend = HUGE_VAL;
    for (int i = 0; i < 10; ++i) {
        const double dBefore = peer.ProcessorSeconds();
        const auto start = Clock::now();
        run();
        dRate = std::max(dRate, nBackends * kJobsOfRun / SecondsSince(start));
        dBackend = std::min(dBackend, 1e3 * (peer.ProcessorSeconds() - dBefore) / kJobsOfRun);
    }
    std::printf("%-9s %-20s %10.0f 1/s  (aim 10000; backend %.3f ms)\n", sName, sHow, dRate,
                dBackend);
}

/// One by one: each is asked for when the one before has come.
void MeasureOneByOne(const Peer& peer, Answers& answers, const char* sName, int nPackets,
                     const std::vector<std::string>& frames) {
    PrintBest(peer, sName, "one by one", [&] {
        for (std::size_t i = 0; i < kJobsOfRun; ++i)
            ServeAhead(answers, frames[i % frames.size()], nPackets + 2);
    });
}

/// In a row, as our client asks for a list of molecules: the backend knows of up to kMostTold, and
/// of more once half of them have come; all packets of one are asked for together.
void ServeInARow(Answers& answers, const std::vector<std::string>& frames) {
    constexpr std::size_t kMostTold = 16;
    static const std::string sSession =
        Peer::Frame(kTransactionRequest, std::string(kItemNameSession, sizeof kItemNameSession));
    std::size_t nTold = 0;
    for (std::size_t i = 0; i < kJobsOfRun; ++i) {
        if (2 * (nTold - i) <= kMostTold) {
            std::string sFrames;
            for (; nTold < std::min<std::size_t>(i + kMostTold, kJobsOfRun); ++nTold)
                sFrames += frames[nTold % frames.size()] + sSession;
            answers.peer.Send(sFrames);
        }
        if (answers.Take() != 4 || answers.Take() != 4) std::exit(1);
        while (answers.Take() > 4) continue;
    }
}

void MeasureInARow(const Peer& peer, Answers& answers, const char* sName,
                   const std::vector<std::string>& frames) {
    PrintBest(peer, sName, "in a row", [&] { ServeInARow(answers, frames); });
}

/// In a row, by a backend for each core at once; the first is the one at hand. The jobs of all,
/// until the last has ended.
void MeasureOnAllCores(const char* sProgram, const Peer& peer, Answers& answers, const char* sName,
                       const std::vector<std::string>& first,
                       const std::vector<std::string>& frames) {
    const auto nMore = static_cast<std::size_t>(std::thread::hardware_concurrency()) - 1;
    if (nMore < 1) return;
    std::vector<std::unique_ptr<Peer>> peers;
    std::vector<Answers> others;
    for (std::size_t i = 0; i < nMore; ++i) {
        peers.push_back(std::make_unique<Peer>(sProgram));
        peers.back()->Connect();
        ServeSession(*peers.back(), first);
        others.push_back({*peers.back()});
    }
    const std::string sHow = "in a row, " + std::to_string(nMore + 1) + " cores";
    PrintBest(
        peer, sName, sHow.c_str(),
        [&] {
            std::vector<std::thread> threads;
            threads.reserve(nMore);
            for (Answers& other : others) threads.emplace_back([&] { ServeInARow(other, frames); });
            ServeInARow(answers, frames);
            for (std::thread& thread : threads) thread.join();
        },
        static_cast<int>(nMore) + 1);
}

/// Single points a second of molecules in turn, by each way.
void MeasureEachWay(const char* sProgram, const char* sName,
                    const std::vector<std::vector<Place>>& molecules) {
    if (molecules.empty()) std::exit(1);
    Peer peer(sProgram);
    peer.Connect();
    const std::vector<std::string> first = ScriptOfMolecule(molecules[0], true);
    const int nPackets = ServeSession(peer, first);
    const std::vector<std::string> frames = FramesOf(molecules, kKinds);
    Answers answers{peer};
    MeasureOneByOne(peer, answers, sName, nPackets, frames);
    MeasureInARow(peer, answers, sName, frames);
    MeasureOnAllCores(sProgram, peer, answers, sName, first, frames);
}

// clang-format off
const std::vector<Place> kWater = {{8, 0, 0, 0.117}, {1, 0, 0.757, -0.467}, {1, 0, -0.757, -0.467}};
const std::vector<Place> kMethane = {
    {6, 0, 0, 0}, {1, 0.629, 0.629, 0.629}, {1, -0.629, -0.629, 0.629}, {1, -0.629, 0.629, -0.629},
    {1, 0.629, -0.629, -0.629}};
const std::vector<Place> kMethanol = {
    {6, -0.0465, 0.6634, 0}, {8, -0.0465, -0.7590, 0}, {1, -1.0868, 0.9761, 0},
    {1, 0.8620, -1.0569, 0}, {1, 0.4377, 1.0714, 0.8893}, {1, 0.4377, 1.0714, -0.8893}};
const std::vector<Place> kEthanol = {
    {6, 1.1879, -0.3829, 0}, {6, 0, 0.5526, 0}, {8, -1.1867, -0.2472, 0}, {1, -1.9237, 0.3850, 0},
    {1, 2.0985, 0.2306, 0}, {1, 1.1184, -1.0093, 0.8869}, {1, 1.1184, -1.0093, -0.8869},
    {1, -0.0227, 1.1812, 0.8852}, {1, -0.0227, 1.1812, -0.8852}};
// clang-format on

/// Of all molecules, or of the one with a name; false where none has it.
bool MeasureSinglePoints(const char* sProgram, const std::string& sOnly) {
    setenv("ORBITRAX_THREADS", "1", 1);
    const std::pair<const char*, std::vector<std::vector<Place>>> table[] = {
        {"water", {kWater}},
        {"methane", {kMethane}},
        {"methanol", {kMethanol}},
        {"ethanol", {kEthanol}},
        {"ten", ReadFrames(ORBITRAX_SOURCE_DIR "/benchmarks/small/ten.xyz")}};
    bool fFound = false;
    for (const auto& [sName, molecules] : table) {
        if (!sOnly.empty() && sOnly != sName) continue;
        MeasureEachWay(sProgram, sName, molecules);
        fFound = true;
    }
    return fFound;
}

// ---- silence ------------------------------------------------------------------------------------

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
    MeasureSinglePoints(sProgram, "");
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
    const char* sProgram = nArguments > 1 ? pArguments[1] : ORBITRAX_QSOLVE;
    if (nArguments < 3) return qsolve::Run(sProgram);
    return qsolve::MeasureSinglePoints(sProgram, pArguments[2]) ? 0 : 1;
}
