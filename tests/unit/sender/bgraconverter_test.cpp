#include "sender/bgraconverter.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

support::FramePtr frameOf(AVPixelFormat format, int width, int height) {
    support::FramePtr frame(av_frame_alloc());
    frame->format = format;
    frame->width = width;
    frame->height = height;
    av_frame_get_buffer(frame.get(), 0);
    return frame;
}

TEST(BgraConverter, EveryFrameIsExactAndOpaqueAlthoughTheFormatChanges) {
    const struct {
        AVPixelFormat format;
        int bytes, blue, green, red;
        bool upwards;
    } kFormats[] = {{AV_PIX_FMT_BGR0, 4, 0, 1, 2, false},
                    {AV_PIX_FMT_BGRA, 4, 0, 1, 2, true},
                    {AV_PIX_FMT_RGBA, 4, 2, 1, 0, false},
                    {AV_PIX_FMT_BGR0, 4, 0, 1, 2, true},
                    {AV_PIX_FMT_BGR24, 3, 0, 1, 2, false}};
    sender::BgraConverter converter;
    for (const auto& f : kFormats) {
        const auto frame = frameOf(f.format, 7, 5);
        if (f.upwards) {
            frame->data[0] += 4 * frame->linesize[0];
            frame->linesize[0] = -frame->linesize[0];
        }
        std::vector<std::uint8_t> expected;
        for (int i = 0; i < 7 * 5; ++i) {
            std::uint8_t* pixel = frame->data[0] + i / 7 * frame->linesize[0] + i % 7 * f.bytes;
            std::fill_n(pixel, f.bytes, std::uint8_t{0});
            for (const int at : {f.blue, f.green, f.red}) {
                pixel[at] = static_cast<std::uint8_t>(i * 7 + at);
                expected.push_back(pixel[at]);
            }
            expected.push_back(255);
        }
        std::vector<std::uint8_t> out(expected.size(), 1);
        ASSERT_TRUE(converter.convert(*frame, 7, 5, out.data()));
        EXPECT_EQ(out, expected) << "pixel format " << f.format;
    }
}

TEST(BgraConverter, AnotherSizeIsScaledAndAnUnreadableFormatRefused) {
    const auto frame = frameOf(AV_PIX_FMT_BGR0, 64, 48);
    std::fill_n(frame->data[0], 48 * frame->linesize[0], std::uint8_t{40});
    std::vector<std::uint8_t> out(32 * 24 * 4);
    sender::BgraConverter converter;
    ASSERT_TRUE(converter.convert(*frame, 32, 24, out.data()));
    for (std::size_t i = 0; i < out.size(); ++i) {
        ASSERT_EQ(out[i], i % 4 == 3 ? 255 : 40) << "byte " << i;
    }
    frame->format = AV_PIX_FMT_VAAPI;
    EXPECT_FALSE(converter.convert(*frame, 32, 24, out.data()));
}

}  // namespace
