#pragma once

#include <string>
#include <vector>

namespace monitor::doctor {

/// What an X server offers. Through the XCB library if it is installed; nothing here links it.
struct X11Server {
    std::string error;                 ///< Why it can't be asked; "" when it was.
    std::vector<std::string> missing;  ///< Of the extensions asked for.
};

/// Asks the server at DISPLAY for extensions. Blocks until it answers.
[[nodiscard]] X11Server askX11Server(const std::vector<std::string>& extensions);

}  // namespace monitor::doctor
