#pragma once
// A source on loopback, announced nowhere, and frames to send through it.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ndi/ndilib.h"
#include "ndi/output/source.h"
#include "support/logcapture.h"
#include "support/testreceiver.h"
#include "support/videoframe.h"

namespace ndi {

using tests::LogCapture;
using tests::TestReceiver;

/// Announces nothing.
class NoAnnouncement : public mdns::Announcement {
public:
    [[nodiscard]] mdns::AnnouncementStatus status() const override { return {}; }
};

inline SourceParts testParts() {
    SourceParts parts;
    parts.announce = [](const std::string& /*instance*/, std::uint16_t /*port*/,
                        const mdns::AnnounceOptions& /*options*/) {
        return mdns::AnnounceOutcome{mdns::AnnounceResult::Established,
                                     std::make_unique<NoAnnouncement>(), ""};
    };
    parts.limits.firstPort = 25961;
    parts.limits.lastPort = 29961;
    return parts;
}

/// Calls a function first, which may count, wait or throw, then returns the same packet each time.
/// Allocates nothing.
class HookedEncoder : public speedhq::FrameEncoder {
public:
    enum class Call { Update, Encode, Repeat };
    using Hook = std::function<void(Call call, const support::DirtyRows& dirty)>;

    explicit HookedEncoder(Hook hook) : m_hook(std::move(hook)) {
        m_packet->width = m_packet->height = 64;
        m_packet->data = m_bytes.data();
        m_packet->size = m_bytes.size();
    }
    void updateReference(const speedhq::FrameView& /*image*/,
                         const support::DirtyRows& dirty) override {
        m_hook(Call::Update, dirty);
    }
    speedhq::EncodedStreams encode(const speedhq::FrameView& /*image*/,
                                   const support::DirtyRows& dirty,
                                   speedhq::Streams wanted) override {
        m_hook(Call::Encode, dirty);
        return {wanted.main ? m_packet : nullptr, wanted.preview ? m_packet : nullptr};
    }
    speedhq::EncodedStreams encodeReference(speedhq::Streams wanted) override {
        m_hook(Call::Repeat, {});
        return {wanted.main ? m_packet : nullptr, wanted.preview ? m_packet : nullptr};
    }

private:
    const Hook m_hook;
    const std::vector<std::uint8_t> m_bytes = std::vector<std::uint8_t>(50'000, 7);
    const std::shared_ptr<speedhq::EncodedFrame> m_packet =
        std::make_shared<speedhq::EncodedFrame>();
};

inline SourceParts testParts(HookedEncoder::Hook hook) {
    SourceParts parts = testParts();
    parts.encoder = std::make_unique<HookedEncoder>(std::move(hook));
    return parts;
}

inline std::unique_ptr<Source> openSource(SourceParts parts = testParts()) {
    return Source::open({{"Test", 0}, false, {}}, std::move(parts));
}

/// A grey frame with a gradient; grey, so that its luma is the same whatever the matrix. It
/// becomes another frame, with a timecode of its own, each time it is sent.
class TestImage {
public:
    TestImage(int width, int height, int bytesBehindRow = 0)
        : m_width(width),
          m_height(height),
          m_stride(width * 4 + bytesBehindRow),
          m_pixels(static_cast<std::size_t>(m_stride * height)) {}

    /// The next one. Valid until the one after it.
    [[nodiscard]] NDIlib_video_frame_v2_t frame() {
        static std::atomic<std::int64_t> number{0};
        m_timecode = ++number;
        for (int y = 0; y < m_height; ++y) {
            for (int x = 0; x < m_width; ++x) {
                std::uint8_t* const pixel = &m_pixels[at(x, y)];
                pixel[0] = pixel[1] = pixel[2] = static_cast<std::uint8_t>(
                    30 + x * 120 / m_width + y * 60 / m_height + m_timecode % 4 * 10);
                pixel[3] = static_cast<std::uint8_t>(x);  // without meaning
            }
        }
        auto frame = tests::bgraFrame(m_width, m_height, m_pixels.data(), 30000);
        frame.frame_rate_D = 1001;
        frame.timecode = m_timecode;
        frame.line_stride_in_bytes = m_stride;
        return frame;
    }

    void sendTo(Source& source) {
        const auto next = frame();
        source.send(&next);
    }

    static constexpr std::int64_t kMost = 1'000'000;  ///< Of our own timecodes.
    [[nodiscard]] std::int64_t timecode() const { return m_timecode; }

    /// Luma PSNR of what was received against it; 0 when it can't be decoded.
    [[nodiscard]] double psnrOf(const tests::ReceivedFrame& received) const {
        const auto decoded = tests::decode(received);
        if (!decoded) {
            return 0;
        }
        std::vector<std::uint8_t> plane;  // edges repeated to the coded size
        for (int y = 0; y < decoded->height; ++y) {
            for (int x = 0; x < decoded->width; ++x) {
                const auto grey = m_pixels[at(std::min(x, m_width - 1), std::min(y, m_height - 1))];
                plane.push_back(static_cast<std::uint8_t>(std::lround(16 + grey * 219 / 255.0)));
            }
        }
        return tests::psnr(decoded->y, plane);
    }

private:
    [[nodiscard]] std::size_t at(int x, int y) const {
        return static_cast<std::size_t>(y * m_stride + x * 4);
    }

    int m_width;
    int m_height;
    int m_stride;
    std::int64_t m_timecode = 0;
    std::vector<std::uint8_t> m_pixels;
};

/// A receiver that has asked for frames. Where one was sent before, it has got it.
struct Viewer : TestReceiver {
    explicit Viewer(const Source& source, const std::string& name = "TESTER (viewer)",
                    bool low = false, int receiveBuffer = 0)
        : TestReceiver(source.port(), receiveBuffer) {
        sayHello(low, name);
        EXPECT_TRUE(nextFrame());
    }

    /// Waits for the frame of that timecode, behind others and repetitions of them. One that was
    /// synthesized is any that is not our own.
    tests::ReceivedFrame frameOf(std::int64_t timecode) {
        while (auto received = nextFrame()) {
            const bool synthesized = received->info.timecode > TestImage::kMost;
            if (synthesized ? timecode == NDIlib_send_timecode_synthesize
                            : timecode == received->info.timecode) {
                return std::move(*received);
            }
        }
        ADD_FAILURE() << "no image " << timecode;
        return {};
    }

    [[nodiscard]] bool sees(const TestImage& image) {
        return frameOf(image.timecode()).info.timecode == image.timecode();
    }
};

}  // namespace ndi
