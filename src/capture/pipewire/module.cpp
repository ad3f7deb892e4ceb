// What the program finds in the module.

#include "support/wayland/module.h"
#include "capture/pipewire/castsupport.h"
#include "capture/pipewire/pipewirecapturescreen.h"
#include "support/wayland/modulelog.h"
#include "support/wayland/outputs.h"

#define MODULE_EXPORT extern "C" __attribute__((visibility("default")))

MODULE_EXPORT const char* tarsinModuleVersion() {
    return TARSIN_MODULE_VERSION;
}

MODULE_EXPORT void tarsinSetLog(support::wayland::LogFunction log) {
    support::wayland::setModuleLog(log);
}

MODULE_EXPORT bool tarsinListOutputs(std::vector<support::wayland::Output>& outputs,
                                     std::string& error) {
    return support::wayland::listOutputs(outputs, error);
}

MODULE_EXPORT support::MonitorEvents* tarsinWatchOutputs() {
    return new support::wayland::OutputWatch;
}

MODULE_EXPORT void tarsinDescribeCast(support::wayland::CastSupport& support) {
    support = capture::pipewire::describeCast();
}

/// The caller owns the result.
MODULE_EXPORT ScreenCapturer* tarsinCreateCapturer() {
    return new PipeWireCaptureScreen;
}
