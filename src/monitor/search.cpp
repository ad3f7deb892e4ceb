#include "monitor/search.h"

#include <fmt/format.h>

#include <asio/io_context.hpp>
#include <cstdio>

#include "mdns/netinterfaces.h"
#include "monitor/report.h"

namespace monitor {
namespace {

using Clock = std::chrono::steady_clock;

std::chrono::milliseconds waitOf(const Options& options) {
    return std::chrono::milliseconds(static_cast<std::int64_t>(options.waitSeconds * 1000));
}

/// Why no source may have been found; "" if nothing is known.
const char* hint() {
    return mdns::multicastInterfaces().empty()
               ? " There is no usable network interface: none is up, supports multicast and has an "
                 "address."
               : "";
}

std::vector<Target> findByName(const Options& options, const std::atomic<bool>& interrupted) {
    std::optional<Clock::time_point> firstMatch;
    const auto enough = [&](const FoundSources& soFar) {
        const auto matches = matching(soFar, options.name);
        if (matches.empty()) {
            return interrupted.load();
        }
        firstMatch = firstMatch.value_or(Clock::now());
        // Further addresses of a source whose full name was given arrive within moments. A short
        // name may also belong to a second source that answers later.
        const std::chrono::milliseconds settling(matches[0].name == options.name ? 200 : 500);
        return interrupted || Clock::now() - *firstMatch > settling;
    };
    const auto all = browse(waitOf(options), enough);
    const auto matches = matching(all, options.name);
    if (matches.size() == 1) {
        return {{matches[0].name, matches[0].endpoints}};
    }
    if (matches.empty()) {
        fmt::print(stderr, "No source \"{}\" was found within {} s.{}\n{}", options.name,
                   options.waitSeconds, all.empty() ? hint() : " Sources found:", listText(all));
    } else {
        fmt::print(stderr, "Several sources are called \"{}\"; give the full name of one:\n{}",
                   options.name, listText(matches));
    }
    return {};
}

std::vector<Target> findByAddress(const Options& options) {
    asio::io_context context;
    asio::ip::tcp::resolver resolver(context);
    asio::error_code error;
    Target target{options.address, {}};
    for (const auto& entry : resolver.resolve(options.host, std::to_string(options.port), error)) {
        target.endpoints.push_back(entry.endpoint());
    }
    if (error) {
        fmt::print(stderr, "Looking up {} failed: {}\n", options.host, error.message());
        return {};
    }
    return {target};
}

}  // namespace

FoundSources findAll(const Options& options, const std::atomic<bool>& interrupted) {
    auto found =
        browse(waitOf(options), [&](const FoundSources& /*soFar*/) { return interrupted.load(); });
    if (found.empty()) {
        fmt::print(stderr, "No NDI source was found within {} s.{}\n", options.waitSeconds, hint());
    }
    return found;
}

std::vector<Target> findTargets(const Options& options, const std::atomic<bool>& interrupted) {
    if (!options.address.empty()) {
        return findByAddress(options);
    }
    if (!options.all) {
        return findByName(options, interrupted);
    }
    std::vector<Target> targets;
    for (const auto& source : findAll(options, interrupted)) {
        targets.push_back({source.name, source.endpoints});
    }
    return targets;
}

}  // namespace monitor
