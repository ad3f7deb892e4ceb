#include "capture/x11/damagedpatches.h"

#include <gtest/gtest.h>

namespace {

using capture::x11::Patch;

TEST(DamagedPatches, CoverWhatWasDrawnInsideTheArea) {
    const struct {
        const char* what;
        std::vector<xcb_rectangle_t> drawn;
        std::vector<Patch> expected;
    } kCases[] = {
        {"outside on every side",
         {{0, 0, 400, 100}, {0, 150, 100, 10}, {300, 150, 9, 9}, {0, 300, 400, 9}},
         {}},
        {"cut at the edges", {{0, 0, 400, 400}}, {{100, 100, 200, 200}}},
        {"one pixel in the last corner", {{299, 299, 50, 50}}, {{299, 299, 1, 1}}},
        {"far apart: two",
         {{120, 110, 5, 10}, {150, 250, 7, 3}},
         {{120, 110, 5, 10}, {150, 250, 7, 3}}},
        {"near: one that spans both", {{120, 110, 5, 10}, {150, 121, 7, 3}}, {{120, 110, 37, 14}}},
        {"side by side, the second one lower at its end",
         {{120, 110, 5, 10}, {150, 110, 5, 100}, {110, 205, 1, 1}},
         {{110, 110, 45, 100}}},
    };
    for (const auto& c : kCases) {
        std::vector<Patch> patches = {{1, 2, 3, 4}};
        capture::x11::coverDamage(c.drawn, {100, 100, 200, 200}, patches);
        EXPECT_EQ(patches, c.expected) << c.what;
    }
}

}  // namespace
