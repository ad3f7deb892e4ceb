#include "support/libavspeedhq.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/frame.h>
#include <libavutil/log.h>
#include <libswscale/swscale.h>
}

#include <cmath>
#include <cstring>
#include <stdexcept>
#include <string>

namespace testing_support {

namespace {

struct FreeContext {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
struct FreeFrame {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct FreePacket {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct FreeScaler {
    void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
};
using Context = std::unique_ptr<AVCodecContext, FreeContext>;
using Frame = std::unique_ptr<AVFrame, FreeFrame>;
using AvPacket = std::unique_ptr<AVPacket, FreePacket>;

void check(int result, const char* what) {
    if (result < 0) {
        throw std::runtime_error(std::string(what) + " failed: " + std::to_string(result));
    }
}

Context makeContext(const AVCodec* codec, int width, int height) {
    Context context(avcodec_alloc_context3(codec));
    context->codec_tag = MKTAG('S', 'H', 'Q', '2');
    context->width = width;
    context->height = height;
    context->pix_fmt = AV_PIX_FMT_YUV422P;
    context->time_base = {1, 60};
    context->thread_count = 1;
    context->qmin = 1;  // else quality 98 would become 96
    return context;
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
    double sum = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        const double difference = static_cast<double>(a[i]) - static_cast<double>(b[i]);
        sum += difference * difference;
    }
    return 10 * std::log10(255.0 * 255.0 * static_cast<double>(a.size()) / sum);
}

Planes decodeWithLibav(const std::uint8_t* packet, std::size_t size, int width, int height) {
    av_log_set_level(AV_LOG_QUIET);
    const AVCodec* const codec = avcodec_find_decoder(AV_CODEC_ID_SPEEDHQ);
    const Context context = makeContext(codec, width, height);
    check(avcodec_open2(context.get(), codec, nullptr), "opening the decoder");
    const AvPacket input(av_packet_alloc());
    check(av_new_packet(input.get(), static_cast<int>(size)), "allocating a packet");
    std::memcpy(input->data, packet, size);
    check(avcodec_send_packet(context.get(), input.get()), "decoding");
    const Frame frame(av_frame_alloc());
    check(avcodec_receive_frame(context.get(), frame.get()), "decoding");
    const int half = (width + 1) / 2;
    return {width, height, plane(*frame, 0, width, height), plane(*frame, 1, half, height),
            plane(*frame, 2, half, height)};
}

struct LibavEncoder::State {
    Context context;
    Frame frame;
    AvPacket packet;
    std::unique_ptr<SwsContext, FreeScaler> scaler;
};

LibavEncoder::LibavEncoder(int width, int height, int quality) : m_state(new State) {
    av_log_set_level(AV_LOG_QUIET);
    const AVCodec* const codec = avcodec_find_encoder(AV_CODEC_ID_SPEEDHQ);
    m_state->context = makeContext(codec, width, height);
    m_state->context->flags |= AV_CODEC_FLAG_QSCALE;
    m_state->context->global_quality = FF_QP2LAMBDA * (100 - quality) / 2;
    check(avcodec_open2(m_state->context.get(), codec, nullptr), "opening the encoder");
    m_state->frame.reset(av_frame_alloc());
    m_state->frame->format = AV_PIX_FMT_YUV422P;
    m_state->frame->width = width;
    m_state->frame->height = height;
    m_state->frame->quality = m_state->context->global_quality;
    check(av_frame_get_buffer(m_state->frame.get(), 0), "allocating a frame");
    m_state->packet.reset(av_packet_alloc());
}

LibavEncoder::~LibavEncoder() = default;

LibavEncoder::Packet LibavEncoder::encode(const Planes& planes) {
    AVFrame& frame = *m_state->frame;
    check(av_frame_make_writable(&frame), "making a frame writable");
    const std::vector<std::uint8_t>* const sources[] = {&planes.y, &planes.cb, &planes.cr};
    for (int i = 0; i < 3; ++i) {
        const int width = i == 0 ? planes.width : planes.width / 2;
        for (int y = 0; y < planes.height; ++y) {
            std::memcpy(frame.data[i] + y * frame.linesize[i], sources[i]->data() + y * width,
                        static_cast<std::size_t>(width));
        }
    }
    av_packet_unref(m_state->packet.get());
    ++frame.pts;
    check(avcodec_send_frame(m_state->context.get(), &frame), "encoding");
    check(avcodec_receive_packet(m_state->context.get(), m_state->packet.get()), "encoding");
    return {m_state->packet->data, static_cast<std::size_t>(m_state->packet->size)};
}

LibavEncoder::Packet LibavEncoder::encodeBgra(const std::uint8_t* pixels, std::ptrdiff_t stride) {
    AVFrame& frame = *m_state->frame;
    if (!m_state->scaler) {
        m_state->scaler.reset(sws_getContext(frame.width, frame.height, AV_PIX_FMT_BGRA,
                                             frame.width, frame.height, AV_PIX_FMT_YUV422P,
                                             SWS_FAST_BILINEAR, nullptr, nullptr, nullptr));
        const int* const table = sws_getCoefficients(SWS_CS_ITU709);
        sws_setColorspaceDetails(m_state->scaler.get(), table, 1, table, 0, 0, 1 << 16, 1 << 16);
    }
    check(av_frame_make_writable(&frame), "making a frame writable");
    const int strides[] = {static_cast<int>(stride)};
    sws_scale(m_state->scaler.get(), &pixels, strides, 0, frame.height, frame.data, frame.linesize);
    av_packet_unref(m_state->packet.get());
    ++frame.pts;
    check(avcodec_send_frame(m_state->context.get(), &frame), "encoding");
    check(avcodec_receive_packet(m_state->context.get(), m_state->packet.get()), "encoding");
    return {m_state->packet->data, static_cast<std::size_t>(m_state->packet->size)};
}

}  // namespace testing_support
