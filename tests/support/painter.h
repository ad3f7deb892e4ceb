#pragma once
// Draws on an X screen and reads it back, independently of the code under test.

#include <xcb/xcb.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "support/x11/connection.h"

namespace tests {

struct Area {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};

/// A client of an X server with its own connection. Pixels are 0xRRGGBB, or what the depth of the
/// screen defines. Every call returns after the server has executed it.
class Painter {
public:
    explicit Painter(const std::string& display);

    /// Opens a window of one colour. The window manager ignores unmanaged ones.
    xcb_window_t open(const Area& area, std::uint32_t pixel, bool managed = false);
    void setFullScreen(xcb_window_t window);  ///< Remaps the window: call it before drawing.
    void move(xcb_window_t window, int x, int y);
    void fill(xcb_window_t window, const Area& area, std::uint32_t pixel);
    void scroll(xcb_window_t window, const Area& area, int by);
    void close(xcb_window_t window);

    /// Draws on the root window, pixel by pixel.
    void paint(const Area& area, const std::function<std::uint32_t(int x, int y)>& pixelAt);

    void movePointer(int x, int y);

    [[nodiscard]] xcb_window_t root() const { return m_owner->root(); }

    /// The current content of the screen as opaque BGRA. Needs depth 24.
    [[nodiscard]] std::vector<std::uint8_t> screen(const Area& area);

private:
    [[nodiscard]] xcb_atom_t atom(const std::string& name);
    void sync();

    std::unique_ptr<support::x11::Connection> m_owner;
    xcb_connection_t* m_connection = nullptr;
    xcb_gcontext_t m_context = XCB_NONE;
};

}  // namespace tests
