#pragma once
// What `netsh advfirewall` says. Its words are translated by Windows, except those looked for here.

#include <string>

#include "monitor/doctor/finding.h"

namespace monitor::doctor {

/// `profile`: the output of "show currentprofile"; `rules`: that of "firewall show rule name=all
/// dir=in verbose".
[[nodiscard]] Findings describeFirewall(const std::string& profile, const std::string& rules);

}  // namespace monitor::doctor
