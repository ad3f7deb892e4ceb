#pragma once
// Decodes SpeedHQ packets with libavcodec.

#include <cstddef>
#include <cstdint>
#include <string>

#include "support/ffmpeghandles.h"

namespace monitor {

/// Not thread-safe.
class Decoder {
public:
    /// Decodes one packet. Null when the packet is damaged, is not SpeedHQ, or is wider or higher
    /// than 8192 pixels; error() says which. The frame is valid until the next call.
    [[nodiscard]] const AVFrame* decode(std::uint32_t fourCC, std::uint32_t width,
                                        std::uint32_t height, const std::uint8_t* data,
                                        std::size_t size);
    [[nodiscard]] const std::string& error() const { return m_error; }

private:
    bool open(std::uint32_t fourCC, std::uint32_t width, std::uint32_t height);

    support::CodecContextPtr m_context;
    support::PacketPtr m_packet{av_packet_alloc()};
    support::FramePtr m_frame{av_frame_alloc()};
    std::string m_error;
};

}  // namespace monitor
