#pragma once
// The command line of ndimonitor.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "support/commandline.h"

namespace monitor {

struct Options {
    enum class Task { List, Receive, Doctor };
    enum class Tally { None, Preview, Program };

    Task task = Task::Receive;
    std::string name;     ///< Of the source; empty with `address` or `all`.
    std::string address;  ///< HOST:PORT as given; "" without it.
    std::string host;     ///< Of `address`, an IPv6 address without its brackets.
    std::uint16_t port = 0;
    bool all = false;
    double waitSeconds = 5;         ///< Duration of the search.
    std::optional<double> seconds;  ///< Duration of the reception; unset: until interrupted.
    std::optional<std::uint64_t> frames;
    std::string saveFile;
    bool lowQuality = false;  ///< The preview stream.
    Tally tally = Tally::None;
    bool stats = false;
    bool json = false;
    bool decode = true;
    bool watch = false;  ///< With Task::List: go on until interrupted.
    bool view = false;   ///< Show the source in a window.
};

using support::Information;
using support::UsageError;

/// `arguments` are those behind the program's name.
[[nodiscard]] support::Parsed<Options> parseOptions(const std::vector<std::string>& arguments);

}  // namespace monitor
