// A DDE client for tests: starts a program with a DDE server in it, takes frames of the packet
// socket on standard input, carries them over DDE, and writes the answers to standard output.
//
//     ddebridge [--out FILE] [--status FILE] [--topic TOPIC] PROGRAM [REST OF ITS COMMAND LINE]
//
// The program's standard output goes to the first FILE, else, as its standard error, to that of the
// bridge. The second FILE gets "started", and at the end the exit status in decimal: Wine's
// server kills a process that takes half a second to leave, and the system tells only of that.
// A connect to the topic "CalcBackend" becomes one to TOPIC, so that backends with topics of their
// own can serve clients that know the usual one alone.
// The frames are those of docs/packet-link.md, and these of the bridge's own, each answered by one
// word:
//
// - 0x0001 format: name, NUL. The clipboard format of what follows, at first "Packet".
// - 0x0002 topic: service, NUL, topic, NUL. Whether a second conversation is given; it is ended.
// - 0x0003 post: message, wParam, lParam, to the program's window; message 18 to its thread.
// - 0x1030 advise: item, NUL. Whether the server agrees to tell of changes.
//
// The bridge ends with its input, or with the program, whose exit status becomes its own. A program
// that never had a conversation does not learn from DDE that its client has gone; its window is
// closed. One that has not ended kPatience after its client went is terminated; the status is then
// 98. It is 97 when the program cannot be started.

#include <windows.h>
// Needs the above.
#include <dde.h>
#include <ddeml.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace {

constexpr DWORD kPatience = 5000, kTransactionTime = 60000;  // milliseconds
constexpr DWORD kFirstPause = 1, kLongestPause = 32;         // between two requests, milliseconds
constexpr int kConnects = 5, kStarts = 3;
constexpr std::uint32_t kLongestFrame = 1u << 28;
constexpr int kNotStarted = 97, kNotEnded = 98;

enum Code : std::uint32_t {
    kFormat = 0x0001,
    kTopic = 0x0002,
    kPost = 0x0003,
    kAdvise = 0x1030,
    kConnect = 0x1062,
    kRequest = 0x20B0,
    kPoke = 0x4090,
    kExecute = 0x4050,
    kDisconnect = 0x80C2,
};

struct Frame {
    std::uint32_t nCode = 0;
    std::vector<char> Body;
};

struct Bridge {
    PROCESS_INFORMATION server = {};
    std::string sTopic = "CalcBackend";  ///< what that name stands for
    std::string sStatusFile;
    DWORD nInstance = 0;
    UINT nFormat = 0;
    HCONV hConversation = nullptr;
    bool fTalked = false;  ///< there has been a conversation

    CRITICAL_SECTION lock;  ///< of the two below, which the reading thread fills
    std::deque<Frame> incoming;
    bool fEndOfInput = false;
    HANDLE hIncoming = nullptr;  ///< set whenever one of them changes

    std::deque<Frame> held;  ///< requests for which there is no packet yet
    DWORD nPause = kFirstPause;
};
Bridge bridge;

// ---- frames -------------------------------------------------------------------------------------

bool ReadAll(void* pBytes, std::size_t nBytes) {
    auto* p = static_cast<char*>(pBytes);
    while (nBytes > 0) {
        DWORD nRead = 0;
        const auto nWanted = static_cast<DWORD>(nBytes);
        if (!ReadFile(GetStdHandle(STD_INPUT_HANDLE), p, nWanted, &nRead, nullptr) || nRead == 0)
            return false;
        p += nRead;
        nBytes -= nRead;
    }
    return true;
}

DWORD WINAPI ReadFrames(void*) {
    for (bool fMore = true; fMore;) {
        std::uint32_t head[2];
        Frame frame;
        fMore = ReadAll(head, sizeof head) && head[1] <= kLongestFrame;
        if (fMore) {
            frame.nCode = head[0];
            frame.Body.resize(head[1]);
            fMore = ReadAll(frame.Body.data(), head[1]);
        }
        EnterCriticalSection(&bridge.lock);
        if (fMore)
            bridge.incoming.push_back(std::move(frame));
        else
            bridge.fEndOfInput = true;
        LeaveCriticalSection(&bridge.lock);
        SetEvent(bridge.hIncoming);
    }
    return 0;
}

