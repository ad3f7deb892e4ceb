#pragma once
// What the user gets to read.

#include <string>

#include "monitor/browser.h"
#include "monitor/receiver.h"

namespace monitor {

/// "1920x1080, 30.00 frames a second, SHQ2".
[[nodiscard]] std::string describe(const ndi::wire::VideoInfo& video);

/// The result in words, several lines.
[[nodiscard]] std::string reportText(const Reception& reception, bool withLatency);

/// The result as one JSON object. `saved` is the file written, or "".
[[nodiscard]] std::string reportJson(const Reception& reception, const std::string& saved);

/// One source a line: its name, a tab, its addresses separated by blanks.
[[nodiscard]] std::string listText(const FoundSources& sources);
[[nodiscard]] std::string listJson(const FoundSources& sources);

/// `text` between quotes, as JSON wants it; what is not UTF-8 is replaced.
[[nodiscard]] std::string jsonText(const std::string& text);

}  // namespace monitor
