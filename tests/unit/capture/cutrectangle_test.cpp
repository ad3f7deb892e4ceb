#include "capture/cutrectangle.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>

namespace {

struct Case {
    const char* what;
    int x, y, width, height;
    capture::Cut expected;
};

TEST(CutRectangle, IsCutAtTheOutputsEdge) {
    const Case cases[] = {
        {"whole output", 0, 0, 1920, 1080, {0, 0, 1920, 1080}},
        {"inside", 960, 540, 960, 540, {960, 540, 960, 540}},
        {"past the right edge", 1900, 0, 100, 10, {1900, 0, 20, 10}},
        {"past the lower edge", 0, 1000, 100, 100, {0, 1000, 100, 80}},
        {"negative origin loses what lies outside", -30, -7, 100, 10, {0, 0, 70, 3}},
        {"at the right edge: empty", 1920, 0, 100, 10, {}},
        {"at the lower edge: empty", 0, 1080, 100, 10, {}},
        {"ends at the left edge: empty", -100, 0, 100, 10, {}},
        {"size 0", 10, 10, 0, 5, {}},
        {"negative size", 100, 100, -50, 20, {}},
        // Wholly outside, the sums wrap or the origin is forced to 0: the rows are then the whole
        // output's, and only as many of them as the buffer holds.
        {"right of the output", 2000, 0, 100, 100, {0, 0, 1920, 5}},
        {"right of the output, large buffer", 2000, 0, 1920, 1080, {0, 0, 1920, 1080}},
        {"below the output", 0, 2000, 100, 100, {0, 0, 100, 100}},
        {"left of the output", -200, 0, 100, 100, {0, 0, 1920, 5}},
        {"no room for one such row", 2000, 0, 10, 10, {0, 0, 1920, 0}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(capture::cutRectangle(c.x, c.y, c.width, c.height, 1920, 1080), c.expected)
            << c.what;
    }
}

TEST(CutRectangle, NeverLeavesTheBufferOrTheOutput) {
    const int values[] = {INT_MIN, INT_MIN + 1, -1920, -1, 0, 1, 1919, 1920, 1921, INT_MAX};
    for (const int x : values) {
        for (const int y : values) {
            for (const int width : values) {
                for (const int height : values) {
                    const auto cut = capture::cutRectangle(x, y, width, height, 1920, 1080);
                    ASSERT_GE(cut.x, 0);
                    ASSERT_GE(cut.y, 0);
                    ASSERT_LE(cut.x + cut.width, 1920);
                    ASSERT_LE(cut.y + cut.height, 1080);
                    const std::int64_t room =
                        width > 0 && height > 0 ? std::int64_t{width} * height : 0;
                    ASSERT_LE(std::int64_t{cut.width} * cut.height, room);
                }
            }
        }
    }
}

}  // namespace
