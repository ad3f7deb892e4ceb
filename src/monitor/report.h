#pragma once
// What ndimonitor prints on standard output.

#include <string>
#include <vector>

#include "monitor/browser.h"
#include "monitor/reception.h"
#include "monitor/watch.h"

namespace monitor {

/// A reception and the file its last frame was saved to ("" without one).
struct Outcome {
    Reception reception;
    std::string savedFile;
};

/// The statistics in words, several lines.
[[nodiscard]] std::string reportText(const Reception& reception, bool withLatency);

/// One JSON object, or, with `all`, an array with one object per outcome. Ends with a newline.
[[nodiscard]] std::string reportJson(const std::vector<Outcome>& outcomes, bool all);

/// One source per line: its name, a tab, its addresses separated by spaces.
[[nodiscard]] std::string listText(const FoundSources& sources);

/// "appeared", "changed" or "disappeared", a tab, and the source as in listText(). Ends with a
/// newline, as the following.
[[nodiscard]] std::string eventText(const SourceEvent& event);

/// {"event", "name", "addresses"}, the last unless it disappeared.
[[nodiscard]] std::string eventJson(const SourceEvent& event);

/// A JSON array of {"name", "addresses"}.
[[nodiscard]] std::string listJson(const FoundSources& sources);

}  // namespace monitor
