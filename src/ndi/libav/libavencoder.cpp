#include "ndi/libav/libavencoder.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/imgutils.h>
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>
#include <vector>

namespace ndi {
namespace {

constexpr int kPreviewWidth = 640;
constexpr int kMinCodedHeight = 64;
constexpr int kPlanes = 3;

// MPEG-style quantiser: the packet's quality is 100 - 2 * quantiser.
constexpr int kBestQuantiser = 1;
constexpr int kStartQuantiser = 4;
constexpr int kWorstQuantiser = 31;

struct FrameDeleter {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct PacketDeleter {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct CodecDeleter {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
struct ScalerDeleter {
    void operator()(SwsContext* context) const { sws_freeContext(context); }
};
using FramePtr = std::unique_ptr<AVFrame, FrameDeleter>;
using PacketPtr = std::unique_ptr<AVPacket, PacketDeleter>;
using CodecPtr = std::unique_ptr<AVCodecContext, CodecDeleter>;
using ScalerPtr = std::unique_ptr<SwsContext, ScalerDeleter>;

struct Size {
    int width = 0;
    int height = 0;
    bool operator==(const Size& o) const { return width == o.width && height == o.height; }
};

Size codedSize(Size size) {
    return {(size.width + 15) / 16 * 16, std::max(size.height, kMinCodedHeight)};
}

Size previewSize(Size size) {
    if (size.width <= kPreviewWidth) {
        return size;
    }
    const int height = (size.height * kPreviewWidth + size.width / 2) / size.width;
    return {kPreviewWidth, std::max(height, 1)};
}

AVPixelFormat libavFormat(PixelFormat format) {
    return format == PixelFormat::Uyvy ? AV_PIX_FMT_UYVY422 : AV_PIX_FMT_BGR0;
}

int bytesPerRow(PixelFormat format, int width) {
    return format == PixelFormat::Uyvy ? (width + 1) / 2 * 4 : width * 4;
}

/// Bytes for one picture: grows with the picture, and slower than the rate.
double targetBytes(Size size, double rate) {
    const double bitsPerSecond = 100e6 * (size.width * size.height / (1920.0 * 1080.0)) *
                                 std::pow(std::max(rate, 1.0) / 30.0, 0.4);
    return std::max(bitsPerSecond / 8 / std::max(rate, 1.0), 4096.0);
}

FramePtr makeFrame(Size size) {
    FramePtr frame(av_frame_alloc());
    if (frame == nullptr) {
        return nullptr;
    }
    frame->format = AV_PIX_FMT_YUV422P;
    frame->width = size.width;
    frame->height = size.height;
    return av_frame_get_buffer(frame.get(), 0) == 0 ? std::move(frame) : nullptr;
}

/// Fills what lies outside `picture` with its last column and line.
void repeatEdges(AVFrame& frame, Size picture) {
    for (int plane = 0; plane < kPlanes; ++plane) {
        const int used = plane == 0 ? picture.width : (picture.width + 1) / 2;
        const int width = plane == 0 ? frame.width : frame.width / 2;
        const std::ptrdiff_t stride = frame.linesize[plane];
        std::uint8_t* const rows = frame.data[plane];
        for (int y = 0; y < picture.height; ++y) {
            std::uint8_t* const row = rows + y * stride;
            std::fill(row + used, row + width, row[used - 1]);
        }
        for (int y = picture.height; y < frame.height; ++y) {
            std::memcpy(rows + y * stride, rows + (picture.height - 1) * stride,
                        static_cast<std::size_t>(width));
        }
    }
}

/// One of the two streams: scaler, planes, codec and the newest packet.
class Stream {
public:
    /// From a picture as it came. Until the next call packets are of this picture.
    bool take(const std::uint8_t* pixels, std::ptrdiff_t stride, PixelFormat format, Size from,
              Size to, double rate) {
        m_packet = nullptr;
        if (!prepare(from, to, libavFormat(format), rate)) {
            return false;
        }
        const std::uint8_t* const planes[] = {pixels, nullptr, nullptr, nullptr};
        const int strides[] = {static_cast<int>(stride), 0, 0, 0};
        if (av_frame_make_writable(m_planes.get()) < 0 ||
            sws_scale(m_scaler.get(), planes, strides, 0, from.height, m_planes->data,
                      m_planes->linesize) <= 0) {
            return false;
        }
        repeatEdges(*m_planes, to);
        return true;
    }

    /// The packet of a picture on its way.
    EncodedPicturePtr encode() {
        m_packet = encodeWith(m_quantiser);
        if (m_packet != nullptr) {
            steer();
        }
        return m_packet;
    }

    /// A packet of the same picture, a step better than the one before.
    EncodedPicturePtr encodeBetter() {
        if (m_packet == nullptr) {
            return encode();
        }
        const int before = (100 - m_packet->quality) / 2;
        if (before > kBestQuantiser) {
            if (auto better = encodeWith(std::max(kBestQuantiser, before / 2))) {
                m_packet = std::move(better);
            }
        }
        return m_packet;
    }

private:
    bool prepare(Size from, Size to, AVPixelFormat format, double rate) {
        m_target = targetBytes(to, rate);
        if (m_scaler != nullptr && m_from == from && m_to == to && m_format == format) {
            return true;
        }
        m_codec = nullptr;
        m_quantiser = kStartQuantiser;
        m_planes = makeFrame(codedSize(to));
        m_scaler.reset(sws_getContext(
            from.width, from.height, format, to.width, to.height, AV_PIX_FMT_YUV422P,
            SWS_AREA | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INP, nullptr, nullptr, nullptr));
        if (m_planes == nullptr || m_scaler == nullptr) {
            m_scaler = nullptr;
            return false;
        }
        const bool small = m_planes->width <= 720 && m_planes->height <= 576;
        const int* const matrix = sws_getCoefficients(small ? SWS_CS_ITU601 : SWS_CS_ITU709);
        const int fullRange = format == AV_PIX_FMT_UYVY422 ? 0 : 1;
        sws_setColorspaceDetails(m_scaler.get(), matrix, fullRange, matrix, 0, 0, 1 << 16, 1 << 16);
        m_from = from;
        m_to = to;
        m_format = format;
        return true;
    }

