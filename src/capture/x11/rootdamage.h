#pragma once
// Damage of the root window.

#include <xcb/damage.h>
#include <xcb/xfixes.h>

#include <memory>
#include <vector>

#include "support/x11/connection.h"

namespace capture::x11 {

/// Accumulates, in the server, the region of the root window that any program has damaged, in any
/// window, since the region was last taken. The pointer causes no damage when it moves. Must not
/// outlive its connection.
class RootDamage {
public:
    /// Null when the server has no DAMAGE extension. Makes round trips.
    [[nodiscard]] static std::unique_ptr<RootDamage> watch(support::x11::Connection& connection);

    /// Handles an event of the connection; no round trip.
    void handleEvent(const xcb_generic_event_t& event);

    /// There is damage since the last take() or discard(), according to the events handled so far.
    [[nodiscard]] bool pending() const { return m_pending; }

    /// Moves the region into `damage`, by top edge, then by left edge, and empties it. False: the
    /// server did not answer. One round trip.
    [[nodiscard]] bool take(std::vector<xcb_rectangle_t>& damage);

    /// take() in two halves, so that other requests can share its round trip.
    void requestRegion();
    [[nodiscard]] bool receiveRegion(std::vector<xcb_rectangle_t>& damage);

    /// Empties the region; no round trip.
    void discard();

private:
    RootDamage(support::x11::Connection& connection, std::uint8_t notifyEvent);

    support::x11::Connection& m_connection;
    std::uint8_t m_notifyEvent;
    xcb_damage_damage_t m_damage;
    xcb_xfixes_region_t m_region;
    xcb_xfixes_fetch_region_cookie_t m_fetch = {};
    bool m_pending = false;
};

}  // namespace capture::x11
