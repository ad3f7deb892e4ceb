#pragma once
// What a check of ndimonitor --doctor found out.

#include <string>
#include <vector>

namespace monitor::doctor {

enum class Level { Ok, Warning, Problem };

struct Finding {
    Level level = Level::Ok;
    std::string check;    ///< The same word in every run: "interfaces", "firewall".
    std::string finding;  ///< What is the case; one line.
    std::string meaning;  ///< What follows from it; "" where it is fine.
    std::string advice;   ///< What to do; "" where there is nothing to do.
};
using Findings = std::vector<Finding>;

}  // namespace monitor::doctor
