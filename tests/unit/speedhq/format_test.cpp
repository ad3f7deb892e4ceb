// The packet format: a worked example byte for byte, and all sizes and formats against libavcodec.

#include <gtest/gtest.h>

#include "speedhq/incrementalencoder.h"
#include "support/libavspeedhq.h"
#include "unit/speedhq/testframes.h"

namespace {

using namespace speedhq;
using namespace tests;

std::vector<std::uint8_t> encodeOnce(const TestFrame& frame, int quality,
                                     double rounding = kRounding) {
    WorkerPool pool(1);
    IncrementalEncoder encoder(pool, bestKernels(), kMaxSliceBytes, rounding);
    const auto packet = encoder.encode(frame.view(), {}, quality);
    EXPECT_TRUE(packet);
    EXPECT_EQ(packet->width, (frame.width + 15) / 16 * 16);
    EXPECT_EQ(packet->height, frame.height);
    EXPECT_EQ(packet->quality, quality);
    EXPECT_EQ(packet->fourCC, 0x32514853U);
    return bytesOf(packet);
}

/// One macroblock with flat blocks, edges, stripes and ramps.
TEST(Format, WorkedExample) {
    const auto luma = [](int x, int y) {
        if (y < 8) {
            return x < 8 ? (x < 4 ? 64 : 192) : (y < 4 ? 200 : 56);
        }
        return x < 8 ? ((x + y) % 2 == 0 ? 16 : 235) : 100;
    };
    TestFrame frame(speedhq::PixelFormat::Uyvy, 16, 16);
    for (int y = 0; y < 16; ++y) {
        for (int x = 0; x < 16; x += 2) {
            std::uint8_t* const group = frame.at(x, y);
            group[0] = static_cast<std::uint8_t>(y < 8 ? 100 : 90 + x / 2);
            group[1] = static_cast<std::uint8_t>(luma(x, y));
            group[2] = y < 8 ? 160 : y < 12 ? 150 : 170;
            group[3] = static_cast<std::uint8_t>(luma(x + 1, y));
        }
    }
    EXPECT_EQ(encodeOnce(frame, 80, 0.5),
              (std::vector<std::uint8_t>{
                  0x50, 0x04, 0x00, 0x00, 0x3D, 0x00, 0x00, 0x01, 0x30, 0x82, 0x84, 0x01, 0x82,
                  0x48, 0xFF, 0x01, 0x60, 0xB2, 0x80, 0x81, 0x06, 0x82, 0x46, 0xFE, 0x81, 0x0A,
                  0x01, 0x82, 0x4E, 0xFF, 0xD9, 0x51, 0x1E, 0x56, 0xA1, 0x55, 0xC1, 0x84, 0xFF,
                  0x54, 0x9F, 0x41, 0x83, 0xFF, 0xD8, 0x67, 0xC0, 0xFD, 0x0C, 0x28, 0xED, 0xC7,
                  0x6C, 0x7F, 0xE0, 0xF6, 0xEF, 0x9F, 0x7D, 0x74, 0x0D, 0xF2, 0x30, 0xAF, 0x06,
                  0x03, 0x00, 0x00, 0x03, 0x00, 0x00, 0x03, 0x00, 0x00}));
}

TEST(Format, EverySizeDecodes) {
    std::mt19937 random(5);
    // Above 720 by 576 the colour matrix is a different one.
    const std::pair<int, int> sizes[] = {{1, 1},     {3, 5},    {8, 40},   {15, 16},
                                         {17, 15},   {79, 80},  {136, 72}, {720, 576},
                                         {640, 577}, {721, 20}, {4096, 3}};
    for (const auto& [width, height] : sizes) {
        for (const auto format : {speedhq::PixelFormat::Bgra, speedhq::PixelFormat::Uyvy}) {
            for (const int quality : {38, 80, 98}) {
                SCOPED_TRACE(testing::Message() << width << "x" << height << " format "
                                                << static_cast<int>(format) << " at " << quality);
                TestFrame frame(format, width, height, 12);
                paint(frame, quality == 98 ? Content::BlackWhite : Content::Mixed, random);
                const auto packet = encodeOnce(frame, quality);
                const Planes expected = expectedPlanes(frame);
                const Planes decoded =
                    decodeWithLibav(packet.data(), packet.size(), expected.width, height);
                const double least = quality == 98 ? 38 : quality == 80 ? 24 : 16;
                EXPECT_GT(psnr(decoded.y, expected.y), least);
                EXPECT_GT(psnr(decoded.cb, expected.cb), least);
                EXPECT_GT(psnr(decoded.cr, expected.cr), least);
            }
        }
    }
}

}  // namespace
