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

/// Colours that every format below holds exactly, even the one of 16 bits.
std::vector<std::uint8_t> picture() {
    std::vector<std::uint8_t> bgra;
    for (int i = 0; i < kWidth * kHeight; ++i) {
        for (const int bit : {0, 1, 2}) {
            bgra.push_back((i >> bit & 1) != 0 ? 255 : 0);
        }
        bgra.push_back(255);
    }
    return bgra;
}

/// The bytes of a pixel in `format`, alpha 0 where there is one.
void put(std::uint8_t* at, AVPixelFormat format, const std::uint8_t* bgra) {
    const std::uint8_t b = bgra[0];
    const std::uint8_t g = bgra[1];
    const std::uint8_t r = bgra[2];
    if (format == AV_PIX_FMT_BGR0 || format == AV_PIX_FMT_BGRA) {
        std::copy_n(std::begin({b, g, r, std::uint8_t{0}}), 4, at);
    } else if (format == AV_PIX_FMT_RGBA) {
        std::copy_n(std::begin({r, g, b, std::uint8_t{0}}), 4, at);
    } else if (format == AV_PIX_FMT_BGR24) {
        std::copy_n(bgra, 3, at);
    } else {
        const int rgb565 = (r >> 3) << 11 | (g >> 2) << 5 | b >> 3;
        at[0] = static_cast<std::uint8_t>(rgb565 & 255);
        at[1] = static_cast<std::uint8_t>(rgb565 >> 8);
    }
}

TEST(BgraConverter, EveryPictureIsExactAndOpaqueAlthoughTheFormatChanges) {
    const struct {
        AVPixelFormat format;
        int bytes;
    } kFormats[] = {{AV_PIX_FMT_BGR0, 4}, {AV_PIX_FMT_BGRA, 4}, {AV_PIX_FMT_RGB565LE, 2},
                    {AV_PIX_FMT_BGR0, 4}, {AV_PIX_FMT_RGBA, 4}, {AV_PIX_FMT_BGR24, 3}};
    sender::BgraConverter converter;
    const auto expected = picture();
    for (const auto& [format, bytes] : kFormats) {
        const auto frame = frameOf(format);
        for (int i = 0; i < kWidth * kHeight; ++i) {
            put(frame->data[0] + i / kWidth * frame->linesize[0] + i % kWidth * bytes, format,
                &expected[static_cast<std::size_t>(i) * 4]);
        }
        std::vector<std::uint8_t> out(expected.size(), 1);
        ASSERT_TRUE(converter.convert(*frame, kWidth, kHeight, out.data()));
        EXPECT_EQ(out, expected) << "pixel format " << format;
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
