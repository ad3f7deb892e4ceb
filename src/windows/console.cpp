// Lets a program without a console window print to the console it was started from.

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

/// Runs before main(), because the logger's set-up already prints.
struct ParentConsole {
    ParentConsole() {
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
