#include "capture/x11/rootreader.h"

#include <cstring>
#include <utility>

#include "support/log.h"

namespace capture::x11 {
namespace {

using support::x11::Owned;

constexpr std::uint32_t kAllPlanes = 0xFFFFFFFF;

/// Where a rectangle begins in a buffer that holds `area`.
std::size_t offsetIn(const Rect& area, const Rect& rect, std::size_t stride) {
    return static_cast<std::size_t>(rect.y - area.y) * stride +
           static_cast<std::size_t>(rect.x - area.x) * 4;
}

/// Whether two rows of BGRA pixels differ in colour.
bool colourDiffers(const std::uint8_t* a, const std::uint8_t* b, std::size_t bytes) {
    std::uint32_t different = 0;
    for (std::size_t i = 0; i < bytes; i += 4) {
        std::uint32_t one = 0;
        std::uint32_t other = 0;
        std::memcpy(&one, a + i, 4);
        std::memcpy(&other, b + i, 4);
        different |= one ^ other;
    }
    constexpr std::uint8_t kColourBytes[] = {255, 255, 255, 0};
    std::uint32_t colours = 0;
    std::memcpy(&colours, kColourBytes, 4);
    return (different & colours) != 0;
}

}  // namespace

RootReader::RootReader(support::x11::Connection& connection, PixelFormat format)
    : m_connection(connection), m_format(std::move(format)) {}

bool RootReader::read(const std::vector<Rect>& rects, const Rect& area, std::uint8_t* dest,
                      std::size_t destStride) {
    request(rects, area);
    bool complete = true;
    for (std::size_t i = 0; i < rects.size(); ++i) {
        const Rect& rect = rects[i];
        complete &= receive(rect, m_pending[i], [&](const std::uint8_t* pixels) {
            m_format.convert(pixels, m_format.rowBytes(rect.width),
                             dest + offsetIn(area, rect, destStride), destStride, rect.width,
                             rect.height);
        });
    }
    return complete;
}

std::uint8_t* RootReader::frame(const Rect& area) {
    const auto bytes = m_format.rowBytes(area.width) * static_cast<std::size_t>(area.height);
    if (bytes == 0 || !m_format.isPackedBgrx() || !reserve(m_frame, bytes) ||
        !reserve(m_scratch, bytes)) {
        return nullptr;
    }
    return m_frame->data();
}

bool RootReader::readIntoFrame(const std::vector<Rect>& rects, const Rect& area) {
    requestIntoFrame(rects, area);
    return receiveIntoFrame(rects, rects, area);
}

void RootReader::requestIntoFrame(const std::vector<Rect>& rects, const Rect& area) {
    const auto stride = m_format.rowBytes(area.width);
    std::size_t scratchUsed = 0;
    m_pending.clear();
    for (const auto& rect : rects) {
        if (rect.width == area.width) {
            m_pending.push_back(requestShared(rect, *m_frame, offsetIn(area, rect, stride)));
        } else {
            m_pending.push_back(requestShared(rect, *m_scratch, scratchUsed));
            scratchUsed += m_format.rowBytes(rect.width) * static_cast<std::size_t>(rect.height);
        }
    }
}

bool RootReader::receiveIntoFrame(const std::vector<Rect>& rects, const std::vector<Rect>& used,
                                  const Rect& area) {
    bool complete = true;
    for (std::size_t i = 0; i < rects.size(); ++i) {
        const Rect& rect = rects[i];
        complete &= receive(rect, m_pending[i], [&](const std::uint8_t* pixels) {
            if (rect.width == area.width) {
                return;
            }
            for (const Rect& each : used) {
                copyIntoFrame(pixels, rect, intersect(each, rect), area);
            }
        });
    }
    return complete;
}

/// Copies `part` of the pixels of `rect`.
void RootReader::copyIntoFrame(const std::uint8_t* pixels, const Rect& rect, const Rect& part,
                               const Rect& area) {
    const auto from = m_format.rowBytes(rect.width);
    const auto to = m_format.rowBytes(area.width);
    const std::uint8_t* source = pixels + offsetIn(rect, part, from);
    std::uint8_t* dest = m_frame->data() + offsetIn(area, part, to);
    for (int row = 0; row < part.height; ++row, source += from, dest += to) {
        std::memcpy(dest, source, m_format.rowBytes(part.width));
    }
}

std::optional<int> RootReader::firstDifference(const std::vector<Rect>& rows, const Rect& area,
                                               const std::uint8_t* pixels, std::size_t stride) {
    request(rows, area);
    const auto rowBytes = static_cast<std::size_t>(area.width) * 4;
    m_row.resize(rowBytes);
    std::optional<int> first;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        // Every reply has to be taken, whatever the earlier ones have shown.
        (void)receive(rows[i], m_pending[i], [&](const std::uint8_t* fetched) {
            m_format.convert(fetched, 0, m_row.data(), 0, rows[i].width, 1);
            if (!first && colourDiffers(m_row.data(), pixels + offsetIn(area, rows[i], stride),
                                        static_cast<std::size_t>(rows[i].width) * 4)) {
                first = rows[i].y;
            }
        });
    }
    return first;
}

