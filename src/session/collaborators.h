#pragma once
// The screens, the NDI source and the senders that a session uses. Tests replace them by fakes.

#include <functional>
#include <list>
#include <memory>
#include <string>

#include "ndi/ndilib.h"
#include "ndi/sourcestatus.h"
#include "screens/adaptorinfo.h"
#include "screens/screensdetector.h"
#include "sender/ndisenderbase.h"

struct Collaborators {
    using MakeSender = std::function<std::unique_ptr<NDISenderBase>(const std::string& name,
                                                                    NDIlib_send_instance_t)>;

    std::function<struScreensMsg()> screens;
    std::function<std::list<DeviceAdaptorInfo>()> adaptors;
    std::function<std::string(const std::list<DeviceAdaptorInfo>&, const struScreenItem&)>
        outputDeviceName;
    /// Destroys `instance` and creates a source named `name` in its place; null on failure. May
    /// block for seconds.
    std::function<void(const std::string& name, NDIlib_send_instance_t& instance)> createSource;
    std::function<void(NDIlib_send_instance_t)> destroySource;
    std::function<ndi::SourceStatus(NDIlib_send_instance_t)> sourceStatus;
    /// Sends one black frame of that size, announced as the senders announce that frame rate.
    /// Blocks for a frame interval. No sender may be sending.
    std::function<void(NDIlib_send_instance_t, int width, int height, int frameRate)>
        sendBlackFrame;
    MakeSender makeDxSender;    ///< The default capture path.
    MakeSender makeGrabSender;  ///< The capture path through FFmpeg.

    /// The screens of this machine, the NDI library and the two senders. The output is configured
    /// by the settings file in g_iniPath.
    static Collaborators real();
    /// The same, with the output as it is and senders of these options.
    static Collaborators withoutSettings(const sender::SenderOptions& options = {});
};
