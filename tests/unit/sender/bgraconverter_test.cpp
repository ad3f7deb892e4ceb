#include "sender/bgraconverter.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

constexpr int kWidth = 7;
constexpr int kHeight = 5;

sender::FramePtr frameOf(AVPixelFormat format, int width = kWidth, int height = kHeight) {
    sender::FramePtr frame(av_frame_alloc());
    frame->format = format;
    frame->width = width;
    frame->height = height;
    av_frame_get_buffer(frame.get(), 0);
    return frame;
}

TEST(BgraConverter, EveryPictureIsExactAndOpaqueAlthoughTheFormatChanges) {
    const struct {
        AVPixelFormat format;
        int bytes, blue, green, red;
    } kFormats[] = {{AV_PIX_FMT_BGR0, 4, 0, 1, 2},
                    {AV_PIX_FMT_BGRA, 4, 0, 1, 2},
                    {AV_PIX_FMT_RGBA, 4, 2, 1, 0},
                    {AV_PIX_FMT_BGR0, 4, 0, 1, 2},
                    {AV_PIX_FMT_BGR24, 3, 0, 1, 2}};
    sender::BgraConverter converter;
    for (const auto& f : kFormats) {
        const auto frame = frameOf(f.format);
        std::vector<std::uint8_t> expected;
        for (int i = 0; i < kWidth * kHeight; ++i) {
            std::uint8_t* pixel =
                frame->data[0] + i / kWidth * frame->linesize[0] + i % kWidth * f.bytes;
            std::fill_n(pixel, f.bytes, std::uint8_t{0});
            for (const int at : {f.blue, f.green, f.red}) {
                pixel[at] = static_cast<std::uint8_t>(i * 7 + at);
                expected.push_back(pixel[at]);
            }
            expected.push_back(255);
        }
        std::vector<std::uint8_t> out(expected.size(), 1);
        ASSERT_TRUE(converter.convert(*frame, kWidth, kHeight, out.data()));
        EXPECT_EQ(out, expected) << "pixel format " << f.format;
    }
}

TEST(BgraConverter, RowsMayRunUpwards) {
    const auto frame = frameOf(AV_PIX_FMT_BGR0, 1, 2);
    std::fill_n(frame->data[0], 4, std::uint8_t{10});
    std::fill_n(frame->data[0] + frame->linesize[0], 4, std::uint8_t{20});
    frame->data[0] += frame->linesize[0];
    frame->linesize[0] = -frame->linesize[0];
    std::vector<std::uint8_t> out(8);
    ASSERT_TRUE(sender::BgraConverter().convert(*frame, 1, 2, out.data()));
    EXPECT_EQ(out, (std::vector<std::uint8_t>{20, 20, 20, 255, 10, 10, 10, 255}));
}

TEST(BgraConverter, AnotherSizeIsScaledAndAnUnreadableFormatRefused) {
    const auto frame = frameOf(AV_PIX_FMT_BGR0, 64, 48);
    for (int row = 0; row < 48; ++row) {
        std::fill_n(frame->data[0] + row * frame->linesize[0], 64 * 4, std::uint8_t{40});
    }
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
