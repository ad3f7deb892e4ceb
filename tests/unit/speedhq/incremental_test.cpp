// With any history, kernels and number of threads, the packet is identical to that of a new encoder
// with the reference kernels.

#include <gtest/gtest.h>

#include <vector>

#include "speedhq/incrementalencoder.h"
#include "unit/speedhq/testframes.h"

namespace {

using namespace speedhq;
using namespace tests;

std::vector<const Kernels*> allKernels() {
    std::vector<const Kernels*> all;
    for (const KernelLevel level :
         {KernelLevel::Reference, KernelLevel::Sse41, KernelLevel::Avx2, KernelLevel::Avx512}) {
        if (const Kernels* const kernels = kernelsOf(level)) {
            all.push_back(kernels);
        }
    }
    return all;
}

/// Encodes `steps` frames with random damage and compares each with the packet of a new encoder.
void checkSequence(IncrementalEncoder& encoder, TestFrame& frame, std::mt19937& random, int steps) {
    WorkerPool alone(1);
    const int qualities[] = {38, 60, 80, 90, 98};
    int quality = qualities[random() % 5];
    support::DirtyRows dirty;
    speedhq::EncodedFramePtr before;
    for (int step = 0; step < steps; ++step) {
        if (random() % 6 == 0) {
            quality = qualities[random() % 5];
        }
        speedhq::EncodedFramePtr packet;
        if (random() % 5 == 0) {
            encoder.updateReference(frame.view(), dirty);
            packet = encoder.encodeReference(quality);
        } else {
            packet = encoder.encode(frame.view(), dirty, quality);
        }
        ASSERT_TRUE(packet->quality == quality || packet == before);
        IncrementalEncoder fresh(alone, *kernelsOf(KernelLevel::Reference));
        ASSERT_EQ(bytesOf(packet), bytesOf(fresh.encode(frame.view(), {}, packet->quality)))
            << frame.width << "x" << frame.height << " step " << step;
        const int anyQuality = qualities[random() % 5];
        ASSERT_EQ(encoder.encode(frame.view(), {random() % 2 == 0, {}}, anyQuality), packet)
            << "an equal frame must be the same packet";
        before = packet;
        dirty = damage(frame, random);
    }
}

TEST(Incremental, AllSizesTo80) {
    std::mt19937 random(3);
    const auto kernels = allKernels();
    WorkerPool pool(1);
    for (int width = 1; width <= 80; ++width) {
        for (int height = 1; height <= 80; ++height) {
            const unsigned turn = static_cast<unsigned>(width * 7 + height);
            IncrementalEncoder encoder(pool, *kernels[turn % kernels.size()]);
            TestFrame frame(turn % 3 == 0 ? speedhq::PixelFormat::Uyvy : speedhq::PixelFormat::Bgra,
                            width, height, static_cast<int>(turn % 5));
            frame.colours = static_cast<ColourChoice>(turn % 4);
            paint(frame, static_cast<Content>(random() % 3), random);
            checkSequence(encoder, frame, random, 3);
            if (testing::Test::HasFailure()) {
                return;
            }
        }
    }
}

/// Each encoder changes its frame size and format several times.
TEST(Incremental, SizesFormatsKernelsAndThreads) {
    std::mt19937 random(4);
    const std::pair<int, int> sizes[] = {{1920, 1080}, {480, 640}, {1366, 768}, {1, 1},
                                         {721, 577},   {8192, 33}, {31, 8192},  {641, 480}};
    unsigned turn = 0;
    for (const Kernels* const kernels : allKernels()) {
        for (int threads = 1; threads <= 4; ++threads) {
            WorkerPool pool(threads);
            IncrementalEncoder encoder(pool, *kernels);
            for (int shape = 0; shape < 3; ++shape, ++turn) {
                const auto [width, height] = sizes[turn % std::size(sizes)];
                TestFrame frame(
                    turn % 2 == 0 ? speedhq::PixelFormat::Bgrx : speedhq::PixelFormat::Uyvy, width,
                    height, 16);
                frame.colours = static_cast<ColourChoice>(turn / 2 % 4);
                paint(frame, Content::Mixed, random);
                checkSequence(encoder, frame, random, 3);
            }
        }
    }
}

TEST(Incremental, ReadsDirtyRowsOnlyAndEncodesWhatChanged) {
    WorkerPool pool(1);
    IncrementalEncoder encoder(pool, bestKernels());
    TestFrame frame(speedhq::PixelFormat::Bgra, 320, 320);
    const auto before = encoder.encode(frame.view(), {}, 80);
    EXPECT_EQ(encoder.encodedShare(), 1);
    frame.at(100, 40)[1] = 0;
    EXPECT_EQ(encoder.encode(frame.view(), {true, {{0, 40}}}, 80), before);
    // Spans outside the frame are clipped.
    EXPECT_NE(encoder.encode(frame.view(), {true, {{-5, 7}, {40, 4000}, {5000, 3}}}, 80), before);
    EXPECT_EQ(encoder.encodedShare(), 1 / 400.0);
    // So are columns; macroblocks that they do not touch are not read.
    const auto outside = encoder.encodeReference(80);
    frame.at(100, 200)[1] = 0;
    frame.at(159, 40)[1] = 0;
    EXPECT_EQ(encoder.encode(frame.view(), {true, {{0, 50, -9, 144}, {200, 1, 112, 9000}}}, 80),
              outside);
    EXPECT_NE(encoder.encode(frame.view(), {true, {{0, 50, 144, 145}}}, 80), outside);
    EXPECT_EQ(encoder.encodedShare(), 1 / 400.0);
}

}  // namespace
