#include "screens/windows/adaptors.h"

#include <wrl/client.h>

#include "screens/enumeration.h"
#include "support/log.h"
#include "support/utf8.h"

namespace screens {
namespace {

using Microsoft::WRL::ComPtr;

// A driver that never ends its list of outputs must not keep the window from opening.
constexpr UINT kMaxOutputs = 256;

OutputDescInfo outputInfo(IDXGIOutput& output) {
    DXGI_OUTPUT_DESC description = {};
    output.GetDesc(&description);
    const RECT& desktop = description.DesktopCoordinates;
    OutputDescInfo info;
    info.left = desktop.left;
    info.top = desktop.top;
    info.right = desktop.right;
    info.bottom = desktop.bottom;
    info.deviceName = support::utf8FromWide(description.DeviceName);
    return info;
}

DeviceAdaptorInfo adaptorInfo(IDXGIAdapter& adapter) {
    DXGI_ADAPTER_DESC description = {};
    adapter.GetDesc(&description);
    DeviceAdaptorInfo info;
    info.deviceId = description.DeviceId;
    info.adaptorName = support::utf8FromWide(description.Description);
    info.luidLowPart = static_cast<std::uint32_t>(description.AdapterLuid.LowPart);
    info.luidHighPart = static_cast<std::int32_t>(description.AdapterLuid.HighPart);

    for (UINT index = 0; index < kMaxOutputs; ++index) {
        ComPtr<IDXGIOutput> output;
        if (adapter.EnumOutputs(index, output.GetAddressOf()) == DXGI_ERROR_NOT_FOUND) {
            break;
        }
        // Other errors affect this index only.
        if (output) {
            info.outputs.push_back(outputInfo(*output.Get()));
        }
    }
    return info;
}

}  // namespace

std::list<DeviceAdaptorInfo> adaptorsOf(IDXGIFactory1& factory) {
    std::list<DeviceAdaptorInfo> adaptors;
    for (UINT index = 0;; ++index) {
        ComPtr<IDXGIAdapter> adapter;
        if (factory.EnumAdapters(index, adapter.GetAddressOf()) == DXGI_ERROR_NOT_FOUND ||
            !adapter) {
            return adaptors;
        }
        adaptors.push_back(adaptorInfo(*adapter.Get()));
    }
}

std::list<DeviceAdaptorInfo> platformAdaptors() {
    ComPtr<IDXGIFactory1> factory;
    const HRESULT result = CreateDXGIFactory1(IID_PPV_ARGS(factory.GetAddressOf()));
    if (FAILED(result)) {
        HV_WARN("listing the graphics adapters failed: CreateDXGIFactory1 returned {:#010x}",
                static_cast<std::uint32_t>(result));
        return {};
    }
    return adaptorsOf(*factory.Get());
}

}  // namespace screens
