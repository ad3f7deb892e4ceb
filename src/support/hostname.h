#pragma once
// The name of this machine. Each platform has its own implementation.

#include <string>

namespace support {

/// The system's host name up to the first dot, in UTF-8, with "?" for what isn't valid and blanks
/// for control characters; "" when the system has none. Any thread.
[[nodiscard]] std::string hostName();

}  // namespace support
