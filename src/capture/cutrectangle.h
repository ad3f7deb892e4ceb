#pragma once

namespace capture {

/// The part of an output that a read delivers, in pixels from the output's top-left corner. Rows
/// are `width` pixels long and packed; it is empty when either size is 0.
struct Cut {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    bool operator==(const Cut& other) const {
        return x == other.x && y == other.y && width == other.width && height == other.height;
    }
};

/// Cuts a requested rectangle at the edges of an output:
///   x0 = x if 0 <= x <= outputWidth, else 0;  x1 = min(x + width, outputWidth);  y alike,
/// in unsigned 32-bit arithmetic. Because of that, a rectangle wholly outside the output may come
/// out larger than requested; its rows are limited to what a buffer of width * height pixels holds.
[[nodiscard]] Cut cutRectangle(int x, int y, int width, int height, int outputWidth,
                               int outputHeight);

}  // namespace capture
