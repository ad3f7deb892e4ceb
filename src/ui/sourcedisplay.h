#pragma once
// What the title bar shows about the NDI source.

#include <QString>
#include <string>

#include "ndi/sourcestatus.h"

namespace ui {

enum class TallyLight { Grey, White, Green, Red };

struct SourceDisplay {
    /// Grey: no receivers connected. White: receivers. Green: in preview. Red: on air.
    TallyLight light = TallyLight::Grey;
    QString text;     ///< One or two short lines.
    QString toolTip;  ///< Rich text: one line per receiver. Empty: none.

    bool operator==(const SourceDisplay& other) const {
        return light == other.light && text == other.text && toolTip == other.toolTip;
    }
    bool operator!=(const SourceDisplay& other) const { return !(*this == other); }
};

/// What the window knows about its source, beside the status that the output reports.
struct SourceConditions {
    bool hasSource = false;
    bool emptyRegion = false;  ///< Sending, but the region has no pixels on the screen.
    std::string captureError;  ///< Why the capture delivers no frames; empty while it does.
    std::string name;          ///< Of the source as it was asked for; UTF-8.
    bool screenGone = false;   ///< The chosen screen is not connected any more.
    std::string slowReason;    ///< Why FFmpeg captures instead of the default path; or empty.
};

/// In the current language.
[[nodiscard]] SourceDisplay describeSource(const ndi::SourceStatus& status,
                                           const SourceConditions& conditions);

}  // namespace ui
