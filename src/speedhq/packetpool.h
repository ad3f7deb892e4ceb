#pragma once
// Room for finished packets. A packet is shared and immutable; when the last one who sends from it
// lets go, its buffer, and that of the shared pointer's counters, comes back here, so that a
// running encoder allocates nothing.

#include <cstddef>
#include <cstdint>
#include <memory>

#include "speedhq/frameencoder.h"

namespace speedhq {

/// Room for one packet, still being written.
struct Packet {
    EncodedFrame frame;
    std::unique_ptr<std::uint8_t[]> buffer;
    std::size_t capacity = 0;
    /// Where the shared pointer keeps its counters.
    alignas(std::max_align_t) unsigned char counters[128] = {};
};

/// Packets may be let go by any thread, also after the pool's end.
class PacketPool {
public:
    PacketPool();
    ~PacketPool();

    /// At least `bytes` of buffer, contents undefined.
    [[nodiscard]] std::unique_ptr<Packet> take(std::size_t bytes);

    /// Makes `packet` immutable and shared.
    [[nodiscard]] EncodedFramePtr share(std::unique_ptr<Packet> packet);

    struct Shelf;

private:
    std::shared_ptr<Shelf> m_shelf;
};

}  // namespace speedhq
