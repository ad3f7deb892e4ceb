#include "capture/rotation.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using capture::Cut;
using capture::Rotation;

constexpr int kWidth = 37;  // No multiple of the blocks.
constexpr int kHeight = 21;
constexpr std::size_t kStride = 256;

/// Where a pixel of the image is after a quarter turn clockwise, done so many times.
Cut turned(Cut pixel, int quarters) {
    int height = kHeight;
    int width = kWidth;
    for (; quarters > 0; --quarters) {
        pixel = {height - 1 - pixel.y, pixel.x, 1, 1};
        std::swap(width, height);
    }
    return pixel;
}

TEST(Rotation, TurnsEveryPartOfAnImageAndMakesItOpaque) {
    std::vector<std::uint8_t> memory(kStride * kHeight);
    for (std::size_t i = 0; i < memory.size(); ++i) {
        memory[i] = static_cast<std::uint8_t>(i * 7 / 5 + i / 251);
    }
    const capture::ImageView image = {memory.data(), kStride, kWidth, kHeight};
    for (const int quarters : {0, 1, 2, 3}) {
        const auto rotation = static_cast<Rotation>(quarters);
        const bool sideways = capture::swapsSides(rotation);
        const int width = sideways ? kHeight : kWidth;
        const int height = sideways ? kWidth : kHeight;
        for (const Cut& cut : {Cut{0, 0, width, height}, Cut{3, 5, 17, 11}, Cut{7, 2, 1, 9},
                               Cut{width - 1, height - 1, 1, 1}, Cut{4, 4, 0, 3}}) {
            const auto pixels = static_cast<std::size_t>(cut.width) * cut.height;
            std::vector<std::uint8_t> result(pixels * 4 + 1, 0x5A);
            copyUpright(image, rotation, cut, result.data());
            EXPECT_EQ(result.back(), 0x5A);
            std::size_t inside = 0;
            for (int i = 0; i < kWidth * kHeight; ++i) {
                const Cut pixel = {i % kWidth, i / kWidth, 1, 1};
                const Cut at = turned(pixel, quarters);
                ASSERT_EQ(uprightRectangle(pixel, kWidth, kHeight, rotation), at);
                const int x = at.x - cut.x;
                const int y = at.y - cut.y;
                if (x < 0 || x >= cut.width || y < 0 || y >= cut.height) {
                    continue;
                }
                ++inside;
                const auto* const source = &memory[pixel.y * kStride + pixel.x * 4U];
                const auto* const copy = &result[(static_cast<std::size_t>(y) * cut.width + x) * 4];
                ASSERT_EQ(std::vector(copy, copy + 3), std::vector(source, source + 3)) << quarters;
                ASSERT_EQ(copy[3], 255);
            }
            EXPECT_EQ(inside, pixels);
        }
        EXPECT_EQ(uprightRectangle({2, 3, 10, 4}, kWidth, kHeight, rotation).width,
                  sideways ? 4 : 10);
    }
}

}  // namespace