/// The next frame, if one has come. fEnd tells that none will ever come.
std::optional<Frame> NextFrame(bool& fEnd) {
    std::optional<Frame> frame;
    EnterCriticalSection(&bridge.lock);
    if (!bridge.incoming.empty()) {
        frame = std::move(bridge.incoming.front());
        bridge.incoming.pop_front();
    }
    fEnd = !frame && bridge.fEndOfInput;
    LeaveCriticalSection(&bridge.lock);
    return frame;
}

void Answer(std::uint32_t nCode, const void* pBytes, std::uint32_t nBytes) {
    std::vector<char> data(std::size_t{8} + nBytes);
    std::memcpy(data.data(), &nCode, 4);
    std::memcpy(data.data() + 4, &nBytes, 4);
    if (nBytes > 0) std::memcpy(data.data() + 8, pBytes, nBytes);
    for (std::size_t nSent = 0; nSent < data.size();) {
        DWORD nWritten = 0;
        if (!WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), data.data() + nSent,
                       static_cast<DWORD>(data.size() - nSent), &nWritten, nullptr))
            return;  // nobody listens; the end of the input follows
        nSent += nWritten;
    }
}

void AnswerWord(std::uint32_t nCode, std::uint32_t nWord) {
    Answer(nCode, &nWord, sizeof nWord);
}

/// Takes a text off the front of a frame, with its NUL.
std::string TakeText(const std::vector<char>& body, std::size_t& nStart) {
    std::string sText;
    while (nStart < body.size() && body[nStart] != '\0') sText += body[nStart++];
    if (nStart < body.size()) ++nStart;
    return sText;
}

// ---- the server ---------------------------------------------------------------------------------

BOOL CALLBACK FindWindowOfServer(HWND hWindow, LPARAM pFound) {
    DWORD nProcess = 0;
    char sClass[16] = {};
    GetWindowThreadProcessId(hWindow, &nProcess);
    GetClassNameA(hWindow, sClass, sizeof sClass);
    if (nProcess != bridge.server.dwProcessId || std::strcmp(sClass, "qsolve") != 0) return TRUE;
    *reinterpret_cast<HWND*>(pFound) = hWindow;
    return FALSE;
}

HWND WindowOfServer() {
    HWND hWindow = nullptr;
    EnumWindows(FindWindowOfServer, reinterpret_cast<LPARAM>(&hWindow));
    return hWindow;
}

/// Whether a session runs, or is about to: the server marks its window.
std::uint32_t SessionRuns() {
    const HWND hWindow = WindowOfServer();
    return hWindow && GetPropA(hWindow, "Session") ? 1 : 0;
}

/// The first argument of a command line is its own; returns what stands behind it.
char* SkipArgument(char* s) {
    bool fQuoted = false;
    for (; *s && (fQuoted || *s != ' '); ++s)
        if (*s == '"') fQuoted = !fQuoted;
    while (*s == ' ') ++s;
    return s;
}

