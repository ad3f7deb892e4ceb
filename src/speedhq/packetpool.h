#pragma once
// Buffers for finished packets. Packets are shared and immutable. A packet's buffer is reused once
// all references to it are released, so that a running encoder allocates nothing.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "speedhq/frameencoder.h"

namespace speedhq {

/// A packet with its buffer, while it is being written.
struct Packet {
    EncodedFrame frame;
    std::unique_ptr<std::uint8_t[]> buffer;
    std::size_t capacity = 0;
};

/// One caller at a time. Packets may be released by any thread, also after the pool's destruction.
class PacketPool {
public:
    /// A packet with a buffer of at least `bytes`, whose contents are undefined. Nothing else
    /// refers to it but the pool.
    [[nodiscard]] std::shared_ptr<Packet> take(std::size_t bytes);

private:
    std::vector<std::shared_ptr<Packet>> m_packets;
};

/// Makes a completed packet immutable. Allocates nothing.
[[nodiscard]] EncodedFramePtr share(std::shared_ptr<Packet> packet);

}  // namespace speedhq
