#pragma once
// The format of a source's video, as text.

#include <cstdint>
#include <string>

#include "ndi/wire/videoinfo.h"

namespace monitor {

/// The announced frame rate, in frames per second.
[[nodiscard]] double announcedRate(const ndi::wire::VideoInfo& video);

/// The four characters, for example "SHQ2"; "?" for each that is not printable ASCII.
[[nodiscard]] std::string fourCCText(std::uint32_t fourCC);

/// "1920x1080, 30.00 fps, SHQ2".
[[nodiscard]] std::string describe(const ndi::wire::VideoInfo& video);

}  // namespace monitor
