#pragma once
// Owners of FFmpeg's handles, and FFmpeg's texts for its error numbers. Header only: a module that
// includes it links FFmpeg itself.

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/error.h>
#include <libswscale/swscale.h>
}

#include <array>
#include <memory>
#include <string>

namespace support {

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
using CodecContextPtr = std::unique_ptr<AVCodecContext, ReleaseByAddress<avcodec_free_context>>;
using DictionaryPtr = std::unique_ptr<AVDictionary, ReleaseByAddress<av_dict_free>>;
using ScalerPtr = std::unique_ptr<SwsContext, ReleaseScaler>;

/// FFmpeg's text for one of its (negative) error numbers, for example "Invalid argument".
[[nodiscard]] inline std::string ffmpegError(int error) {
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
    av_strerror(error, text.data(), text.size());
    return text.data();
}

}  // namespace support
