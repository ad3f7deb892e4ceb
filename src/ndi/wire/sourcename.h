#pragma once
// The name under which a source is found.

#include <cstddef>
#include <string>
#include <string_view>

namespace ndi::wire {

/// A DNS-SD instance label holds no more bytes.
inline constexpr std::size_t kMaxInstanceName = 63;

/// The host name in capitals, without its domain; "LOCALHOST" when the system has none.
[[nodiscard]] std::string machineName();

/// "MACHINE (Source name)" in at most kMaxInstanceName bytes of clean UTF-8. The source part is cut
/// at a character so that the closing bracket fits; a machine name is cut only when it would leave
/// less than 20 bytes for the source.
[[nodiscard]] std::string instanceName(std::string_view machine, std::string_view source);

/// The longest beginning of `text` of at most `maxBytes` bytes that ends between two characters.
[[nodiscard]] std::string cutUtf8(std::string_view text, std::size_t maxBytes);

/// `text` with "?" for each byte that is not valid UTF-8 and blanks for control characters.
[[nodiscard]] std::string cleanUtf8(std::string_view text);

}  // namespace ndi::wire
