#pragma once
// A capturer with a buffer and the checks that every read must pass.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "capture/x11/x11capturescreen.h"
#include "support/painter.h"
#include "support/process.h"

namespace tests {

class CaptureRun {
public:
    enum class Memory { Ours, Capturers };

    CaptureRun(const std::string& display, Area read, Memory memory = Memory::Ours,
               capture::x11::EventFilter filter = {})
        : capturer(display, std::move(filter)),
          area(read),
          pixels(static_cast<std::size_t>(read.width) * static_cast<std::size_t>(read.height) * 4),
          m_memory(memory) {}

    /// One read. A pixel outside the reported spans must be as it was.
    bool read() {
        const auto before = pixels;
        if (!readPixels()) {
            EXPECT_EQ(pixels, before) << "a read without damage wrote to the buffer";
            return false;
        }
        ++reads;
        const auto& dirty = capturer.DirtyRows();
        partialReads += dirty.known ? 1 : 0;
        auto expected = before;
        int row = 0;
        for (const auto& span : dirty.spans) {
            EXPECT_GE(span.first, row) << "spans overlap or descend";
            EXPECT_TRUE(span.left >= 0 && span.left < span.right && span.right <= area.width);
            for (row = span.first; row < span.first + span.count && row < area.height; ++row) {
                const auto at = rowBytes() * static_cast<std::size_t>(row);
                std::copy(pixels.begin() + static_cast<std::ptrdiff_t>(at) + span.left * 4,
                          pixels.begin() + static_cast<std::ptrdiff_t>(at) + span.right * 4,
                          expected.begin() + static_cast<std::ptrdiff_t>(at) + span.left * 4);
            }
            EXPECT_LE(span.first + span.count, area.height);
        }
        EXPECT_TRUE(!dirty.known || pixels == expected) << "a change is not reported";
        return true;
    }

    /// Reads until there is a new frame; false after `attempts` reads, each of which waits for one.
    [[nodiscard]] bool newFrame(int attempts = 100) {
        while (attempts-- > 0) {
            if (read()) {
                return true;
            }
        }
        return false;
    }

    /// Reads until a read waits in vain.
    void settle() {
        while (newFrame(2)) {
        }
    }

    /// Reads until the buffer holds the screen's pixels at `place`; false: not in ten seconds.
    [[nodiscard]] bool shows(Painter& painter, const Area& place) {
        return eventually([&] { return opaque() == painter.screen(place) || (read(), false); },
                          std::chrono::seconds(10));
    }

    /// The buffer, opaque: in the capturer's own memory alpha means nothing.
    [[nodiscard]] std::vector<std::uint8_t> opaque() const {
        auto result = pixels;
        for (std::size_t alpha = 3; alpha < result.size(); alpha += 4) {
            result[alpha] = 255;
        }
        return result;
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
    int framesInPlace = 0;

private:
    bool readPixels() {
        if (m_memory == Memory::Ours) {
            return capturer.ReadScreenData(area.x, area.y, area.width, area.height, pixels.data());
        }
        const auto* frame =
            capturer.ReadFrame(area.x, area.y, area.width, area.height, pixels.data());
        if (frame != nullptr && frame != pixels.data()) {
            ++framesInPlace;
            std::copy_n(frame, pixels.size(), pixels.begin());
        }
        return frame != nullptr;
    }

    const Memory m_memory;
};

}  // namespace tests
