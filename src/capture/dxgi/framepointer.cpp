#include "capture/dxgi/framepointer.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace capture::dxgi {

namespace {

/// Page "DXGI_OUTDUPL_POINTER_SHAPE_TYPE". A monochrome shape counts the rows of both of its masks.
PointerShape shapeOf(const DXGI_OUTDUPL_POINTER_SHAPE_INFO& info, const std::uint8_t* bytes) {
    const int width = static_cast<int>(info.Width);
    const int height = static_cast<int>(info.Height);
    switch (info.Type) {
        case DXGI_OUTDUPL_POINTER_SHAPE_TYPE_MONOCHROME:
            return monochromePointer(bytes, info.Pitch, width, height / 2);
        case DXGI_OUTDUPL_POINTER_SHAPE_TYPE_COLOR:
            return colourPointer(bytes, info.Pitch, width, height);
        case DXGI_OUTDUPL_POINTER_SHAPE_TYPE_MASKED_COLOR:
            return maskedColourPointer(bytes, info.Pitch, width, height);
        default:
            return {};
    }
}

bool fits(const DXGI_OUTDUPL_POINTER_SHAPE_INFO& info, std::size_t bytes) {
    const bool mono = info.Type == DXGI_OUTDUPL_POINTER_SHAPE_TYPE_MONOCHROME;
    const std::size_t rowBytes =
        mono ? (std::size_t{info.Width} + 7) / 8 : std::size_t{info.Width} * 4;
    return rowBytes <= info.Pitch && std::size_t{info.Pitch} * info.Height <= bytes;
}

}  // namespace

// Page "DXGI_OUTDUPL_FRAME_INFO": without a time of the mouse's update the rest about it has no
// meaning; without a size of its shape that is as before.
bool FramePointer::update(IDXGIOutputDuplication& duplication,
                          const DXGI_OUTDUPL_FRAME_INFO& info) {
    if (info.LastMouseUpdateTime.QuadPart == 0) {
        return false;
    }
    const bool visible = info.PointerPosition.Visible != FALSE;
    const POINT position = visible ? info.PointerPosition.Position : m_position;
    bool changed = visible != m_visible || position.x != m_position.x || position.y != m_position.y;
    m_visible = visible;
    m_position = position;
    if (info.PointerShapeBufferSize > 0) {
        fetchShape(duplication, info.PointerShapeBufferSize);
        changed = true;
    }
    m_changed = m_changed || changed;
    return changed;
}

void FramePointer::fetchShape(IDXGIOutputDuplication& duplication, UINT bytes) {
    m_buffer.resize(std::max<std::size_t>(m_buffer.size(), bytes));
    UINT needed = 0;
    DXGI_OUTDUPL_POINTER_SHAPE_INFO info = {};
    if (SUCCEEDED(duplication.GetFramePointerShape(bytes, m_buffer.data(), &needed, &info)) &&
        fits(info, bytes)) {
        m_shape = shapeOf(info, reinterpret_cast<const std::uint8_t*>(m_buffer.data()));
    }
}

void FramePointer::draw(const DrawnPointer::Frame& frame, const Cut& cut,
                        support::DirtyRows& dirty) {
    const support::RowSpan before = m_drawn.part();
    m_drawn.forget();
    drawAfter(before, frame, cut, dirty);
}

void FramePointer::redraw(const DrawnPointer::Frame& frame, const Cut& cut,
                          support::DirtyRows& dirty) {
    const support::RowSpan before = m_drawn.part();
    m_drawn.remove(frame);
    drawAfter(before, frame, cut, dirty);
}

/// Page "DXGI_OUTDUPL_POINTER_SHAPE_INFO": the hot spot does not count where the shape is drawn.
void FramePointer::drawAfter(const support::RowSpan& before, const DrawnPointer::Frame& frame,
                             const Cut& cut, support::DirtyRows& dirty) {
    if (m_visible) {
        m_drawn.draw(m_shape, static_cast<int>(m_position.x) - cut.x,
                     static_cast<int>(m_position.y) - cut.y, frame);
    }
    if (std::exchange(m_changed, false)) {
        addDirty(dirty, before);
        addDirty(dirty, m_drawn.part());
    }
}

}  // namespace capture::dxgi
