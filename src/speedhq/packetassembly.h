#pragma once
// Assembles a packet from encoded rows: a header of 4 bytes, then one field of four slices. A slice
// is a length of 3 bytes and the bits of every fourth row, without gaps.

#include <cstddef>
#include <vector>

#include "speedhq/frameencoder.h"
#include "speedhq/macroblockrow.h"
#include "speedhq/packetpool.h"

namespace speedhq {

/// A slice's length has 24 bits.
inline constexpr std::size_t kMaxSliceBytes = (std::size_t{1} << 24) - 1;

/// Null when a slice would be longer than `maxSliceBytes`.
[[nodiscard]] EncodedFramePtr assemblePacket(const Kernels& kernels,
                                             const std::vector<EncodedRow>& rows, int width,
                                             int height, int quality, PacketPool& pool,
                                             std::size_t maxSliceBytes);

}  // namespace speedhq
