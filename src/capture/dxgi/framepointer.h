#pragma once
// The pointer that desktop duplication reports beside its frames.

#include <dxgi1_2.h>

#include <cstddef>
#include <vector>

#include "capture/cutrectangle.h"
#include "capture/pointer.h"

namespace capture::dxgi {

class FramePointer {
public:
    /// Takes what is reported with the frame that is acquired. True: another pointer than before,
    /// or elsewhere. A shape that can't be fetched leaves the last one.
    bool update(IDXGIOutputDuplication& duplication, const DXGI_OUTDUPL_FRAME_INFO& info);

    /// Draws it into a frame that has just been filled with the part `cut` of the upright image,
    /// and adds to `dirty` where that differs from the frame before.
    void draw(const DrawnPointer::Frame& frame, const Cut& cut, support::DirtyRows& dirty);

    /// Moves it to its place in the frame of the last draw(), whose image has not changed.
    void redraw(const DrawnPointer::Frame& frame, const Cut& cut, support::DirtyRows& dirty);

private:
    void fetchShape(IDXGIOutputDuplication& duplication, UINT bytes);
    void drawAfter(const support::RowSpan& before, const DrawnPointer::Frame& frame, const Cut& cut,
                   support::DirtyRows& dirty);

    PointerShape m_shape;
    POINT m_position = {};  ///< Of the shape's upper left pixel, in the upright image.
    bool m_visible = false;
    bool m_changed = false;  ///< Since it was drawn.
    DrawnPointer m_drawn;
    std::vector<std::byte> m_buffer;
};

}  // namespace capture::dxgi
