#pragma once
// Whether standard output is a terminal, and how wide. Implemented once per platform.

#include <optional>

namespace support {

/// The width in characters if standard output is a terminal that can move its cursor by escape
/// sequences (ECMA-48); else empty.
[[nodiscard]] std::optional<int> terminalWidth();

}  // namespace support
