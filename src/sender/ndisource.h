#pragma once
// Initialises the media libraries and creates the NDI source.

#include <functional>
#include <optional>
#include <string>

#include "ndi/ndilib.h"

/// The functions that createNdiSource() calls; a test replaces them.
struct NdiSourceCalls {
    std::function<bool()> initializeLibrary;
    /// Initialises SDL and FFmpeg's devices. Returns SDL's error, or nothing on success.
    std::function<std::optional<std::string>()> initializeMedia;
    std::function<NDIlib_send_instance_t(const NDIlib_send_create_t*)> create;
    std::function<void(NDIlib_send_instance_t)> destroy;
    std::function<void(int milliseconds)> sleep;

    /// The real functions. SDL does not handle signals. It uses its dummy audio driver, and without
    /// video hardware its dummy video driver, because no sound or video goes through it. Drivers
    /// named in SDL's environment variables are used instead, and are an error if absent.
    static NdiSourceCalls real();
};

/// Initialises the libraries and creates a source named `name`, not numbered if that is taken.
/// `instance` receives the result, null on failure. Blocks for up to three seconds.
void createNdiSourceOfName(const std::string& name, NDIlib_send_instance_t& instance,
                           const NdiSourceCalls& calls = NdiSourceCalls::real());

/// Destroys `instance` if set, initialises the libraries and creates a source named `name`; while
/// that fails, tries name1, name2 ... name16, a second apart. `instance` receives the result, null
/// when every attempt failed. It keeps its (stale) value when a library can't be initialised, which
/// is printed to standard output. Blocks for up to 17 seconds.
void createNdiSource(const std::string& name, NDIlib_send_instance_t& instance,
                     const NdiSourceCalls& calls = NdiSourceCalls::real());
