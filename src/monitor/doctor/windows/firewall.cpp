#include "monitor/doctor/windows/firewall.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "monitor/doctor/checks.h"

namespace monitor::doctor {
namespace {

constexpr char kCheck[] = "firewall";

std::string outputOf(const char* command) {
    std::string output;
    FILE* pipe = _popen(command, "r");
    if (pipe == nullptr) {
        return output;
    }
    std::array<char, 4096> buffer{};
    for (std::size_t size = 0; (size = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0;) {
        output.append(buffer.data(), size);
    }
    _pclose(pipe);
    return output;
}

bool contains(std::string text, const char* part) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return text.find(part) != std::string::npos;
}

}  // namespace

Findings describeFirewall(const std::string& profile, const std::string& rules) {
    if (contains(profile, "blockinboundalways")) {
        return {{Level::Problem, kCheck, "Windows blocks all incoming connections",
                 "receivers neither find the sources of this machine nor connect",
                 "in the firewall's settings, clear \"Block all incoming connections\""}};
    }
    if (contains(profile, "allowinbound") || contains(rules, "\\tarsinndi.exe")) {
        return {
            {Level::Ok, kCheck, "there is a rule for TarsinNDI.exe, or none is needed", "", ""}};
    }
    if (!contains(profile, "blockinbound")) {
        return {{Level::Warning, kCheck, "netsh did not tell the state of the Windows firewall",
                 "whether it blocks sources is not known", "look at the firewall's settings"}};
    }
    return {
        {Level::Problem, kCheck, "Windows has no rule for TarsinNDI.exe",
         "receivers neither find the sources of this machine nor connect",
         "start TarsinNDI and allow it for private networks, or add the two rules of the manual"}};
}

Findings checkFirewall() {
    return describeFirewall(
        outputOf("netsh advfirewall show currentprofile 2>nul"),
        outputOf("netsh advfirewall firewall show rule name=all dir=in verbose 2>nul"));
}

Findings checkDaemon() {
    return {};  // There is none: the built-in responder announces.
}

Findings checkCapture() {
    return {};  // Every desktop of Windows 10 and later can be captured.
}

}  // namespace monitor::doctor
