#include "dx_recordingndi.h"

#include <utility>

namespace tests {

std::function<void(SentPicture)> g_onPicture;

namespace {
thread_local support::ChangedRows t_hint;
}

}  // namespace tests

void ndi::hintChangedRows(NDIlib_send_instance_t, const support::ChangedRows& changed) {
    tests::t_hint = changed;
}

void NDIlib_send_send_video_v2(NDIlib_send_instance_t instance,
                               const NDIlib_video_frame_v2_t* frame) {
    tests::SentPicture picture;
    picture.instance = instance;
    picture.frame = *frame;
    picture.hint = std::exchange(tests::t_hint, {});
    if (tests::g_onPicture) {
        picture.pixels.assign(frame->p_data, frame->p_data + frame->xres * frame->yres * 4);
        tests::g_onPicture(std::move(picture));
    }
}
