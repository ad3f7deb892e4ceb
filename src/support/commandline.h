#pragma once
// What the command lines of our programs have in common. No Qt.

#include <CLI/App.hpp>
#include <functional>
#include <optional>
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

/// The options of a program, or a text with which it ends.
template <typename Options>
using Parsed = std::variant<Options, UsageError, Information>;

/// What is wrong with the words that no option took, unknown options left out; "" if nothing is.
using CheckWords = std::function<std::string(const std::vector<std::string>& words)>;

/// Prepares `app`, which has no options yet: `usage` and `footer` for --help. Of an option that is
/// given twice the last one counts.
void prepareCommandLine(CLI::App& app, const std::string& usage, const std::string& footer);

/// Parses `arguments`, those behind the program's name, into the variables that the options of
/// `app` refer to, then calls `check`. `version` is what --version prints. Empty: the program goes
/// on.
[[nodiscard]] std::optional<std::variant<UsageError, Information>> parseArguments(
    CLI::App& app, const std::string& version, const std::vector<std::string>& arguments,
    const CheckWords& check);

/// The same for the options of `app` that refer to members of `options`.
template <typename Options>
[[nodiscard]] Parsed<Options> parseInto(const Options& options, CLI::App& app,
                                        const std::string& version,
                                        const std::vector<std::string>& arguments,
                                        const CheckWords& check) {
    const auto ending = parseArguments(app, version, arguments, check);
    return ending ? std::visit([](const auto& text) -> Parsed<Options> { return text; }, *ending)
                  : options;
}

}  // namespace support
