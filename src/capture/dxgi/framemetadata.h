#pragma once
// Which parts of a duplicated frame differ from the frame before it.

#include <dxgi1_2.h>

#include <cstddef>
#include <vector>

#include "capture/rotation.h"
#include "support/dirtyrows.h"

namespace capture::dxgi {

class FrameMetadata {
public:
    /// Fetches the dirty and move rectangles of the frame that is acquired. False: unknown.
    [[nodiscard]] bool fetch(IDXGIOutputDuplication& duplication,
                             const DXGI_OUTDUPL_FRAME_INFO& info);

    /// The rows and columns of `cut`, a part of the upright frame, that the fetched rectangles
    /// touch. The frame's texture has width * height pixels.
    void findRows(int width, int height, Rotation rotation, const Cut& cut,
                  std::vector<support::RowSpan>& rows);

private:
    void add(const RECT& rect);

    std::vector<std::byte> m_buffer;
    std::vector<Cut> m_rects;  ///< Of the texture.
};

}  // namespace capture::dxgi
