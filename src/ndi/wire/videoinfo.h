#pragma once
// The info block of a video message.

#include <cstdint>
#include <optional>
#include <string>

#include "ndi/wire/bytes.h"
#include "ndi/wire/message.h"

namespace ndi::wire {

struct VideoInfo {
    std::uint32_t fourCC = 0;  ///< Of the data, first character lowest.
    std::uint32_t width = 0;   ///< Pixels.
    std::uint32_t height = 0;
    std::uint32_t rateNumerator = 0;
    std::uint32_t rateDenominator = 0;
    float aspect = 0;               ///< Of the frame: width / height.
    std::uint32_t frameFormat = 1;  ///< 0 interleaved, 1 progressive, 2 and 3 single fields.
    std::int64_t timecode = 0;      ///< Units of 100 ns.
    std::int64_t timestamp = 0;     ///< Units of 100 ns since 1970-01-01 UTC.
    std::string metadata;           ///< XML or empty.
};

/// Longer metadata does not fit into a message.
inline constexpr std::size_t kMaxVideoMetadata = kMaxInfoSize - 56 - 1;

/// Writes header and info of a message whose data has `dataSize` bytes. Metadata that does not fit
/// is left out.
void writeVideoHead(const VideoInfo& info, std::uint32_t dataSize, MessageHead& head);

/// Reads an unscrambled info block. The first 24 bytes are required; fields missing after them keep
/// their defaults. Empty: too short, or a size or rate of zero.
[[nodiscard]] std::optional<VideoInfo> parseVideoInfo(ByteView bytes);

}  // namespace ndi::wire
