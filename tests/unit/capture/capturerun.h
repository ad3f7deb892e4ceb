#pragma once
// A capturer with a buffer and the checks that every read must pass.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "capture/x11/x11capturescreen.h"
#include "support/painter.h"

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
        m_before = pixels;
        if (!capturer.ReadScreenData(area.x, area.y, area.width, area.height, pixels.data())) {
            EXPECT_EQ(pixels, m_before) << "a read without news wrote to the buffer";
            return false;
        }
        ++reads;
        const auto& changed = capturer.ChangedRows();
        if (changed.known) {
            ++partialReads;
            checkUnchangedRows(changed.spans);
        }
        return true;
    }

    /// Reads until there has been no news for a while.
    void settle() {
        for (int quiet = 0; quiet < 30; ++quiet) {
            if (read()) {
                quiet = 0;
            }
        }
    }

    /// Reads until there is news; false after `attempts` reads.
    [[nodiscard]] bool news(int attempts = 2000) {
        while (attempts-- > 0) {
            if (read()) {
                return true;
            }
        }
        return false;
    }

    [[nodiscard]] std::size_t rowBytes() const { return static_cast<std::size_t>(area.width) * 4; }

    X11CaptureScreen capturer;
    Area area;
    std::vector<std::uint8_t> pixels;
    int reads = 0;
    int partialReads = 0;

private:
    void checkUnchangedRows(const std::vector<support::RowSpan>& spans) const {
        int row = 0;
        const auto compareUpTo = [this, &row](int end) {
            const auto from =
                static_cast<std::ptrdiff_t>(static_cast<std::size_t>(row) * rowBytes());
            const auto to = static_cast<std::ptrdiff_t>(static_cast<std::size_t>(end) * rowBytes());
            EXPECT_TRUE(
                std::equal(pixels.begin() + from, pixels.begin() + to, m_before.begin() + from))
                << "rows " << row << " to " << end << " changed untold";
        };
        for (const auto& span : spans) {
            ASSERT_GE(span.first, row) << "spans overlap or descend";
            ASSERT_GT(span.count, 0);
            ASSERT_LE(span.first + span.count, area.height);
            compareUpTo(span.first);
            row = span.first + span.count;
        }
        compareUpTo(area.height);
    }

    std::vector<std::uint8_t> m_before;
};

}  // namespace tests
