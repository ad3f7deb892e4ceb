#pragma once
// The pixel layout of an X server's images, and their conversion to opaque BGRA.

#include <xcb/xcb.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace capture::x11 {

/// The pixel layout of the root window: true colour, 16 or 32 bits per pixel.
class PixelFormat {
public:
    /// Nothing when the screen has another kind of visual (a palette, 24 packed bits).
    [[nodiscard]] static std::optional<PixelFormat> of(const xcb_setup_t& setup,
                                                       const xcb_screen_t& screen);

    /// Whether rows are packed BGRA except for an undefined fourth byte.
    [[nodiscard]] bool isPackedBgrx() const { return m_isBgrx && m_rowPadding <= 4; }

    /// Bytes of one row of `width` pixels as the server delivers it.
    [[nodiscard]] std::size_t rowBytes(int width) const;

    /// Converts `rows` rows of a server image to BGRA with alpha 255. Strides are in bytes.
    void convert(const std::uint8_t* source, std::size_t sourceStride, std::uint8_t* dest,
                 std::size_t destStride, int width, int rows) const;

private:
    /// The bits of one colour channel, and the 8-bit value of each of its levels.
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

    bool m_isBgrx = false;  ///< BGRA except that the fourth byte is undefined; nearly every server.
    bool m_highByteFirst = false;
    int m_bytesPerPixel = 4;
    std::size_t m_rowPadding = 4;  ///< Rows begin at multiples of this many bytes.
    Channel m_red;
    Channel m_green;
    Channel m_blue;
};

}  // namespace capture::x11
