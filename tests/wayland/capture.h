#pragma once
// A capturer with the buffer that it reads into.

#include <gtest/gtest.h>

#include <QImage>
#include <cstring>
#include <memory>
#include <string>

#include "capture/screencapturer.h"
#include "support/eventually.h"
#include "support/utf8.h"

namespace tests {

class Capture {
public:
    explicit Capture(const std::string& output, QRect area = {0, 0, 1280, 720},
                     bool withPointer = false,
                     std::unique_ptr<ScreenCapturer> capturer = createScreenCapturer())
        : m_area(area),
          m_image(area.size(), QImage::Format_RGB32),
          m_capturer(std::move(capturer)) {
        m_image.fill(Qt::black);
        m_capturer->DrawPointer(withPointer);
        EXPECT_TRUE(m_capturer->InitCapture(support::wideFromUtf8(output).c_str()));
    }

    /// Rows outside those that are told to be dirty stay as they are.
    bool read() {
        const QImage before = m_image.copy();
        if (!m_capturer->ReadScreenData(m_area.x(), m_area.y(), m_area.width(), m_area.height(),
                                        m_image.bits())) {
            return false;
        }
        const auto& dirty = m_capturer->DirtyRows();
        m_partialReads += dirty.known ? 1 : 0;
        int row = dirty.known ? 0 : m_image.height();
        for (const auto& span : dirty.spans) {
            expectSame(before, row, span.first);
            row = span.first + span.count;
        }
        expectSame(before, row, m_image.height());
        return true;
    }

    /// Reads until `done` holds for the image.
    template <typename Done>
    [[nodiscard]] bool readUntil(const Done& done) {
        return eventually([&] { return read() && done(m_image); });
    }
    [[nodiscard]] bool readsAtAll() {
        return readUntil([](const QImage&) { return true; });
    }

    /// Waits for a status with that reason.
    [[nodiscard]] bool says(const std::string& text) const {
        return eventually([&] { return status().reason.find(text) != std::string::npos; });
    }

    [[nodiscard]] CaptureStatus status() const { return m_capturer->Status(); }
    [[nodiscard]] ScreenCapturer& capturer() { return *m_capturer; }
    [[nodiscard]] int partialReads() const { return m_partialReads; }
    [[nodiscard]] const QImage& image() const { return m_image; }
    [[nodiscard]] const QRect& area() const { return m_area; }

private:
    void expectSame(const QImage& before, int from, int to) const {
        for (int y = from; y < to; ++y) {
            EXPECT_EQ(std::memcmp(m_image.constScanLine(y), before.constScanLine(y),
                                  std::size_t(m_image.bytesPerLine())),
                      0)
                << "row " << y << " changed untold";
        }
    }

    const QRect m_area;
    QImage m_image;
    const std::unique_ptr<ScreenCapturer> m_capturer;
    int m_partialReads = 0;
};

}  // namespace tests
