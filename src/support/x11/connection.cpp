#include "support/x11/connection.h"

#include <sys/socket.h>

#include <csignal>
#include <utility>

namespace support::x11 {
namespace {

const char* describe(int connectionError) {
    switch (connectionError) {
        case XCB_CONN_ERROR:
            return "the server does not answer";
        case XCB_CONN_CLOSED_EXT_NOTSUPPORTED:
            return "an extension is not supported";
        case XCB_CONN_CLOSED_MEM_INSUFFICIENT:
            return "out of memory";
        case XCB_CONN_CLOSED_PARSE_ERR:
            return "the display name is missing or malformed";
        case XCB_CONN_CLOSED_INVALID_SCREEN:
            return "the display has no such screen";
        default:
            return "the connection was closed";
    }
}

/// XCB writes to its socket without MSG_NOSIGNAL: SIGPIPE would end the process when the server
/// dies just before a request.
void surviveBrokenPipes() {
    struct sigaction current = {};
    if (sigaction(SIGPIPE, nullptr, &current) == 0 && (current.sa_flags & SA_SIGINFO) == 0 &&
        current.sa_handler == SIG_DFL) {
        std::signal(SIGPIPE, SIG_IGN);
    }
}

}  // namespace

std::unique_ptr<Connection> Connection::open(const std::string& display, std::string& error) {
    surviveBrokenPipes();
    int screenNumber = 0;
    Handle handle(xcb_connect(display.empty() ? nullptr : display.c_str(), &screenNumber));
    if (const int code = xcb_connection_has_error(handle.get()); code != 0) {
        error = describe(code);
        return nullptr;
    }
    auto screen = xcb_setup_roots_iterator(xcb_get_setup(handle.get()));
    for (int i = 0; screen.rem > 0 && i < screenNumber; ++i) {
        xcb_screen_next(&screen);
    }
    if (screen.rem == 0) {
        error = "the display has no such screen";
        return nullptr;
    }
    return std::unique_ptr<Connection>(
        new Connection(std::move(handle), screen.data, screenNumber));
}

Connection::Connection(Handle connection, const xcb_screen_t* screen, int screenNumber)
    : m_connection(std::move(connection)), m_screen(screen), m_screenNumber(screenNumber) {}

const xcb_query_extension_reply_t* Connection::extension(xcb_extension_t& which) const {
    const auto* data = xcb_get_extension_data(get(), &which);
    return data != nullptr && data->present != 0 ? data : nullptr;
}

xcb_atom_t Connection::atom(const std::string& name) const {
    const auto cookie =
        xcb_intern_atom(get(), 0, static_cast<std::uint16_t>(name.size()), name.c_str());
    const Owned<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(get(), cookie, nullptr));
    return reply ? reply->atom : static_cast<xcb_atom_t>(XCB_ATOM_NONE);
}

bool Connection::isLocal() const {
    sockaddr_storage address = {};
    socklen_t length = sizeof address;
    return getsockname(xcb_get_file_descriptor(get()), reinterpret_cast<sockaddr*>(&address),
                       &length) == 0 &&
           address.ss_family == AF_UNIX;
}

}  // namespace support::x11
