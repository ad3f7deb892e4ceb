#include "session/collaborators.h"

#include <cstdint>
#include <optional>
#include <vector>

#include "ndi/ndilibrary.h"
#include "sender/ndidxsender.h"
#include "sender/ndisender.h"
#include "sender/ndisource.h"
#include "sender/videoframe.h"
#include "support/settings.h"

namespace {

void sendBlack(NDIlib_send_instance_t instance, int width, int height,
               const std::optional<sender::FrameRate>& exactRate) {
    constexpr std::uint32_t kOpaqueBlack = 0xFF000000;
    const auto size = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    std::vector<std::uint32_t> pixels(size, kOpaqueBlack);
    NDIlib_video_frame_v2_t frame = sender::initialVideoFrame();
    sender::announceRate(frame, exactRate);
    frame.xres = width;
    frame.yres = height;
    frame.FourCC = NDIlib_FourCC_type_BGRA;
    frame.p_data = reinterpret_cast<std::uint8_t*>(pixels.data());
    NDIlib_send_send_video_v2(instance, &frame);
}

}  // namespace

Collaborators Collaborators::real() {
    const auto read = [](const char* key) {
        const QString path = QString::fromLocal8Bit(g_iniPath.c_str());
        return readIniList(path, "SystemSet", key).toStdString();
    };
    ndi::configureOutput(ndi::readOutputSettings(read));
    return withoutSettings(sender::readSenderOptions(read));
}

Collaborators Collaborators::withoutSettings(const sender::SenderOptions& options) {
    Collaborators all;
    all.screens = [] { return ScreensDetector("local", "127.0.0.1").getScreens(); };
    all.adaptors = enumerateAdaptors;
    all.outputDeviceName = findOutputDeviceName;
    all.createSource = [](const std::string& name, NDIlib_send_instance_t& instance) {
        createNdiSource(name, instance);
    };
    all.destroySource = NDIlib_send_destroy;
    all.sourceStatus = ndi::sourceStatus;
    all.sendBlackFrame = [options](NDIlib_send_instance_t instance, int width, int height,
                                   int frameRate) {
        sendBlack(instance, width, height, sender::exactRate(options.rateMode, frameRate));
    };
    all.makeDxSender = [options](const std::string& name, NDIlib_send_instance_t instance) {
        auto made = std::make_unique<NdiDxSender>(name, instance);
        made->setOptions(options);
        return made;
    };
    all.makeGrabSender = [options](const std::string& name, NDIlib_send_instance_t instance) {
        auto made = std::make_unique<NDISender>(name, instance);
        made->setOptions(options);
        return made;
    };
    return all;
}
