#include "ndi/output/videoframe.h"

#include <fmt/format.h>

#include <cstdint>

namespace ndi {
namespace {

bool readFormat(std::int32_t fourCC, speedhq::PixelFormat& format) {
    switch (fourCC) {
        case NDIlib_FourCC_type_BGRA:
            format = speedhq::PixelFormat::Bgra;
            return true;
        case NDIlib_FourCC_type_BGRX:
            format = speedhq::PixelFormat::Bgrx;
            return true;
        case NDIlib_FourCC_type_UYVY:
            format = speedhq::PixelFormat::Uyvy;
            return true;
        default:
            return false;
    }
}

int packedStride(speedhq::PixelFormat format, int width) {
    return format == speedhq::PixelFormat::Uyvy ? (width + 1) / 2 * 4 : width * 4;
}

}  // namespace

std::string checkFrame(const NDIlib_video_frame_v2_t* frame, speedhq::FrameView& view) {
    if (frame == nullptr) {
        return "no frame was given";
    }
    if (frame->p_data == nullptr) {
        return "the frame has no data";
    }
    if (frame->xres < 1 || frame->yres < 1 || frame->xres > kMaxFrameSide ||
        frame->yres > kMaxFrameSide) {
        return fmt::format("its size is {}x{}, supported are 1x1 to {}x{}", frame->xres,
                           frame->yres, kMaxFrameSide, kMaxFrameSide);
    }
    // As a number: the caller may have stored any value there.
    const auto fourCC = static_cast<std::int32_t>(frame->FourCC);
    if (!readFormat(fourCC, view.format)) {
        return fmt::format("its pixel format 0x{:08x} is not BGRA, BGRX or UYVY",
                           static_cast<std::uint32_t>(fourCC));
    }
    const int packed = packedStride(view.format, frame->xres);
    const int stride = frame->line_stride_in_bytes == 0 ? packed : frame->line_stride_in_bytes;
    if (stride < packed) {
        return fmt::format("its stride is {} bytes, {} pixels need {}", stride, frame->xres,
                           packed);
    }
    if (frame->frame_rate_N < 1 || frame->frame_rate_D < 1) {
        return fmt::format("its frame rate is {}/{}, both numbers must be positive",
                           frame->frame_rate_N, frame->frame_rate_D);
    }
    view.width = frame->xres;
    view.height = frame->yres;
    view.stride = stride;
    view.pixels = frame->p_data;
    view.rateNumerator = frame->frame_rate_N;
    view.rateDenominator = frame->frame_rate_D;
    return {};
}

}  // namespace ndi
