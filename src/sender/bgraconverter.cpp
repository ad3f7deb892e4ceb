#include "sender/bgraconverter.h"

#include <cstddef>
#include <cstring>

namespace sender {
namespace {

constexpr int kBytesPerPixel = 4;

/// `source` may be `dest`.
void copyOpaque(const std::uint8_t* source, std::ptrdiff_t stride, int width, int height,
                std::uint8_t* dest) {
    constexpr std::uint8_t kAlphaBytes[kBytesPerPixel] = {0, 0, 0, 255};
    std::uint32_t alpha = 0;
    std::memcpy(&alpha, kAlphaBytes, sizeof alpha);

    const std::size_t rowBytes = static_cast<std::size_t>(width) * kBytesPerPixel;
    for (int row = 0; row < height; ++row, source += stride, dest += rowBytes) {
        for (std::size_t at = 0; at < rowBytes; at += kBytesPerPixel) {
            std::uint32_t pixel = 0;
            std::memcpy(&pixel, source + at, sizeof pixel);
            pixel |= alpha;
            std::memcpy(dest + at, &pixel, sizeof pixel);
        }
    }
}

}  // namespace

bool BgraConverter::convert(const AVFrame& frame, int width, int height, std::uint8_t* dest) {
    const auto format = static_cast<AVPixelFormat>(frame.format);
    const bool sameSize = frame.width == width && frame.height == height;
    if (sameSize && (format == AV_PIX_FMT_BGR0 || format == AV_PIX_FMT_BGRA)) {
        copyOpaque(frame.data[0], frame.linesize[0], width, height, dest);
        return true;
    }

    m_scaler.reset(sws_getCachedContext(m_scaler.release(), frame.width, frame.height, format,
                                        width, height, AV_PIX_FMT_BGRA, SWS_BICUBIC, nullptr,
                                        nullptr, nullptr));
    if (!m_scaler) {
        return false;
    }
    const int stride = width * kBytesPerPixel;
    sws_scale(m_scaler.get(), frame.data, frame.linesize, 0, frame.height, &dest, &stride);
    copyOpaque(dest, stride, width, height, dest);
    return true;
}

}  // namespace sender
