#pragma once
// What each platform's folder implements.

#include <list>

#include "screens/adaptorinfo.h"

namespace screens {

/// The machine's adapters in enumeration order, not yet logged. Empty when there is no display.
[[nodiscard]] std::list<DeviceAdaptorInfo> platformAdaptors();

}  // namespace screens
