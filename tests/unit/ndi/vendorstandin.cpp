// Stands in for the vendor's runtime: the same four exports, and a look at what was called.
// STANDIN_TAG tells the builds apart; STANDIN_WORKS 0 can't be initialised; STANDIN_LACKS_SEND
// leaves out one export.

#include "ndi/ndilib.h"

extern "C" {

int standinWidthSeen = 0;
int standinDestroyed = 0;

bool NDIlib_initialize() {
    return STANDIN_WORKS != 0;
}

NDIlib_send_instance_t NDIlib_send_create(const NDIlib_send_create_t* settings) {
    return settings != nullptr && settings->clock_video
               ? reinterpret_cast<NDIlib_send_instance_t>(std::uintptr_t{STANDIN_TAG})
               : nullptr;
}

#ifndef STANDIN_LACKS_SEND
void NDIlib_send_send_video_v2(NDIlib_send_instance_t /*instance*/,
                               const NDIlib_video_frame_v2_t* frame) {
    standinWidthSeen = frame->xres;
}
#endif

void NDIlib_send_destroy(NDIlib_send_instance_t /*instance*/) {
    ++standinDestroyed;
}
}
