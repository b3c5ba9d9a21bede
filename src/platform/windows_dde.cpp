#include "platform/windows_dde.h"

#include <ddeml.h>

#include <cstring>

#include "link/conversation.h"
#include "link/state.h"

namespace qsolve {

namespace {

constexpr UINT kStartFlags =
    CBF_FAIL_SELFCONNECTIONS | CBF_FAIL_ADVISES | CBF_SKIP_REGISTRATIONS | CBF_SKIP_UNREGISTRATIONS;
static_assert(kStartFlags == 0x185000);

/// What DDE has lent us.
struct Dde {
    DWORD nInstance = 0;
    HSZ hszService = nullptr;
    HSZ hszTopic = nullptr;
    HSZ hszItem = nullptr;
    UINT nPacketFormat = 0;
    HCONV hConversation = nullptr;
    HANDLE hClientProcess = nullptr;
};
Dde dde;

/// A name as DDE hands it to a callback; longer ones than ours come cut and so equal nothing.
Name NameOf(HSZ hszName) {
    char sName[kLongestName + 2] = {};
    DdeQueryStringA(dde.nInstance, hszName, sName, sizeof sName, CP_WINANSI);
    return CopyName(sName, std::strlen(sName));
}

bool IsOurs(HSZ hszName, HSZ hszOurs) {
    return DdeCmpStringHandles(hszName, hszOurs) == 0;
}

/// Hands the pending packet over; it stays pending when there is no memory for its handle.
HDDEDATA GivePacket(HSZ hszTopic, HSZ hszItem) {
    if (!IsOurs(hszTopic, dde.hszTopic) || !IsOurs(hszItem, dde.hszItem)) return nullptr;
    if (!OnRequest(NameOf(hszItem))) return nullptr;
    const auto nBytes = static_cast<DWORD>(sizeof(PacketHeader)) +
                        static_cast<DWORD>(link.SendBuffer.Header.nLength);
    auto* pBytes = reinterpret_cast<BYTE*>(&link.SendBuffer);
    const HDDEDATA hPacket =
        DdeCreateDataHandle(dde.nInstance, pBytes, nBytes, 0, dde.hszItem, dde.nPacketFormat, 0);
    if (hPacket)
        PacketFetched();
    else
        OnError();
    return hPacket;
}

/// Whether a text from outside is our topic, compared as text and regardless of case.
bool IsOurTopic(HSZ hszTopic) {
    return lstrcmpiA(NameOf(hszTopic).sName, link.sTopicName) == 0;
}

int TakePoke(HSZ hszTopic, HSZ hszItem, HDDEDATA hData) {
    if (!IsOurTopic(hszTopic)) return kNotProcessed;
    DWORD nBytes = 0;
    BYTE* pBytes = DdeAccessData(hData, &nBytes);
    if (!pBytes) return kNotProcessed;
    const int nAnswer = OnPoke(NameOf(hszItem), pBytes, nBytes);
    DdeUnaccessData(hData);
    return nAnswer;
}

int Obey(HSZ hszTopic, HDDEDATA hData) {
    char sCommand[kLongestName + 2] = {};
    DdeGetData(hData, reinterpret_cast<BYTE*>(sCommand), sizeof sCommand - 1, 0);
    if (!IsOurTopic(hszTopic)) return kAcknowledged;
    return OnExecute(CopyName(sCommand, std::strlen(sCommand)));
}

/// The process on the other side of a conversation; null when it cannot be had.
HANDLE OpenClientProcess(HCONV hConversation) {
    CONVINFO info = {};
    info.cb = sizeof info;
    DWORD nProcess = 0;
    if (!DdeQueryConvInfo(hConversation, QID_SYNC, &info)) return nullptr;
    GetWindowThreadProcessId(info.hwndPartner, &nProcess);
    return nProcess != 0 ? OpenProcess(SYNCHRONIZE, FALSE, nProcess) : nullptr;
}

void TakeConversation(HCONV hConversation) {
    dde.hConversation = hConversation;
    dde.hClientProcess = OpenClientProcess(hConversation);
    OnConnectConfirm();
}

void ForgetConversation() {
    dde.hConversation = nullptr;
    if (dde.hClientProcess) CloseHandle(dde.hClientProcess);
    dde.hClientProcess = nullptr;
}

HDDEDATA AsAnswer(int nAnswer) {
    return reinterpret_cast<HDDEDATA>(static_cast<ULONG_PTR>(nAnswer));
}

/// Nothing in here sends, waits or throws: it runs inside whatever wait pumps the messages.
HDDEDATA CALLBACK LinkCallback(UINT nType, UINT, HCONV hConversation, HSZ hszFirst, HSZ hszSecond,
                               HDDEDATA hData, ULONG_PTR, ULONG_PTR) noexcept {
    switch (nType) {
        case XTYP_CONNECT:
            return AsAnswer(OnConnect(NameOf(hszSecond), NameOf(hszFirst)) ? 1 : 0);
        case XTYP_CONNECT_CONFIRM:
            TakeConversation(hConversation);
            return nullptr;
        case XTYP_REQUEST:
            return GivePacket(hszFirst, hszSecond);
        case XTYP_POKE:
            return AsAnswer(TakePoke(hszFirst, hszSecond, hData));
        case XTYP_EXECUTE:
            return AsAnswer(Obey(hszFirst, hData));
        case XTYP_DISCONNECT:
            ForgetConversation();
            OnDisconnect();
            return nullptr;
        case XTYP_ERROR:
            OnError();
            return nullptr;
        default:
            return nullptr;
    }
}

HSZ MakeName(const char* sName) {
    return DdeCreateStringHandleA(dde.nInstance, sName, CP_WINANSI);
}

void FreeName(HSZ& hszName) {
    if (hszName) DdeFreeStringHandle(dde.nInstance, hszName);
    hszName = nullptr;
}

}  // namespace

bool RegisterPacketFormat() {
    dde.nPacketFormat = RegisterClipboardFormatA(kItemName);
    return dde.nPacketFormat >= 0xC000 && dde.nPacketFormat <= 0xFFFF;
}

DdeStart StartDde() {
    if (DdeInitializeA(&dde.nInstance, LinkCallback, kStartFlags, 0) != DMLERR_NO_ERROR)
        return DdeStart::kNoDde;
    dde.hszService = MakeName(kServiceName);
    dde.hszItem = MakeName(kItemName);
    dde.hszTopic = MakeName(link.sTopicName);
    if (!dde.hszService || !dde.hszItem || !dde.hszTopic) return DdeStart::kNoMemory;
    // Nothing that a client sends is handled before the first pump, when the name stands.
    const UINT nFlags = DNS_REGISTER | DNS_FILTERON;
    return DdeNameService(dde.nInstance, dde.hszService, nullptr, nFlags) ? DdeStart::kReady
                                                                          : DdeStart::kNoMemory;
}

void StopDde() {
    if (!dde.nInstance) return;
    FreeName(dde.hszService);
    FreeName(dde.hszTopic);
    FreeName(dde.hszItem);
    DdeNameService(dde.nInstance, nullptr, nullptr, DNS_UNREGISTER);
    DdeUninitialize(dde.nInstance);
    ForgetConversation();
    dde = Dde{};
}

void DropDdeConversation() {
    if (!dde.hConversation) return;
    const HCONV hConversation = dde.hConversation;
    ForgetConversation();
    DdeDisconnect(hConversation);
    OnDisconnect();
}

HANDLE DdeClientProcess() {
    return dde.hClientProcess;
}

}  // namespace qsolve
