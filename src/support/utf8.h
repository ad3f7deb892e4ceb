#pragma once
// Text from outside, made safe for names and log lines.

#include <cstddef>
#include <string>
#include <string_view>

namespace support {

/// The longest beginning of `text` of at most `maxBytes` bytes that ends between two characters.
[[nodiscard]] std::string cutUtf8(std::string_view text, std::size_t maxBytes);

/// `text` with "?" for each byte that is not valid UTF-8 and blanks for control characters.
[[nodiscard]] std::string cleanUtf8(std::string_view text);

}  // namespace support
