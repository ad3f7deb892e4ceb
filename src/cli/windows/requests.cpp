#include <windows.h>

#include <QCoreApplication>
#include <QMetaObject>
#include <array>
#include <thread>
#include <utility>

#include "cli/platform.h"

namespace cli {
namespace {

// Windows ends the process when the handler of a closed console returns; by then it has to be over.
constexpr DWORD kLongestEnd = 30'000;

std::function<void()> g_end;

BOOL WINAPI handle(DWORD event) {
    // An impatient second Ctrl+C comes when everything but the application object may be gone.
    QMetaObject::invokeMethod(qApp, g_end, Qt::QueuedConnection);
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) {
        Sleep(kLongestEnd);  // main() returns meanwhile, which ends this thread.
    }
    return TRUE;
}

/// Standard input can't be waited for beside other events.
void readAll(QObject* context, const std::function<void(const std::string&)>& take,
             const std::function<void()>& end) {
    const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
    std::string text;
    std::array<char, 4096> bytes{};
    DWORD count = 0;
    while (ReadFile(input, bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr) != 0 &&
           count > 0) {
        text.append(bytes.data(), count);
        for (auto at = text.find('\n'); at != std::string::npos; at = text.find('\n')) {
            std::string line = text.substr(0, at);
            if (!line.empty() && line.back() == '\r') {
                line.pop_back();
            }
            text.erase(0, at + 1);
            QMetaObject::invokeMethod(
                context, [take, line] { take(line); }, Qt::QueuedConnection);
        }
    }
    QMetaObject::invokeMethod(context, end, Qt::QueuedConnection);
}

}  // namespace

void whenAskedToEnd(QObject* /*context*/, std::function<void()> end) {
    g_end = std::move(end);
    SetConsoleCtrlHandler(handle, TRUE);
}

void readLines(QObject* context, std::function<void(const std::string& line)> take,
               std::function<void()> end) {
    // Nothing can end its last read; it ends with the process.
    std::thread(readAll, context, std::move(take), std::move(end)).detach();
}

}  // namespace cli
