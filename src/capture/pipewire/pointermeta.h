#pragma once
// The pointer as PipeWire delivers it beside a frame: spa_meta_cursor.

#include <cstddef>
#include <cstdint>

#include "capture/pipewire/framebox.h"

namespace capture::pipewire {

/// Pixels of a side of an image; mutter sends up to 384.
inline constexpr std::size_t kLargestPointer = 512;

/// The size of the data for an image of side * side pixels.
[[nodiscard]] std::size_t pointerMetaBytes(std::size_t side);

/// Reads the data at `meta`. False, with an invisible pointer, where it is not valid. `reshaped`:
/// there is a new image, in `shape`. An image that does not fit its data, or of an unknown format,
/// is left out.
[[nodiscard]] bool readPointerMeta(const void* meta, std::size_t bytes, FrameBox::Pointer& pointer,
                                   PointerShape& shape, bool& reshaped);

}  // namespace capture::pipewire
