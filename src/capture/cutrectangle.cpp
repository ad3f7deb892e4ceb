#include "capture/cutrectangle.h"

#include <algorithm>
#include <cstdint>

namespace capture {
namespace {

struct Range {
    std::uint32_t begin = 0;
    std::uint32_t end = 0;
};

Range cutAxis(int position, int length, int limit) {
    const auto edge = static_cast<std::uint32_t>(limit);
    const auto end = static_cast<std::uint32_t>(position) + static_cast<std::uint32_t>(length);
    const bool inside = position >= 0 && position <= limit;
    return {inside ? static_cast<std::uint32_t>(position) : 0, std::min(end, edge)};
}

}  // namespace

Cut cutRectangle(int x, int y, int width, int height, int outputWidth, int outputHeight) {
    if (width <= 0 || height <= 0 || outputWidth <= 0 || outputHeight <= 0) {
        return {};
    }
    const auto columns = cutAxis(x, width, outputWidth);
    const auto rows = cutAxis(y, height, outputHeight);
    if (columns.begin >= columns.end || rows.begin >= rows.end) {
        return {};
    }
    const auto rowLength = columns.end - columns.begin;
    const auto maxRows = std::int64_t{width} * height / rowLength;
    const auto rowCount = std::min<std::int64_t>(rows.end - rows.begin, maxRows);
    return {static_cast<int>(columns.begin), static_cast<int>(rows.begin),
            static_cast<int>(rowLength), static_cast<int>(rowCount)};
}

}  // namespace capture
