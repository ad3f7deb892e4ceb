#include "capture/dxgi/framemetadata.h"

#include <algorithm>
#include <cstring>

namespace capture::dxgi {

// Pages "IDXGIOutputDuplication::GetFrameMoveRects" and "::GetFrameDirtyRects": a buffer of
// TotalMetadataBufferSize bytes holds both; the sizes that they take and give are in bytes.
bool FrameMetadata::fetch(IDXGIOutputDuplication& duplication,
                          const DXGI_OUTDUPL_FRAME_INFO& info) {
    m_rects.clear();
    const UINT total = info.TotalMetadataBufferSize;
    if (total == 0) {
        return false;  // The image has changed, but nobody says where.
    }
    m_buffer.resize(std::max<std::size_t>(m_buffer.size(), total));
    UINT moveBytes = 0;
    if (FAILED(duplication.GetFrameMoveRects(
            total, reinterpret_cast<DXGI_OUTDUPL_MOVE_RECT*>(m_buffer.data()), &moveBytes)) ||
        moveBytes > total) {
        return false;
    }
    std::byte* const dirty = m_buffer.data() + moveBytes;
    UINT dirtyBytes = 0;
    if (FAILED(duplication.GetFrameDirtyRects(total - moveBytes, reinterpret_cast<RECT*>(dirty),
                                              &dirtyBytes)) ||
        dirtyBytes > total - moveBytes) {
        return false;
    }
    for (std::size_t at = 0; at + sizeof(DXGI_OUTDUPL_MOVE_RECT) <= moveBytes;
         at += sizeof(DXGI_OUTDUPL_MOVE_RECT)) {
        DXGI_OUTDUPL_MOVE_RECT move = {};
        std::memcpy(&move, m_buffer.data() + at, sizeof(move));
        add(move.DestinationRect);
    }
    for (std::size_t at = 0; at + sizeof(RECT) <= dirtyBytes; at += sizeof(RECT)) {
        RECT rect = {};
        std::memcpy(&rect, dirty + at, sizeof(rect));
        add(rect);
    }
    return true;
}

void FrameMetadata::add(const RECT& rect) {
    m_rects.push_back({static_cast<int>(rect.left), static_cast<int>(rect.top),
                       static_cast<int>(rect.right - rect.left),
                       static_cast<int>(rect.bottom - rect.top)});
}

void FrameMetadata::findRows(int width, int height, Rotation rotation, const Cut& cut,
                             std::vector<support::RowSpan>& rows) {
    rows.clear();
    for (Cut& rect : m_rects) {
        rect = uprightRectangle(rect, width, height, rotation);
    }
    std::sort(m_rects.begin(), m_rects.end(), [](const Cut& a, const Cut& b) { return a.y < b.y; });
    for (const Cut& rect : m_rects) {
        const int top = std::max(rect.y - cut.y, 0);
        const int bottom = std::min(rect.y + rect.height - cut.y, cut.height);
        const int left = std::max(rect.x - cut.x, 0);
        const int right = std::min(rect.x + rect.width - cut.x, cut.width);
        if (top >= bottom || left >= right) {
            continue;
        }
        if (rows.empty() || top >= rows.back().first + rows.back().count) {
            rows.push_back({top, bottom - top, left, right});
            continue;
        }
        support::RowSpan& last = rows.back();
        last.count = std::max(last.count, bottom - last.first);
        last.left = std::min(last.left, left);
        last.right = std::max(last.right, right);
    }
}

}  // namespace capture::dxgi
