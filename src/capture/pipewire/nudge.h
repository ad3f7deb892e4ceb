#pragma once
// Makes a compositor draw although nothing on the screen changes.

#include <memory>

struct xcb_connection_t;

namespace capture::pipewire {

/// A transparent X11 window of one pixel, there as long as this object. Where the compositor runs
/// Xwayland it redraws the output with that pixel, and thereby sends a frame: wlroots' portal sends
/// none of a still screen that it has cast before. The window takes neither focus nor clicks, and
/// cannot be seen.
class Nudge {
public:
    /// At a place of the compositor's layout. Null without Xwayland.
    [[nodiscard]] static std::unique_ptr<Nudge> at(int x, int y);

private:
    struct Disconnect {
        void operator()(xcb_connection_t* connection) const;
    };
    using Connection = std::unique_ptr<xcb_connection_t, Disconnect>;

    explicit Nudge(Connection connection);

    Connection m_connection;  ///< The window goes with it.
};

}  // namespace capture::pipewire
