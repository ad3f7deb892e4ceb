#pragma once
// Conversion from BGR to limited-range Y'CbCr 4:2:2.
//
// With the coefficients c scaled by 2^15, for each pixel
//     Y = 16 + ((cR * R + cG * G + cB * B + 2^14) >> 15)
// and for each pair of pixels 2i and 2i + 1 of a line, from the sums of the two,
//     Cb = 128 + ((cR * (R0 + R1) + cG * (G0 + G1) + cB * (B0 + B1) + 2^15) >> 16),
// Cr likewise; the shift is arithmetic. That is the mean of the pair, rounded to nearest, halves
// up. The chroma coefficients of a row sum to 0, so greys give exactly 128.

#include <cstdint>

namespace speedhq {

/// One row of the matrix, scaled by 2^15.
struct ColourRow {
    std::int16_t blue;
    std::int16_t green;
    std::int16_t red;
};

struct ColourMatrix {
    ColourRow y;
    ColourRow cb;
    ColourRow cr;
};

/// The coefficients of BT.601, of BT.709 or of BT.2020 (non-constant luminance).
enum class ColourChoice { Automatic, Bt601, Bt709, Bt2020 };

/// Whether a frame of this size is one for which receivers expect BT.601: up to 720x576.
[[nodiscard]] constexpr bool isStandardDefinition(int width, int height) {
    return width <= 720 && height <= 576;
}

/// What Automatic means for a frame of this size, the matrix that receivers expect: BT.601 up to
/// 720x576, above it BT.709. Any other choice is the result.
///
/// Above 1920x1080 the published rule names BT.2020. Whether receivers follow it for ordinary
/// standard-range frames is doubtful. A desktop is sRGB, whose primaries are those of BT.709. A
/// mismatch between 709 and 2020 costs at most 13 of 255; a mismatch between 601 and either costs
/// up to 40. So large frames use BT.709 too: that is right for receivers that treat all HD alike,
/// and cropping or scaling a source across the limit of 1920 does not change its colours.
[[nodiscard]] ColourChoice colourChoiceFor(ColourChoice choice, int width, int height);

/// The matrix of colourChoiceFor().
[[nodiscard]] const ColourMatrix& colourMatrixFor(ColourChoice choice, int width, int height);

}  // namespace speedhq
