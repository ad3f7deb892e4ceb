#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string_view>

#include "cli/platform.h"

namespace cli {
namespace {

std::optional<int> widthOf(int descriptor) {
    const char* const kind = std::getenv("TERM");
    if (isatty(descriptor) == 0 || kind == nullptr || std::string_view(kind) == "dumb") {
        return std::nullopt;
    }
    winsize size{};
    const bool known = ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return known ? size.ws_col : 80;
}

}  // namespace

Console::Console() : m_descriptor(::dup(STDOUT_FILENO)), m_width(widthOf(m_descriptor)) {
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
