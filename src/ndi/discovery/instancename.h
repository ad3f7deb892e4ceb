#pragma once

#include <string>

namespace ndi::mdns {

/// Why `instance` can't be the name of a service: empty, over 63 bytes, not UTF-8. "" when it can.
[[nodiscard]] std::string whyNotAnInstance(const std::string& instance);

}  // namespace ndi::mdns
