#pragma once
// The command line of ndisend.

#include <optional>
#include <string>
#include <vector>

#include "session/rectangle.h"
#include "support/commandline.h"

namespace cli {

using support::Information;
using support::UsageError;

/// What is not set is taken from the settings file, if one is named, or has its default.
struct Options {
    std::optional<std::string> screen;  ///< A number or a name.
    std::optional<session::Rectangle> region;
    std::optional<int> frameRate;
    bool exact = false;
    std::optional<std::string> name;
    bool pointer = false;
    bool grab = false;
    std::vector<std::string> interfaces;
    std::vector<std::string> allow;
    std::string configFile;  ///< As given; "" without one.
    bool json = false;
    bool listScreens = false;
    bool control = false;
};

constexpr int kMostFrames = 120;  ///< Per second.

/// `arguments` are those behind the program's name.
[[nodiscard]] support::Parsed<Options> parseOptions(const std::vector<std::string>& arguments);

/// "1280x720+100+50", X and Y in the desktop; "+-100" is left of its origin. Empty: not such a
/// text.
[[nodiscard]] std::optional<session::Rectangle> parseRegion(const std::string& text);

/// What is wrong with the name of a source, "" if nothing is.
[[nodiscard]] std::string checkName(const std::string& name);

}  // namespace cli
