#include "capture/cutrectangle.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>

namespace {

TEST(CutRectangle, IsCutAtTheOutputsEdge) {
    const struct {
        const char* what;
        int x, y, width, height;
        capture::Cut expected;
    } kCases[] = {
        {"past the lower right corner", 1900, 1000, 100, 100, {1900, 1000, 20, 80}},
        {"negative origin loses what lies outside", -30, -7, 100, 10, {0, 0, 70, 3}},
        {"at the right edge: empty", 1920, 0, 100, 10, {}},
        // Wholly outside, the sums wrap or the origin is forced to 0: the rows are then the whole
        // output's, and only as many of them as the buffer holds.
        {"right of the output", 2000, 0, 100, 100, {0, 0, 1920, 5}},
        {"below the output", 0, 2000, 100, 100, {0, 0, 100, 100}},
    };
    for (const auto& c : kCases) {
        EXPECT_EQ(capture::cutRectangle(c.x, c.y, c.width, c.height, 1920, 1080), c.expected)
            << c.what;
    }
}

TEST(CutRectangle, NeverLeavesTheBufferOrTheOutput) {
    const int values[] = {INT_MIN, INT_MIN + 1, -1920, -1, 0, 1, 1919, 1920, 1921, INT_MAX};
    for (int i = 0; i < 10 * 10 * 10 * 10; ++i) {
        const int width = values[i / 10 % 10];
        const int height = values[i % 10];
        const auto cut = capture::cutRectangle(values[i / 1000], values[i / 100 % 10], width,
                                               height, 1920, 1080);
        ASSERT_GE(cut.x, 0);
        ASSERT_GE(cut.y, 0);
        ASSERT_LE(cut.x + cut.width, 1920);
        ASSERT_LE(cut.y + cut.height, 1080);
        const std::int64_t room = width > 0 && height > 0 ? std::int64_t{width} * height : 0;
        ASSERT_LE(std::int64_t{cut.width} * cut.height, room);
    }
}

}  // namespace