HANDLE OpenOutput(const std::string& sFile) {
    SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
    return CreateFileA(sFile.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited,
                       CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
}

void TellStatus(const std::string& sText) {
    if (bridge.sStatusFile.empty()) return;
    const HANDLE hFile = OpenOutput(bridge.sStatusFile);
    DWORD nWritten = 0;
    WriteFile(hFile, sText.data(), static_cast<DWORD>(sText.size()), &nWritten, nullptr);
    CloseHandle(hFile);
}

/// Takes the value of an option off a command line; false when the option does not stand first.
bool TakeOption(const char* sName, char*& sRest, std::string& sValue) {
    const std::size_t nName = std::strlen(sName);
    if (std::strncmp(sRest, sName, nName) != 0 || sRest[nName] != ' ') return false;
    char* const sStart = SkipArgument(sRest);
    sRest = SkipArgument(sStart);
    sValue.clear();
    for (const char* s = sStart; s < sRest; ++s)
        if (*s != '"') sValue += *s;
    while (!sValue.empty() && sValue.back() == ' ') sValue.pop_back();
    return true;
}

/// Returns when the program has a window and answers messages to it. The first window of all makes
/// Wine start a desktop.
void WaitUntilReady() {
    constexpr int kPause = 5;
    for (int i = 0; i < 30000 / kPause && !WindowOfServer(); ++i)
        if (WaitForSingleObject(bridge.server.hProcess, kPause) == WAIT_OBJECT_0) return;
    DWORD_PTR nAnswer = 0;
    SendMessageTimeoutA(WindowOfServer(), WM_NULL, 0, 0, SMTO_NORMAL, kPatience, &nAnswer);
}

/// Under Wine, one process in some thousands dies at its start, an internal error to its parent.
bool Create(char* sCommand, STARTUPINFOA& start) {
    for (int nLeft = kStarts;;) {
        if (CreateProcessA(nullptr, sCommand, nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start,
                           &bridge.server))
            return true;
        if (GetLastError() != ERROR_INTERNAL_ERROR || --nLeft == 0) return false;
    }
}

/// Starts the program that our own command line names, and returns when it waits for messages: by
/// then it has registered its names.
bool StartServer() {
    char* sRest = SkipArgument(GetCommandLineA());
    HANDLE hOut = GetStdHandle(STD_ERROR_HANDLE);
    std::string sFile;
    if (TakeOption("--out", sRest, sFile)) hOut = OpenOutput(sFile);
    TakeOption("--status", sRest, bridge.sStatusFile);
    TellStatus("started");
    TakeOption("--topic", sRest, bridge.sTopic);
    STARTUPINFOA start = {};
    start.cb = sizeof start;
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdOutput = hOut;
    start.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    SetHandleInformation(GetStdHandle(STD_INPUT_HANDLE), HANDLE_FLAG_INHERIT, 0);
    SetHandleInformation(GetStdHandle(STD_OUTPUT_HANDLE), HANDLE_FLAG_INHERIT, 0);
    if (!Create(sRest, start)) {
        std::fprintf(stderr, "ddebridge: cannot start %s (error %lu)\n", sRest, GetLastError());
        return false;
    }
    WaitUntilReady();
    return true;
}

/// The exit status of the program, which is given some time to end by itself.
int StatusOfServer() {
    DWORD nStatus = kNotEnded;
    if (!bridge.fTalked) PostMessageA(WindowOfServer(), WM_CLOSE, 0, 0);
    if (WaitForSingleObject(bridge.server.hProcess, kPatience) != WAIT_OBJECT_0) {
        TerminateProcess(bridge.server.hProcess, kNotEnded);
        WaitForSingleObject(bridge.server.hProcess, kPatience);
    }
    GetExitCodeProcess(bridge.server.hProcess, &nStatus);
    return static_cast<int>(nStatus);
}

// ---- DDE ----------------------------------------------------------------------------------------

HDDEDATA CALLBACK OnTransaction(UINT nType, UINT, HCONV hConversation, HSZ, HSZ, HDDEDATA,
                                ULONG_PTR, ULONG_PTR) noexcept {
    if (nType == XTYP_DISCONNECT && hConversation == bridge.hConversation)
        bridge.hConversation = nullptr;
    return nullptr;
}

/// A string handle for the length of a call; of an empty text there is none.
struct Text {
    HSZ hsz;

    explicit Text(const std::string& s)
        : hsz(s.empty() ? nullptr
                        : DdeCreateStringHandleA(bridge.nInstance, s.c_str(), CP_WINANSI)) {}
    ~Text() {
        if (hsz) DdeFreeStringHandle(bridge.nInstance, hsz);
    }
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;
};

HCONV Connect(const Frame& frame) {
    std::size_t nStart = 0;
    const Text service(TakeText(frame.Body, nStart));
    const std::string sTopic = TakeText(frame.Body, nStart);
    const bool fUsual = lstrcmpiA(sTopic.c_str(), "CalcBackend") == 0;
    const Text topic(fUsual ? bridge.sTopic : sTopic);
    // A server that is busy may miss the question, so the first conversation is asked for again.
    for (int nLeft = fUsual && !bridge.hConversation ? kConnects : 1;; Sleep(kLongestPause)) {
        const HCONV hConversation = DdeConnect(bridge.nInstance, service.hsz, topic.hsz, nullptr);
        if (hConversation || --nLeft == 0) return hConversation;
    }
}

std::uint32_t Open(const Frame& frame) {
    const HCONV hConversation = Connect(frame);
    if (!hConversation) return 0;
    bridge.fTalked = true;
    if (!bridge.hConversation)
        bridge.hConversation = hConversation;
    else
        DdeDisconnect(hConversation);
    return 1;
}

std::uint32_t OpenAndClose(const Frame& frame) {
    const HCONV hConversation = Connect(frame);
    if (hConversation) DdeDisconnect(hConversation);
    return hConversation ? 1 : 0;
}

/// One transaction with nBytes of data; returns the server's word.
std::uint32_t Transact(const char* pData, std::size_t nBytes, HSZ hszItem, UINT nFormat,
                       UINT nType) {
    DWORD nResult = 0;
    if (!bridge.hConversation) return 0;
    auto* const p = reinterpret_cast<BYTE*>(const_cast<char*>(pData));
    if (DdeClientTransaction(p, static_cast<DWORD>(nBytes), bridge.hConversation, hszItem, nFormat,
                             nType, kTransactionTime, &nResult))
        return nResult & (DDE_FACK | DDE_FBUSY);
    return DdeGetLastError(bridge.nInstance) == DMLERR_BUSY ? DDE_FBUSY : DDE_FNOTPROCESSED;
}

std::uint32_t Poke(const Frame& frame) {
    std::size_t nStart = 0;
    const Text item(TakeText(frame.Body, nStart));
    if (!item.hsz) return DDE_FNOTPROCESSED;
    return Transact(frame.Body.data() + nStart, frame.Body.size() - nStart, item.hsz,
                    bridge.nFormat, XTYP_POKE);
}

std::uint32_t Advise(const Frame& frame) {
    std::size_t nStart = 0;
    const Text item(TakeText(frame.Body, nStart));
    return Transact(nullptr, 0, item.hsz, bridge.nFormat, XTYP_ADVSTART | XTYPF_NODATA);
}

std::uint32_t Execute(const Frame& frame) {
    return Transact(frame.Body.data(), frame.Body.size(), nullptr, 0, XTYP_EXECUTE);
}

std::uint32_t PostToServer(const Frame& frame) {
    std::uint32_t words[3] = {};
    std::memcpy(words, frame.Body.data(), std::min(frame.Body.size(), sizeof words));
    if (words[0] == WM_QUIT)
        return PostThreadMessageA(bridge.server.dwThreadId, WM_QUIT, words[1], words[2]) != 0;
    const HWND hWindow = WindowOfServer();
    return hWindow && PostMessageA(hWindow, words[0], words[1], words[2]);
}

/// Ends the bridge; its status is told twice.
[[noreturn]] void End(int nStatus) {
    TellStatus(std::to_string(nStatus & 0xff));
    ExitProcess(static_cast<UINT>(nStatus));
}

bool UnderWine() {
    return GetProcAddress(GetModuleHandleA("ntdll"), "wine_get_version") != nullptr;
}

/// Wine's server side follows each packet with an acknowledgement that nobody waits for. If the
/// next transaction began before it came, Wine's client side would take it for the answer.
void TakeStrayAcknowledgement() {
    static const bool fUnderWine = UnderWine();
    const ULONGLONG nLimit = GetTickCount64() + kPatience;
    while (fUnderWine && GetTickCount64() < nLimit) {
        MSG message;
        while (PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE)) {
            DispatchMessageA(&message);
            if (message.message == WM_DDE_ACK) return;
        }
        MsgWaitForMultipleObjects(1, &bridge.server.hProcess, FALSE, kPatience, QS_ALLINPUT);
        if (WaitForSingleObject(bridge.server.hProcess, 0) == WAIT_OBJECT_0) return;
    }
}

