#pragma once
// Bringing up the media libraries and the one NDI source.

#include <functional>
#include <optional>
#include <string>

#include "ndi/ndilib.h"

/// The calls that createNdiSource() makes, so that a test can stand in for them.
struct NdiSourceCalls {
    std::function<bool()> initializeLibrary;
    /// SDL and FFmpeg's devices. Nothing, or why SDL can't be brought up.
    std::function<std::optional<std::string>()> initializeMedia;
    std::function<NDIlib_send_instance_t(const NDIlib_send_create_t*)> create;
    std::function<void(NDIlib_send_instance_t)> destroy;
    std::function<void(int milliseconds)> sleep;

    /// The real ones. SDL leaves the process's signals alone. Where it finds no sound or video
    /// hardware it gets its dummy drivers instead, because nothing here plays a sound or draws
    /// through it; drivers named in SDL's environment variables are respected, and fail if absent.
    static NdiSourceCalls real();
};

/// Destroys `instance` if set, brings the libraries up and creates a source named `name`; while
/// that fails, tries name1, name2 ... name16, a second apart. `instance` receives the result, null
/// when every attempt failed; it keeps its (stale) value when a library can't be brought up, which
/// is said on standard output. Blocks for up to 17 seconds.
void createNdiSource(const std::string& name, NDIlib_send_instance_t& instance,
                     const NdiSourceCalls& calls = NdiSourceCalls::real());
