#pragma once
// What ndimonitor is asked to do.

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace monitor {

struct Options {
    enum class Task { Help, Version, List, Receive };
    enum class Tally { None, Preview, Program };

    Task task = Task::Receive;
    std::string name;     ///< Of the source; empty with `address` or `all`.
    std::string address;  ///< HOST:PORT, taken apart below.
    std::string host;
    std::uint16_t port = 0;
    bool all = false;
    double waitSeconds = 5;         ///< How long sources are searched for.
    std::optional<double> seconds;  ///< How long to receive; unset: until interrupted.
    std::optional<std::uint64_t> frames;
    std::string saveFile;
    bool lowQuality = false;
    Tally tally = Tally::None;
    bool stats = false;
    bool json = false;
    bool decode = true;
};

/// What is wrong with a command line, fit to be shown.
struct UsageError {
    std::string message;
};

/// `arguments` without the program's name.
[[nodiscard]] std::variant<Options, UsageError> parseOptions(
    const std::vector<std::string>& arguments);

/// The text of --help.
[[nodiscard]] const char* helpText();

}  // namespace monitor
