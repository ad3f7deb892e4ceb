#include "commandline.h"

#include <string_view>

namespace {

constexpr char kHelp[] =
    R"(Usage: tarsinndi [--help | --version]

Opens a window in which a screen, or a region of it, is chosen and published as a live NDI source.

Options:
  --help       Print this help
  --version    Print the version

If receivers don't see the source: ndimonitor --doctor
)";

}  // namespace

std::optional<std::string> consoleAnswer(int argc, const char* const argv[]) {
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        if (argument == "--help") {
            return kHelp;
        }
        if (argument == "--version") {
            return "tarsinndi " TARSIN_VERSION "\n";
        }
    }
    return {};
}
