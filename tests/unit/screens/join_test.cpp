#include <gtest/gtest.h>

#include "screens/adaptorinfo.h"

namespace {

struScreenItem screenAt(int x, int y) {
    struScreenItem screen;
    screen.x = static_cast<std::int16_t>(x);
    screen.y = static_cast<std::int16_t>(y);
    return screen;
}

TEST(Join, TakesTheFirstOutputAtTheScreensCorner) {
    DeviceAdaptorInfo first;
    first.outputs = {{0, 0, 1920, 1080, "A"}, {1920, 0, 3200, 1024, "B"}};
    DeviceAdaptorInfo second;
    second.outputs = {{0, 0, 800, 600, "C"}, {-1280, -200, 0, 824, "D"}, {40000, 0, 41000, 9, "E"}};
    const std::list<DeviceAdaptorInfo> adaptors = {DeviceAdaptorInfo(), first, second};

    EXPECT_EQ(findOutputDeviceName(adaptors, screenAt(0, 0)), "A");
    EXPECT_EQ(findOutputDeviceName(adaptors, screenAt(1920, 0)), "B");
    EXPECT_EQ(findOutputDeviceName(adaptors, screenAt(-1280, -200)), "D");
    EXPECT_EQ(findOutputDeviceName(adaptors, screenAt(1920, 1)), "");
    EXPECT_EQ(findOutputDeviceName(adaptors, screenAt(40000, 0)), "") << "16 bits, signed";
    EXPECT_EQ(findOutputDeviceName({}, screenAt(0, 0)), "");
}

TEST(ScreenRecord, IsEmptyByteForByte) {
    const struScreenItem empty;
    std::uint8_t expected[336] = {0xFF, 0xFF, 0xFF, 0xFF};
    std::fill(expected + 73, expected + 81, std::uint8_t{0xFF});
    EXPECT_TRUE(std::equal(std::begin(expected), std::end(expected),
                           reinterpret_cast<const std::uint8_t*>(&empty)));
}

}  // namespace
