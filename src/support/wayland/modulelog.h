#pragma once
// Log lines of the Wayland module. It has no logger of its own: what it says goes to the program's.

#include <fmt/format.h>

#include "support/wayland/module.h"

namespace support::wayland {

/// Null: log lines are lost. Set before any other thread runs.
void setModuleLog(LogFunction log);

void moduleLog(int level, const char* file, const char* function, int line,
               const std::string& message);

}  // namespace support::wayland

#define MODULE_LOG(level, ...) \
    ::support::wayland::moduleLog((level), __FILE__, __func__, __LINE__, ::fmt::format(__VA_ARGS__))
#define MODULE_INFO(...) MODULE_LOG(2, __VA_ARGS__)
#define MODULE_WARN(...) MODULE_LOG(3, __VA_ARGS__)
