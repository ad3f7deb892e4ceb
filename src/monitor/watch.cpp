#include "monitor/watch.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>

#include "monitor/report.h"

namespace monitor {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kSettling{300};
constexpr std::chrono::hours kLong{24};

}  // namespace

std::vector<SourceEvent> SourceChanges::update(const FoundSources& sources, TimePoint now) {
    using Kind = SourceEvent::Kind;
    std::vector<SourceEvent> events;
    for (const auto& source : sources) {
        auto& known = m_known[source.name];
        if (known.source.name.empty() || known.source.endpoints != source.endpoints) {
            known.source = source;
            known.since = now;
            known.reported = false;
        }
        if (!known.reported && now - known.since >= kSettling) {
            events.push_back({known.reportedBefore ? Kind::Changed : Kind::Appeared, source});
            known.reported = known.reportedBefore = true;
        }
    }
    for (auto known = m_known.begin(); known != m_known.end();) {
        const auto& name = known->first;
        if (std::any_of(sources.begin(), sources.end(),
                        [&](const auto& source) { return source.name == name; })) {
            ++known;
            continue;
        }
        if (known->second.reportedBefore) {
            events.push_back({Kind::Disappeared, {name, {}}});
        }
        known = m_known.erase(known);
    }
    return events;
}

void watch(const Options& options, const std::atomic<bool>& interrupted) {
    SourceChanges changes;
    const auto print = [&](const FoundSources& sources) {
        for (const auto& event : changes.update(sources, Clock::now())) {
            fmt::print("{}", options.json ? eventJson(event) : eventText(event));
        }
        std::fflush(stdout);
        return interrupted.load();
    };
    while (!interrupted) {
        (void)browse(kLong, print);  // Ends earlier if the Avahi daemon does.
    }
}

}  // namespace monitor
