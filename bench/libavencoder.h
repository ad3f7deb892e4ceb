#pragma once
// libavcodec's SpeedHQ encoder with libswscale, for comparison. Failures throw std::runtime_error.

#include <cstddef>
#include <cstdint>
#include <memory>

#include "support/libavspeedhq.h"

namespace bench {

/// Encodes at an even quality, with one thread and its own buffers. The width must be a multiple of
/// 16 and the height above 48: libavcodec's encoder writes invalid packets for other sizes.
class LibavEncoder {
public:
    LibavEncoder(int width, int height, int quality);
    ~LibavEncoder();

    /// The packet is valid until the next call.
    struct Packet {
        const std::uint8_t* data;
        std::size_t size;
    };
    [[nodiscard]] Packet encode(const tests::Planes& planes);
    /// Through libswscale first, BT.709 limited range.
    [[nodiscard]] Packet encodeBgra(const std::uint8_t* pixels, std::ptrdiff_t stride);

private:
    struct State;
    std::unique_ptr<State> m_state;
};

}  // namespace bench
