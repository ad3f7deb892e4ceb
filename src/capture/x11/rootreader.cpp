#include "capture/x11/rootreader.h"

#include <utility>

#include "support/log.h"

namespace capture::x11 {
namespace {

using support::x11::Owned;

constexpr std::uint32_t kAllPlanes = 0xFFFFFFFF;

}  // namespace

RootReader::RootReader(support::x11::Connection& connection, PixelFormat format)
    : m_connection(connection), m_format(std::move(format)) {}

bool RootReader::read(const std::vector<Rect>& rects, const Rect& area, std::uint8_t* dest,
                      std::size_t destStride) {
    // No two rectangles share a row, so all of them together fit where the whole area does.
    reserve(m_format.rowBytes(area.width) * static_cast<std::size_t>(area.height));
    request(rects);
    bool complete = true;
    for (std::size_t i = 0; i < rects.size(); ++i) {
        const auto row = static_cast<std::size_t>(rects[i].y - area.y);
        const auto column = static_cast<std::size_t>(rects[i].x - area.x);
        complete &=
            receive(rects[i], m_pending[i], dest + row * destStride + column * 4, destStride);
    }
    return complete;
}

void RootReader::reserve(std::size_t bytes) {
    if (bytes == 0 || !m_canShare || (m_segment && m_segment->size() >= bytes)) {
        return;
    }
    m_segment.reset();
    m_segment = SharedSegment::create(m_connection, bytes);
    if (!m_segment && m_connection.alive()) {
        m_canShare = false;
        HV_WARN(
            "sharing {} bytes of memory with the X server failed (it runs on another machine or "
            "lacks MIT-SHM 1.2): frames come through the connection, which is slower",
            bytes);
    }
}

void RootReader::request(const std::vector<Rect>& rects) {
    auto* const c = m_connection.get();
    m_pending.clear();
    std::size_t offset = 0;
    for (const auto& rect : rects) {
        const auto x = static_cast<std::int16_t>(rect.x);
        const auto y = static_cast<std::int16_t>(rect.y);
        const auto width = static_cast<std::uint16_t>(rect.width);
        const auto height = static_cast<std::uint16_t>(rect.height);
        Pending pending;
        pending.offset = offset;
        if (m_segment) {
            pending.sequence =
                xcb_shm_get_image(c, m_connection.root(), x, y, width, height, kAllPlanes,
                                  XCB_IMAGE_FORMAT_Z_PIXMAP, m_segment->id(),
                                  static_cast<std::uint32_t>(offset))
                    .sequence;
        } else {
            pending.sequence = xcb_get_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, m_connection.root(), x,
                                             y, width, height, kAllPlanes)
                                   .sequence;
        }
        offset += m_format.rowBytes(rect.width) * static_cast<std::size_t>(rect.height);
        m_pending.push_back(pending);
    }
}

bool RootReader::receive(const Rect& rect, const Pending& pending, std::uint8_t* dest,
                         std::size_t destStride) {
    auto* const c = m_connection.get();
    const auto stride = m_format.rowBytes(rect.width);
    const auto size = stride * static_cast<std::size_t>(rect.height);
    xcb_generic_error_t* error = nullptr;
    Owned<void> reply;
    const std::uint8_t* pixels = nullptr;
    if (m_segment) {
        auto* const shared = xcb_shm_get_image_reply(c, {pending.sequence}, &error);
        reply.reset(shared);
        pixels = shared != nullptr && shared->size >= size ? m_segment->data() + pending.offset
                                                           : nullptr;
    } else {
        auto* const sent = xcb_get_image_reply(c, {pending.sequence}, &error);
        reply.reset(sent);
        pixels = sent != nullptr && std::size_t{sent->length} * 4 >= size ? xcb_get_image_data(sent)
                                                                          : nullptr;
    }
    const Owned<xcb_generic_error_t> ownedError(error);
    if (pixels == nullptr) {
        HV_DEBUG("reading {}x{} pixels at {},{} failed: X error {}", rect.width, rect.height,
                 rect.x, rect.y, error != nullptr ? error->error_code : 0);
        return false;
    }
    m_format.convert(pixels, stride, dest, destStride, rect.width, rect.height);
    return true;
}

}  // namespace capture::x11
