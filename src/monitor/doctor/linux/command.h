#pragma once

#include <string>

namespace monitor::doctor {

struct CommandResult {
    int code = -1;  ///< As the shell gives it: 127 when there is no such program.
    std::string output;
};

/// Runs a shell command that reads and ends by itself, with the folders for administrators in its
/// PATH and in the C locale; standard error is left out.
[[nodiscard]] CommandResult run(const std::string& command);

}  // namespace monitor::doctor
