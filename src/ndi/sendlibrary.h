#pragma once
// What stands behind the C interface.

#include <functional>
#include <memory>
#include <string>

#include "ndi/ndilib.h"
#include "ndi/output/source.h"
#include "support/dirtyrows.h"

namespace ndi {

/// The vendor's runtime or the built-in output. Any thread. The arguments are the C interface's,
/// wrong ones included.
class SendLibrary {
public:
    virtual ~SendLibrary() = default;

    [[nodiscard]] virtual NDIlib_send_instance_t create(const NDIlib_send_create_t* settings) = 0;
    virtual void send(NDIlib_send_instance_t instance, const NDIlib_video_frame_v2_t* frame) = 0;
    virtual void destroy(NDIlib_send_instance_t instance) = 0;
    virtual void hint(NDIlib_send_instance_t instance, const support::DirtyRows& dirty) = 0;
};

/// Reads an environment variable; empty when it is not set.
using Environment = std::function<std::string(const char*)>;

/// The vendor's runtime, loaded and initialised, `path` its file. Null when there is none that
/// works: `reason` is then empty if none was found at all, else it says what is wrong with those
/// that were found or that a variable promised.
///
/// NDI_RUNTIME_DIR_V6, then _V5, then _V4 name the folder to look in. On Linux the loader's path is
/// searched when none of them is set.
[[nodiscard]] std::unique_ptr<SendLibrary> loadVendorLibrary(const Environment& environment,
                                                             std::string& path,
                                                             std::string& reason);

/// The built-in output. `parts` makes what each source works with.
[[nodiscard]] std::unique_ptr<SendLibrary> makeBuiltInLibrary(std::function<SourceParts()> parts =
                                                                  [] { return SourceParts{}; });

}  // namespace ndi
