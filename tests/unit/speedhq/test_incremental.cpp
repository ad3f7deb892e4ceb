// Whatever was kept from earlier pictures, whichever kernels and however many threads: the packet
// is the one that coding the picture afresh gives.

#include <gtest/gtest.h>

#include <vector>

#include "speedhq/picturecoder.h"
#include "unit/speedhq/pictures.h"

namespace {

using namespace speedhq;
using namespace testing_support;

std::vector<std::uint8_t> bytesOf(const speedhq::EncodedPicturePtr& picture) {
    return {picture->data, picture->data + picture->size};
}

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

/// Sends `steps` pictures with random damage through `coder` and compares each with a fresh one.
void checkSequence(PictureCoder& coder, Picture& picture, std::mt19937& random, int steps) {
    RowPool alone(1);
    const int qualities[] = {38, 60, 80, 90, 98};
    int quality = qualities[random() % 5];
    support::ChangedRows changed;
    speedhq::EncodedPicturePtr before;
    for (int step = 0; step < steps; ++step) {
        if (random() % 6 == 0) {
            quality = qualities[random() % 5];
        }
        speedhq::EncodedPicturePtr packet;
        if (random() % 5 == 0) {
            coder.keep(picture.view(), changed);
            packet = coder.encodeKept(quality);
        } else {
            packet = coder.encode(picture.view(), changed, quality);
        }
        ASSERT_TRUE(packet->quality == quality || packet == before);
        PictureCoder fresh(alone, *kernelsOf(KernelLevel::Reference));
        ASSERT_EQ(bytesOf(packet), bytesOf(fresh.encode(picture.view(), {}, packet->quality)))
            << picture.width << "x" << picture.height << " step " << step;
        const int anyQuality = qualities[random() % 5];
        ASSERT_EQ(coder.encode(picture.view(), {random() % 2 == 0, {}}, anyQuality), packet)
            << "an equal picture must be the same packet";
        before = packet;
        changed = damage(picture, random);
    }
}

TEST(Incremental, AllSizesTo80) {
    std::mt19937 random(3);
    const auto kernels = allKernels();
    RowPool pool(1);
    for (int width = 1; width <= 80; ++width) {
        for (int height = 1; height <= 80; ++height) {
            const unsigned turn = static_cast<unsigned>(width * 7 + height);
            PictureCoder coder(pool, *kernels[turn % kernels.size()]);
            Picture picture(turn % 3 == 0 ? speedhq::PixelFormat::Uyvy : speedhq::PixelFormat::Bgra,
                            width, height, static_cast<int>(turn % 5));
            paint(picture, static_cast<Content>(random() % 3), random);
            checkSequence(coder, picture, random, 3);
            if (testing::Test::HasFailure()) {
                return;
            }
        }
    }
}

TEST(Incremental, LargeSizesKernelsAndThreads) {
    std::mt19937 random(4);
    const std::pair<int, int> sizes[] = {{1920, 1080}, {1366, 768}, {721, 577},
                                         {8192, 33},   {31, 8192},  {2560, 1440}};
    int turn = 0;
    for (const Kernels* const kernels : allKernels()) {
        for (int threads = 1; threads <= 4; ++threads) {
            RowPool pool(threads);
            const auto [width, height] = sizes[turn++ % std::size(sizes)];
            PictureCoder coder(pool, *kernels);
            Picture picture(speedhq::PixelFormat::Bgrx, width, height, 16);
            paint(picture, Content::Mixed, random);
            checkSequence(coder, picture, random, 4);
        }
    }
}

TEST(Incremental, ChangesOfShapeAndFormat) {
    std::mt19937 random(6);
    RowPool pool(2);
    PictureCoder coder(pool, bestKernels());
    for (const auto& [width, height] : {std::pair{640, 480}, {480, 640}, {1, 1}, {641, 480}}) {
        for (const auto format : {speedhq::PixelFormat::Bgra, speedhq::PixelFormat::Uyvy}) {
            Picture picture(format, width, height);
            paint(picture, Content::Mixed, random);
            checkSequence(coder, picture, random, 2);
        }
    }
}

TEST(Incremental, LooksWhereItIsToldAndCodesWhatChanged) {
    RowPool pool(1);
    PictureCoder coder(pool, bestKernels());
    Picture picture(speedhq::PixelFormat::Bgra, 320, 320);
    const auto before = coder.encode(picture.view(), {}, 80);
    EXPECT_EQ(coder.codedShare(), 1);
    *picture.at(100, 40) ^= 255;
    EXPECT_EQ(coder.encode(picture.view(), {true, {{0, 40}}}, 80), before);
    // Spans beyond the picture are cut, not believed.
    EXPECT_NE(coder.encode(picture.view(), {true, {{-5, 7}, {40, 4000}, {5000, 3}}}, 80), before);
    EXPECT_EQ(coder.codedShare(), 1 / 400.0);
}

}  // namespace
