// The pointer's formats, and the pointer in a frame.

#include "capture/pointer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

namespace {

using namespace capture;
using Pixels = std::vector<std::uint32_t>;

/// A frame of one colour with `shape` in it.
Pixels over(std::uint32_t pixel, const PointerShape& shape) {
    Pixels frame(static_cast<std::size_t>(shape.width * shape.height), pixel);
    DrawnPointer drawn;
    drawn.draw(shape, shape.hotX, shape.hotY,
               {reinterpret_cast<std::uint8_t*>(frame.data()),
                static_cast<std::size_t>(shape.width) * 4, shape.width, shape.height});
    return frame;
}

/// As the platform documents its three formats.
TEST(Pointer, FormatsOfDesktopDuplication) {
    constexpr std::uint32_t kScreen = 0xFF102030;
    // AND 0011.. and XOR 0101.., 9 pixels wide: black, white, screen, inverted screen.
    const std::uint8_t masks[] = {0x30, 0x80, 0xFF, 0xFF, 0x50, 0x80, 0x00, 0x00};
    const PointerShape mono = monochromePointer(masks, 2, 9, 2);
    Pixels expected(18, kScreen);
    expected[0] = expected[4] = expected[5] = expected[6] = expected[7] = 0xFF000000;
    expected[1] = 0xFFFFFFFF;
    expected[3] = expected[8] = 0xFFEFDFCF;
    EXPECT_EQ(over(kScreen, mono), expected);

    // Straight alpha: none, half, all.
    const std::uint8_t colour[] = {9, 9, 9, 0, 200, 100, 50, 128, 1, 2, 3, 255, 7, 7, 7, 7};
    EXPECT_EQ(over(kScreen, colourPointer(colour, 16, 3, 1)),
              (Pixels{kScreen, 0xFF21427C, 0xFF030201}));

    const std::uint8_t masked[] = {1, 2, 3, 0, 0xFF, 0, 0, 0xFF, 0, 0, 0, 0xFF};
    EXPECT_EQ(over(kScreen, maskedColourPointer(masked, 12, 3, 1)),
              (Pixels{0xFF030201, 0xFF1020CF, kScreen}));
}

TEST(Pointer, IsCutAtEveryEdgeAndLeavesNothingBehind) {
    PointerShape shape;
    shape.width = 5;
    shape.height = 4;
    shape.hotX = 2;
    shape.hotY = 1;
    shape.colours.assign(20, 0xFF112233);
    constexpr int kWidth = 8;
    constexpr int kHeight = 6;
    const Pixels empty(kWidth * kHeight, 0xAB445566);
    Pixels pixels = empty;
    const DrawnPointer::Frame frame = {reinterpret_cast<std::uint8_t*>(pixels.data()), kWidth * 4,
                                       kWidth, kHeight};
    DrawnPointer drawn;
    for (int y = -6; y < 12; ++y) {
        for (int x = -6; x < 14; ++x) {
            Pixels expected = empty;
            int count = 0;
            for (int row = std::max(0, y - 1); row < std::min(kHeight, y + 3); ++row) {
                for (int column = std::max(0, x - 2); column < std::min(kWidth, x + 3); ++column) {
                    expected[static_cast<std::size_t>(row * kWidth + column)] = 0xFF112233;
                    ++count;
                }
            }
            drawn.draw(shape, x, y, frame);
            ASSERT_EQ(pixels, expected) << x << "," << y;
            const auto& part = drawn.part();
            EXPECT_EQ(part.count * (part.right - part.left), count);
            drawn.remove(frame);
            ASSERT_EQ(pixels, empty) << x << "," << y;
        }
    }
}

TEST(Pointer, AddsItsPartToTheDirtyOnes) {
    const support::RowSpan part = {20, 10, 30, 40};
    const struct {
        std::vector<support::RowSpan> before, after;
    } cases[] = {
        {{}, {part}},
        {{{0, 20, 0, 9}, {30, 5, 0, 9}}, {{0, 20, 0, 9}, part, {30, 5, 0, 9}}},
        {{{10, 15, 35, 50}, {25, 1}, {29, 9, 5, 6}, {40, 1}}, {{10, 28}, {40, 1}}},
    };
    for (const auto& c : cases) {
        support::DirtyRows dirty{true, c.before};
        addDirty(dirty, part);
        ASSERT_EQ(dirty.spans.size(), c.after.size());
        for (std::size_t i = 0; i < c.after.size(); ++i) {
            EXPECT_EQ(std::memcmp(&dirty.spans[i], &c.after[i], sizeof c.after[i]), 0) << i;
        }
        addDirty(dirty, {0, 0, 0, 0});
        EXPECT_EQ(dirty.spans.size(), c.after.size());
    }
    support::DirtyRows unknown;
    addDirty(unknown, part);
    EXPECT_TRUE(unknown.spans.empty());
}

}  // namespace
