#pragma once
// What was drawn on the screen.

#include <xcb/damage.h>
#include <xcb/xfixes.h>

#include <memory>
#include <vector>

#include "support/x11/connection.h"

namespace capture::x11 {

/// Collects, in the server, the region of the root window that was drawn since it was last taken:
/// by any program, in any window. The pointer's own movement is not drawing. Lives no longer than
/// its connection.
class RootDamage {
public:
    /// Null when the server has no DAMAGE extension. Makes round trips.
    [[nodiscard]] static std::unique_ptr<RootDamage> watch(support::x11::Connection& connection);

    /// Looks at an event that came in; no round trip.
    void notice(const xcb_generic_event_t& event);

    /// Something was drawn since the last take() or discard(), as far as events have come in.
    [[nodiscard]] bool pending() const { return m_pending; }

    /// Moves the region into `drawn`, by top edge, then by left edge, and starts anew. False: the
    /// server did not tell. One round trip.
    [[nodiscard]] bool take(std::vector<xcb_rectangle_t>& drawn);

    /// Starts anew; no round trip.
    void discard();

private:
    RootDamage(support::x11::Connection& connection, std::uint8_t notifyEvent);

    support::x11::Connection& m_connection;
    std::uint8_t m_notifyEvent;
    xcb_damage_damage_t m_damage;
    xcb_xfixes_region_t m_region;
    bool m_pending = false;
};

}  // namespace capture::x11
