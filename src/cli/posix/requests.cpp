#include <fcntl.h>
#include <unistd.h>

#include <QSocketNotifier>
#include <cerrno>
#include <csignal>
#include <string>

#include "cli/platform.h"

namespace cli {
namespace {

constexpr std::size_t kLongestLine = 4096;

int g_wakeUp = -1;  ///< The end of a pipe that the signal handler writes to.

void wakeUp(int /*signal*/) {
    const int before = errno;
    const char byte = 0;
    (void)!::write(g_wakeUp, &byte, 1);
    errno = before;
}

void handle(int signal) {
    struct sigaction action = {};
    action.sa_handler = wakeUp;
    action.sa_flags = SA_RESTART;
    sigaction(signal, &action, nullptr);
}

/// Takes complete lines out of `text`.
void takeLines(std::string& text, const std::function<void(const std::string&)>& take) {
    for (auto end = text.find('\n'); end != std::string::npos; end = text.find('\n')) {
        const std::string line = text.substr(0, end);
        text.erase(0, end + 1);
        take(line);
    }
    text.resize(std::min(text.size(), kLongestLine));
}

}  // namespace

void whenAskedToEnd(QObject* context, std::function<void()> end) {
    int ends[2] = {-1, -1};
    if (::pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
        return;
    }
    g_wakeUp = ends[1];
    auto* const notifier = new QSocketNotifier(ends[0], QSocketNotifier::Read, context);
    QObject::connect(notifier, &QSocketNotifier::activated, context, [notifier, end] {
        notifier->setEnabled(false);
        end();
    });
    handle(SIGINT);
    handle(SIGTERM);
    struct sigaction hangUp = {};
    // nohup(1) has it ignored.
    if (sigaction(SIGHUP, nullptr, &hangUp) == 0 && hangUp.sa_handler != SIG_IGN) {
        handle(SIGHUP);
    }
}

void readLines(QObject* context, std::function<void(const std::string& line)> take,
               std::function<void()> end) {
    auto* const notifier = new QSocketNotifier(STDIN_FILENO, QSocketNotifier::Read, context);
    const auto read = [notifier, take, end, text = std::string()]() mutable {
        char bytes[kLongestLine];
        const ssize_t count = ::read(STDIN_FILENO, bytes, sizeof(bytes));
        if (count > 0) {
            text.append(bytes, static_cast<std::size_t>(count));
            takeLines(text, take);
        } else if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
            notifier->setEnabled(false);
            end();
        }
    };
    QObject::connect(notifier, &QSocketNotifier::activated, context, read);
}

}  // namespace cli
