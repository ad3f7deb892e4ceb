#pragma once
// The implementations of the C interface.

#include <functional>
#include <memory>
#include <string>

#include "ndi/ndilib.h"
#include "ndi/output/source.h"
#include "ndi/outputsettings.h"
#include "ndi/sourcestatus.h"
#include "support/dirtyrows.h"

namespace ndi {

/// The vendor's runtime or the built-in output. Any thread. The arguments come unchecked from the
/// C interface.
class SendLibrary {
public:
    virtual ~SendLibrary() = default;

    [[nodiscard]] virtual NDIlib_send_instance_t create(const NDIlib_send_create_t* settings) = 0;
    virtual void send(NDIlib_send_instance_t instance, const NDIlib_video_frame_v2_t* frame) = 0;
    virtual void destroy(NDIlib_send_instance_t instance) = 0;
    virtual void hint(NDIlib_send_instance_t instance, const support::DirtyRows& dirty) = 0;
    [[nodiscard]] virtual SourceStatus status(NDIlib_send_instance_t instance) = 0;
    /// For the sources created from now on.
    virtual void configure(OutputSettings settings) = 0;
};

/// Reads an environment variable; empty when it is not set.
using Environment = std::function<std::string(const char*)>;

/// Loads and initialises the vendor's runtime; `path` receives its file. Null when none works:
/// `reason` is empty if none is installed, else it says what is wrong with each one that was found
/// or that a variable names.
///
/// NDI_RUNTIME_DIR_V6, then _V5, then _V4 name the folder to search. On Linux the loader's path is
/// searched when none of them is set.
[[nodiscard]] std::unique_ptr<SendLibrary> loadVendorLibrary(const Environment& environment,
                                                             std::string& path,
                                                             std::string& reason);

/// The built-in output. `parts` is called once for each source.
[[nodiscard]] std::unique_ptr<SendLibrary> makeBuiltInLibrary(std::function<SourceParts()> parts =
                                                                  [] { return SourceParts{}; });

}  // namespace ndi
