#pragma once
// libavcodec's SpeedHQ decoder, as the reference for our packets. Failures throw
// std::runtime_error.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tests {

/// 8-bit 4:2:2, rows packed.
struct Planes {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> y;
    std::vector<std::uint8_t> cb;  ///< (width + 1) / 2 wide.
    std::vector<std::uint8_t> cr;
};

/// Peak signal-to-noise ratio in dB: 99 for equal planes, 0 for empty ones and for different sizes.
[[nodiscard]] double psnr(const std::vector<std::uint8_t>& a, const std::vector<std::uint8_t>& b);

constexpr std::uint32_t kShq2 = 0x32514853;

/// Decodes one packet.
[[nodiscard]] Planes decodeWithLibav(const std::uint8_t* packet, std::size_t size, int width,
                                     int height, std::uint32_t fourCC = kShq2);

}  // namespace tests
