#pragma once
// SpeedHQ packets to frames, by libavcodec.

#include <cstddef>
#include <cstdint>
#include <string>

#include "monitor/libav.h"

namespace monitor {

/// One thread.
class Decoder {
public:
    /// Decodes one packet. Null when it is damaged, of another codec, or of a size beyond 8192
    /// pixels; error() says what is wrong. The frame is valid until the next call.
    [[nodiscard]] const AVFrame* decode(std::uint32_t fourCC, std::uint32_t width,
                                        std::uint32_t height, const std::uint8_t* data,
                                        std::size_t size);
    [[nodiscard]] const std::string& error() const { return m_error; }

private:
    bool open(std::uint32_t fourCC, std::uint32_t width, std::uint32_t height);

    CodecContextPtr m_context;
    PacketPtr m_packet{av_packet_alloc()};
    FramePtr m_frame{av_frame_alloc()};
    std::string m_error;
};

}  // namespace monitor
