#include "ui/collaborators.h"

#include "sender/ndidxsender.h"
#include "sender/ndisender.h"
#include "sender/ndisource.h"

Collaborators Collaborators::real() {
    Collaborators all;
    all.screens = [] { return ScreensDetector("local", "127.0.0.1").getScreens(); };
    all.adaptors = enumerateAdaptors;
    all.outputDeviceName = findOutputDeviceName;
    all.createSource = [](const std::string& name, NDIlib_send_instance_t& instance) {
        createNdiSource(name, instance);
    };
    all.destroySource = NDIlib_send_destroy;
    all.makeDxSender = [](const std::string& name, NDIlib_send_instance_t instance) {
        return std::make_unique<NdiDxSender>(name, instance);
    };
    all.makeGrabSender = [](const std::string& name, NDIlib_send_instance_t instance) {
        return std::make_unique<NDISender>(name, instance);
    };
    return all;
}
