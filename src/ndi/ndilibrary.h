#pragma once
// What our own programs may ask of the NDI library beyond the vendor's four functions.

#include "ndi/ndilib.h"
#include "support/dirtyrows.h"

namespace ndi {

/// Says which rows of the next frame sent on `instance` may differ from the frame sent before
/// it, so that the built-in output need not look at the others. Holds for one send. The vendor's
/// runtime has no such thing and ignores it. Same thread as the send.
void hintDirtyRows(NDIlib_send_instance_t instance, const support::DirtyRows& dirty);

}  // namespace ndi
