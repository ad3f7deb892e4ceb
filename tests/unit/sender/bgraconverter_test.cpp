#include "sender/bgraconverter.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

TEST(BgraConverter, EveryPictureIsExactAndOpaqueAlthoughTheFormatChanges) {
    const struct {
        AVPixelFormat format;
        int bytes, blue, green, red;
        bool upwards;
    } kFormats[] = {{AV_PIX_FMT_BGR0, 4, 0, 1, 2, false},
                    {AV_PIX_FMT_RGBA, 4, 2, 1, 0, false},
                    {AV_PIX_FMT_BGRA, 4, 0, 1, 2, true},
                    {AV_PIX_FMT_BGR24, 3, 0, 1, 2, false}};
    sender::BgraConverter converter;
    for (const auto& f : kFormats) {
        const sender::FramePtr frame(av_frame_alloc());
        frame->format = f.format;
        frame->width = 7;
        frame->height = 5;
        av_frame_get_buffer(frame.get(), 0);
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

}  // namespace
