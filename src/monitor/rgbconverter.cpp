#include "monitor/rgbconverter.h"

namespace monitor {
namespace {

/// Returns 0 or libav's error number.
int prepareBuffer(AVFrame& rgb, const AVFrame& frame, AVPixelFormat format) {
    if (rgb.width == frame.width && rgb.height == frame.height && rgb.format == format &&
        av_frame_is_writable(&rgb) > 0) {
        return 0;
    }
    av_frame_unref(&rgb);
    rgb.width = frame.width;
    rgb.height = frame.height;
    rgb.format = format;
    return av_frame_get_buffer(&rgb, 0);
}

}  // namespace

bool RgbConverter::prepare(const AVFrame& frame) {
    if (m_scaler && m_width == frame.width && m_height == frame.height &&
        m_format == frame.format) {
        return true;
    }
    const int exact = m_rounding == Rounding::Exact ? SWS_ACCURATE_RND : 0;
    m_scaler.reset(sws_getContext(frame.width, frame.height,
                                  static_cast<AVPixelFormat>(frame.format), frame.width,
                                  frame.height, m_target, SWS_BILINEAR | SWS_FULL_CHR_H_INT | exact,
                                  nullptr, nullptr, nullptr));
    if (!m_scaler) {
        return false;
    }
    m_width = frame.width;
    m_height = frame.height;
    m_format = frame.format;
    const bool small = frame.width <= 720 && frame.height <= 576;
    const int* matrix = sws_getCoefficients(small ? SWS_CS_ITU601 : SWS_CS_ITU709);
    constexpr int kUnity = 1 << 16;
    sws_setColorspaceDetails(m_scaler.get(), matrix, 0, matrix, 1, 0, kUnity, kUnity);
    return true;
}

std::string RgbConverter::convert(const AVFrame& frame, AVFrame& rgb) {
    if (!prepare(frame)) {
        return "libswscale can't convert this pixel format to RGB";
    }
    const int result = prepareBuffer(rgb, frame, m_target);
    if (result < 0) {
        return support::ffmpegError(result);
    }
    sws_scale(m_scaler.get(), frame.data, frame.linesize, 0, frame.height, rgb.data, rgb.linesize);
    return {};
}

}  // namespace monitor
