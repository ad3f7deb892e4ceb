#pragma once
// Where the pointer of an X server is, and what it looks like.

#include <xcb/xcb.h>

#include <cstdint>
#include <memory>

#include "capture/pointer.h"
#include "support/x11/connection.h"

namespace capture::x11 {

/// Follows the pointer by events: XFIXES names every change of its shape, and raw motion of the X
/// Input Extension, version 2.1, every move of a device, whichever program has grabbed it. A
/// program that moves the pointer itself causes no such event; read() sees it all the same. Without
/// X Input 2.1 nothing announces a move. Must not outlive its connection.
class PointerWatch {
public:
    /// Null when the server has no XFIXES extension. Makes round trips.
    [[nodiscard]] static std::unique_ptr<PointerWatch> watch(support::x11::Connection& connection);

    /// Handles an event of the connection; no round trip.
    void handleEvent(const xcb_generic_event_t& event);

    /// The pointer may have moved or changed its shape since the last request().
    [[nodiscard]] bool pending() const { return m_pending; }

    /// read() in two halves, so that other requests can share its round trip.
    void request();
    /// Brings shape() and position up to date. False: the server did not answer.
    bool receive();

    /// Null while the pointer is on another screen or has no image. An arrow where the server
    /// refuses the image.
    [[nodiscard]] const PointerShape* shape() const;
    /// Counts the changes of the shape.
    [[nodiscard]] unsigned shapeNumber() const { return m_shapeNumber; }
    /// In root coordinates.
    [[nodiscard]] int x() const { return m_x; }
    [[nodiscard]] int y() const { return m_y; }

private:
    PointerWatch(support::x11::Connection& connection, std::uint8_t cursorEvent)
        : m_connection(connection), m_cursorEvent(cursorEvent) {}
    void watchMotion();
    void fetchShape();

    support::x11::Connection& m_connection;
    const std::uint8_t m_cursorEvent;
    std::uint8_t m_inputOpcode = 0;  ///< 0: without X Input.
    xcb_query_pointer_cookie_t m_query = {};
    bool m_pending = true;
    bool m_shapeChanged = true;
    bool m_onScreen = false;
    bool m_saidRefused = false;
    PointerShape m_shape;
    unsigned m_shapeNumber = 0;
    int m_x = 0;
    int m_y = 0;
};

}  // namespace capture::x11
