#pragma once

#include "support/wayland/module.h"

namespace capture::pipewire {

/// As DescribeCast in support/wayland/module.h.
[[nodiscard]] support::wayland::CastSupport describeCast();

}  // namespace capture::pipewire
