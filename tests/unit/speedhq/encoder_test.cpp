// The encoder as the output sees it.

#include <gtest/gtest.h>

#include <cmath>

#include "speedhq/encoder.h"
#include "support/allocations.h"
#include "unit/speedhq/testframes.h"

namespace {

using namespace speedhq;
using namespace tests;

TEST(Encoder, RestingFrameRefinesAndStandsStill) {
    std::mt19937 random(1);
    TestFrame frame(speedhq::PixelFormat::Bgra, 1280, 720);
    paint(frame, Content::Mixed, random);
    const auto encoder = speedhq::createFrameEncoder();
    speedhq::EncodedFramePtr packet = encoder->encode(frame.view(), {}, {true, false}).main;
    EXPECT_EQ(encoder->encode(frame.view(), {}, {true, false}).main, packet);
    for (int calls = 0; packet->quality < kBestQuality && calls < 4; ++calls) {
        const auto better = encoder->encodeReference({true, false}).main;
        EXPECT_GT(better->quality, packet->quality);
        packet = better;
    }
    EXPECT_EQ(packet->quality, kBestQuality);
    EXPECT_EQ(encoder->encodeReference({true, false}).main, packet);
    EXPECT_EQ(encoder->encode(frame.view(), {true, {}}, {true, false}).main, packet);
    // A caret leaves the quality alone.
    *frame.at(600, 300) ^= 255;
    const auto caret = encoder->encode(frame.view(), {true, {{300, 1}}}, {true, false}).main;
    EXPECT_NE(caret, packet);
    EXPECT_EQ(caret->quality, kBestQuality);
}

/// Holds a camera's 1080p60 near the rate that the format's streams are known for.
TEST(Encoder, HoldsTheRate) {
    std::mt19937 random(3);
    TestFrame frame(speedhq::PixelFormat::Bgra, 1920, 1080);
    for (int y = 0; y < 1080; ++y) {
        for (int x = 0; x < 1920; ++x) {
            for (int channel = 0; channel < 3; ++channel) {
                frame.at(x, y)[channel] = static_cast<std::uint8_t>(
                    120 + 60 * std::sin(x * 0.02 + channel) + 30 * std::sin(y * 0.05) +
                    static_cast<int>(random() % 41));
            }
        }
    }
    Encoder encoder(2);
    std::size_t size = 0;
    for (int i = 0; i < 150; ++i) {
        // Every macroblock differs from the frame before.
        for (int y = 0; y < 1080; y += 16) {
            for (int x = 0; x < 1920; x += 16) {
                *frame.at(x, y) ^= 1;
            }
        }
        size = encoder.encode(frame.view(), {}, {true, false}).main->size;
    }
    EXPECT_NEAR(static_cast<double>(size) * 8 * 60 / 1e6, 147, 17);
}

TEST(Encoder, AllocatesNothingOnceItRuns) {
    std::mt19937 random(4);
    std::vector<TestFrame> frames(2, TestFrame(speedhq::PixelFormat::Bgra, 640, 360));
    paint(frames[0], Content::Mixed, random);
    paint(frames[1], Content::Mixed, random);
    Encoder encoder(2);
    const support::DirtyRows unknown;
    speedhq::EncodedStreams onTheirWay[2];
    int before = 0;
    for (unsigned i = 0; i < 200; ++i) {
        // By then the quality has found its place, and the packets their size.
        before = i == 150 ? tests::allocations() : before;
        onTheirWay[i % 2] = encoder.encode(frames[i % 2].view(), unknown, {true, true});
    }
    EXPECT_EQ(tests::allocations(), before);
}

TEST(Encoder, LowersTheQualityUntilTheFrameFits) {
    std::mt19937 random(6);
    TestFrame frame(speedhq::PixelFormat::Bgra, 256, 256);
    paint(frame, Content::Noise, random);
    WorkerPool pool(1);
    for (const std::size_t limit : {30000U, 3000U}) {
        Stream stream(pool, bestKernels(), mainStreamBudget, limit);
        const auto packet = stream.encode(frame.view(), {});
        ASSERT_TRUE(packet) << limit;
        EXPECT_LE(packet->size, 4 + 4 * limit);
        for (int i = 0; i < 5; ++i) {
            EXPECT_TRUE(stream.encodeReference())
                << "a refinement that does not fit changes nothing";
        }
    }
    Stream hopeless(pool, bestKernels(), mainStreamBudget, 100);
    EXPECT_FALSE(hopeless.encode(frame.view(), {}));
}

}  // namespace
