#include "capture/pipewire/nudge.h"

#include <xcb/xcb.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace capture::pipewire {
namespace {

constexpr std::uint8_t kDepthWithAlpha = 32;

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};

const xcb_screen_t* screenOf(xcb_connection_t* connection) {
    return xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
}

xcb_visualid_t visualWithAlpha(const xcb_screen_t& screen) {
    for (auto depth = xcb_screen_allowed_depths_iterator(&screen); depth.rem > 0;
         xcb_depth_next(&depth)) {
        if (depth.data->depth == kDepthWithAlpha && depth.data->visuals_len > 0) {
            return xcb_depth_visuals(depth.data)->visual_id;
        }
    }
    return 0;
}

xcb_atom_t atom(xcb_connection_t* connection, const char* name) {
    const auto cookie =
        xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(std::strlen(name)), name);
    const std::unique_ptr<xcb_intern_atom_reply_t, Free> reply(
        xcb_intern_atom_reply(connection, cookie, nullptr));
    return reply ? reply->atom : static_cast<xcb_atom_t>(XCB_ATOM_NONE);
}

}  // namespace

void Nudge::Disconnect::operator()(xcb_connection_t* connection) const {
    xcb_disconnect(connection);
}

Nudge::Nudge(Connection connection) : m_connection(std::move(connection)) {}

std::unique_ptr<Nudge> Nudge::at(int x, int y) {
    Connection holder(xcb_connect(nullptr, nullptr));
    xcb_connection_t* connection = holder.get();
    if (xcb_connection_has_error(connection) != 0) {
        return nullptr;
    }
    const xcb_screen_t& screen = *screenOf(connection);
    const xcb_visualid_t visual = visualWithAlpha(screen);
    if (visual == 0) {
        return nullptr;
    }
    const auto colours = xcb_generate_id(connection);
    xcb_create_colormap(connection, XCB_COLORMAP_ALLOC_NONE, colours, screen.root, visual);
    const auto window = xcb_generate_id(connection);
    // In the order of the mask's bits: transparent, and out of the window manager's hands.
    const std::uint32_t values[] = {0, 0, 1, colours};
    xcb_create_window(
        connection, kDepthWithAlpha, window, screen.root, static_cast<std::int16_t>(x),
        static_cast<std::int16_t>(y), 1, 1, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, visual,
        XCB_CW_BACK_PIXEL | XCB_CW_BORDER_PIXEL | XCB_CW_OVERRIDE_REDIRECT | XCB_CW_COLORMAP,
        values);
    // Compositors give the focus to no tool tip.
    const xcb_atom_t type = atom(connection, "_NET_WM_WINDOW_TYPE_TOOLTIP");
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window,
                        atom(connection, "_NET_WM_WINDOW_TYPE"), XCB_ATOM_ATOM, 32, 1, &type);
    xcb_map_window(connection, window);
    xcb_flush(connection);
    return std::unique_ptr<Nudge>(new Nudge(std::move(holder)));
}

}  // namespace capture::pipewire
