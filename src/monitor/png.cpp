#include "monitor/png.h"

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "monitor/rgbconverter.h"
#include "support/hv/sharedfile.h"

namespace monitor {
namespace {

using support::ffmpegError;
using support::FramePtr;
using support::PacketPtr;

/// Null, with `error` set, when this fails.
PacketPtr encode(const AVFrame& rgb, std::string& error) {
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_PNG);
    const support::CodecContextPtr context(codec != nullptr ? avcodec_alloc_context3(codec)
                                                            : nullptr);
    if (!context) {
        error = "this libavcodec has no PNG encoder";
        return nullptr;
    }
    context->width = rgb.width;
    context->height = rgb.height;
    context->pix_fmt = AV_PIX_FMT_RGB24;
    context->time_base = {1, 1};
    PacketPtr packet(av_packet_alloc());
    int result = avcodec_open2(context.get(), codec, nullptr);
    if (result == 0) {
        result = avcodec_send_frame(context.get(), &rgb);
    }
    if (result == 0) {
        result = avcodec_receive_packet(context.get(), packet.get());
    }
    if (result < 0) {
        error = ffmpegError(result);
        return nullptr;
    }
    return packet;
}

std::string writingFailed(const std::string& file) {
    return "writing " + file + " failed: " + std::generic_category().message(errno);
}

}  // namespace

std::string checkWritable(const std::string& file) {
    std::error_code ignored;
    const std::filesystem::path path = HV::localPath(file);
    const bool existed = std::filesystem::exists(path, ignored);
    errno = 0;
    if (!std::ofstream(path, std::ios::binary | std::ios::app)) {
        return writingFailed(file);
    }
    if (!existed) {
        std::filesystem::remove(path, ignored);
    }
    return {};
}

std::string savePng(const AVFrame& frame, const std::string& file) {
    const FramePtr rgb(av_frame_alloc());
    std::string error =
        RgbConverter(AV_PIX_FMT_RGB24, RgbConverter::Rounding::Exact).convert(frame, *rgb);
    const PacketPtr packet = error.empty() ? encode(*rgb, error) : nullptr;
    if (!packet) {
        return "encoding the frame as a PNG failed: " + error;
    }
    errno = 0;
    std::ofstream out(HV::localPath(file), std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(packet->data), packet->size);
    out.close();
    if (!out) {
        return writingFailed(file);
    }
    return {};
}

}  // namespace monitor