    bool openCodec() {
        const AVCodec* const codec = avcodec_find_encoder(AV_CODEC_ID_SPEEDHQ);
        CodecPtr context(codec != nullptr ? avcodec_alloc_context3(codec) : nullptr);
        if (context == nullptr) {
            return false;
        }
        context->width = m_planes->width;
        context->height = m_planes->height;
        context->pix_fmt = AV_PIX_FMT_YUV422P;
        context->time_base = {1, 30};
        context->flags |= AV_CODEC_FLAG_QSCALE;
        context->thread_count = 1;
        context->qmin = kBestQuantiser;
        if (avcodec_open2(context.get(), codec, nullptr) < 0) {
            return false;
        }
        m_codec = std::move(context);
        return true;
    }

    EncodedPicturePtr encodeWith(int quantiser) {
        if (m_planes == nullptr || (m_codec == nullptr && !openCodec())) {
            return nullptr;
        }
        std::shared_ptr<AVPacket> packet(av_packet_alloc(), PacketDeleter());
        m_planes->quality = quantiser * FF_QP2LAMBDA;
        m_planes->pts = m_pictures++;
        if (packet == nullptr || avcodec_send_frame(m_codec.get(), m_planes.get()) < 0 ||
            avcodec_receive_packet(m_codec.get(), packet.get()) < 0 || packet->size < 4) {
            m_codec = nullptr;
            return nullptr;
        }
        auto picture = std::make_shared<Packet>();
        picture->fourCC = MKTAG('S', 'H', 'Q', '2');
        picture->width = m_planes->width;
        picture->height = m_planes->height;
        picture->quality = packet->data[0];
        picture->data = packet->data;
        picture->size = static_cast<std::size_t>(packet->size);
        picture->memory = std::move(packet);
        return picture;
    }

    /// Moves the quantiser towards the target for the next picture: at once when too big, by a
    /// step when there is room.
    void steer() {
        const double ratio = static_cast<double>(m_packet->size) / m_target;
        if (ratio > 1.1) {
            m_quantiser = static_cast<int>(std::ceil(m_quantiser * std::min(ratio, 2.0)));
        } else if (ratio < 0.8) {
            --m_quantiser;
        }
        m_quantiser = std::clamp(m_quantiser, kBestQuantiser, kWorstQuantiser);
    }

    struct Packet : EncodedPicture {
        std::shared_ptr<AVPacket> memory;
    };

    Size m_from;
    Size m_to;
    AVPixelFormat m_format = AV_PIX_FMT_NONE;
    ScalerPtr m_scaler;
    FramePtr m_planes;
    CodecPtr m_codec;
    double m_target = 0;
    int m_quantiser = kStartQuantiser;
    std::int64_t m_pictures = 0;
    EncodedPicturePtr m_packet;
};

class LibavEncoder : public PictureEncoder {
public:
    void keep(const PictureView& picture, const support::ChangedRows& /*changed*/) override {
        m_format = picture.format;
        m_size = {picture.width, picture.height};
        m_rate = static_cast<double>(picture.rateNumerator) / picture.rateDenominator;
        const auto row = static_cast<std::size_t>(bytesPerRow(picture.format, picture.width));
        m_pixels.resize(row * static_cast<std::size_t>(picture.height));
        for (int y = 0; y < picture.height; ++y) {
            std::memcpy(m_pixels.data() + row * static_cast<std::size_t>(y),
                        picture.pixels + y * picture.stride, row);
        }
        m_fullTaken = m_previewTaken = false;
    }

    EncodedStreams encode(const PictureView& picture, const support::ChangedRows& changed,
                          Streams wanted) override {
        keep(picture, changed);
        return encodeTaken(wanted, &Stream::encode);
    }

    EncodedStreams encodeKept(Streams wanted) override {
        return m_pixels.empty() ? EncodedStreams{} : encodeTaken(wanted, &Stream::encodeBetter);
    }

private:
    using Step = EncodedPicturePtr (Stream::*)();

    EncodedStreams encodeTaken(Streams wanted, Step step) {
        EncodedStreams result;
        if (wanted.full && (m_fullTaken || (m_fullTaken = take(m_full, m_size)))) {
            result.full = (m_full.*step)();
        }
        if (wanted.preview &&
            (m_previewTaken || (m_previewTaken = take(m_preview, previewSize(m_size))))) {
            result.preview = (m_preview.*step)();
        }
        return result;
    }

    bool take(Stream& stream, Size size) {
        return stream.take(m_pixels.data(), bytesPerRow(m_format, m_size.width), m_format, m_size,
                           size, m_rate);
    }

    PixelFormat m_format = PixelFormat::Bgra;
    Size m_size;
    double m_rate = 30;
    std::vector<std::uint8_t> m_pixels;
    Stream m_full;
    Stream m_preview;
    bool m_fullTaken = false;
    bool m_previewTaken = false;
};

}  // namespace

std::unique_ptr<PictureEncoder> createLibavEncoder() {
    return std::make_unique<LibavEncoder>();
}

}  // namespace ndi
