// A program without a console window of its own keeps what it prints when it was started from one.

#include <windows.h>

#include <io.h>

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

/// Runs before main(): the first lines are written by the logger's set-up.
struct ConsoleOfTheCaller {
    ConsoleOfTheCaller() {
        const bool output = isOpen(STD_OUTPUT_HANDLE);
        const bool error = isOpen(STD_ERROR_HANDLE);
        // A stream that was sent to a file or a pipe stays there.
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
} consoleOfTheCaller;

}  // namespace
