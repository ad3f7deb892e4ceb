#pragma once
// The desktop portal's ScreenCast interface: asks the user for a screen.
// https://flatpak.github.io/xdg-desktop-portal, org.freedesktop.portal.ScreenCast, version 1 to 5.

#include <gio/gio.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "capture/pipewire/eventloop.h"
#include "capture/pipewire/sessionbus.h"

namespace capture::pipewire {

/// Cursor modes and source types as the interface numbers them.
enum CursorMode : std::uint32_t { CursorHidden = 1, CursorEmbedded = 2, CursorMetadata = 4 };
inline constexpr std::uint32_t kMonitorSource = 1;

struct PortalOffer {
    std::uint32_t version = 0;
    std::uint32_t sourceTypes = 0;
    std::uint32_t cursorModes = 0;
    std::string backEnds;  ///< Those on the bus: "wlr", "gnome, gtk".

    /// Permissions can be kept since version 4.
    [[nodiscard]] bool canPersist() const { return version >= 4; }

    /// Without the pointer: hidden where the portal can, else apart from the frame, where we leave
    /// it out. With it: apart from the frame, so that its moves need no frames. Else embedded.
    [[nodiscard]] CursorMode bestCursorMode(bool withPointer) const;

    /// For a log line.
    [[nodiscard]] std::string describe() const;
};

/// What the user granted.
struct Grant {
    std::uint32_t node = 0;
    std::optional<std::pair<int, int>> position;  ///< In the compositor's layout.
    std::optional<std::pair<int, int>> size;      ///< Logical or physical, as the portal likes.
    std::string token;                            ///< "" when the permission can't be kept.
};

/// Why there is no grant.
struct PortalFailure {
    enum Kind {
        Stopped,      ///< The event loop was stopped.
        Refused,      ///< The user said no.
        Failed,       ///< The portal could not.
        Unavailable,  ///< There is no portal that could be asked.
    };
    Kind kind = Failed;
    std::string text;
    std::string advice = {};  ///< What mends it, where that is known; or "".
};

/// How long the portal is waited for.
struct PortalLimits {
    std::chrono::milliseconds call{30000};    ///< What no user has to answer. A portal may start.
    std::chrono::milliseconds answer{60000};  ///< Until a user's answer counts as missing.
};

/// One connection to the session bus and at most one cast. Belongs to the thread of the loop.
/// Every call blocks that thread, ends with the loop, and handles the loop's events meanwhile.
class Portal {
public:
    /// `unanswered` is called when the user has not answered a question for `limits.answer`; the
    /// question stays.
    Portal(EventLoop& loop, bool withPointer, PortalLimits limits, std::function<void()> unanswered)
        : m_loop(loop),
          m_withPointer(withPointer),
          m_limits(limits),
          m_unanswered(std::move(unanswered)),
          m_bus(loop) {}
    ~Portal();
    Portal(const Portal&) = delete;
    Portal& operator=(const Portal&) = delete;

    /// Connects and asks what there is. False: `failure` says why not.
    [[nodiscard]] bool connect(PortalFailure& failure);
    [[nodiscard]] const PortalOffer& offer() const { return m_offer; }

    /// Asks for one monitor. Waits for the user; `limit`, where given, ends the wait for one
    /// answer. wlroots' portal asks when the sources are selected, others when the cast starts.
    [[nodiscard]] bool requestMonitor(const std::string& token,
                                      std::optional<std::chrono::milliseconds> limit, Grant& grant,
                                      PortalFailure& failure);

    /// A connection to PipeWire that shows the granted node; the caller closes it. -1: `failure`.
    [[nodiscard]] int openPipeWire(PortalFailure& failure);

    /// The session was ended by the desktop: the user stopped the sharing.
    [[nodiscard]] bool closed() const { return m_closed; }

    /// The portal has left the bus. Frames go on.
    [[nodiscard]] bool vanished() const { return m_vanished; }

private:
    struct Response {
        bool arrived = false;
        std::uint32_t code = 0;
        GHolder<GVariant> results;
    };

    static void onResponse(GDBusConnection*, const char*, const char*, const char*, const char*,
                           GVariant* parameters, gpointer data);
    static void onClosed(GDBusConnection*, const char*, const char*, const char*, const char*,
                         GVariant*, gpointer data);
    static void onOwnerChanged(GDBusConnection*, const char*, const char*, const char*, const char*,
                               GVariant* parameters, gpointer data);

    [[nodiscard]] GHolder<GVariant> call(const char* object, const char* interface,
                                         const char* method, GVariant* arguments,
                                         PortalFailure& failure);
    void readOffer(GVariant* properties);
    void listBackEnds();
    [[nodiscard]] GHolder<GVariant> request(const char* method, bool ofSession, bool withParent,
                                            GVariantBuilder& options,
                                            std::optional<std::chrono::milliseconds> limit,
                                            PortalFailure& failure);
    [[nodiscard]] bool waitForResponse(const Response& response,
                                       std::optional<std::chrono::milliseconds> limit);
    [[nodiscard]] bool createSession(PortalFailure& failure);
    void closeSession();

    EventLoop& m_loop;
    const bool m_withPointer;
    const PortalLimits m_limits;
    const std::function<void()> m_unanswered;
    SessionBus m_bus;
    PortalOffer m_offer;
    std::string m_session;  ///< Object path.
    guint m_closedSignal = 0;
    int m_requests = 0;
    bool m_closed = false;
    bool m_vanished = false;
};

}  // namespace capture::pipewire
