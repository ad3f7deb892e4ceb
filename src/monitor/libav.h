#pragma once
// Holders of libav's handles.

extern "C" {
#include <libavcodec/avcodec.h>
#include <libswscale/swscale.h>
}

#include <memory>
#include <string>

namespace monitor {

struct FreeFrame {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct FreePacket {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct FreeCodecContext {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
struct FreeScaler {
    void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
};

using FramePtr = std::unique_ptr<AVFrame, FreeFrame>;
using PacketPtr = std::unique_ptr<AVPacket, FreePacket>;
using CodecContextPtr = std::unique_ptr<AVCodecContext, FreeCodecContext>;
using ScalerPtr = std::unique_ptr<SwsContext, FreeScaler>;

/// libav's words for one of its error numbers.
[[nodiscard]] std::string libavError(int error);

}  // namespace monitor
