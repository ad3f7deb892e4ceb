#pragma once
// What the command lines of our programs have in common. No Qt.

#include <CLI/App.hpp>
#include <functional>
#include <string>
#include <variant>
#include <vector>

namespace support {

/// What is wrong with a command line: one line for the user.
struct UsageError {
    std::string message;
};

/// The text that --help or --version asks for.
struct Information {
    std::string text;
};

/// Prepares `app`, which has no options yet: `usage` and `footer` for --help. Of an option that is
/// given twice the last one counts.
void prepareCommandLine(CLI::App& app, const std::string& usage, const std::string& footer);

/// Parses `arguments`, those behind the program's name, into the variables that the options of
/// `app` refer to; `version` is what --version prints. `check` is then called with the words that
/// no option took, without unknown options, and returns "" or what is wrong.
[[nodiscard]] std::variant<std::monostate, UsageError, Information> parseCommandLine(
    CLI::App& app, const std::string& version, const std::vector<std::string>& arguments,
    const std::function<std::string(const std::vector<std::string>& words)>& check);

}  // namespace support
