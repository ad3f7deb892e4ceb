#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "cli/platform.h"
#include "support/terminal.h"

namespace cli {
Console::Console() : m_descriptor(::dup(STDOUT_FILENO)), m_width(support::terminalWidth()) {
    ::dup2(STDERR_FILENO, STDOUT_FILENO);
    std::signal(SIGPIPE, SIG_IGN);  // write() tells it.
}

bool Console::write(const std::string& text, std::chrono::milliseconds patience) const {
    pollfd space = {m_descriptor, POLLOUT, 0};
    // A pipe that is ready takes 4096 bytes, more than a line has, without blocking.
    if (::poll(&space, 1, static_cast<int>(patience.count())) <= 0) {
        return true;
    }
    const bool closed = (space.revents & (POLLERR | POLLNVAL)) != 0;
    return !closed && (::write(m_descriptor, text.data(), text.size()) >= 0 || errno == EINTR ||
                       errno == EAGAIN);
}

}  // namespace cli
