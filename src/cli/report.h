#pragma once
// The texts of ndisend.

#include <string>

#include "cli/publisher.h"

namespace cli {

/// One line for a terminal, without an end of line.
[[nodiscard]] std::string statusLine(const Publisher::State& state);

/// A line of JSON: `event`, then the state.
[[nodiscard]] std::string statusJson(const std::string& event, const Publisher::State& state);

/// The answer to a command, a line of JSON; `error` "" for success, which the state follows.
[[nodiscard]] std::string answerJson(const std::string& command, const std::string& error,
                                     const Publisher::State& state);

/// All screens: number, name, size and place, "primary" for that one, separated by tabs; or JSON.
[[nodiscard]] std::string screensText(const session::ScreenList& list);
[[nodiscard]] std::string screensJson(const session::ScreenList& list);

}  // namespace cli
