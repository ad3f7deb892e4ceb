#include "monitor/report.h"

#include <fmt/format.h>

#include <cmath>
#include <nlohmann/json.hpp>

#include "monitor/videotext.h"
#include "ndi/wire/endpoint.h"
#include "support/utf8.h"

namespace monitor {
namespace {

using Json = nlohmann::ordered_json;

/// Names come from the network: what is not UTF-8 in them is replaced.
std::string lineOf(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

double rounded(double number) {
    return std::round(number * 1000) / 1000;
}

std::string addressesText(const FoundSource& source) {
    std::string text;
    for (const auto& endpoint : source.endpoints) {
        text += (text.empty() ? "" : " ") + ndi::wire::endpointText(endpoint);
    }
    return text;
}

Json addressesJson(const FoundSource& source) {
    Json addresses = Json::array();
    for (const auto& endpoint : source.endpoints) {
        addresses.push_back(ndi::wire::endpointText(endpoint));
    }
    return addresses;
}

const char* nameOf(SourceEvent::Kind kind) {
    static constexpr const char* kNames[] = {"appeared", "changed", "disappeared"};
    return kNames[static_cast<int>(kind)];
}

/// "1 frame", "2 frames".
std::string countOf(std::uint64_t count, const char* noun) {
    return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

void addVideo(Json& json, const ndi::wire::VideoInfo& video) {
    json["width"] = video.width;
    json["height"] = video.height;
    json["fourcc"] = fourCCText(video.fourCC);
    json["announced_rate"] = rounded(announcedRate(video));
}

void addStatistics(Json& json, const Statistics& statistics) {
    json["frames"] = statistics.frames();
    json["late_or_lost"] = nullptr;
    if (const auto count = statistics.lateOrLost()) {
        json["late_or_lost"] = *count;
    }
    json["corrupt"] = statistics.corrupt();
    json["pauses"] = statistics.pauses();
    json["longest_gap_s"] = rounded(statistics.longestGapSeconds());
    json["interval_deviation_ms"] = rounded(statistics.intervalDeviationMs());
    json["seconds"] = rounded(statistics.seconds());
    json["rate"] = rounded(statistics.framesPerSecond());
    json["mbit_per_s"] = rounded(statistics.megabitsPerSecond());
    if (const auto latency = statistics.latency()) {
        json["latency_ms"] = {{"min", rounded(latency->least)},
                              {"median", rounded(latency->median)},
                              {"p99", rounded(latency->p99)},
                              {"max", rounded(latency->most)}};
    }
}

Json toJson(const Outcome& outcome) {
    static constexpr const char* kEnds[] = {"complete", "no connection", "nothing", "early"};
    const auto& reception = outcome.reception;
    Json json{{"source", reception.name},
              {"address", reception.address},
              {"end", kEnds[static_cast<int>(reception.end)]},
              {"reason", reception.reason},
              {"elapsed_s", rounded(reception.elapsedSeconds)}};
    if (reception.video) {
        addVideo(json, *reception.video);
    }
    addStatistics(json, reception.statistics);
    if (!outcome.savedFile.empty()) {
        json["saved"] = outcome.savedFile;
    }
    return json;
}

}  // namespace

std::string reportText(const Reception& reception, bool withLatency) {
    const auto& statistics = reception.statistics;
    const auto lateOrLost = statistics.lateOrLost();
    std::string text = fmt::format(
        "{} in {:.1f} s: {:.2f} fps{}, {:.2f} Mbit/s, longest gap {:.2f} s, {} late or lost, "
        "{} damaged\n",
        countOf(statistics.frames(), "frame"), statistics.seconds(), statistics.framesPerSecond(),
        reception.video ? fmt::format(" of {:.2f} announced", announcedRate(*reception.video)) : "",
        statistics.megabitsPerSecond(), statistics.longestGapSeconds(),
        lateOrLost ? std::to_string(*lateOrLost) : "unknown", statistics.corrupt());
    if (statistics.pauses() > 0) {
        text += countOf(statistics.pauses(), "pause") + " of 0.9 s or more\n";
    }
    const auto latency = statistics.latency();
    if (withLatency && latency) {
        text += fmt::format(
            "Latency against the timestamp: minimum {:.2f} ms, median {:.2f} ms, 99th percentile "
            "{:.2f} ms, maximum {:.2f} ms\n",
            latency->least, latency->median, latency->p99, latency->most);
    } else if (withLatency) {
        text += "Latency unknown: the source sends no timestamps\n";
    }
    return text;
}

std::string reportJson(const std::vector<Outcome>& outcomes, bool all) {
    Json json = Json::array();
    for (const auto& outcome : outcomes) {
        json.push_back(toJson(outcome));
    }
    return lineOf(all || outcomes.empty() ? json : json.front());
}

std::string listText(const FoundSources& sources) {
    std::string text;
    for (const auto& source : sources) {
        text += support::cleanUtf8(source.name) + "\t" + addressesText(source) + "\n";
    }
    return text;
}

std::string listJson(const FoundSources& sources) {
    Json json = Json::array();
    for (const auto& source : sources) {
        json.push_back({{"name", source.name}, {"addresses", addressesJson(source)}});
    }
    return lineOf(json);
}

std::string eventText(const SourceEvent& event) {
    const std::string addresses = addressesText(event.source);
    return fmt::format("{}\t{}{}{}\n", nameOf(event.kind), support::cleanUtf8(event.source.name),
                       addresses.empty() ? "" : "\t", addresses);
}

std::string eventJson(const SourceEvent& event) {
    Json json{{"event", nameOf(event.kind)}, {"name", event.source.name}};
    if (event.kind != SourceEvent::Kind::Disappeared) {
        json["addresses"] = addressesJson(event.source);
    }
    return lineOf(json);
}

}  // namespace monitor
