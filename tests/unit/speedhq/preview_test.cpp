// The preview stream and its downscaling.

#include <gtest/gtest.h>

#include <cmath>

#include "speedhq/encoder.h"
#include "unit/speedhq/testframes.h"

namespace {

using namespace speedhq;
using namespace tests;

/// The exact mean of `channel` over the area that output (x, y) covers.
double exactMean(TestFrame& frame, int channel, int x, int y, int width, int height) {
    const double left = static_cast<double>(x) * frame.width / width;
    const double right = static_cast<double>(x + 1) * frame.width / width;
    const double top = static_cast<double>(y) * frame.height / height;
    const double bottom = static_cast<double>(y + 1) * frame.height / height;
    double sum = 0;
    for (int line = static_cast<int>(top); line < bottom && line < frame.height; ++line) {
        for (int column = static_cast<int>(left); column < right && column < frame.width;
             ++column) {
            sum += (std::min(column + 1.0, right) - std::max(1.0 * column, left)) *
                   (std::min(line + 1.0, bottom) - std::max(1.0 * line, top)) *
                   frame.at(column, line)[channel];
        }
    }
    return sum / ((right - left) * (bottom - top));
}

Planes decoded(const speedhq::EncodedFramePtr& packet) {
    return decodeWithLibav(packet->data, packet->size, packet->width, packet->height);
}

TEST(Preview, IsTheAreaAverage) {
    std::mt19937 random(9);
    const std::pair<int, int> sizes[] = {{1920, 1080}, {1366, 768}, {641, 3}, {8192, 9}};
    for (const auto& [width, height] : sizes) {
        SCOPED_TRACE(testing::Message() << width << "x" << height);
        TestFrame frame(speedhq::PixelFormat::Bgra, width, height);
        paint(frame, Content::Mixed, random);
        Encoder encoder(2);
        speedhq::EncodedFramePtr packet = encoder.encode(frame.view(), {}, {false, true}).preview;
        for (int i = 0; i < 4; ++i) {
            packet = encoder.encodeReference({false, true}).preview;
        }
        ASSERT_EQ(packet->quality, 98);
        const int previewHeight = std::max(1, (height * 640 + width / 2) / width);
        ASSERT_EQ(packet->width, 640);
        ASSERT_EQ(packet->height, previewHeight);

        TestFrame expected(speedhq::PixelFormat::Bgra, 640, previewHeight);
        for (int y = 0; y < previewHeight; ++y) {
            for (int x = 0; x < 640; ++x) {
                for (int channel = 0; channel < 3; ++channel) {
                    expected.at(x, y)[channel] = static_cast<std::uint8_t>(
                        std::lround(exactMean(frame, channel, x, y, 640, previewHeight)));
                }
            }
        }
        const Planes planes = decoded(packet);
        EXPECT_GT(psnr(planes.y, expectedPlanes(expected).y), 40);
        // Averages of 4:2:2 samples: with an odd width their pairs are not those of the preview.
        EXPECT_GT(psnr(planes.cb, expectedPlanes(expected).cb), width % 2 == 0 ? 40 : 34);
    }
}

TEST(Preview, SmallFramesKeepTheirSize) {
    std::mt19937 random(10);
    for (const auto format : {speedhq::PixelFormat::Bgra, speedhq::PixelFormat::Uyvy}) {
        for (const auto& [width, height] : {std::pair{1, 1}, {33, 7}, {639, 40}}) {
            TestFrame frame(format, width, height, 4);
            paint(frame, Content::Mixed, random);
            const auto streams = Encoder(1).encode(frame.view(), {}, {true, true});
            EXPECT_EQ(decoded(streams.preview).y, decoded(streams.main).y);
        }
    }
}

int largestDifference(const std::vector<std::uint8_t>& a, const std::vector<std::uint8_t>& b) {
    int largest = a.size() == b.size() && !a.empty() ? 0 : 255;
    for (std::size_t i = 0; largest < 255 && i < a.size(); ++i) {
        largest = std::max(largest, std::abs(a[i] - b[i]));
    }
    return largest;
}

/// Wide stripes of the strongest colours.
void paintStripes(TestFrame& frame) {
    for (int y = 0; y < frame.height; ++y) {
        for (int x = 0; x < frame.width; ++x) {
            const int stripe = x * 8 / frame.width;
            for (int channel = 0; channel < 3; ++channel) {
                frame.at(x, y)[channel] = (stripe >> channel & 1) != 0 ? 255 : 0;
            }
        }
    }
}

void expectPlanes(const Planes& planes, TestFrame& painted) {
    const Planes expected = expectedPlanes(painted);
    EXPECT_LE(largestDifference(planes.y, expected.y), 2);
    EXPECT_LE(largestDifference(planes.cb, expected.cb), 2);
    EXPECT_LE(largestDifference(planes.cr, expected.cr), 2);
}

/// A choice holds for frames of the source's size. The preview of a large frame is a small one, in
/// which receivers expect BT.601.
TEST(Preview, ColoursAreThoseThatReceiversExpectAtItsSize) {
    Encoder encoder(1);
    for (const auto& [width, height] : {std::pair{128, 64}, {1280, 720}}) {
        for (const auto choice : {ColourChoice::Automatic, ColourChoice::Bt601, ColourChoice::Bt709,
                                  ColourChoice::Bt2020}) {
            SCOPED_TRACE(testing::Message() << width << " matrix " << static_cast<int>(choice));
            TestFrame frame(speedhq::PixelFormat::Bgra, width, height);
            frame.colours = choice;
            paintStripes(frame);
            EncodedStreams streams = encoder.encode(frame.view(), {true, {}}, {true, true});
            for (int i = 0; i < 4; ++i) {
                streams = encoder.encodeReference({true, true});
            }
            expectPlanes(decoded(streams.main), frame);
            TestFrame small(speedhq::PixelFormat::Bgra, std::min(width, 640),
                            std::min(height, 360));
            small.colours = width == 1280 ? ColourChoice::Bt601 : choice;
            paintStripes(small);
            expectPlanes(decoded(streams.preview), small);
        }
    }
}

/// After any history the preview shows the newest frame, and an unchanged frame gives the same
/// packet.
TEST(Preview, FollowsTheReferenceFrame) {
    std::mt19937 random(13);
    TestFrame frame(speedhq::PixelFormat::Bgra, 1000, 700);
    paint(frame, Content::Mixed, random);
    Encoder encoder(2);
    support::DirtyRows dirty;
    for (int step = 0; step < 30; ++step) {
        const speedhq::Streams wanted{random() % 2 == 0, random() % 2 == 0};
        speedhq::EncodedFramePtr packet;
        if (random() % 4 == 0) {
            encoder.updateReference(frame.view(), dirty);
        } else {
            packet = encoder.encode(frame.view(), dirty, wanted).preview;
            EXPECT_EQ(packet != nullptr, wanted.preview);
        }
        if (packet) {
            Encoder fresh(1);
            const Planes a = decoded(packet);
            const Planes b = decoded(fresh.encode(frame.view(), {}, {false, true}).preview);
            EXPECT_GT(psnr(a.y, b.y), 30) << step;
            EXPECT_EQ(encoder.encode(frame.view(), {true, {}}, wanted).preview, packet);
        }
        dirty = damage(frame, random);
    }
}

}  // namespace
