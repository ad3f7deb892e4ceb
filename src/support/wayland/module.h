#pragma once
// What the program and its Wayland module know of each other.
//
// The module is a shared library that links PipeWire, GLib and the Wayland client library. The
// program loads it in a Wayland session only, so that an X11 session needs none of them. Program
// and module come from one build, which the program checks; nothing else loads the module.

#include <filesystem>
#include <string>
#include <vector>

#include "support/monitorevents.h"

namespace support::wayland {

/// One monitor as the compositor describes it.
struct Output {
    std::string name;  ///< The connector, such as "DP-1".
    int x = 0;         ///< In the compositor's layout, logical pixels.
    int y = 0;
    int logicalWidth = 0;  ///< What Wayland and X11 clients see of it.
    int logicalHeight = 0;
    int width = 0;  ///< Physical pixels, as the monitor stands: rotation applied.
    int height = 0;

    /// Physical pixels to a logical one.
    [[nodiscard]] double scale() const {
        return logicalWidth > 0 ? static_cast<double>(width) / logicalWidth : 1;
    }
};

/// Writes a log line of the module's into the program's log; `level` is spdlog's number.
using LogFunction = void (*)(int level, const char* file, const char* function, int line,
                             const std::string& message);

/// "tarsinListOutputs": the outputs of the compositor at WAYLAND_DISPLAY, in its order. False:
/// `error` says why there are none. Takes two round trips.
using ListOutputs = bool (*)(std::vector<Output>& outputs, std::string& error);
inline constexpr char kListOutputs[] = "tarsinListOutputs";

/// "tarsinWatchOutputs": tells from now on when the outputs of the compositor at WAYLAND_DISPLAY
/// change. The caller owns the result, which is not alive where no compositor answers. Takes two
/// round trips.
using WatchOutputs = MonitorEvents* (*)();
inline constexpr char kWatchOutputs[] = "tarsinWatchOutputs";

/// What capturing the screen of a Wayland session needs, as far as it is there.
struct CastSupport {
    std::string portal;       ///< Version, back ends, what it can cast; one line.
    std::string portalError;  ///< "" when monitors can be cast.
    std::string pipeWireLibrary;
    std::string pipeWireDaemon;
    std::string pipeWireError;  ///< "" when the daemon answered.
};

/// "tarsinDescribeCast": asks portal and PipeWire. No question is put to the user. Blocks until
/// both have answered; a few seconds where PipeWire does not.
using DescribeCast = void (*)(CastSupport& support);
inline constexpr char kDescribeCast[] = "tarsinDescribeCast";

/// Why the module can't be used, and what to do about it: parts of an English sentence.
struct ModuleError {
    std::string reason;  ///< "": it can.
    std::string advice;

    [[nodiscard]] std::string text() const { return reason + "; " + advice; }
};

/// The address of a function of the module, which is loaded by the first call and stays. Null:
/// `error` names what is missing; a later call tries again. The file is looked for beside the
/// program, in ../lib/tarsinndi, and first in the folder that TARSIN_MODULES names.
[[nodiscard]] void* moduleFunction(const char* name, ModuleError& error);

/// Where `file`, which is delivered with the program, is: as for the module. Empty: `error` says
/// that it is missing.
[[nodiscard]] std::filesystem::path deliveredFile(const char* file, ModuleError& error);

/// What the version of everything that is delivered with this program has to be.
[[nodiscard]] const char* programVersion();

/// "tarsinModuleVersion": what the program's own version has to be equal to, because both share C++
/// classes. Valid for as long as the module is loaded.
using ModuleVersion = const char* (*)();
inline constexpr char kModuleVersion[] = "tarsinModuleVersion";

/// Sets the log function of the module; the program's own is set when the module is loaded.
inline constexpr char kSetLog[] = "tarsinSetLog";
using SetLog = void (*)(LogFunction log);

}  // namespace support::wayland
