#include "capture/x11/pointerwatch.h"

#include <xcb/xfixes.h>
#include <xcb/xinput.h>

#include <cstring>
#include <utility>

#include "support/log.h"

namespace capture::x11 {

using support::x11::Owned;

namespace {

/// White inside black.
constexpr const char* kArrow[] = {
    "B           ", "BB          ", "BWB         ", "BWWB        ", "BWWWB       ", "BWWWWB      ",
    "BWWWWWB     ", "BWWWWWWB    ", "BWWWWWWWB   ", "BWWWWWWWWB  ", "BWWWWWBBBBB ", "BWWBWWB     ",
    "BWB BWWB    ", "BB  BWWB    ", "B    BWWB   ", "     BWWB   ", "      BB    ",
};

PointerShape arrow() {
    PointerShape shape;
    for (const char* const row : kArrow) {
        shape.width = static_cast<int>(std::strlen(row));
        ++shape.height;
        for (int x = 0; x < shape.width; ++x) {
            shape.colours.push_back(row[x] == ' ' ? 0 : row[x] == 'B' ? 0xFF000000 : 0xFFFFFFFF);
        }
    }
    return shape;
}

}  // namespace

std::unique_ptr<PointerWatch> PointerWatch::watch(support::x11::Connection& connection) {
    const auto* extension = connection.extension(xcb_xfixes_id);
    if (extension == nullptr) {
        HV_WARN("the pointer is not drawn: the X server lacks the XFIXES extension");
        return nullptr;
    }
    // The extension rejects every request until the client has named its version.
    auto* const c = connection.get();
    const Owned<xcb_xfixes_query_version_reply_t> version(
        xcb_xfixes_query_version_reply(c, xcb_xfixes_query_version(c, 2, 0), nullptr));
    if (!version) {
        return nullptr;
    }
    xcb_xfixes_select_cursor_input(c, connection.root(),
                                   XCB_XFIXES_CURSOR_NOTIFY_MASK_DISPLAY_CURSOR);
    std::unique_ptr<PointerWatch> result(new PointerWatch(
        connection, static_cast<std::uint8_t>(extension->first_event + XCB_XFIXES_CURSOR_NOTIFY)));
    result->watchMotion();
    return result;
}

void PointerWatch::watchMotion() {
    auto* const c = m_connection.get();
    const auto* extension = m_connection.extension(xcb_input_id);
    const Owned<xcb_input_xi_query_version_reply_t> version(
        extension != nullptr
            ? xcb_input_xi_query_version_reply(c, xcb_input_xi_query_version(c, 2, 1), nullptr)
            : nullptr);
    // Before version 2.1 a program that grabs the pointer keeps raw events to itself.
    if (!version || version->major_version * 100 + version->minor_version < 201) {
        HV_WARN(
            "the X server lacks version 2.1 of the X Input Extension: on a still screen a moving "
            "pointer is seen a few times a second only");
        return;
    }
    struct {
        xcb_input_event_mask_t head;
        std::uint32_t mask;
    } events = {{XCB_INPUT_DEVICE_ALL_MASTER, 1}, XCB_INPUT_XI_EVENT_MASK_RAW_MOTION};
    xcb_input_xi_select_events(c, m_connection.root(), 1, &events.head);
    m_inputOpcode = extension->major_opcode;
}

void PointerWatch::handleEvent(const xcb_generic_event_t& event) {
    const int type = event.response_type & 0x7F;
    if (type == m_cursorEvent) {
        m_shapeChanged = m_pending = true;
    } else if (type == XCB_GE_GENERIC && m_inputOpcode != 0) {
        const auto& generic = reinterpret_cast<const xcb_ge_generic_event_t&>(event);
        m_pending = m_pending || (generic.extension == m_inputOpcode &&
                                  generic.event_type == XCB_INPUT_RAW_MOTION);
    }
}

void PointerWatch::request() {
    m_query = xcb_query_pointer(m_connection.get(), m_connection.root());
    m_pending = false;
}

bool PointerWatch::receive() {
    const Owned<xcb_query_pointer_reply_t> reply(
        xcb_query_pointer_reply(m_connection.get(), m_query, nullptr));
    if (!reply) {
        return false;
    }
    m_onScreen = reply->same_screen != 0;
    m_x = reply->root_x;
    m_y = reply->root_y;
    if (m_shapeChanged) {
        fetchShape();
    }
    return true;
}

const PointerShape* PointerWatch::shape() const {
    return m_onScreen && m_shape.width > 0 ? &m_shape : nullptr;
}

void PointerWatch::fetchShape() {
    auto* const c = m_connection.get();
    xcb_generic_error_t* error = nullptr;
    const Owned<xcb_xfixes_get_cursor_image_reply_t> image(
        xcb_xfixes_get_cursor_image_reply(c, xcb_xfixes_get_cursor_image(c), &error));
    const Owned<xcb_generic_error_t> ownedError(error);
    m_shapeChanged = false;
    ++m_shapeNumber;
    m_shape.width = 0;  // The server has no image for a display without a pointer.
    if (error != nullptr && error->error_code == XCB_ACCESS) {
        // A server with the SECURITY extension refuses an image whose program has ended, such as
        // that which xsetroot leaves on the root window.
        if (!std::exchange(m_saidRefused, true)) {
            HV_WARN(
                "the X server refuses the image of the pointer, probably because the program that "
                "set it has ended: an arrow is drawn instead");
        }
        m_shape = arrow();
    } else if (image) {
        const auto* const pixels = xcb_xfixes_get_cursor_image_cursor_image(image.get());
        m_shape.width = image->width;
        m_shape.height = image->height;
        m_shape.hotX = image->xhot;
        m_shape.hotY = image->yhot;
        m_shape.colours.assign(
            pixels, pixels + xcb_xfixes_get_cursor_image_cursor_image_length(image.get()));
    }
}

}  // namespace capture::x11
