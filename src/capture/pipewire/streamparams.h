#pragma once
// What the stream asks of the compositor.

#include <spa/param/video/raw.h>
#include <spa/pod/builder.h>

#include <optional>
#include <vector>

#include "capture/pipewire/pixels.h"

namespace capture::pipewire {

/// Memory in which parameters are built; they live as long as it does.
class StreamParams {
public:
    StreamParams();

    /// Uncompressed video in any layout that PixelOrder knows, of any size and up to 240 fps.
    [[nodiscard]] const spa_pod* format();

    /// Buffers in memory that can be mapped, at least three: one is always held by FrameBox.
    [[nodiscard]] const spa_pod* buffers();

    /// The data that comes with each frame: `type` one of spa_meta_type, `size` in bytes, or up to
    /// `most` where the compositor has more.
    [[nodiscard]] const spa_pod* meta(std::uint32_t type, std::size_t size, std::size_t most);

private:
    std::vector<std::uint8_t> m_memory;
    spa_pod_builder m_builder;
};

/// Nothing for a layout that was not asked for.
[[nodiscard]] std::optional<PixelOrder> pixelOrder(spa_video_format format);

}  // namespace capture::pipewire
