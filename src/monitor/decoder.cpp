#include "monitor/decoder.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "monitor/videotext.h"

namespace monitor {
namespace {

constexpr std::uint32_t kMaxSide = 8192;

bool isSpeedHq(std::uint32_t fourCC) {
    const std::uint32_t last = fourCC >> 24U;
    return (fourCC & 0xFFFFFFU) == MKTAG('S', 'H', 'Q', 0) && last >= '0' && last <= '9';
}

}  // namespace

bool Decoder::open(std::uint32_t fourCC, std::uint32_t width, std::uint32_t height) {
    if (m_context && m_context->codec_tag == fourCC &&
        m_context->width == static_cast<int>(width) &&
        m_context->height == static_cast<int>(height)) {
        return true;
    }
    m_context.reset();
    if (!isSpeedHq(fourCC) || width > kMaxSide || height > kMaxSide) {
        m_error = fmt::format(
            "{}x{} pixels in format {} can't be decoded: only SpeedHQ up to {} pixels wide and "
            "high can",
            width, height, fourCCText(fourCC), kMaxSide);
        return false;
    }
    const AVCodec* codec = avcodec_find_decoder(AV_CODEC_ID_SPEEDHQ);
    support::CodecContextPtr context(codec != nullptr ? avcodec_alloc_context3(codec) : nullptr);
    if (!context) {
        m_error = "this libavcodec has no SpeedHQ decoder";
        return false;
    }
    context->codec_tag = fourCC;
    context->width = static_cast<int>(width);
    context->height = static_cast<int>(height);
    const int result = avcodec_open2(context.get(), codec, nullptr);
    if (result < 0) {
        m_error = "opening the SpeedHQ decoder failed: " + support::ffmpegError(result);
        return false;
    }
    m_context = std::move(context);
    return true;
}

const AVFrame* Decoder::decode(std::uint32_t fourCC, std::uint32_t width, std::uint32_t height,
                               const std::uint8_t* data, std::size_t size) {
    if (!open(fourCC, width, height)) {
        return nullptr;
    }
    av_packet_unref(m_packet.get());
    int result = av_new_packet(m_packet.get(), static_cast<int>(size));
    if (result == 0) {
        // libavcodec reads beyond the packet's end, so the packet needs the padding that
        // av_new_packet adds.
        std::memcpy(m_packet->data, data, size);
        result = avcodec_send_packet(m_context.get(), m_packet.get());
    }
    if (result == 0) {
        result = avcodec_receive_frame(m_context.get(), m_frame.get());
    }
    if (result < 0) {
        m_error = fmt::format("decoding {} bytes failed: {}", size, support::ffmpegError(result));
        m_context.reset();
        return nullptr;
    }
    return m_frame.get();
}

}  // namespace monitor
