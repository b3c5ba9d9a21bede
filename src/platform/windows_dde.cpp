#include "platform/windows_dde.h"

#include <ddeml.h>

#include <cstring>

#include "link/conversation.h"
#include "link/state.h"

namespace qsolve {

namespace {

constexpr UINT kStartFlags =
    CBF_FAIL_SELFCONNECTIONS | CBF_FAIL_ADVISES | CBF_SKIP_REGISTRATIONS | CBF_SKIP_UNREGISTRATIONS;

/// What DDE has lent us.
struct Dde {
    DWORD nInstance = 0;
    HSZ hszService = nullptr;
    HSZ hszTopic = nullptr;
    HSZ hszItem = nullptr;
    UINT nPacketFormat = 0;
    HCONV hConversation = nullptr;
    HANDLE hClient = nullptr;  ///< its process, to see it die; null where it cannot be told
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

HDDEDATA AsAnswer(int nAnswer) {
    return reinterpret_cast<HDDEDATA>(static_cast<ULONG_PTR>(nAnswer));
}

HANDLE OpenClient(HCONV hConversation) {
    CONVINFO info = {};
    info.cb = sizeof info;
    DWORD nProcess = 0;
    if (!DdeQueryConvInfo(hConversation, QID_SYNC, &info)) return nullptr;
    if (!GetWindowThreadProcessId(info.hwndPartner, &nProcess)) return nullptr;
    return OpenProcess(SYNCHRONIZE, FALSE, nProcess);
}

void Remember(HCONV hConversation) {
    dde.hConversation = hConversation;
    dde.hClient = OpenClient(hConversation);
    OnConnectConfirm();
}

void Forget() {
    dde.hConversation = nullptr;
    if (dde.hClient) CloseHandle(dde.hClient);
    dde.hClient = nullptr;
    OnDisconnect();
}

/// Nothing in here sends, waits or throws: it runs inside whatever wait pumps the messages.
HDDEDATA CALLBACK LinkCallback(UINT nType, UINT, HCONV hConversation, HSZ hszFirst, HSZ hszSecond,
                               HDDEDATA hData, ULONG_PTR, ULONG_PTR) noexcept {
    switch (nType) {
        case XTYP_CONNECT:
            return AsAnswer(OnConnect(NameOf(hszSecond), NameOf(hszFirst)) ? 1 : 0);
        case XTYP_CONNECT_CONFIRM:
            Remember(hConversation);
            return nullptr;
        case XTYP_REQUEST:
            return GivePacket(hszFirst, hszSecond);
        case XTYP_POKE:
            return AsAnswer(TakePoke(hszFirst, hszSecond, hData));
        case XTYP_EXECUTE:
            return AsAnswer(Obey(hszFirst, hData));
        case XTYP_DISCONNECT:
            Forget();
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

bool StartDde() {
    dde.nPacketFormat = RegisterClipboardFormatA(kItemName);
    if (dde.nPacketFormat < 0xC000 || dde.nPacketFormat > 0xFFFF) return false;
    if (DdeInitializeA(&dde.nInstance, LinkCallback, kStartFlags, 0) != DMLERR_NO_ERROR)
        return false;
    dde.hszService = MakeName(kServiceName);
    dde.hszItem = MakeName(kItemName);
    dde.hszTopic = MakeName(link.sTopicName);
    if (!dde.hszService || !dde.hszItem || !dde.hszTopic) return false;
    return DdeNameService(dde.nInstance, dde.hszService, nullptr, DNS_REGISTER | DNS_FILTERON) !=
           nullptr;
}

void StopDde() {
    if (!dde.nInstance) return;
    FreeName(dde.hszService);
    FreeName(dde.hszTopic);
    FreeName(dde.hszItem);
    DdeNameService(dde.nInstance, nullptr, nullptr, DNS_UNREGISTER);
    DdeUninitialize(dde.nInstance);
    dde = Dde{};
}

void DropDdeConversation() {
    if (!dde.hConversation) return;
    DdeDisconnect(dde.hConversation);
    Forget();
}

HANDLE DdeClient() {
    return dde.hClient;
}

}  // namespace qsolve
