#pragma once
// UTF-8 text: made safe for names and log lines, and converted from and to wide characters.

#include <cstddef>
#include <string>
#include <string_view>

namespace support {

/// The longest beginning of `text` of at most `maxBytes` bytes that ends between two characters.
[[nodiscard]] std::string cutUtf8(std::string_view text, std::size_t maxBytes);

/// `text` with "?" for each byte that is not valid UTF-8 and blanks for control characters.
[[nodiscard]] std::string cleanUtf8(std::string_view text);

/// UTF-8 to wide characters: UTF-16 where wchar_t has 16 bits, else UTF-32. Each byte that is not
/// valid UTF-8 becomes U+FFFD.
[[nodiscard]] std::wstring wideFromUtf8(std::string_view text);

/// The inverse. Surrogates without their other half become U+FFFD.
[[nodiscard]] std::string utf8FromWide(std::wstring_view wide);

}  // namespace support
