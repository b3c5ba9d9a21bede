#include <windows.h>
#undef Yield  // a relic of 16-bit Windows that would rename our own

#include <cstdio>
#include <exception>
#include <utility>

#include "link/link.h"
#include "link/transport.h"
#include "platform/platform.h"
#include "platform/windows_dde.h"

namespace qsolve {

namespace {

constexpr UINT kStartSessionMessage = WM_USER, kLinkLostMessage = WM_USER + 2;
constexpr UINT kAboutCommand = 100;
constexpr int kAboutDialog = 1, kMenuTextId = 50, kMenuTextLength = 30;
constexpr char kClassName[] = "qsolve", kWindowTitle[] = "Orbitrax";
/// The window has it while a session runs or is about to: a request that brings no packet cannot
/// say so.
constexpr char kSessionProperty[] = "Session";

/// The minimised window that receives the process's messages.
struct Shell {
    MessageHandler pHandler = nullptr;
    HINSTANCE hInstance = nullptr;
    HWND hWindow = nullptr;
    HWND hAboutDialog = nullptr;
    bool fClosePending = false;  ///< to be closed once the About dialog is
    int nStartsPosted = 0;       ///< sessions that the queue still asks for
    int nExitStatus = 0;         ///< of the message that ends the process
    std::exception_ptr parked;   ///< what a handler threw, until the system's code is left
};
Shell shell;

INT_PTR CALLBACK AboutDlgProc(HWND hDialog, UINT nMessage, WPARAM wParam, LPARAM) noexcept {
    switch (nMessage) {
        case WM_INITDIALOG:
            shell.hAboutDialog = hDialog;
            return TRUE;
        case WM_DESTROY:
            shell.hAboutDialog = nullptr;
            return FALSE;
        case WM_COMMAND:
            if (LOWORD(wParam) == IDOK || LOWORD(wParam) == IDCANCEL) EndDialog(hDialog, 1);
            return FALSE;
        default:
            return FALSE;
    }
}

LRESULT ShowAbout(HWND hWindow) {
    if (shell.hAboutDialog) return 0;
    DialogBoxParamA(shell.hInstance, MAKEINTRESOURCEA(kAboutDialog), hWindow, AboutDlgProc, 0);
    if (shell.fClosePending) DestroyWindow(hWindow);
    return 0;
}

/// Ends the conversation and then the window; the rest of the session unwinds at its next pump.
LRESULT LoseLink(HWND hWindow) {
    link.fLinkDown = true;
    link.fPacketPending = false;
    DropDdeConversation();
    PostMessageA(hWindow, WM_CLOSE, 0, 0);
    return 0;
}

LRESULT Close(HWND hWindow, WPARAM wParam, LPARAM lParam) {
    link.fLinkDown = true;
    if (link.fConversation) {
        PostMessageA(hWindow, kLinkLostMessage, 0, 0);
        return 0;
    }
    if (shell.hAboutDialog) {
        shell.fClosePending = true;
        return 0;
    }
    return DefWindowProcA(hWindow, WM_CLOSE, wParam, lParam);
}

LRESULT Destroy(HWND hWindow) {
    link.fLinkDown = true;
    if (link.fConversation) SendMessageA(hWindow, kLinkLostMessage, 0, 0);
    if (shell.hAboutDialog) DestroyWindow(shell.hAboutDialog);
    PostQuitMessage(0);
    return 0;
}

LRESULT HandleMessage(HWND hWindow, UINT nMessage, WPARAM wParam, LPARAM lParam) {
    switch (nMessage) {
        case kStartSessionMessage:
            if (shell.nStartsPosted > 0) --shell.nStartsPosted;
            shell.pHandler(Message::kStartSession);
            return 0;
        case kLinkLostMessage:
            return LoseLink(hWindow);
        case WM_CLOSE:
            return Close(hWindow, wParam, lParam);
        case WM_DESTROY:
            return Destroy(hWindow);
        case WM_QUERYOPEN:
            return 0;
        case WM_SYSCOMMAND:
            if (wParam == kAboutCommand) return ShowAbout(hWindow);
            break;
        default:
            break;
    }
    return DefWindowProcA(hWindow, nMessage, wParam, lParam);
}

/// No exception may cross the system's code: it is parked, and the pump throws it on.
LRESULT CALLBACK BackendWndProc(HWND hWindow, UINT nMessage, WPARAM wParam,
                                LPARAM lParam) noexcept {
    try {
        return HandleMessage(hWindow, nMessage, wParam, lParam);
    } catch (...) {
        shell.parked = std::current_exception();
        return 0;
    }
}

void RethrowParked() {
    if (shell.parked) std::rethrow_exception(std::exchange(shell.parked, nullptr));
}

void Dispatch(const MSG& message) {
    if (message.message == WM_QUIT) {
        shell.nExitStatus = static_cast<int>(message.wParam);
        link.fQuit = true;
        return;
    }
    TranslateMessage(&message);
    DispatchMessageA(&message);
    RethrowParked();
}

/// Ends the conversation when the client's process has ended. Returns whether it has.
bool NoticeDeadClient() {
    const HANDLE hClient = DdeClientProcess();
    if (!hClient || WaitForSingleObject(hClient, 0) != WAIT_OBJECT_0) return false;
    DropDdeConversation();
    return true;
}

/// Sleeps until there is a message, or the client's process ends.
void SleepUntilSomethingHappens() {
    const HANDLE hClient = DdeClientProcess();
    MsgWaitForMultipleObjects(hClient ? 1 : 0, &hClient, FALSE, INFINITE, QS_ALLINPUT);
}

bool RegisterWindowClass() {
    WNDCLASSA windowClass = {};
    windowClass.style = CS_VREDRAW | CS_HREDRAW;
    windowClass.lpfnWndProc = BackendWndProc;
    windowClass.hInstance = shell.hInstance;
    windowClass.hIcon = LoadIconA(shell.hInstance, "BackendIcon");
    windowClass.hCursor = LoadCursorA(nullptr, reinterpret_cast<LPCSTR>(IDC_ARROW));
    windowClass.hbrBackground = static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH));
    windowClass.lpszClassName = kClassName;
    return RegisterClassA(&windowClass) != 0;
}

