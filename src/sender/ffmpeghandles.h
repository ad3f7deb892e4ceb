#pragma once
// Owners of FFmpeg's handles.

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswscale/swscale.h>
}

#include <memory>

namespace sender {

/// For FFmpeg's release functions, which take the address of the handle.
template <auto Release>
struct ReleaseByAddress {
    template <typename Handle>
    void operator()(Handle* handle) const {
        Release(&handle);
    }
};

struct ReleaseScaler {
    void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
};

using FramePtr = std::unique_ptr<AVFrame, ReleaseByAddress<av_frame_free>>;
using PacketPtr = std::unique_ptr<AVPacket, ReleaseByAddress<av_packet_free>>;
using DemuxerPtr = std::unique_ptr<AVFormatContext, ReleaseByAddress<avformat_close_input>>;
using DecoderPtr = std::unique_ptr<AVCodecContext, ReleaseByAddress<avcodec_free_context>>;
using DictionaryPtr = std::unique_ptr<AVDictionary, ReleaseByAddress<av_dict_free>>;
using ScalerPtr = std::unique_ptr<SwsContext, ReleaseScaler>;

}  // namespace sender
