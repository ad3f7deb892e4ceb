#include "libavencoder.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/frame.h>
#include <libavutil/log.h>
#include <libswscale/swscale.h>
}

#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

namespace bench {

namespace {

struct Free {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
};

void check(int result, const char* what) {
    if (result < 0) {
        throw std::runtime_error(std::string(what) + " failed: " + std::to_string(result));
    }
}

}  // namespace

struct LibavEncoder::State {
    std::unique_ptr<AVCodecContext, Free> context;
    std::unique_ptr<AVFrame, Free> frame;
    std::unique_ptr<AVPacket, Free> packet;
    std::unique_ptr<SwsContext, Free> scaler;

    Packet encodeFrame() {
        av_packet_unref(packet.get());
        ++frame->pts;
        check(avcodec_send_frame(context.get(), frame.get()), "encoding");
        check(avcodec_receive_packet(context.get(), packet.get()), "encoding");
        return {packet->data, static_cast<std::size_t>(packet->size)};
    }
};

LibavEncoder::LibavEncoder(int width, int height, int quality) : m_state(new State) {
    av_log_set_level(AV_LOG_QUIET);
    const AVCodec* const codec = avcodec_find_encoder(AV_CODEC_ID_SPEEDHQ);
    m_state->context.reset(avcodec_alloc_context3(codec));
    AVCodecContext& context = *m_state->context;
    context.codec_tag = tests::kShq2;
    context.width = width;
    context.height = height;
    context.pix_fmt = AV_PIX_FMT_YUV422P;
    context.time_base = {1, 60};
    context.thread_count = 1;
    context.qmin = 1;  // else quality 98 would become 96
    context.flags |= AV_CODEC_FLAG_QSCALE;
    context.global_quality = FF_QP2LAMBDA * (100 - quality) / 2;
    check(avcodec_open2(&context, codec, nullptr), "opening the encoder");
    m_state->frame.reset(av_frame_alloc());
    m_state->frame->format = AV_PIX_FMT_YUV422P;
    m_state->frame->width = width;
    m_state->frame->height = height;
    m_state->frame->quality = context.global_quality;
    check(av_frame_get_buffer(m_state->frame.get(), 0), "allocating a frame");
    m_state->packet.reset(av_packet_alloc());
}

LibavEncoder::~LibavEncoder() = default;

LibavEncoder::Packet LibavEncoder::encode(const tests::Planes& planes) {
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
    return m_state->encodeFrame();
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
    return m_state->encodeFrame();
}

}  // namespace bench