/// Answers a request with a packet, or with the state of the session; false when it has to be held.
/// The state is asked for after the packet: a session cannot end while one waits to be fetched.
bool Fetch(const Frame& frame) {
    std::size_t nStart = 0;
    const std::string sItem = TakeText(frame.Body, nStart);
    const Text item(sItem);
    HDDEDATA hData = nullptr;
    if (bridge.hConversation && item.hsz)
        hData = DdeClientTransaction(nullptr, 0, bridge.hConversation, item.hsz, bridge.nFormat,
                                     XTYP_REQUEST, kTransactionTime, nullptr);
    if (hData) {
        TakeStrayAcknowledgement();
        // The handle may be larger than what it was made for; the header knows.
        DWORD nBytes = 0;
        std::int32_t nPayload = 0;
        const BYTE* pBytes = DdeAccessData(hData, &nBytes);
        if (pBytes && nBytes >= 20) std::memcpy(&nPayload, pBytes, sizeof nPayload);
        const auto nPacket = static_cast<DWORD>(20 + nPayload);
        if (pBytes && nPacket <= nBytes) Answer(frame.nCode, pBytes, nPacket);
        DdeUnaccessData(hData);
        DdeFreeDataHandle(hData);
        return true;
    }
    const bool fOurs = lstrcmpiA(sItem.c_str(), "Packet") == 0;
    const std::uint32_t nRuns = SessionRuns();
    if (fOurs && nRuns && bridge.hConversation) return false;
    AnswerWord(frame.nCode, nRuns);
    return true;
}

