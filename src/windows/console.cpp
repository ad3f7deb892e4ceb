// Lets a program without a console window print to the console it was started from.

#include <windows.h>

#include <io.h>

#include <QCoreApplication>
#include <cstdio>

namespace {

bool isOpen(DWORD which) {
    const HANDLE handle = GetStdHandle(which);
    return handle != nullptr && handle != INVALID_HANDLE_VALUE &&
           GetFileType(handle) != FILE_TYPE_UNKNOWN;
}

void printToConsole(FILE* stream, DWORD which) {
    if (std::freopen("CONOUT$", "w", stream) != nullptr) {
        std::setvbuf(stream, nullptr, _IONBF, 0);
        SetStdHandle(which, reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream))));
    }
}

/// The console's own events would end the program at once. The shell does not wait for a program
/// with a window, so Ctrl+C there is meant for another one and is ignored. A console that closes
/// takes the program with it, but not before it has ended as when its window is closed.
BOOL WINAPI handleConsoleEvent(DWORD event) {
    if (event == CTRL_CLOSE_EVENT) {
        QMetaObject::invokeMethod(qApp, &QCoreApplication::quit, Qt::QueuedConnection);
        // The system ends the process when this returns, or after five seconds.
        Sleep(INFINITE);
    }
    return TRUE;
}

/// Runs before main(), because the logger's set-up already prints.
struct ParentConsole {
    ParentConsole() {
        SetConsoleCtrlHandler(handleConsoleEvent, TRUE);
        const bool output = isOpen(STD_OUTPUT_HANDLE);
        const bool error = isOpen(STD_ERROR_HANDLE);
        // A stream that is redirected to a file or a pipe stays redirected.
        if ((output && error) || AttachConsole(ATTACH_PARENT_PROCESS) == FALSE) {
            return;
        }
        if (!output) {
            printToConsole(stdout, STD_OUTPUT_HANDLE);
        }
        if (!error) {
            printToConsole(stderr, STD_ERROR_HANDLE);
        }
    }
} parentConsole;

}  // namespace
