#pragma once
// Owners of what XCB hands out.

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>
#include <string>

namespace support::x11 {

struct FreeCall {
    void operator()(void* memory) const { std::free(memory); }
};

/// A reply, error or event of XCB's.
template <typename T>
using Owned = std::unique_ptr<T, FreeCall>;

/// A connection to an X server and the screen that the display name selects. One thread at a
/// time. A server that goes away ends the connection, never the process.
class Connection {
public:
    /// `display` as in the variable DISPLAY; empty: that variable. Null when there is no such
    /// server; `error` says why. Blocks until the server has accepted the connection.
    /// Two threads of a program must not connect at the same time, by any means: libXau keeps the
    /// name of the authority file in static memory.
    [[nodiscard]] static std::unique_ptr<Connection> open(const std::string& display,
                                                          std::string& error);

    [[nodiscard]] xcb_connection_t* get() const { return m_connection.get(); }
    [[nodiscard]] const xcb_screen_t& screen() const { return *m_screen; }
    [[nodiscard]] int screenNumber() const { return m_screenNumber; }
    [[nodiscard]] xcb_window_t root() const { return m_screen->root; }

    /// False once the server is gone; stays false.
    [[nodiscard]] bool alive() const { return xcb_connection_has_error(get()) == 0; }

    /// The extension's data, or null when the server lacks it. Owned by the connection.
    [[nodiscard]] const xcb_query_extension_reply_t* extension(xcb_extension_t& which) const;

    /// The atom with that name, created if need be; XCB_ATOM_NONE once the server is gone. One
    /// round trip.
    [[nodiscard]] xcb_atom_t atom(const std::string& name) const;

    /// The server is on this machine and accepts file descriptors.
    [[nodiscard]] bool isLocal() const;

private:
    struct Disconnect {
        void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
    };
    using Handle = std::unique_ptr<xcb_connection_t, Disconnect>;

    Connection(Handle connection, const xcb_screen_t* screen, int screenNumber);

    Handle m_connection;
    const xcb_screen_t* m_screen;
    int m_screenNumber;
};

}  // namespace support::x11
