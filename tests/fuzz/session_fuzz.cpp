#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "link/conversation.h"
#include "link/state.h"
#include "session/session.h"
#include "setup/parameters.h"
#include "tests/support/fresh_state.h"
#include "tests/support/job_script.h"
#include "tests/support/parameter_files.h"
#include "tests/support/scripted_client.h"

/// A good job whose packets are edited, played from the parameters to the end of the session. An
/// input is three bytes, method, job kind and variant, and then edits of six bytes: packet, what is
/// done, place (two bytes), value (two bytes). Afterwards the same process must say of the good job
/// what a fresh one says.

namespace qsolve {
namespace {

using Payload = std::vector<unsigned char>;

constexpr int kHeadBytes = 3, kEditBytes = 6;
constexpr int kMostEdits = 16;
constexpr int kMostFetched = 3000, kMostPumps = 3000;  // a job that goes on is left alone
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

enum Edit { kWord, kWordFloat, kSmallWord, kDouble, kByte, kShorten, kLengthen, kDrop, kEdits };

constexpr std::int32_t kWords[] = {0,       1,       -1, 2147483647, -2147483647 - 1,
                                   1 << 24, 1 << 16, 4,  9,          105};
constexpr float kFloats[] = {kNan, kInf, -kInf, 1e38F, -1e38F, 1e-42F, 0.0F, 1e6F, -0.5F};
constexpr double kDoubles[] = {0.0, -1.0, 1e300, -1e300, 1e-300, 1.0, 1e-10};

/// A hydroxyl group with its bond to carbon cut, and a point charge.
JobScript GoodJob(int nMethod, int nKind, int nVariant) {
    JobScript script = Water(nMethod);
    script.Atoms.clear();
    script.Add(8, 0.0F, 0.0F, 0.0F);
    script.Add(1, 0.95F, 0.0F, 0.0F);
    script.Add(6, -0.4F, 1.33F, 0.0F, 1);
    script.Add(1, 0.3F, -2.2F, 1.9F, 1).flCharge = 0.1F;
    script.Bond(0, 1);
    script.Bond(0, 2);
    script.Options.nIterationLimit = 20;
    script.Options.nSpinTreatment = nVariant & 1;
    script.Options.fDiis = nVariant >> 1 & 1;
    script.Options.nCiKind = nVariant >> 2 & 1;
    script.Options.fComputeForceMatrix = 1;
    script.Job.nCalcKind = nKind;
    script.Job.nMaxCycles = 1;
    script.Job.fRestraints = nVariant >> 3 & 1;
    script.Options.fPlot = nVariant >> 4 & 1;
    script.Options.nPlotKind = nVariant >> 5;
    script.Options.nPlotOrbitalMode = 1;
    script.Options.nGridCols = 4;
    script.Options.nGridRows = 3;
    script.Options.nPlotPlanes = 2;
    const float flGrid[9] = {-1.0F, -1.0F, -1.0F, 0.5F, 0.1F, 0.0F, 0.0F, 0.6F, 0.2F};
    std::copy_n(flGrid, 9, script.Options.flPlotGrid);
    for (int k = 0; k < 4; ++k) {
        RestraintRecord record;
        record.nKind = k;
        for (int i = 0; i < 4; ++i) record.nAtom[i] = i;
        record.flForceConstant = record.flTarget = 1.0F;
        script.Restraints[k].push_back(record);
    }
    return script;
}

/// The packets of the parameter intake of a method, read from the files once.
const std::vector<Payload>& Tables(int nMethod) {
    static std::array<std::vector<Payload>, 10> tables;
    std::vector<Payload>& packets = tables[static_cast<std::size_t>(nMethod)];
    if (packets.empty()) {
        NewScriptedClient();
        PokeParameters(nMethod);
        packets.assign(client.Script.begin(), client.Script.end());
    }
    return packets;
}

/// All packets of a job behind its tables.
std::vector<Payload> PacketsOf(const JobScript& script) {
    NewScriptedClient();
    parameters.fLoaded = true;  // else the tables are read anew
    PokeSession(script);
    parameters.fLoaded = false;
    return {client.Script.begin(), client.Script.end()};
}

/// Writes as many bytes of the value as there is room for.
template <class T>
void Put(Payload& payload, std::size_t nPlace, T value) {
    if (payload.empty()) return;
    const std::size_t nAt = nPlace * sizeof value % payload.size();
    std::memcpy(payload.data() + nAt, &value, std::min(sizeof value, payload.size() - nAt));
}

void Apply(const std::uint8_t* p, std::vector<Payload>& packets) {
    if (packets.empty()) return;
    const std::size_t nPacket = p[0] % packets.size();
    Payload& payload = packets[nPacket];
    const std::size_t nPlace = p[2] + std::size_t{p[3]} * 256;
    const unsigned nValue = p[4] + p[5] * 256U;
    switch (static_cast<Edit>(p[1] % kEdits)) {
        case kWord:
            return Put(payload, nPlace, kWords[nValue % std::size(kWords)]);
        case kWordFloat:
            return Put(payload, nPlace, kFloats[nValue % std::size(kFloats)]);
        case kSmallWord:
            return Put(payload, nPlace, static_cast<std::int32_t>(nValue) - 16);
        case kDouble:
            return Put(payload, nPlace, kDoubles[nValue % std::size(kDoubles)]);
        case kByte:
            return Put(payload, nPlace, static_cast<std::uint8_t>(nValue));
        case kShorten:
            return payload.resize(nPlace % (payload.size() + 1));
        case kLengthen:
            return payload.resize(payload.size() + nPlace % 512, static_cast<std::uint8_t>(nValue));
        case kDrop:
        case kEdits:
            packets.erase(packets.begin() + static_cast<std::ptrdiff_t>(nPacket));
    }
}

/// Plays one session and returns its texts, whatever their channel.
std::vector<std::string> Play(const std::vector<Payload>& packets) {
    NewScriptedClient();
    link.fQuit = false;
    client.Script.assign(packets.begin(), packets.end());
    for (int i = 0; i < 32; ++i) client.Script.emplace_back();  // no demand is left without answer
    client.nHangUpAfter = kMostFetched;
    client.DuringPump = [] {
        if (client.nPumps > kMostPumps) OnDisconnect();
    };
    HandleProcessMessage(Message::kStartSession);
    std::vector<std::string> texts;
    for (const SentPacket& packet : client.Sent)
        if (packet.nType >= kPacketLogLine) texts.push_back(packet.Text());
    return texts;
}

void Require(bool fHolds) {
    if (!fHolds) std::abort();
}

std::vector<Payload> Joined(const std::vector<Payload>& head, const std::vector<Payload>& tail) {
    std::vector<Payload> all = head;
    all.insert(all.end(), tail.begin(), tail.end());
    return all;
}

/// What a fresh process says of the good single point.
const std::vector<std::string>& GoodTexts(int nMethod, const std::vector<Payload>& good) {
    static std::array<std::vector<std::string>, 10> texts;
    std::vector<std::string>& found = texts[static_cast<std::size_t>(nMethod)];
    if (found.empty()) {
        ResetAllState();
        found = Play(Joined(Tables(nMethod), good));
        Require(!found.empty());
    }
    return found;
}

void PlayInput(const std::uint8_t* p, std::size_t nBytes) {
    constexpr int kKinds[] = {0, 1, 2, 4, 5, 6, 7, 8};
    const int nMethod = 1 + p[0] % 9;
    const int nKind = kKinds[p[1] % std::size(kKinds)];
    const std::vector<Payload> tables = Tables(nMethod);
    const std::vector<Payload> good = PacketsOf(GoodJob(nMethod, 0, 2));
    const std::vector<std::string>& goodTexts = GoodTexts(nMethod, good);

    ResetAllState();
    std::vector<Payload> packets = PacketsOf(GoodJob(nMethod, nKind, p[2]));
    const bool fEditTables = p[2] & 128;
    if (fEditTables) packets = Joined(tables, packets);
    int nEdits = 0;
    for (std::size_t i = kHeadBytes; i + kEditBytes <= nBytes && nEdits < kMostEdits;
         i += kEditBytes, ++nEdits)
        Apply(p + i, packets);

    ResetAllState();
    Play(fEditTables ? packets : Joined(tables, packets));
    Require(!link.fInSession && !link.fAwaitingPoke && !link.fPacketPending);
    Require(link.pReceiveBuffer == nullptr);
    if (!fEditTables) Require(Play(good) == goodTexts);
    ResetAllState();
}

}  // namespace
}  // namespace qsolve

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nBytes) {
    if (nBytes >= 3) qsolve::PlayInput(pData, nBytes);
    return 0;
}
