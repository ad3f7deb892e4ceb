#pragma once
// A program that draws, and an independent look at the screen.

#include <xcb/xcb.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tests {

struct Area {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};

/// A client of an X server, on a connection of its own. Pixels are 0xRRGGBB, or as the depth of
/// the screen has them. Every call returns when the server has done what was asked for.
class Painter {
public:
    explicit Painter(const std::string& display);

    /// A window of one colour. Unmanaged ones are left alone by the window manager.
    xcb_window_t open(const Area& area, std::uint32_t pixel, bool managed = false);
    void setFullScreen(xcb_window_t window);  ///< To be asked for before anything is drawn.
    void move(xcb_window_t window, int x, int y);
    void fill(xcb_window_t window, const Area& area, std::uint32_t pixel);
    void scroll(xcb_window_t window, const Area& area, int by);
    void close(xcb_window_t window);

    /// Draws a frame, pixel by pixel, on the root window.
    void paint(const Area& area, const std::function<std::uint32_t(int x, int y)>& pixelAt);

    void movePointer(int x, int y);

    [[nodiscard]] xcb_window_t root() const { return m_screen->root; }

    /// What the server has on the screen now, as opaque BGRA. For a screen of depth 24.
    [[nodiscard]] std::vector<std::uint8_t> screen(const Area& area);

private:
    struct Disconnect {
        void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
    };

    [[nodiscard]] xcb_atom_t atom(const std::string& name);
    void sync();

    std::unique_ptr<xcb_connection_t, Disconnect> m_connection;
    xcb_screen_t* m_screen = nullptr;
    xcb_gcontext_t m_context = XCB_NONE;
};

}  // namespace tests
