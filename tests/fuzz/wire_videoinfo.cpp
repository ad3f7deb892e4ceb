// Arbitrary info blocks of video messages: parsed values must survive writing and parsing.

#include <cstdlib>
#include <cstring>

#include "ndi/wire/scramble.h"
#include "ndi/wire/videoinfo.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace ndi::wire;
    const auto info = parseVideoInfo({data, size});
    if (!info) {
        return 0;
    }
    MessageHead head;
    constexpr std::uint32_t kDataSize = 1000;
    writeVideoHead(*info, kDataSize, head);
    const std::size_t infoSize = head.size - kHeaderSize;
    std::uint8_t* const plain = head.bytes.data() + kHeaderSize;
    unscramble(plain, infoSize, static_cast<std::uint32_t>(infoSize) + kDataSize);
    const auto again = parseVideoInfo({plain, infoSize});
    const bool metadataFits = info->metadata.size() <= kMaxVideoMetadata;
    if (!again || again->width != info->width || again->timestamp != info->timestamp ||
        std::memcmp(&again->aspect, &info->aspect, sizeof(float)) != 0 ||
        again->metadata != (metadataFits ? info->metadata : "")) {
        std::abort();
    }
    return 0;
}
