#include "speedhq/packetpool.h"

#include <mutex>
#include <new>
#include <utility>
#include <vector>

namespace speedhq {

/// Packets nobody uses. A handful is out at a time; more of them only while many receivers are
/// stuck in different frames, and those are not kept afterwards.
struct PacketPool::Shelf {
    static constexpr std::size_t kMost = 16;

    std::mutex mutex;
    std::vector<std::unique_ptr<Packet>> packets;

    void putBack(std::unique_ptr<Packet> packet) {
        const std::lock_guard<std::mutex> lock(mutex);
        if (packets.size() < kMost) {
            packets.push_back(std::move(packet));
        }
    }
};

namespace {

/// Places a shared pointer's counters inside the packet they count for. Freeing the counters is
/// the last thing a shared pointer does, so that is when the packet goes back on the shelf.
template <typename Counters>
struct InPacket {
    using value_type = Counters;

    InPacket(std::shared_ptr<PacketPool::Shelf> to, Packet* which)
        : shelf(std::move(to)), packet(which) {}
    template <typename Other>
    InPacket(const InPacket<Other>& other)  // NOLINT(google-explicit-constructor): an allocator
        : shelf(other.shelf), packet(other.packet) {}

    Counters* allocate(std::size_t count) {
        static_assert(sizeof(Counters) <= sizeof(Packet::counters));
        if (count != 1) {
            throw std::bad_alloc();
        }
        return reinterpret_cast<Counters*>(packet->counters);
    }
    void deallocate(Counters*, std::size_t) { shelf->putBack(std::unique_ptr<Packet>(packet)); }

    template <typename Other>
    bool operator==(const InPacket<Other>& other) const {
        return packet == other.packet;
    }
    template <typename Other>
    bool operator!=(const InPacket<Other>& other) const {
        return packet != other.packet;
    }

    std::shared_ptr<PacketPool::Shelf> shelf;
    Packet* packet;
};

}  // namespace

PacketPool::PacketPool() : m_shelf(std::make_shared<Shelf>()) {}
PacketPool::~PacketPool() = default;

std::unique_ptr<Packet> PacketPool::take(std::size_t bytes) {
    std::unique_ptr<Packet> packet;
    {
        const std::lock_guard<std::mutex> lock(m_shelf->mutex);
        if (!m_shelf->packets.empty()) {
            packet = std::move(m_shelf->packets.back());
            m_shelf->packets.pop_back();
        }
    }
    if (!packet) {
        packet = std::make_unique<Packet>();
    }
    if (packet->capacity < bytes) {
        packet->capacity = bytes + bytes / 4;
        packet->buffer.reset(new std::uint8_t[packet->capacity]);
    }
    return packet;
}

EncodedFramePtr PacketPool::share(std::unique_ptr<Packet> packet) {
    Packet* const shared = packet.release();
    return {&shared->frame, [](const EncodedFrame*) {}, InPacket<EncodedFrame>(m_shelf, shared)};
}

}  // namespace speedhq
