#pragma once
// One connection to an X server, and every part of a capture that depends on it.

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "capture/x11/interrupt.h"
#include "capture/x11/pointerwatch.h"
#include "capture/x11/rootdamage.h"
#include "capture/x11/rootreader.h"
#include "support/x11/connection.h"
#include "support/x11/monitors.h"

namespace capture::x11 {

/// Drops the events for which it returns false; for tests. Empty: drops none.
using EventFilter = std::function<bool(const xcb_generic_event_t&)>;

class ScreenSession {
public:
    /// `display` as in the variable DISPLAY. Null: `error` says why. Makes round trips.
    [[nodiscard]] static std::unique_ptr<ScreenSession> open(const std::string& display,
                                                             EventFilter filter,
                                                             std::string& error);

    /// Handles the events that have arrived, without a round trip.
    void poll();

    /// Waits until there is news: damage, a change of the monitors, or the end of the connection.
    /// Returns early when the interrupt is raised, when another event comes, or after `limit`.
    void waitForEvent(const Interrupt& interrupt, std::chrono::milliseconds limit);

    /// From now on the pointer's moves and changes are news, too. Makes round trips.
    void watchPointer();

    [[nodiscard]] bool alive() const { return m_connection->alive(); }

    /// The monitors may have changed since the last call.
    [[nodiscard]] bool takeMonitorsChanged();

    [[nodiscard]] std::vector<support::x11::Monitor> monitors() const;

    /// Null when the server lacks the DAMAGE extension.
    [[nodiscard]] RootDamage* damage() const { return m_damage.get(); }
    /// Null without watchPointer(), and when the server can't tell about its pointer.
    [[nodiscard]] PointerWatch* pointer() const { return m_pointer.get(); }
    [[nodiscard]] RootReader& reader() { return m_reader; }

private:
    ScreenSession(std::unique_ptr<support::x11::Connection> connection, PixelFormat format,
                  EventFilter filter);
    void watchMonitors();
    void handleEvent(const xcb_generic_event_t& event);
    [[nodiscard]] bool hasNews() const;

    std::unique_ptr<support::x11::Connection> m_connection;
    const EventFilter m_filter;
    std::unique_ptr<RootDamage> m_damage;
    std::unique_ptr<PointerWatch> m_pointer;
    RootReader m_reader;
    std::optional<std::uint8_t> m_randrEvent;  ///< RandR's first event code; nothing without RandR.
    bool m_monitorsChanged = false;
};

}  // namespace capture::x11
