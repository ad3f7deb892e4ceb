#include "speedhq/packetassembly.h"

#include <algorithm>
#include <array>

namespace speedhq {

namespace {

constexpr std::size_t kSlices = 4;
constexpr std::size_t kHeaderBytes = 4;
constexpr std::size_t kLengthBytes = 3;
constexpr std::uint32_t kFourCC = 'S' | 'H' << 8 | 'Q' << 16 | '2' << 24;

void putLength(std::uint8_t* at, std::size_t length) {
    for (unsigned i = 0; i < kLengthBytes; ++i) {
        at[i] = static_cast<std::uint8_t>(length >> (8 * i));
    }
}

}  // namespace

EncodedFramePtr assemblePacket(const Kernels& kernels, const std::vector<EncodedRow>& rows,
                               int width, int height, int quality, PacketPool& pool,
                               std::size_t maxSliceBytes) {
    std::array<std::size_t, kSlices> bits{};
    for (std::size_t row = 0; row < rows.size(); ++row) {
        bits[row % kSlices] += rows[row].bitCount();
    }
    std::size_t total = kHeaderBytes;
    for (const std::size_t sliceBits : bits) {
        const std::size_t bytes = kLengthBytes + (sliceBits + 7) / 8;
        if (bytes > maxSliceBytes) {
            return nullptr;
        }
        total += bytes;
    }

    const std::shared_ptr<Packet> packet = pool.take(total + kBitSlack);
    std::uint8_t* const start = packet->buffer.get();
    start[0] = static_cast<std::uint8_t>(quality);
    // The offset of the second field is that of the first: there is only one.
    putLength(start + 1, kHeaderBytes);
    std::uint8_t* next = start + kHeaderBytes;
    for (std::size_t slice = 0; slice < kSlices; ++slice) {
        BitWriter writer(next + kLengthBytes);
        for (std::size_t row = slice; row < rows.size(); row += kSlices) {
            kernels.append(writer, rows[row].bits(), 0, rows[row].bitCount());
        }
        finishBits(writer);
        putLength(next, static_cast<std::size_t>(writer.next - next));
        next = writer.next;
    }

    packet->frame = {kFourCC, width, height, quality, start, total};
    return share(packet);
}

}  // namespace speedhq
