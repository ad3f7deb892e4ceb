#include "support/virtualdisplay.h"

#include <signal.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace tests {
namespace {

constexpr char kXorgConfiguration[] = R"(
Section "ServerFlags"
    Option "AutoAddDevices" "false"
    Option "AutoAddGPU" "false"
EndSection
Section "Device"
    Identifier "dummy"
    Driver "dummy"
    VideoRam 65536
EndSection
Section "Screen"
    Identifier "screen"
    Device "dummy"
    DefaultDepth 24
    SubSection "Display"
        Depth 24
        Virtual 2560 1440
    EndSubSection
EndSection
)";

/// With -displayfd the server writes its display number on a line of its own.
std::string displayNumber(const std::string& output) {
    std::istringstream lines(output);
    std::string line;
    while (std::getline(lines, line)) {
        if (!line.empty() && line.find_first_not_of("0123456789") == std::string::npos) {
            return line;
        }
    }
    return {};
}

void setDisplay(const std::string& display) {
    if (display.empty()) {
        ::unsetenv("DISPLAY");
    } else {
        ::setenv("DISPLAY", display.c_str(), 1);
    }
}

}  // namespace

struct VirtualDisplay::Folder {
    Folder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "display-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) {
            throw std::runtime_error("cannot create a folder for a virtual display");
        }
        path = pattern;
    }
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    std::filesystem::path path;
};

VirtualDisplay VirtualDisplay::xvfb(const std::string& size,
                                    const std::vector<std::string>& options) {
    std::vector<std::string> command = {"Xvfb",     "-screen",   "0",  size,
                                        "-noreset", "-nolisten", "tcp"};
    command.insert(command.end(), options.begin(), options.end());
    return VirtualDisplay(command, std::make_shared<Folder>());
}

VirtualDisplay VirtualDisplay::xorg() {
    auto folder = std::make_shared<Folder>();
    const auto configuration = folder->path / "xorg.conf";
    std::ofstream(configuration) << kXorgConfiguration;
    std::filesystem::create_directory(folder->path / "empty");
    // A seat without a console does not touch the machine's screen and keyboard.
    return VirtualDisplay({"Xorg", "-seat", "virtual", "-noreset", "-nolisten", "tcp", "-config",
                           configuration.string(), "-configdir", (folder->path / "empty").string(),
                           "-logfile", (folder->path / "xorg.log").string()},
                          folder);
}

VirtualDisplay::VirtualDisplay(std::vector<std::string> command, std::shared_ptr<Folder> folder)
    : m_folder(std::move(folder)), m_command(std::move(command)) {
    start(m_command);
}

void VirtualDisplay::start(const std::vector<std::string>& command) {
    auto full = command;
    full.insert(full.end(), {"-displayfd", "1"});
    m_server = std::make_unique<Process>(full, (m_folder->path / "server.log").string());
    const auto ready = [this] { return !displayNumber(m_server->output()).empty(); };
    if (!eventually([&] { return ready() || !m_server->running(); }, std::chrono::seconds(30)) ||
        !ready()) {
        throw std::runtime_error(command[0] + " did not start: " + m_server->output());
    }
    m_name = ":" + displayNumber(m_server->output());
}

void VirtualDisplay::kill() {
    m_server->signal(SIGKILL);
    m_server->waitFor(std::chrono::seconds(10));
}

void VirtualDisplay::restart() {
    auto command = m_command;
    command.insert(command.begin() + 1, m_name);
    start(command);
}

std::vector<std::string> VirtualDisplay::onDisplay(std::vector<std::string> command) const {
    command.insert(command.begin(), {"env", "DISPLAY=" + m_name});
    return command;
}

void VirtualDisplay::run(std::vector<std::string> command) const {
    runToEnd(onDisplay(std::move(command)));
}

std::unique_ptr<Process> VirtualDisplay::spawn(std::vector<std::string> command) const {
    const auto log = m_folder->path / (command[0] + ".log");
    return std::make_unique<Process>(onDisplay(std::move(command)), log.string());
}

DisplayVariable::DisplayVariable(const std::string& display) {
    if (const char* before = std::getenv("DISPLAY")) {
        m_before = before;
    }
    setDisplay(display);
}

DisplayVariable::~DisplayVariable() {
    setDisplay(m_before);
}

}  // namespace tests
