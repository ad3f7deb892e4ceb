#include "monitor/doctor/doctor.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "monitor/doctor/checks.h"
#include "support/utf8.h"

namespace monitor::doctor {
namespace {

const char* nameOf(Level level) {
    static constexpr const char* kNames[] = {"ok", "warning", "problem"};
    return kNames[static_cast<int>(level)];
}

}  // namespace

Findings examine(const Options& options, const std::atomic<bool>& interrupted,
                 const std::function<void(const Finding&)>& show) {
    const std::chrono::milliseconds wait(static_cast<std::int64_t>(options.waitSeconds * 1000));
    const auto sources = [&] {
        return checkSources(browse(wait, [&](const auto&) { return interrupted.load(); }),
                            interrupted);
    };
    Findings all;
    for (const std::function<Findings()>& check : {std::function<Findings()>(checkInterfaces),
                                                   {checkDiscovery},
                                                   {checkDaemon},
                                                   {checkFirewall},
                                                   {checkPorts},
                                                   {sources},
                                                   {checkCapture}}) {
        if (interrupted) {
            break;
        }
        for (const auto& finding : check()) {
            show(finding);
            all.push_back(finding);
        }
    }
    return all;
}

bool allWell(const Findings& findings) {
    return std::none_of(findings.begin(), findings.end(),
                        [](const Finding& each) { return each.level == Level::Problem; });
}

std::string findingText(const Finding& finding) {
    std::string text = fmt::format("{:<8} {}: {}\n", nameOf(finding.level), finding.check,
                                   support::cleanUtf8(finding.finding));
    if (!finding.meaning.empty()) {
        text += fmt::format("{:9}{}\n", "", support::cleanUtf8(finding.meaning));
    }
    if (!finding.advice.empty()) {
        text += fmt::format("{:9}-> {}\n", "", finding.advice);
    }
    return text;
}

std::string findingsJson(const Findings& findings) {
    using Json = nlohmann::ordered_json;
    Json list = Json::array();
    for (const auto& each : findings) {
        list.push_back({{"check", each.check},
                        {"level", nameOf(each.level)},
                        {"finding", each.finding},
                        {"meaning", each.meaning},
                        {"advice", each.advice}});
    }
    const Json json{{"well", allWell(findings)}, {"findings", list}};
    return json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace monitor::doctor
