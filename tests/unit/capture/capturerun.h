#pragma once
// A capturer with a buffer and the checks that every read must pass.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "capture/x11/x11capturescreen.h"
#include "support/painter.h"
#include "support/process.h"

namespace tests {

class CaptureRun {
public:
    CaptureRun(const std::string& display, Area read)
        : capturer(display),
          area(read),
          pixels(static_cast<std::size_t>(read.width) * static_cast<std::size_t>(read.height) * 4) {
    }

    /// One read. A row outside the rows that are told to have changed must be as it was.
    bool read() {
        const auto before = pixels;
        if (!capturer.ReadScreenData(area.x, area.y, area.width, area.height, pixels.data())) {
            EXPECT_EQ(pixels, before) << "a read without damage wrote to the buffer";
            return false;
        }
        ++reads;
        const auto& dirty = capturer.DirtyRows();
        partialReads += dirty.known ? 1 : 0;
        auto spans = dirty.spans;
        spans.push_back({area.height, 0});
        int row = 0;
        for (std::size_t i = 0; dirty.known && i < spans.size(); ++i) {
            EXPECT_GE(spans[i].first, row) << "spans overlap or descend";
            for (; row < spans[i].first; ++row) {
                const auto from = pixels.begin() + std::ptrdiff_t(rowBytes()) * row;
                EXPECT_TRUE(std::equal(from, from + std::ptrdiff_t(rowBytes()),
                                       before.begin() + (from - pixels.begin())))
                    << "row " << row << " changed untold";
            }
            row += spans[i].count;
            EXPECT_LE(row, area.height);
        }
        return true;
    }

    /// Reads until there is news; false after `attempts` reads, of a millisecond and more each.
    [[nodiscard]] bool news(int attempts = 2000) {
        while (attempts-- > 0) {
            if (read()) {
                return true;
            }
        }
        return false;
    }

    /// Reads until there has been no news for a tenth of a second and more.
    void settle() {
        while (news(100)) {
        }
    }

    /// Reads until the buffer holds what the screen shows at `place`; false: not in ten seconds.
    [[nodiscard]] bool shows(Painter& painter, const Area& place) {
        return eventually(
            [&] {
                read();
                return pixels == painter.screen(place);
            },
            std::chrono::seconds(10));
    }

    [[nodiscard]] std::size_t rowBytes() const { return static_cast<std::size_t>(area.width) * 4; }
    [[nodiscard]] std::vector<std::uint8_t> at(int x, int y) const {
        const auto* p = &pixels[rowBytes() * static_cast<std::size_t>(y) + std::size_t(x) * 4];
        return {p, p + 4};
    }

    X11CaptureScreen capturer;
    Area area;
    std::vector<std::uint8_t> pixels;
    int reads = 0;
    int partialReads = 0;
};

}  // namespace tests