/// False: memory can't be shared.
bool RootReader::reserve(std::unique_ptr<SharedSegment>& segment, std::size_t bytes) {
    if (bytes == 0 || !m_canShare || (segment && segment->size() == bytes)) {
        return m_canShare;
    }
    segment.reset();
    segment = SharedSegment::create(m_connection, bytes);
    if (!segment && m_connection.alive()) {
        m_canShare = false;
        HV_WARN(
            "sharing {} bytes of memory with the X server failed (it runs on another machine or "
            "lacks MIT-SHM 1.2): frames come through the connection, which is slower",
            bytes);
    }
    return segment != nullptr;
}

RootReader::Pending RootReader::requestShared(const Rect& rect, const SharedSegment& segment,
                                              std::size_t offset) {
    const auto cookie = xcb_shm_get_image(
        m_connection.get(), m_connection.root(), static_cast<std::int16_t>(rect.x),
        static_cast<std::int16_t>(rect.y), static_cast<std::uint16_t>(rect.width),
        static_cast<std::uint16_t>(rect.height), kAllPlanes, XCB_IMAGE_FORMAT_Z_PIXMAP,
        segment.id(), static_cast<std::uint32_t>(offset));
    return {cookie.sequence, segment.data() + offset};
}

RootReader::Pending RootReader::requestReply(const Rect& rect) {
    const auto cookie =
        xcb_get_image(m_connection.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, m_connection.root(),
                      static_cast<std::int16_t>(rect.x), static_cast<std::int16_t>(rect.y),
                      static_cast<std::uint16_t>(rect.width),
                      static_cast<std::uint16_t>(rect.height), kAllPlanes);
    return {cookie.sequence, nullptr};
}

/// Requests rectangles to be copied, into the scratch segment if memory can be shared.
void RootReader::request(const std::vector<Rect>& rects, const Rect& area) {
    // No two rectangles share a row, so all of them together fit where the whole area does.
    const bool shared =
        reserve(m_scratch, m_format.rowBytes(area.width) * static_cast<std::size_t>(area.height));
    m_pending.clear();
    std::size_t offset = 0;
    for (const auto& rect : rects) {
        m_pending.push_back(shared ? requestShared(rect, *m_scratch, offset) : requestReply(rect));
        offset += m_format.rowBytes(rect.width) * static_cast<std::size_t>(rect.height);
    }
}

/// Waits for a requested rectangle and calls `use` with its pixels.
template <typename Use>
bool RootReader::receive(const Rect& rect, const Pending& pending, Use use) {
    auto* const c = m_connection.get();
    const auto size = m_format.rowBytes(rect.width) * static_cast<std::size_t>(rect.height);
    xcb_generic_error_t* error = nullptr;
    Owned<void> reply;
    const std::uint8_t* pixels = nullptr;
    if (pending.pixels != nullptr) {
        auto* const shared = xcb_shm_get_image_reply(c, {pending.sequence}, &error);
        reply.reset(shared);
        pixels = shared != nullptr && shared->size >= size ? pending.pixels : nullptr;
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
    use(pixels);
    return true;
}

}  // namespace capture::x11
