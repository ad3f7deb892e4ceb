#pragma once
// What our own programs may ask of the NDI library beyond the vendor's four functions.

#include "ndi/ndilib.h"
#include "support/changedrows.h"

namespace ndi {

/// Says which rows of the next picture sent on `instance` may differ from the picture sent before
/// it, so that the built-in output need not look at the others. Holds for one send. The vendor's
/// runtime has no such thing and ignores it. Same thread as the send.
void hintChangedRows(NDIlib_send_instance_t instance, const support::ChangedRows& changed);

}  // namespace ndi
