// Pixels of a compositor's frame on their way to the sender, without a compositor.

#include <gtest/gtest.h>
#include <spa/buffer/meta.h>
#include <spa/param/video/raw.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <random>
#include <string>
#include <tuple>

#include "capture/pipewire/castsession.h"
#include "capture/pipewire/framebox.h"
#include "capture/pipewire/pointermeta.h"

namespace {

using namespace capture::pipewire;

constexpr int kWidth = 70;  // More than one tile and no multiple of one.
constexpr int kHeight = 45;

/// Colour of a pixel of the upright image.
std::array<std::uint8_t, 3> colourAt(int x, int y) {
    return {static_cast<std::uint8_t>(x * 3), static_cast<std::uint8_t>(y * 5),
            static_cast<std::uint8_t>(x + y * 7)};
}

std::array<std::size_t, 3> redGreenBluePlaces(PixelOrder order) {
    switch (order) {
        case PixelOrder::Bgrx:
            return {2, 1, 0};
        case PixelOrder::Rgbx:
            return {0, 1, 2};
        case PixelOrder::Xrgb:
            break;
    }
    return {1, 2, 3};
}

/// Where a pixel of an upright image of width x height is after it was turned counter-clockwise
/// `quarters` times, mirrored first when `flipped`. Turned step by step, as the name says.
std::pair<int, int> turnedPlace(int x, int y, int width, int height, bool flipped, int quarters) {
    if (flipped) {
        x = width - 1 - x;
    }
    for (; quarters > 0; --quarters) {
        const int left = y;
        y = width - 1 - x;
        x = left;
        std::swap(width, height);
    }
    return {x, y};
}

class Turned : public testing::TestWithParam<std::tuple<int, PixelOrder>> {
protected:
    Turned() {
        const auto [number, order] = GetParam();
        const bool odd = (number & 1) != 0;
        m_image.width = odd ? kHeight : kWidth;
        m_image.height = odd ? kWidth : kHeight;
        m_image.stride = static_cast<std::size_t>(m_image.width) * 4 + 20;
        m_image.order = order;
        m_image.transform = static_cast<Transform>(number);
        m_memory.resize(m_image.stride * static_cast<std::size_t>(m_image.height), 0x55);
        m_image.pixels = m_memory.data();
        for (int y = 0; y < kHeight; ++y) {
            for (int x = 0; x < kWidth; ++x) {
                paint(x, y, colourAt(x, y));
            }
        }
    }

    std::pair<int, int> place(int x, int y) const {
        const int number = std::get<0>(GetParam());
        return turnedPlace(x, y, kWidth, kHeight, number >= 4, number & 3);
    }

    void paint(int x, int y, const std::array<std::uint8_t, 3>& colour) {
        const auto [left, top] = place(x, y);
        auto* pixel = m_memory.data() + static_cast<std::size_t>(top) * m_image.stride +
                      static_cast<std::size_t>(left) * 4;
        const auto places = redGreenBluePlaces(m_image.order);
        for (std::size_t i = 0; i < 3; ++i) {
            pixel[places[i]] = colour[i];
        }
    }

    void expectPixel(const std::uint8_t* pixel, int x, int y) const {
        const auto colour = colourAt(x, y);
        const std::array<std::uint8_t, 4> wanted = {colour[2], colour[1], colour[0], 255};
        ASSERT_EQ(std::memcmp(pixel, wanted.data(), 4), 0) << "pixel " << x << "," << y;
    }

