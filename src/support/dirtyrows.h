#pragma once

#include <limits>
#include <vector>

namespace support {

/// Frame rows [first, first + count), in pixels from the top, and of them columns [left, right), in
/// pixels from the left: all columns unless given. Columns may extend beyond the frame.
struct RowSpan {
    int first = 0;
    int count = 0;
    int left = 0;
    int right = std::numeric_limits<int>::max();
};

/// The parts of a frame that may differ from the frame before it.
///
/// `known` false: every pixel may differ. `known` true: only pixels inside `spans` may differ (they
/// need not); without spans the two frames are equal. Spans are in ascending order and have no row
/// in common.
struct DirtyRows {
    bool known = false;
    std::vector<RowSpan> spans;
};

}  // namespace support
