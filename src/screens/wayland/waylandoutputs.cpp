#include "screens/wayland/waylandoutputs.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "support/log.h"
#include "support/wayland/session.h"

namespace screens {

using support::wayland::Output;

std::vector<Output> waylandOutputs() {
    std::vector<Output> outputs;
    if (!support::wayland::isWaylandSession()) {
        return outputs;
    }
    support::wayland::ModuleError missing;
    const auto list = reinterpret_cast<support::wayland::ListOutputs>(
        support::wayland::moduleFunction(support::wayland::kListOutputs, missing));
    std::string error = list == nullptr ? missing.text() : "";
    if (list == nullptr || !list(outputs, error)) {
        HV_WARN("no screens from the Wayland compositor: {}; those of the X display are listed",
                error);
        outputs.clear();
    }
    return outputs;
}

std::list<DeviceAdaptorInfo> waylandAdaptors(const std::vector<Output>& outputs) {
    DeviceAdaptorInfo compositor;
    compositor.adaptorName = "Wayland compositor";
    for (const Output& output : outputs) {
        compositor.outputs.push_back({output.x, output.y, output.x + output.width,
                                      output.y + output.height, output.name,
                                      fmt::format("{} x{:.3g}", output.name, output.scale())});
    }
    return {compositor};
}

struScreensMsg waylandScreens(const std::vector<Output>& outputs) {
    struScreensMsg message;
    message.count =
        static_cast<std::uint16_t>(std::min(outputs.size(), std::size(message.screens)));
    for (std::size_t i = 0; i < message.count; ++i) {
        auto& screen = message.screens[i];
        screen.x = static_cast<std::int16_t>(outputs[i].x);
        screen.y = static_cast<std::int16_t>(outputs[i].y);
        screen.width = static_cast<std::uint16_t>(outputs[i].width);
        screen.height = static_cast<std::uint16_t>(outputs[i].height);
        screen.isDefault = outputs[i].x == 0 && outputs[i].y == 0 ? 1 : 0;
    }
    return message;
}

}  // namespace screens