// ---- the bridge ---------------------------------------------------------------------------------

void Handle(Frame frame) {
    switch (frame.nCode) {
        case kConnect:
            return AnswerWord(kConnect, Open(frame));
        case kTopic:
            return AnswerWord(kTopic, OpenAndClose(frame));
        case kFormat:
            bridge.nFormat = RegisterClipboardFormatA(frame.Body.data());
            return AnswerWord(kFormat, bridge.nFormat);
        case kPost:
            return AnswerWord(kPost, PostToServer(frame));
        case kAdvise:
            return AnswerWord(kAdvise, Advise(frame));
        case kPoke:
            return AnswerWord(kPoke, Poke(frame));
        case kExecute:
            return AnswerWord(kExecute, Execute(frame));
        case kRequest:
            bridge.held.push_back(std::move(frame));
            return;
        case kDisconnect:
            if (bridge.hConversation) DdeDisconnect(bridge.hConversation);
            bridge.hConversation = nullptr;
            return;
        default:
            std::fprintf(stderr, "ddebridge: a frame of code 0x%X\n", frame.nCode);
            ExitProcess(1);
    }
}

/// Tries the requests that wait for a packet, in their order; with each failure less often.
void TryHeld(bool fNew) {
    if (fNew) bridge.nPause = kFirstPause;
    while (!bridge.held.empty() && Fetch(bridge.held.front())) {
        bridge.held.pop_front();
        bridge.nPause = kFirstPause;
    }
    if (!bridge.held.empty()) bridge.nPause = std::min(2 * bridge.nPause, kLongestPause);
}

void PumpMessages() {
    MSG message;
    while (PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageA(&message);
}

/// Carries frames until the input or the program ends.
void Run() {
    for (;;) {
        PumpMessages();
        bool fEnd = false, fNew = false;
        while (auto frame = NextFrame(fEnd)) {
            Handle(std::move(*frame));
            fNew = true;
        }
        if (fEnd) return;
        TryHeld(fNew);
        const HANDLE handles[2] = {bridge.hIncoming, bridge.server.hProcess};
        const DWORD nTime = bridge.held.empty() ? INFINITE : bridge.nPause;
        const DWORD nWhat = MsgWaitForMultipleObjects(2, handles, FALSE, nTime, QS_ALLINPUT);
        if (nWhat == WAIT_OBJECT_0 + 1) return;
    }
}

}  // namespace

int main() {
    InitializeCriticalSection(&bridge.lock);
    bridge.hIncoming = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    if (!StartServer()) End(kNotStarted);
    DdeInitializeA(&bridge.nInstance, OnTransaction, APPCMD_CLIENTONLY, 0);
    bridge.nFormat = RegisterClipboardFormatA("Packet");
    CloseHandle(CreateThread(nullptr, 0, ReadFrames, nullptr, 0, nullptr));
    Run();
    if (bridge.hConversation) DdeDisconnect(bridge.hConversation);
    DdeUninitialize(bridge.nInstance);
    End(StatusOfServer());
}
