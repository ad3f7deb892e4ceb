#pragma once
// The host name as a label below ".local" (RFC 6762, 3 and 16).

#include <string>
#include <string_view>

namespace mdns {

/// `hostName` as one label of 1 to 63 bytes. Letters, digits, hyphens and every valid character
/// outside ASCII stay, since mDNS names are UTF-8; everything else becomes a hyphen, with none at
/// either end. "ndi-host" when nothing is left, and for "localhost".
[[nodiscard]] std::string hostLabel(std::string_view hostName);

/// The label to try after a conflict: `label` with "-2", "-3" and so on behind it, cut so that the
/// whole has at most 63 bytes.
[[nodiscard]] std::string numberedHostLabel(std::string_view label, unsigned number);

}  // namespace mdns
