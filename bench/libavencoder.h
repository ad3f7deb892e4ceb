#pragma once
// libavcodec's SpeedHQ encoder, and libswscale in front of it: what ours is compared with. Failures
// throw std::runtime_error.

#include <cstddef>
#include <cstdint>
#include <memory>

#include "support/libavspeedhq.h"

namespace bench {

/// Encodes at an even quality, with one thread and buffers of its own. Widths of 16n, heights
/// above 48: libavcodec's encoder makes invalid packets of others.
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
