#pragma once

#include <vector>

namespace support {

/// Frame rows [first, first + count), in pixels from the top.
struct RowSpan {
    int first = 0;
    int count = 0;
};

/// The rows of a frame that may differ from the frame before it.
///
/// `known` false: every row may differ. `known` true: only rows inside `spans` may differ (they
/// need not); without spans the two frames are equal. Spans are in ascending order and do not
/// overlap.
struct DirtyRows {
    bool known = false;
    std::vector<RowSpan> spans;
};

}  // namespace support
