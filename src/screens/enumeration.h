#pragma once
// Implemented once per platform.

#include <list>

#include "screens/adaptorinfo.h"

namespace screens {

/// The machine's adapters in enumeration order, not yet logged. Empty when there is no display.
[[nodiscard]] std::list<DeviceAdaptorInfo> platformAdaptors();

}  // namespace screens