    std::vector<std::uint8_t> m_memory;
    Image m_image;
};

TEST_P(Turned, IsReadUprightAndByChangedRows) {
    FrameBox box;
    int handles[2];
    const auto buffer = [&](int i) { return reinterpret_cast<pw_buffer*>(&handles[i]); };
    support::DirtyRows dirty;
    constexpr int kLeft = 9, kTop = 4, kReadWidth = 50, kReadHeight = 36;
    std::vector<std::uint8_t> dest(std::size_t{kReadWidth} * kReadHeight * 4 + 16, 0x77);
    const FrameBox::Request request = {kLeft, kTop, kReadWidth, kReadHeight, dest.data()};
    EXPECT_FALSE(box.read(request, dirty));

    EXPECT_EQ(box.put(buffer(0), m_image, nullptr), nullptr);
    ASSERT_TRUE(box.read(request, dirty));
    EXPECT_FALSE(dirty.known);
    for (int y = 0; y < kReadHeight; ++y) {
        for (int x = 0; x < kReadWidth; ++x) {
            expectPixel(dest.data() + (y * kReadWidth + x) * 4, x + kLeft, y + kTop);
        }
    }
    EXPECT_EQ(dest.back(), 0x77) << "behind the last row";
    EXPECT_FALSE(box.read(request, dirty)) << "nothing changed";

    // Two damaged pixels, the second outside the region; both frames count, the older buffer is
    // handed back at once.
    const auto damageAt = [&](int x, int y) {
        const auto [left, top] = place(x, y);
        return std::vector<Damage>{{left, top, 1, 1}};
    };
    const auto inside = damageAt(20, 14);
    const auto outside = damageAt(2, 43);
    EXPECT_EQ(box.put(buffer(1), m_image, &inside), buffer(0));
    EXPECT_EQ(box.put(buffer(0), m_image, &outside), buffer(1));
    std::fill(dest.begin(), dest.end(), std::uint8_t{0x77});
    ASSERT_TRUE(box.read(request, dirty));
    ASSERT_TRUE(dirty.known);
    ASSERT_EQ(dirty.spans.size(), 1U);
    const auto& span = dirty.spans[0];
    EXPECT_EQ(std::tie(span.first, span.count, span.left, span.right),
              std::tuple(14 - kTop, 1, 20 - kLeft, 21 - kLeft));
    const auto* copied = dest.data() + ((14 - kTop) * kReadWidth + 20 - kLeft) * 4;
    expectPixel(copied, 20, 14);
    EXPECT_EQ(std::count(dest.begin(), dest.end(), 0x77) - std::count(copied, copied + 4, 0x77),
              static_cast<std::ptrdiff_t>(dest.size()) - 4)
        << "more than the damage was copied";

    // A frame whose damage is not known makes all of it new, whatever came after.
    EXPECT_NE(box.put(buffer(1), m_image, nullptr), nullptr);
    EXPECT_NE(box.put(buffer(0), m_image, &inside), nullptr);
    ASSERT_TRUE(box.read(request, dirty));
    EXPECT_FALSE(dirty.known);
    expectPixel(dest.data() + (kReadWidth * kReadHeight - 1) * 4, kLeft + kReadWidth - 1,
                kTop + kReadHeight - 1);

    // Memory that goes away takes the frame with it.
    box.withdraw(buffer(0));
    EXPECT_FALSE(box.read({0, 0, 4, 4, dest.data()}, dirty));
}

INSTANTIATE_TEST_SUITE_P(All, Turned,
                         testing::Combine(testing::Range(0, 8),
                                          testing::Values(PixelOrder::Bgrx, PixelOrder::Rgbx,
                                                          PixelOrder::Xrgb)));

/// A frame of one colour, a region of it, and a pointer of 4x3 opaque pixels.
TEST(PointerInTheBox, IsDrawnAndTakenOutAgain) {
    constexpr int kLeft = 9, kTop = 4, kReadWidth = 50, kReadHeight = 36;
    std::vector<std::uint32_t> memory(std::size_t{kWidth} * kHeight, 0x00202020);
    Image image;
    image.pixels = reinterpret_cast<const std::uint8_t*>(memory.data());
    image.stride = std::size_t{kWidth} * 4;
    image.width = kWidth;
    image.height = kHeight;
    capture::PointerShape shape;
    shape.width = 4;
    shape.height = 3;
    shape.hotX = shape.hotY = 1;
    shape.colours.assign(12, 0xFFAABBCC);

    FrameBox box;
    int handle = 0;
    auto* const buffer = reinterpret_cast<pw_buffer*>(&handle);
    std::vector<std::uint32_t> dest(std::size_t{kReadWidth} * kReadHeight);
    const FrameBox::Request request = {kLeft, kTop, kReadWidth, kReadHeight,
                                       reinterpret_cast<std::uint8_t*>(dest.data())};
    support::DirtyRows dirty;
    std::vector<std::uint32_t> expected(dest.size(), 0xFF202020);
    const auto expectPointer = [&](int x, int y) {
        auto pixels = expected;
        for (int row = std::max(y - 1 - kTop, 0); row < y + 2 - kTop; ++row) {
            for (int column = std::max(x - 1 - kLeft, 0); column < x + 3 - kLeft; ++column) {
                pixels[static_cast<std::size_t>(row * kReadWidth + column)] = 0xFFAABBCC;
            }
        }
        EXPECT_EQ(dest, pixels) << x << "," << y;
    };
    EXPECT_EQ(box.put(buffer, image, nullptr), nullptr);
    ASSERT_TRUE(box.read(request, dirty));
    EXPECT_EQ(dest, expected);

    box.putPointer({true, 20, 10}, &shape);
    EXPECT_TRUE(box.wait(std::chrono::hours(1)));
    ASSERT_TRUE(box.read(request, dirty));
    expectPointer(20, 10);
    EXPECT_FALSE(box.read(request, dirty));
    box.putPointer({true, 20, 10}, &shape);
    EXPECT_FALSE(box.read(request, dirty)) << "as before";

    // Something is drawn below it, then it moves to the corner.
    const std::vector<Damage> damage = {{20, 10, 1, 1}};
    memory[10 * kWidth + 20] = 0x00404040;
    expected[(10 - kTop) * kReadWidth + 20 - kLeft] = 0xFF404040;
    EXPECT_EQ(box.put(buffer, image, &damage), buffer);
    ASSERT_TRUE(box.read(request, dirty));
    expectPointer(20, 10);
    box.putPointer({true, kLeft, kTop}, nullptr);
    ASSERT_TRUE(box.read(request, dirty));
    expectPointer(kLeft, kTop);
    ASSERT_TRUE(dirty.known);
    ASSERT_EQ(dirty.spans.size(), 2U);
    EXPECT_EQ(std::tie(dirty.spans[0].first, dirty.spans[0].count, dirty.spans[0].right),
              std::tuple(0, 2, 3));
    EXPECT_EQ(std::tie(dirty.spans[1].first, dirty.spans[1].count, dirty.spans[1].left),
              std::tuple(9 - kTop, 3, 19 - kLeft));

    box.putPointer({}, nullptr);
    ASSERT_TRUE(box.read(request, dirty));
    EXPECT_EQ(dest, expected);
    box.putPointer({true, 2, 2}, nullptr);
    EXPECT_FALSE(box.read(request, dirty)) << "outside the region";
}

TEST(PointerMeta, IsReadInEveryFormatAndNotBeyondItsEnd) {
    struct {
        spa_meta_cursor cursor;
        spa_meta_bitmap bitmap;
        std::uint8_t pixels[8];
    } meta = {{1, 0, {30, -5}, {3, 2}, sizeof(spa_meta_cursor)},
              {SPA_VIDEO_FORMAT_BGRA, {2, 1}, 8, sizeof(spa_meta_bitmap)},
              {1, 2, 3, 4, 5, 6, 7, 8}};
    FrameBox::Pointer pointer;
    capture::PointerShape shape;
    bool reshaped = false;
    const auto read = [&](std::size_t bytes) {
        return readPointerMeta(&meta, bytes, pointer, shape, reshaped);
    };
    const std::pair<spa_video_format, std::uint32_t> formats[] = {
        {SPA_VIDEO_FORMAT_BGRA, 0x04030201},
        {SPA_VIDEO_FORMAT_RGBA, 0x04010203},
        {SPA_VIDEO_FORMAT_ARGB, 0x01020304},
        {SPA_VIDEO_FORMAT_ABGR, 0x01040302}};
    for (const auto& [format, colour] : formats) {
        meta.bitmap.format = format;
        ASSERT_TRUE(read(sizeof meta));
        EXPECT_TRUE(reshaped);
        EXPECT_EQ(shape.colours.at(0), colour);
    }
    EXPECT_EQ(std::tie(pointer.visible, pointer.x, pointer.y), std::tuple(true, 30, -5));
    EXPECT_EQ(std::tie(shape.width, shape.height, shape.hotX, shape.hotY), std::tuple(2, 1, 3, 2));

    EXPECT_TRUE(read(sizeof meta - 1) && !reshaped) << "a pixel is missing";
    EXPECT_FALSE(read(sizeof(spa_meta_cursor) - 1));
    const auto good = meta;
    const auto keepsTheShape = [&] {
        EXPECT_TRUE(read(sizeof meta));
        meta = good;
        return !reshaped;
    };
    meta.bitmap.size.height = 0x40000001;
    EXPECT_TRUE(keepsTheShape());
    meta.bitmap.stride = -8;
    EXPECT_TRUE(keepsTheShape());
    meta.bitmap.offset = 0xFFFFFFFF;
    EXPECT_TRUE(keepsTheShape());
    meta.bitmap.format = SPA_VIDEO_FORMAT_NV12;
    EXPECT_TRUE(keepsTheShape());
    meta.cursor.bitmap_offset = 0;
    EXPECT_TRUE(keepsTheShape());
    meta.cursor.bitmap_offset = sizeof meta;
    EXPECT_TRUE(keepsTheShape());
    meta.bitmap.offset = 0;
    EXPECT_FALSE(keepsTheShape()) << "invisible";
    EXPECT_EQ(shape.width, 0);
    meta.cursor.id = 0;
    EXPECT_FALSE(read(sizeof meta));
    EXPECT_FALSE(pointer.visible);
}

TEST(GrantedOutput, IsJudgedByPositionAndSize) {
    using support::wayland::Output;
    const std::vector<Output> outputs = {{"A", 0, 0, 1280, 720, 1280, 720},
                                         {"B", 1280, 0, 800, 600, 1600, 1200},
                                         {"C", 2080, 0, 1280, 720, 1280, 720}};
    const auto granted = [&](const char* wanted, const Grant& grant) {
        const auto* output = grantedOutput(outputs, wanted, grant);
        return output != nullptr ? output->name : "none";
    };
    const auto at = [](int x, int y, int width, int height) {
        return Grant{1, std::pair(x, y), std::pair(width, height), ""};
    };
    EXPECT_EQ(granted("B", at(1280, 0, 800, 600)), "B");   // Logical sizes.
    EXPECT_EQ(granted("B", at(0, 0, 1600, 1200)), "B");    // Physical ones, no position.
    EXPECT_EQ(granted("B", at(0, 0, 1200, 1600)), "B");    // Turned.
    EXPECT_EQ(granted("A", at(2080, 0, 1280, 720)), "C");  // Alike but for the place.
    EXPECT_EQ(granted("C", at(0, 0, 1280, 720)), "C");     // Nothing speaks against it.
    EXPECT_EQ(granted("A", at(0, 0, 1600, 1200)), "B");
    EXPECT_EQ(granted("A", Grant{1, {}, {}, ""}), "A");
    EXPECT_EQ(granted("A", at(0, 0, 640, 480)), "none");
}

}  // namespace
