#pragma once
// The name under which receivers find a source.

#include <cstddef>
#include <string>
#include <string_view>

namespace ndi::wire {

/// A DNS-SD instance label holds no more bytes.
inline constexpr std::size_t kMaxInstanceName = 63;

/// The host name in capitals, without its domain; "LOCALHOST" when the system has none.
[[nodiscard]] std::string machineName();

/// "MACHINE (Source name)" in at most kMaxInstanceName bytes of clean UTF-8. The source part is cut
/// at a character boundary so that the closing bracket fits, in front of a number at its end: names
/// that differ in that number alone stay different. The machine part is cut only when it would
/// leave less than 20 bytes for the source.
[[nodiscard]] std::string instanceName(std::string_view machine, std::string_view source);

/// The part in brackets of such a name; the whole name when it has none.
[[nodiscard]] std::string sourcePart(std::string_view instance);

}  // namespace ndi::wire
