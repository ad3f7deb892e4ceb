#include "screens/adaptorinfo.h"

#include "screens/enumeration.h"
#include "support/log.h"

namespace {

constexpr char kCaller[] = "initDeviceAdaptorInfo";

void logAdaptor(const DeviceAdaptorInfo& adaptor) {
    if (adaptor.outputs.empty()) {
        HV_LOG(2, kCaller,
               "Not Found. DeviceId is {}, adaptorName is {}, adDes.AdapterLuid.LowPart {}, "
               "adDes.AdapterLuid.HighPart {}",
               adaptor.deviceId, adaptor.adaptorName, adaptor.luidLowPart, adaptor.luidHighPart);
        return;
    }
    HV_LOG(2, kCaller,
           "DeviceId is {}, adaptorName is {}, adDes.AdapterLuid.LowPart {}, "
           "adDes.AdapterLuid.HighPart {}, iOutputNum is {}",
           adaptor.deviceId, adaptor.adaptorName, adaptor.luidLowPart, adaptor.luidHighPart,
           adaptor.outputs.size());
    for (const auto& output : adaptor.outputs) {
        HV_LOG(2, kCaller,
               "2,DXGI_OUTPUT_DESC info, it.DeviceName {}, it.DesktopCoordinates.left {}, "
               "it.DesktopCoordinates.top {}",
               output.deviceName, output.left, output.top);
    }
}

}  // namespace

std::list<DeviceAdaptorInfo> enumerateAdaptors() {
    auto adaptors = screens::platformAdaptors();
    for (const auto& adaptor : adaptors) {
        logAdaptor(adaptor);
    }
    return adaptors;
}

std::string findOutputDeviceName(const std::list<DeviceAdaptorInfo>& adaptors,
                                 const struScreenItem& screen) {
    for (const auto& adaptor : adaptors) {
        for (const auto& output : adaptor.outputs) {
            if (output.left == screen.x && output.top == screen.y) {
                return output.deviceName;
            }
        }
    }
    return {};
}
