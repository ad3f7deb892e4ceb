// Starts a program in a new console, as a shell does, presses Ctrl+C there, then closes the
// program's window. Ends with 0 if the program does. A program that Ctrl+C ended writes no banner.
// usage: ctrlc PROGRAM.exe

#include <windows.h>

#include <cstdio>
#include <cwchar>

namespace {

constexpr DWORD kPatienceMs = 60000;
HANDLE g_delivered = nullptr;

BOOL WINAPI noteCtrlC(DWORD /*event*/) {
    SetEvent(g_delivered);
    return TRUE;
}

struct Search {
    DWORD process;
    HWND window;
};

BOOL CALLBACK takeVisibleWindow(HWND window, LPARAM target) {
    auto* const search = reinterpret_cast<Search*>(target);
    DWORD owner = 0;
    GetWindowThreadProcessId(window, &owner);
    wchar_t name[4] = {};
    GetClassNameW(window, name, 4);
    // The console's window counts as one of the program, too.
    if (owner == search->process && IsWindowVisible(window) != FALSE &&
        std::wcsncmp(name, L"Qt", 2) == 0) {
        search->window = window;
    }
    return search->window == nullptr ? TRUE : FALSE;
}

HWND windowOf(const PROCESS_INFORMATION& program) {
    Search search = {program.dwProcessId, nullptr};
    for (DWORD waited = 0; search.window == nullptr && waited < kPatienceMs; waited += 100) {
        WaitForSingleObject(program.hProcess, 100);
        EnumWindows(takeVisibleWindow, reinterpret_cast<LPARAM>(&search));
    }
    return search.window;
}

int fail(const char* what) {
    std::fprintf(stderr, "%s failed: error %lu\n", what, GetLastError());
    return 1;
}

}  // namespace

int main(int argc, char* argv[]) {
    g_delivered = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    FreeConsole();
    if (argc != 2 || AllocConsole() == FALSE) {
        return fail("AllocConsole");
    }
    SetConsoleCtrlHandler(nullptr, FALSE);  // The caller may ignore Ctrl+C, and that is inherited.
    SetConsoleCtrlHandler(noteCtrlC, TRUE);
    // A program with a window gets no standard handles from a shell.
    SetStdHandle(STD_OUTPUT_HANDLE, nullptr);
    STARTUPINFOA startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION program = {};
    if (CreateProcessA(nullptr, argv[1], nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                       &program) == FALSE) {
        return fail("CreateProcess");
    }
    const HWND window = windowOf(program);
    if (window == nullptr || GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0) == FALSE ||
        WaitForSingleObject(g_delivered, kPatienceMs) != WAIT_OBJECT_0) {
        TerminateProcess(program.hProcess, 1);
        return fail("Ctrl+C");
    }
    PostMessageW(window, WM_CLOSE, 0, 0);
    DWORD code = 1;
    if (WaitForSingleObject(program.hProcess, kPatienceMs) != WAIT_OBJECT_0) {
        TerminateProcess(program.hProcess, 1);
        return fail("closing the window");
    }
    GetExitCodeProcess(program.hProcess, &code);
    std::fprintf(stderr, "exit code %#lx\n", code);
    return code == 0 ? 0 : 2;
}
