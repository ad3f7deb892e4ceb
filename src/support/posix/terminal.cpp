#include "support/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>

namespace support {

std::optional<int> terminalWidth() {
    const char* const kind = std::getenv("TERM");
    if (isatty(STDOUT_FILENO) == 0 || kind == nullptr || std::string_view(kind) == "dumb") {
        return std::nullopt;
    }
    winsize size{};
    const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return known ? size.ws_col : 80;
}

}  // namespace support
