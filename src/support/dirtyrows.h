#pragma once

#include <vector>

namespace support {

/// Frame rows [first, first + count), in pixels from the top.
struct RowSpan {
    int first = 0;
    int count = 0;
};

/// What one frame changed against the one before it.
///
/// `known` false: nothing is known, every row may differ. `known` true: only rows inside `spans`
/// may differ (they need not); no spans means the two frames are equal. Spans are ascending and
/// do not overlap.
struct DirtyRows {
    bool known = false;
    std::vector<RowSpan> spans;
};

}  // namespace support
