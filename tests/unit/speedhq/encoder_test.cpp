// The encoder behind the interface that the output uses.

#include <gtest/gtest.h>

#include <cmath>
#include <future>

#include "speedhq/encoder.h"
#include "support/allocations.h"
#include "unit/speedhq/testframes.h"

namespace {

using namespace speedhq;
using namespace tests;

TEST(Encoder, RefinesAStillFrameThenRepeatsIt) {
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
    // A caret does not lower the quality.
    frame.at(600, 300)[1] ^= 255;
    const auto caret = encoder->encode(frame.view(), {true, {{300, 1}}}, {true, false}).main;
    EXPECT_NE(caret, packet);
    EXPECT_EQ(caret->quality, kBestQuality);
}

/// A noisy 1080p60 video has about the rate that streams of this format usually have.
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
                frame.at(x, y)[1] ^= 4;
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
    speedhq::EncodedStreams inUse[2];
    int before = 0;
    for (unsigned i = 0; i < 200; ++i) {
        // By then the quality and the sizes of the packets have settled.
        before = i == 150 ? tests::allocations() : before;
        inUse[i % 2] = encoder.encode(frames[i % 2].view(), unknown, {true, true});
    }
    EXPECT_EQ(tests::allocations(), before);
}

/// Receivers send packets from their own threads and release them there.
TEST(Encoder, PacketsStayIntactUntilReleased) {
    std::mt19937 random(7);
    TestFrame frame(speedhq::PixelFormat::Bgra, 64, 64);
    WorkerPool pool(1);
    IncrementalEncoder encoder(pool, bestKernels());
    std::vector<std::future<bool>> receivers;
    for (int i = 0; i < 60; ++i) {
        paint(frame, Content::Mixed, random);
        speedhq::EncodedFramePtr packet = encoder.encode(frame.view(), {}, 80);
        std::vector<std::uint8_t> expected = bytesOf(packet);
        const auto launch = i % 30 < 20 ? std::launch::deferred : std::launch::async;
        receivers.push_back(std::async(
            launch, [packet = std::move(packet), expected = std::move(expected)]() mutable {
                const bool intact = bytesOf(packet) == expected;
                packet = nullptr;
                return intact;
            }));
        if (i % 30 == 29) {
            for (auto& receiver : receivers) {
                EXPECT_TRUE(receiver.get());
            }
            receivers.clear();
        }
    }
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
    Stream impossible(pool, bestKernels(), mainStreamBudget, 100);
    EXPECT_FALSE(impossible.encode(frame.view(), {}));
}

}  // namespace
