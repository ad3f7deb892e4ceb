#include "monitor/doctor/linux/command.h"

#include <sys/wait.h>

#include <array>
#include <cstdio>

namespace monitor::doctor {

CommandResult run(const std::string& command) {
    CommandResult result;
    const std::string line =
        "PATH=\"$PATH:/usr/sbin:/sbin\" LC_ALL=C; export PATH LC_ALL; " + command + " 2>/dev/null";
    FILE* pipe = popen(line.c_str(), "re");  // NOLINT(cert-env33-c): fixed commands only.
    if (pipe == nullptr) {
        return result;
    }
    std::array<char, 4096> buffer{};
    for (std::size_t size = 0; (size = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0;) {
        result.output.append(buffer.data(), size);
    }
    const int status = pclose(pipe);
    result.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

}  // namespace monitor::doctor
