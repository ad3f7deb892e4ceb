#include "speedhq/packetpool.h"

#include <algorithm>
#include <utility>

namespace speedhq {

namespace {

/// Usually two or three packets are in use. There are more only while many slow receivers each send
/// a different frame, and the surplus is freed afterwards.
constexpr std::size_t kMostPackets = 16;

/// True stays true until the pool itself hands out the packet, because only it holds a reference.
bool isUnused(const std::shared_ptr<Packet>& packet) {
    return packet.use_count() == 1;
}

}  // namespace

std::shared_ptr<Packet> PacketPool::take(std::size_t bytes) {
    if (m_packets.size() > kMostPackets) {
        m_packets.erase(std::remove_if(m_packets.begin(), m_packets.end(), isUnused),
                        m_packets.end());
    }
    const auto unused = std::find_if(m_packets.begin(), m_packets.end(), isUnused);
    // Copying the pointer is an acquire operation on its reference count. It orders the last
    // holder's reads, which precede its release, before what the caller writes.
    std::shared_ptr<Packet> packet =
        unused != m_packets.end() ? *unused : m_packets.emplace_back(std::make_shared<Packet>());
    if (packet->capacity < bytes) {
        packet->capacity = bytes + bytes / 4;
        packet->buffer.reset(new std::uint8_t[packet->capacity]);
    }
    return packet;
}

EncodedFramePtr share(std::shared_ptr<Packet> packet) {
    const EncodedFrame* const frame = &packet->frame;
    return {std::move(packet), frame};
}

}  // namespace speedhq
