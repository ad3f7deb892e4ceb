#pragma once
// How our own code writes a log line:
//
//     HV_INFO("received {} bytes from {}", size, peer);
//
// The message is formatted with fmt, the source location is appended as
// " \n //file:function()#line.", and the result is logged verbatim: braces in it are not formatted
// again. No Qt. Any thread.

#include <fmt/format.h>

#include <string>
#include <string_view>
#include <utility>

#include "support/hv/spdlogapplication.h"

namespace support {

/// The file's base name without its extension, whatever the path separator:
/// "/a/b/main.cpp" and "C:\\a\\main.cpp" both give "main".
constexpr std::string_view sourceBaseName(std::string_view path) {
    const auto slash = path.find_last_of("/\\");
    if (slash != std::string_view::npos) {
        path.remove_prefix(slash + 1);
    }
    return path.substr(0, path.find_last_of('.'));
}

/// Appends the source location to `message` and logs it. `level` is spdlog's number.
inline void logAt(int level, std::string_view file, std::string_view function, int line,
                  std::string message) {
    fmt::format_to(std::back_inserter(message), " \n //{}:{}()#{}.", sourceBaseName(file), function,
                   line);
    HV::SpdlogApplication::instance().logger()->log(static_cast<spdlog::level::level_enum>(level),
                                                    spdlog::string_view_t(message));
}

/// Formats with a text that was checked against its arguments at compile time. The plain text is
/// passed as well because a C++17 macro can't separate it from the arguments.
template <typename CheckedText, typename... Arguments>
std::string formatChecked(const CheckedText& checked, const char* /*plain*/,
                          Arguments&&... arguments) {
    return fmt::format(checked, std::forward<Arguments>(arguments)...);
}

}  // namespace support

/// The general form. `function` is the name to print, normally __func__; the format text and its
/// arguments follow.
#define HV_LOG(level, function, ...)                          \
    ::support::logAt((level), __FILE__, (function), __LINE__, \
                     ::support::formatChecked(FMT_STRING(HV_HEAD(__VA_ARGS__, "")), __VA_ARGS__))

#define HV_DEBUG(...) HV_LOG(1, __func__, __VA_ARGS__)
#define HV_INFO(...) HV_LOG(2, __func__, __VA_ARGS__)
#define HV_WARN(...) HV_LOG(3, __func__, __VA_ARGS__)
#define HV_ERROR(...) HV_LOG(4, __func__, __VA_ARGS__)

#define HV_HEAD(first, ...) first
