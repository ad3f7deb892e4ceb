#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "cli/platform.h"
#include "support/log.h"

namespace cli {
namespace {

std::string variable(const char* name) {
    const char* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

long numberIn(const char* name) {
    const std::string text = variable(name);
    long number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

/// -1, with a line in the log, if there is no such socket.
int connectTo(const std::string& path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const bool fits = path.size() < sizeof(address.sun_path);
    const int socket = fits ? ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0) : -1;
    std::memcpy(address.sun_path, path.data(), fits ? path.size() : 0);
    if (address.sun_path[0] == '@') {
        address.sun_path[0] = '\0';  // An abstract address.
    }
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
    if (socket < 0 || ::connect(socket, reinterpret_cast<sockaddr*>(&address), length) != 0) {
        HV_WARN("the service manager's socket {} can't be reached: {}", path, std::strerror(errno));
        ::close(socket);
        return -1;
    }
    return socket;
}

}  // namespace

ServiceManager::ServiceManager() {
    const std::string path = variable("NOTIFY_SOCKET");
    if (path.empty()) {
        return;
    }
    m_socket = connectTo(path);
    const long interval = numberIn("WATCHDOG_USEC");
    const bool forUs = variable("WATCHDOG_PID").empty() || numberIn("WATCHDOG_PID") == ::getpid();
    if (m_socket >= 0 && interval > 0 && forUs) {
        m_watchdog = std::chrono::microseconds(interval);
    }
}

ServiceManager::~ServiceManager() {
    if (m_socket >= 0) {
        ::close(m_socket);
    }
}

void ServiceManager::tell(const std::string& state) const {
    if (m_socket >= 0) {
        (void)!::send(m_socket, state.data(), state.size(), MSG_NOSIGNAL);
    }
}

}  // namespace cli
