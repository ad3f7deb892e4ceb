#pragma once

#include <dxgi.h>

#include <list>

#include "screens/adaptorinfo.h"

namespace screens {

/// The adapters of `factory`, in its order.
[[nodiscard]] std::list<DeviceAdaptorInfo> adaptorsOf(IDXGIFactory1& factory);

}  // namespace screens
