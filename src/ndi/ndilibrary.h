#pragma once
// What our own programs may ask of the NDI library beyond the vendor's four functions. Call these
// after NDIlib_initialize().

#include "ndi/ndilib.h"
#include "ndi/outputsettings.h"
#include "ndi/sourcestatus.h"
#include "support/dirtyrows.h"

namespace ndi {

/// Names the rows of the next frame sent on `instance` that may differ from the frame sent before
/// it; the built-in output does not compare the others. Holds for one send. The vendor's runtime
/// has no such function, the hint is ignored then. Same thread as the send.
void hintDirtyRows(NDIlib_send_instance_t instance, const support::DirtyRows& dirty);

/// Whether the alpha bytes of BGRA frames matter: to the vendor's runtime they do, the built-in
/// output ignores them. Any thread.
[[nodiscard]] bool readsAlpha();

/// What the source reports about itself and its receivers. With the vendor's runtime, and for an
/// unknown or destroyed source, `known` is false. Any thread; takes no lock that a send takes,
/// waits for nothing, and costs a few microseconds.
[[nodiscard]] SourceStatus sourceStatus(NDIlib_send_instance_t instance);

/// For the sources created from now on; may be called before NDIlib_initialize(). The vendor's
/// runtime ignores it.
void configureOutput(OutputSettings settings);

}  // namespace ndi
