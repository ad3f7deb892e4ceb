#include <gtest/gtest.h>

#include "monitor/doctor/windows/firewall.h"

namespace monitor::doctor {
namespace {

/// netsh answers in the language of the system; the policy and the path stay as they are.
TEST(WindowsFirewall, IsToldFromWhatWindowsDoesNotTranslate) {
    const char* const rule =
        "Programm: C:\\Users\\a\\AppData\\Local\\Programs\\TarsinNDI\\TarsinNDI.exe";
    const struct {
        const char* profile;
        const char* rules;
        Level level;
    } cases[] = {
        {"Firewall Policy                       BlockInbound,AllowOutbound", "", Level::Problem},
        {"Firewallrichtlinie  BlockInbound,AllowOutbound", rule, Level::Ok},
        {"Firewall Policy  BlockInboundAlways,AllowOutbound", rule, Level::Problem},
        {"Firewall Policy  AllowInbound,AllowOutbound", "", Level::Ok},
        {"", "", Level::Warning},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(describeFirewall(each.profile, each.rules).at(0).level, each.level)
            << each.profile;
    }
}

}  // namespace
}  // namespace monitor::doctor
