#pragma once
// The compositor's outputs. Part of the module: needs the Wayland client library.

#include <string>
#include <vector>

#include "support/wayland/module.h"

namespace support::wayland {

/// As ListOutputs in module.h. Uses a connection of its own, closed when it returns.
[[nodiscard]] bool listOutputs(std::vector<Output>& outputs, std::string& error);

}  // namespace support::wayland
