#include "support/painter.h"

#include <algorithm>
#include <stdexcept>

namespace tests {
namespace {

template <typename T>
support::x11::Owned<T> owned(T* reply) {
    return support::x11::Owned<T>(reply);
}

std::int16_t place(int value) {
    return static_cast<std::int16_t>(value);
}

std::uint16_t length(int value) {
    return static_cast<std::uint16_t>(value);
}

}  // namespace

Painter::Painter(const std::string& display) {
    std::string error;
    m_owner = support::x11::Connection::open(display, error);
    if (!m_owner) {
        throw std::runtime_error("cannot connect to display " + display + ": " + error);
    }
    m_connection = m_owner->get();
    m_context = xcb_generate_id(m_connection);
    const std::uint32_t includeInferiors = XCB_SUBWINDOW_MODE_INCLUDE_INFERIORS;
    xcb_create_gc(m_connection, m_context, root(), XCB_GC_SUBWINDOW_MODE, &includeInferiors);
}

void Painter::sync() {
    owned(xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr));
}

xcb_atom_t Painter::atom(const std::string& name) {
    const auto reply = owned(xcb_intern_atom_reply(
        m_connection, xcb_intern_atom(m_connection, 0, length(int(name.size())), name.c_str()),
        nullptr));
    return reply->atom;
}

xcb_window_t Painter::open(const Area& area, std::uint32_t pixel, bool managed) {
    const auto window = xcb_generate_id(m_connection);
    const std::uint32_t values[] = {pixel, managed ? 0U : 1U};
    xcb_create_window(m_connection, XCB_COPY_FROM_PARENT, window, root(), place(area.x),
                      place(area.y), length(area.width), length(area.height), 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                      XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
    xcb_map_window(m_connection, window);
    sync();
    return window;
}

void Painter::setFullScreen(xcb_window_t window) {
    const auto state = atom("_NET_WM_STATE_FULLSCREEN");
    xcb_unmap_window(m_connection, window);
    sync();
    xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, window, atom("_NET_WM_STATE"),
                        XCB_ATOM_ATOM, 32, 1, &state);
    xcb_map_window(m_connection, window);
    sync();
}

void Painter::move(xcb_window_t window, int x, int y) {
    const std::int32_t values[] = {x, y};
    xcb_configure_window(m_connection, window, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, values);
    sync();
}

void Painter::fill(xcb_window_t window, const Area& area, std::uint32_t pixel) {
    const xcb_rectangle_t rectangle = {place(area.x), place(area.y), length(area.width),
                                       length(area.height)};
    xcb_change_gc(m_connection, m_context, XCB_GC_FOREGROUND, &pixel);
    xcb_poly_fill_rectangle(m_connection, window, m_context, 1, &rectangle);
    sync();
}

void Painter::scroll(xcb_window_t window, const Area& area, int by) {
    xcb_copy_area(m_connection, window, window, m_context, place(area.x), place(area.y),
                  place(area.x), place(area.y + by), length(area.width), length(area.height));
    sync();
}

void Painter::close(xcb_window_t window) {
    xcb_destroy_window(m_connection, window);
    sync();
}

void Painter::paint(const Area& area, const std::function<std::uint32_t(int x, int y)>& pixelAt) {
    constexpr int kRowsAtOnce = 16;
    std::vector<std::uint32_t> pixels;
    for (int top = area.y; top < area.y + area.height; top += kRowsAtOnce) {
        const int bottom = std::min(top + kRowsAtOnce, area.y + area.height);
        pixels.clear();
        for (int y = top; y < bottom; ++y) {
            for (int x = area.x; x < area.x + area.width; ++x) {
                pixels.push_back(pixelAt(x, y));
            }
        }
        xcb_put_image(m_connection, XCB_IMAGE_FORMAT_Z_PIXMAP, root(), m_context,
                      length(area.width), length(bottom - top), place(area.x), place(top), 0,
                      m_owner->screen().root_depth, static_cast<std::uint32_t>(pixels.size() * 4),
                      reinterpret_cast<const std::uint8_t*>(pixels.data()));
    }
    sync();
}

void Painter::movePointer(int x, int y) {
    xcb_warp_pointer(m_connection, XCB_NONE, root(), 0, 0, 0, 0, place(x), place(y));
    sync();
}

std::vector<std::uint8_t> Painter::screen(const Area& area) {
    const auto reply = owned(xcb_get_image_reply(
        m_connection,
        xcb_get_image(m_connection, XCB_IMAGE_FORMAT_Z_PIXMAP, root(), place(area.x), place(area.y),
                      length(area.width), length(area.height), 0xFFFFFFFF),
        nullptr));
    if (!reply) {
        throw std::runtime_error("the screen cannot be read");
    }
    const auto* data = xcb_get_image_data(reply.get());
    std::vector<std::uint8_t> pixels(data, data + xcb_get_image_data_length(reply.get()));
    for (std::size_t alpha = 3; alpha < pixels.size(); alpha += 4) {
        pixels[alpha] = 255;
    }
    return pixels;
}

}  // namespace tests
