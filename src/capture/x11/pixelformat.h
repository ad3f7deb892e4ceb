#pragma once
// How a server's pixels lie in memory, and their way to opaque BGRA.

#include <xcb/xcb.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace capture::x11 {

/// The layout of the root window's images: true colour, 16 or 32 bits a pixel.
class PixelFormat {
public:
    /// Nothing when the screen's visual is of another kind (a palette, 24 packed bits).
    [[nodiscard]] static std::optional<PixelFormat> of(const xcb_setup_t& setup,
                                                       const xcb_screen_t& screen);

    /// Bytes of one row of `width` pixels as the server delivers it.
    [[nodiscard]] std::size_t rowBytes(int width) const;

    /// Turns `rows` rows of the server's into BGRA with alpha 255. Strides are in bytes.
    void convert(const std::uint8_t* source, std::size_t sourceStride, std::uint8_t* dest,
                 std::size_t destStride, int width, int rows) const;

private:
    /// One colour's bits within a pixel, and the 8-bit value of each of its levels.
    struct Channel {
        Channel() = default;
        explicit Channel(std::uint32_t mask);

        int shift = 0;
        std::uint32_t highest = 0;
        std::vector<std::uint8_t> levels;
    };

    PixelFormat() = default;

    template <int BytesPerPixel>
    void convertRow(const std::uint8_t* source, std::uint8_t* dest, int width) const;

    bool m_isBgrx = false;  ///< BGRA but for the fourth byte: what nearly every server has.
    bool m_highByteFirst = false;
    int m_bytesPerPixel = 4;
    std::size_t m_rowPadding = 4;  ///< Rows begin at multiples of this many bytes.
    Channel m_red;
    Channel m_green;
    Channel m_blue;
};

}  // namespace capture::x11
