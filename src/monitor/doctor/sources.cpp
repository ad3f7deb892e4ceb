// The sources on the network: names, connections, clocks.
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <thread>

#include "monitor/doctor/checks.h"
#include "monitor/receiver.h"

namespace monitor::doctor {
namespace {

constexpr std::size_t kMostSources = 16;
constexpr double kSeconds = 3;
constexpr std::uint64_t kFrames = 3;

/// A frame can't arrive before it was made; what seems to, comes from the clocks. A late one may be
/// late for other reasons.
constexpr double kAheadMs = -20;
constexpr double kBehindMs = 1000;

/// "PC" of "PC (Studio A)".
std::string machineOf(const FoundSource& source) {
    return source.name.substr(0, source.name.find(" ("));
}

std::set<asio::ip::address> addressesOf(const FoundSource& source) {
    std::set<asio::ip::address> addresses;
    for (const auto& endpoint : source.endpoints) {
        addresses.insert(endpoint.address());
    }
    return addresses;
}

bool shareOne(const std::set<asio::ip::address>& a, const std::set<asio::ip::address>& b) {
    return std::any_of(a.begin(), a.end(), [&](const auto& each) { return b.count(each) != 0; });
}

std::vector<Reception> receiveBriefly(const FoundSources& sources,
                                      const std::atomic<bool>& interrupted) {
    Options options;
    options.seconds = kSeconds;
    options.frames = kFrames;
    options.lowQuality = true;
    options.decode = false;
    std::vector<Reception> receptions(std::min(sources.size(), kMostSources));
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < receptions.size(); ++i) {
        threads.emplace_back([&, i] {
            receptions[i] = receive({sources[i].name, sources[i].endpoints}, options, interrupted,
                                    [](const std::string&) {});
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    return receptions;
}

Finding describeReception(const Reception& reception) {
    switch (reception.end) {
        case Reception::End::NoConnection:
            return {Level::Problem, "sources",
                    fmt::format("{} is announced but can't be reached: {}", reception.name,
                                reception.reason),
                    "a firewall at the source drops its TCP port, or the source is gone",
                    "on the source's machine allow TCP ports 5961 to 5980; with ufw: ufw allow "
                    "TarsinNDI"};
        case Reception::End::Nothing:
            return {Level::Warning, "sources",
                    reception.name + " accepts receivers but sends no frame",
                    "receivers show nothing", "look at the source's window and log"};
        default:
            return {Level::Ok, "sources",
                    fmt::format("{} at {} sends frames", reception.name, reception.address), "",
                    ""};
    }
}

}  // namespace

Finding describeClock(const std::string& name, double latencyMs) {
    if (latencyMs >= kAheadMs && latencyMs <= kBehindMs) {
        return {Level::Ok, "clocks",
                fmt::format("{}: the fastest frame took {:.1f} ms", name, latencyMs), "", ""};
    }
    return {Level::Warning, "clocks",
            fmt::format("{}: its machine's clock is about {:.2f} s {} this one's", name,
                        std::abs(latencyMs) / 1000, latencyMs < 0 ? "ahead of" : "behind"),
            "latency figures are wrong by as much, and receivers that play by timestamps stutter "
            "or delay",
            "keep both clocks by NTP; \"timedatectl\" shows whether they are"};
}

Findings checkMachineNames(const FoundSources& sources) {
    std::map<std::string, std::set<asio::ip::address>> machines;
    Findings findings;
    for (const auto& source : sources) {
        auto& known = machines[machineOf(source)];
        const auto addresses = addressesOf(source);
        if (!known.empty() && !shareOne(known, addresses)) {
            findings.push_back(
                {Level::Warning, "names",
                 fmt::format("sources of different machines are both called {}: {} is at "
                             "{}, another at {}",
                             machineOf(source), source.name, addresses.begin()->to_string(),
                             known.begin()->to_string()),
                 "operators can't tell the machines apart, and equal source names collide",
                 "rename one of the machines"});
        }
        known.insert(addresses.begin(), addresses.end());
    }
    return findings;
}

Findings checkSources(const FoundSources& sources, const std::atomic<bool>& interrupted) {
    if (sources.empty()) {
        return {{Level::Ok, "sources", "none is on the network at the moment", "", ""}};
    }
    Findings findings = checkMachineNames(sources);
    for (const auto& reception : receiveBriefly(sources, interrupted)) {
        findings.push_back(describeReception(reception));
        if (const auto latency = reception.statistics.latency()) {
            findings.push_back(describeClock(reception.name, latency->least));
        }
    }
    return findings;
}

}  // namespace monitor::doctor
