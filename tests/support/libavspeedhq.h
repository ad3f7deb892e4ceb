#pragma once
// libavcodec's SpeedHQ encoder and decoder, and libswscale in front of it: what ours is compared
// with. Failures throw std::runtime_error.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace testing_support {

/// 8-bit 4:2:2, lines without gaps.
struct Planes {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> y;
    std::vector<std::uint8_t> cb;  ///< (width + 1) / 2 wide.
    std::vector<std::uint8_t> cr;
};

/// Peak signal-to-noise ratio in dB; infinite when equal.
[[nodiscard]] double psnr(const std::vector<std::uint8_t>& a, const std::vector<std::uint8_t>& b);

constexpr std::uint32_t kShq2 = 0x32514853;

/// Decodes one packet.
[[nodiscard]] Planes decodeWithLibav(const std::uint8_t* packet, std::size_t size, int width,
                                     int height, std::uint32_t fourCC = kShq2);

/// Encodes at an even quality, with one thread and buffers of its own. Widths of 16n, heights
/// above 48: libavcodec's encoder makes invalid packets of others.
class LibavEncoder {
public:
    LibavEncoder(int width, int height, int quality);
    ~LibavEncoder();

    /// The packet is valid until the next call.
    struct Packet {
        const std::uint8_t* data;
        std::size_t size;
    };
    [[nodiscard]] Packet encode(const Planes& planes);
    /// Through libswscale first, BT.709 limited range.
    [[nodiscard]] Packet encodeBgra(const std::uint8_t* pixels, std::ptrdiff_t stride);

private:
    struct State;
    std::unique_ptr<State> m_state;
};

}  // namespace testing_support
