#pragma once
// A source on loopback, announced nowhere, and pictures to send through it.

#include <cmath>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "ndi/ndilib.h"
#include "ndi/output/source.h"
#include "support/testreceiver.h"

namespace ndi {

using testsupport::Milliseconds;
using testsupport::TestReceiver;

struct NoAnnouncement : Announcement {};

inline AnnounceOutcome announceNowhere(const std::string& /*instance*/, std::uint16_t /*port*/) {
    return {AnnounceResult::Established, std::make_unique<NoAnnouncement>(), ""};
}

inline SourceParts testParts() {
    SourceParts parts;
    parts.announce = announceNowhere;
    parts.encoder = createPictureEncoder();
    parts.limits.firstPort = 25961;
    parts.limits.lastPort = 29961;
    return parts;
}

inline std::unique_ptr<Source> openSource(SourceParts parts = testParts(), bool clocked = false) {
    return Source::open({"Test", clocked}, std::move(parts));
}

/// A grey picture with a gradient and a box at `step`; grey, so that its luma is the same whatever
/// the matrix.
class Picture {
public:
    Picture(int width, int height, int step = 0, int bytesBehindRow = 0)
        : m_width(width), m_height(height), m_stride(width * 4 + bytesBehindRow) {
        m_pixels.resize(static_cast<std::size_t>(m_stride) * static_cast<std::size_t>(height));
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                std::uint8_t* const pixel =
                    &m_pixels[static_cast<std::size_t>(y * m_stride + x * 4)];
                pixel[0] = pixel[1] = pixel[2] = static_cast<std::uint8_t>(grey(x, y, step));
                pixel[3] = static_cast<std::uint8_t>(x);  // without meaning
            }
        }
    }

    [[nodiscard]] NDIlib_video_frame_v2_t frame() {
        NDIlib_video_frame_v2_t frame{};
        frame.xres = m_width;
        frame.yres = m_height;
        frame.FourCC = NDIlib_FourCC_type_BGRA;
        frame.frame_rate_N = 30000;
        frame.frame_rate_D = 1001;
        frame.frame_format_type = NDIlib_frame_format_type_progressive;
        frame.timecode = NDIlib_send_timecode_synthesize;
        frame.p_data = m_pixels.data();
        frame.line_stride_in_bytes = m_stride;
        return frame;
    }

    void sendTo(Source& source) {
        const auto given = frame();
        source.send(&given);
    }

    /// What a decoder of the picture should see, edges repeated to the coded size.
    [[nodiscard]] std::vector<std::uint8_t> luma(int codedWidth, int codedHeight) const {
        std::vector<std::uint8_t> plane;
        for (int y = 0; y < codedHeight; ++y) {
            for (int x = 0; x < codedWidth; ++x) {
                const auto at = static_cast<std::size_t>(std::min(y, m_height - 1) * m_stride +
                                                         std::min(x, m_width - 1) * 4);
                plane.push_back(
                    static_cast<std::uint8_t>(std::lround(16 + m_pixels[at] * 219 / 255.0)));
            }
        }
        return plane;
    }

private:
    [[nodiscard]] int grey(int x, int y, int step) const {
        const bool box = x >= step * 8 && x < step * 8 + 24 && y >= 8 && y < 32;
        return box ? 250 : 40 + (x * 120 / m_width) + (y * 60 / m_height);
    }

    int m_width;
    int m_height;
    int m_stride;
    std::vector<std::uint8_t> m_pixels;
};

/// Luma PSNR of a received picture against what was sent; 0 when it can't be decoded.
inline double lumaPsnr(const testsupport::ReceivedPicture& received, const Picture& sent) {
    const auto decoded = testsupport::decode(received);
    return decoded ? testsupport::psnr(decoded->luma, sent.luma(decoded->width, decoded->height))
                   : 0;
}

}  // namespace ndi