/// Leaves Move and Close in the system menu and adds the About box.
bool TrimSystemMenu() {
    const HMENU hMenu = GetSystemMenu(shell.hWindow, FALSE);
    if (!hMenu) return false;
    for (const UINT nPosition : {8u, 7u, 5u, 4u, 3u, 2u, 0u})
        DeleteMenu(hMenu, nPosition, MF_BYPOSITION);
    char sAbout[kMenuTextLength + 1] = {};
    LoadStringA(shell.hInstance, kMenuTextId, sAbout, sizeof sAbout);
    if (!sAbout[0]) lstrcpynA(sAbout, MessageText(kMsgAbout), sizeof sAbout);
    AppendMenuA(hMenu, MF_SEPARATOR, 0, nullptr);
    AppendMenuA(hMenu, MF_STRING, kAboutCommand, sAbout);
    return true;
}

bool MakeWindow() {
    shell.hWindow = CreateWindowExA(0, kClassName, kWindowTitle, WS_OVERLAPPEDWINDOW, CW_USEDEFAULT,
                                    CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT, nullptr, nullptr,
                                    shell.hInstance, nullptr);
    if (!shell.hWindow || !TrimSystemMenu()) return false;
    // Window handles have 32 significant bits.
    link.hOwnWindow = static_cast<int>(reinterpret_cast<LONG_PTR>(shell.hWindow));
    ShowWindow(shell.hWindow, SW_SHOWMINNOACTIVE);
    UpdateWindow(shell.hWindow);
    return true;
}

}  // namespace

bool StartPlatform(MessageHandler pHandler) {
    shell.pHandler = pHandler;
    shell.hInstance = GetModuleHandleA(nullptr);
    DdeStart nStart = DdeStart::kNoMemory;
    if (RegisterWindowClass() && RegisterPacketFormat() && MakeWindow()) nStart = StartDde();
    if (nStart == DdeStart::kReady) return true;
    const bool fNoDde = nStart == DdeStart::kNoDde;
    MessageBoxA(nullptr, MessageText(fNoDde ? kMsgNoConversation : kMsgOutOfMemory), kWindowTitle,
                MB_ICONSTOP);
    StopPlatform();
    return false;
}

int StopPlatform() {
    StopDde();
    UnregisterClassA(kClassName, shell.hInstance);
    return shell.nExitStatus;
}

void PostToSelf(Message message) {
    const bool fStart = message == Message::kStartSession;
    if (fStart) {
        ++shell.nStartsPosted;
        SetPropA(shell.hWindow, kSessionProperty, shell.hWindow);
    }
    PostMessageA(shell.hWindow, fStart ? kStartSessionMessage : kLinkLostMessage, 0, 0);
}

bool MakeRoomFor(std::size_t) {
    return true;  // DDE lends the packet's bytes
}

void PacketOffered() {}

void SessionEnded() {
    if (shell.nStartsPosted == 0) RemovePropA(shell.hWindow, kSessionProperty);
}

bool HandleOneMessage() {
    MSG message;
    RethrowParked();
    if (!PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE)) return NoticeDeadClient();
    Dispatch(message);
    return true;
}

void WaitForMessage() {
    MSG message;
    RethrowParked();
    while (!PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE)) {
        SleepUntilSomethingHappens();
        if (NoticeDeadClient()) return;
    }
    Dispatch(message);
}

void PrintLine(const char* sText) {
    std::puts(sText);
    std::fflush(stdout);
}

}  // namespace qsolve
