#include "support/libavspeedhq.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <stdexcept>

#include "support/ffmpeghandles.h"

namespace tests {

namespace {

void check(int result, const char* what) {
    if (result < 0) {
        throw std::runtime_error(what + (" failed: " + support::ffmpegError(result)));
    }
}

std::vector<std::uint8_t> plane(const AVFrame& frame, int index, int width, int height) {
    std::vector<std::uint8_t> bytes;
    for (int y = 0; y < height; ++y) {
        const std::uint8_t* const line = frame.data[index] + y * frame.linesize[index];
        bytes.insert(bytes.end(), line, line + width);
    }
    return bytes;
}

}  // namespace

double psnr(const std::vector<std::uint8_t>& a, const std::vector<std::uint8_t>& b) {
    if (a.size() != b.size() || a.empty()) {
        return 0;
    }
    double sum = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        const double difference = static_cast<double>(a[i]) - static_cast<double>(b[i]);
        sum += difference * difference;
    }
    return std::min(99.0, 10 * std::log10(255.0 * 255.0 * static_cast<double>(a.size()) / sum));
}

Planes decodeWithLibav(const std::uint8_t* packet, std::size_t size, int width, int height,
                       std::uint32_t fourCC) {
    av_log_set_level(AV_LOG_QUIET);
    const AVCodec* const codec = avcodec_find_decoder(AV_CODEC_ID_SPEEDHQ);
    const support::CodecContextPtr context(avcodec_alloc_context3(codec));
    context->codec_tag = fourCC;
    context->width = width;
    context->height = height;
    context->thread_count = 1;
    check(avcodec_open2(context.get(), codec, nullptr), "opening the decoder");
    const support::PacketPtr input(av_packet_alloc());
    check(av_new_packet(input.get(), static_cast<int>(size)), "allocating a packet");
    std::memcpy(input->data, packet, size);
    check(avcodec_send_packet(context.get(), input.get()), "decoding");
    const support::FramePtr frame(av_frame_alloc());
    check(avcodec_receive_frame(context.get(), frame.get()), "decoding");
    if (frame->format != AV_PIX_FMT_YUV422P || frame->width != width || frame->height != height) {
        throw std::runtime_error("the decoder's format or size differs from the packet's");
    }
    const int half = (width + 1) / 2;
    return {width, height, plane(*frame, 0, width, height), plane(*frame, 1, half, height),
            plane(*frame, 2, half, height)};
}

}  // namespace tests
