#pragma once

#include <optional>
#include <string>

/// The text that --help or --version asks for, if one of them is among the arguments. The program
/// has no other options: the rest is for Qt.
[[nodiscard]] std::optional<std::string> consoleAnswer(int argc, const char* const argv[]);
