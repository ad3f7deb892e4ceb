#pragma once
// The framing of every message: a 12-byte header, the info block, the data.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "ndi/wire/bytes.h"

namespace ndi::wire {

inline constexpr std::size_t kHeaderSize = 12;
/// Larger info blocks do not occur in practice.
inline constexpr std::uint32_t kMaxInfoSize = 1024;
/// The versions that we write and announce; readable with the first kind of scrambling.
inline constexpr std::uint16_t kTextVersion = 1;
inline constexpr std::uint16_t kVideoVersion = 3;

enum class Kind : std::uint16_t { Video = 0, Audio = 1, Text = 2 };

struct Header {
    std::uint16_t version = 0;  ///< Without the 0x8000 bit that every message has in that field.
    std::uint16_t kind = 0;     ///< A Kind, or a kind of a later protocol.
    std::uint32_t infoSize = 0;
    std::uint32_t dataSize = 0;
};

/// The sizes that a reader accepts, in bytes.
struct Limits {
    std::uint32_t info = kMaxInfoSize;
    std::uint32_t text = 1U << 20;
    std::uint32_t other = 1U << 20;  ///< Data of video, audio and unknown kinds.

    /// For a receiver: four slices of the largest length that the codec can write.
    static constexpr Limits forReceiver() { return {kMaxInfoSize, 1U << 20, 1U << 26}; }
};

/// Reads kHeaderSize bytes. Null when they are a valid header, else the error.
[[nodiscard]] const char* readHeader(const std::uint8_t* bytes, const Limits& limits,
                                     Header& header);

/// Writes kHeaderSize bytes.
void writeHeader(const Header& header, std::uint8_t* bytes);

/// Whether the scrambled part of such a message uses the first kind of scrambling.
[[nodiscard]] bool isReadable(const Header& header);

/// A whole text message: header, a timecode of zero, `xml` with its closing zero byte.
[[nodiscard]] std::vector<std::uint8_t> makeTextMessage(std::string_view xml);

/// Header and scrambled info of a message; its data is sent from elsewhere.
struct MessageHead {
    std::array<std::uint8_t, kHeaderSize + kMaxInfoSize> bytes{};
    std::size_t size = 0;

    [[nodiscard]] ByteView view() const { return {bytes.data(), size}; }
};

}  // namespace ndi::wire
