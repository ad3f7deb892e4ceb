#pragma once

#include <memory>

#include "ndi/output/pictureencoder.h"

namespace ndi {

/// A PictureEncoder over libavcodec and libswscale, one thread, every picture coded in full.
///
/// Sizes: the width is padded to a multiple of 16 and the height to at least 64 (libavcodec writes
/// broken packets below 49 lines), both by repeating the last column and line; the padded size is
/// the announced one. The preview is 640 pixels wide, or as wide as the picture if that is less.
///
/// Colour: limited range, BT.601 up to 720x576 and BT.709 above; the announced size counts, because
/// it is all that a receiver knows. BT.709 also above 1920x1080: screens have its primaries, and a
/// receiver that takes such a picture for BT.2020 is off by 13 of 255 at most.
///
/// Quality: even values from 38 to 98, steered so that 1920x1080 takes about 100 Mbit/s at 30
/// pictures a second and 130 at 60. A kept picture gets better by a step with each encodeKept().
[[nodiscard]] std::unique_ptr<PictureEncoder> createLibavEncoder();

}  // namespace ndi
