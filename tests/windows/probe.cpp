// Built into a copy of qsolve.exe, so that tests can see what only the process itself can. Messages
// that are posted to the window drive it, from WM_APP on:
//
//     WM_APP      prints a line "name=value" for each thing that it looks at, then "."
//     WM_APP + 1  an error of DDE's own
//     WM_APP + 2  presses the button wParam of the About box
//     WM_APP + 3  prints in the same way what there is of windows, GDI objects and texts of DDE
//
// windows_dde.cpp of this program is compiled to call the functions Probed... in the place of DDE's
// own, which tells what it registers and counts its string handles.

#include <windows.h>
// Needs the above.
#include <ddeml.h>

#include <cstddef>
#include <cstdio>
#include <cstring>

extern "C" {
UINT WINAPI ProbedDdeInitialize(LPDWORD pInstance, PFNCALLBACK pCallback, DWORD nFlags,
                                DWORD nReserved);
HSZ WINAPI ProbedDdeCreateString(DWORD nInstance, LPCSTR sText, int nCodePage);
BOOL WINAPI ProbedDdeFreeString(DWORD nInstance, HSZ hszText);
void* WINAPI RtlGetCurrentPeb();  // of ntdll: the process's own block
}

namespace {

constexpr UINT kReport = WM_APP, kFail = WM_APP + 1, kPress = WM_APP + 2, kCount = WM_APP + 3;

PFNCALLBACK pCallback = nullptr;
DWORD nFlags = 0;
int nStrings = 0;  // handles made and not freed

// ---- what there is ------------------------------------------------------------------------------

/// Windows of this process, those included that only receive messages: every handle is tried.
int CountWindows() {
    int nFound = 0;
    for (ULONG_PTR nHandle = 2; nHandle < 0x10000; nHandle += 2) {
        DWORD nProcess = 0;
        const auto hWindow = reinterpret_cast<HWND>(nHandle);
        if (GetWindowThreadProcessId(hWindow, &nProcess) && nProcess == GetCurrentProcessId())
            ++nFound;
    }
    return nFound;
}

/// Pens, brushes, bitmaps, ...: the entries in use of the table that every process can read.
int CountGdiObjects() {
    struct Entry {
        void* pObject;
        WORD nOwner, nZero, nUnique;
        BYTE nType, nFlags;
        void* pUser;
    };
    static_assert(sizeof(Entry) == 24);
    constexpr std::size_t kOffset = 0xF8;  // of the table's address in the process's own block
    constexpr int kEntries = 0x4000;
    const auto* const pBlock = static_cast<const BYTE*>(RtlGetCurrentPeb());
    const Entry* pTable = nullptr;
    std::memcpy(&pTable, pBlock + kOffset, sizeof pTable);
    if (!pTable) return -1;
    int nFound = 0;
    for (int i = 0; i < kEntries; ++i)
        if (pTable[i].nType != 0) ++nFound;
    return nFound;
}

BOOL CALLBACK FindOurWindow(HWND hWindow, LPARAM pFound) {
    char sClass[16] = {};
    GetClassNameA(hWindow, sClass, sizeof sClass);
    if (std::strcmp(sClass, "qsolve") != 0) return TRUE;
    *reinterpret_cast<HWND*>(pFound) = hWindow;
    return FALSE;
}

HWND OurWindow() {
    HWND hWindow = nullptr;
    EnumThreadWindows(GetCurrentThreadId(), FindOurWindow, reinterpret_cast<LPARAM>(&hWindow));
    return hWindow;
}

BOOL CALLBACK FindDialog(HWND hWindow, LPARAM pFound) {
    char sClass[16] = {};
    GetClassNameA(hWindow, sClass, sizeof sClass);
    if (std::strcmp(sClass, "#32770") == 0) *reinterpret_cast<HWND*>(pFound) = hWindow;
    return TRUE;
}

HWND AboutBox() {
    HWND hWindow = nullptr;
    EnumThreadWindows(GetCurrentThreadId(), FindDialog, reinterpret_cast<LPARAM>(&hWindow));
    return hWindow;
}

// ---- what is printed ----------------------------------------------------------------------------

void PrintMenu(HWND hWindow) {
    const HMENU hMenu = GetSystemMenu(hWindow, FALSE);
    const int nItems = GetMenuItemCount(hMenu);
    for (int i = 0; i < nItems; ++i) {
        char sText[80] = {};
        GetMenuStringA(hMenu, static_cast<UINT>(i), sText, sizeof sText, MF_BYPOSITION);
        std::printf("menu=%X %s\n", GetMenuItemID(hMenu, i), sText);
    }
}

void PrintDialog() {
    const HWND hDialog = AboutBox();
    std::printf("about=%d\n", hDialog ? 1 : 0);
    for (HWND h = GetWindow(hDialog, GW_CHILD); h; h = GetWindow(h, GW_HWNDNEXT)) {
        char sClass[16] = {}, sText[100] = {};
        GetClassNameA(h, sClass, sizeof sClass);
        GetWindowTextA(h, sText, sizeof sText);
        std::printf("about %s=%d %s\n", sClass, GetDlgCtrlID(h), sText);
    }
}

void PrintReport() {
    const HWND hWindow = OurWindow();
    char sTitle[40] = {}, sText[80] = {};
    GetWindowTextA(hWindow, sTitle, sizeof sTitle);
    LoadStringA(GetModuleHandleA(nullptr), 50, sText, sizeof sText);
    std::printf("flags=%lX\ntitle=%s\nstring 50=%s\n", nFlags, sTitle, sText);
    std::printf("style=%lX\n", static_cast<DWORD>(GetWindowLongPtrA(hWindow, GWL_STYLE)));
    std::printf("class style=%llX\n", GetClassLongPtrA(hWindow, GCL_STYLE));
    const auto nIcon = GetClassLongPtrA(hWindow, GCLP_HICON);
    const HICON hOurs = LoadIconA(GetModuleHandleA(nullptr), "BackendIcon");
    std::printf("icon=%d\n", nIcon && nIcon == reinterpret_cast<ULONG_PTR>(hOurs) ? 1 : 0);
    std::printf("iconic=%d\n", IsIconic(hWindow) ? 1 : 0);
    PrintMenu(hWindow);
    PrintDialog();
    std::printf(".\n");
    std::fflush(stdout);
}

void PrintCounts() {
    const HANDLE hProcess = GetCurrentProcess();
    std::printf("windows=%d\ngdi=%d\n", CountWindows(), CountGdiObjects());
    std::printf("strings=%d\n", nStrings);
    std::printf("system gdi=%lu\n", GetGuiResources(hProcess, GR_GDIOBJECTS));
    std::printf("system user=%lu\n", GetGuiResources(hProcess, GR_USEROBJECTS));
    std::printf(".\n");
    std::fflush(stdout);
}

LRESULT CALLBACK OnMessage(int nCode, WPARAM wParam, LPARAM lParam) {
    const MSG& message = *reinterpret_cast<const MSG*>(lParam);
    if (nCode == HC_ACTION && wParam == PM_REMOVE) {
        if (message.message == kReport) PrintReport();
        if (message.message == kCount) PrintCounts();
        if (message.message == kPress) PostMessageA(AboutBox(), WM_COMMAND, message.wParam, 0);
        if (message.message == kFail)
            pCallback(XTYP_ERROR, 0, nullptr, nullptr, nullptr, nullptr, DMLERR_LOW_MEMORY, 0);
    }
    return CallNextHookEx(nullptr, nCode, wParam, lParam);
}

}  // namespace

UINT WINAPI ProbedDdeInitialize(LPDWORD pInstance, PFNCALLBACK pTheirs, DWORD nTheirs,
                                DWORD nReserved) {
    pCallback = pTheirs;
    nFlags = nTheirs;
    SetWindowsHookExA(WH_GETMESSAGE, OnMessage, nullptr, GetCurrentThreadId());
    return DdeInitializeA(pInstance, pTheirs, nTheirs, nReserved);
}

HSZ WINAPI ProbedDdeCreateString(DWORD nInstance, LPCSTR sText, int nCodePage) {
    const HSZ hszText = DdeCreateStringHandleA(nInstance, sText, nCodePage);
    if (hszText) ++nStrings;
    return hszText;
}

BOOL WINAPI ProbedDdeFreeString(DWORD nInstance, HSZ hszText) {
    const BOOL fFreed = DdeFreeStringHandle(nInstance, hszText);
    if (fFreed) --nStrings;
    return fFreed;
}
