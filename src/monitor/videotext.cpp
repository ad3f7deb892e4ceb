#include "monitor/videotext.h"

#include <fmt/format.h>

namespace monitor {

double announcedRate(const ndi::wire::VideoInfo& video) {
    return static_cast<double>(video.rateNumerator) / video.rateDenominator;
}

std::string fourCCText(std::uint32_t fourCC) {
    std::string text;
    for (unsigned shift = 0; shift < 32; shift += 8) {
        const char c = static_cast<char>(fourCC >> shift & 0xFFU);
        text += c >= ' ' && c <= '~' ? c : '?';
    }
    return text;
}

std::string describe(const ndi::wire::VideoInfo& video) {
    return fmt::format("{}x{}, {:.2f} fps, {}", video.width, video.height, announcedRate(video),
                       fourCCText(video.fourCC));
}

}  // namespace monitor
