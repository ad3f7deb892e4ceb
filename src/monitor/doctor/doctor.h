#pragma once
// ndimonitor --doctor: why is a source not visible, or a screen not captured?

#include <atomic>
#include <functional>
#include <string>

#include "monitor/doctor/finding.h"
#include "monitor/options.h"

namespace monitor::doctor {

/// Makes every check; `show` is called with each finding as it is made. Ends early when
/// `interrupted` becomes true.
Findings examine(const Options& options, const std::atomic<bool>& interrupted,
                 const std::function<void(const Finding&)>& show);

/// No finding is a problem.
[[nodiscard]] bool allWell(const Findings& findings);

/// One to three lines, with a newline at the end.
[[nodiscard]] std::string findingText(const Finding& finding);

/// {"well", "findings": [{"check", "level", "finding", "meaning", "advice"}]} and a newline.
[[nodiscard]] std::string findingsJson(const Findings& findings);

}  // namespace monitor::doctor
