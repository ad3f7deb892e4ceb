#include "monitor/report.h"

#include <fmt/format.h>

#include "support/utf8.h"

namespace monitor {
namespace {

std::string fourCCText(std::uint32_t fourCC) {
    std::string text;
    for (unsigned shift = 0; shift < 32; shift += 8) {
        const char c = static_cast<char>(fourCC >> shift & 0xFFU);
        text += c >= ' ' && c <= '~' ? c : '?';
    }
    return text;
}

double rateOf(const ndi::wire::VideoInfo& video) {
    return static_cast<double>(video.rateNumerator) / video.rateDenominator;
}

std::string endpointText(const asio::ip::tcp::endpoint& endpoint) {
    const std::string address = endpoint.address().to_string();
    return fmt::format(endpoint.address().is_v6() ? "[{}]:{}" : "{}:{}", address, endpoint.port());
}

}  // namespace

std::string describe(const ndi::wire::VideoInfo& video) {
    return fmt::format("{}x{}, {:.2f} frames a second, {}", video.width, video.height,
                       rateOf(video), fourCCText(video.fourCC));
}

std::string reportText(const Reception& reception, bool withLatency) {
    const auto& statistics = reception.statistics;
    std::string text = fmt::format(
        "{} frames in {:.1f} s: {:.2f} a second, {:.2f} Mbit/s, {} missing, {} damaged\n",
        statistics.frames(), statistics.seconds(), statistics.framesPerSecond(),
        statistics.megabitsPerSecond(), statistics.missing(), statistics.corrupt());
    if (statistics.pauses() > 0) {
        text += fmt::format("{} pauses of about a second or more, the longest {:.1f} s\n",
                            statistics.pauses(), statistics.longestPauseSeconds());
    }
    const auto latency = statistics.latency();
    if (withLatency && latency) {
        text += fmt::format(
            "Latency against the timestamp: least {:.2f} ms, median {:.2f} ms, 99th percentile "
            "{:.2f} ms, most {:.2f} ms\n",
            latency->least, latency->median, latency->p99, latency->most);
    } else if (withLatency) {
        text += "Latency: the source sends no timestamps\n";
    }
    return text;
}

std::string reportJson(const Reception& reception, const std::string& saved) {
    static constexpr const char* kEnds[] = {"complete", "no connection", "nothing", "early"};
    const auto& statistics = reception.statistics;
    std::string json =
        fmt::format("{{\"source\":{},\"address\":{},\"end\":\"{}\",\"reason\":{}",
                    jsonText(reception.name), jsonText(reception.address),
                    kEnds[static_cast<int>(reception.end)], jsonText(reception.reason));
    if (reception.video) {
        json +=
            fmt::format(",\"width\":{},\"height\":{},\"fourcc\":{},\"announced_rate\":{:.4f}",
                        reception.video->width, reception.video->height,
                        jsonText(fourCCText(reception.video->fourCC)), rateOf(*reception.video));
    }
    json += fmt::format(
        ",\"frames\":{},\"missing\":{},\"corrupt\":{},\"pauses\":{},\"longest_pause_s\":{:.3f},"
        "\"seconds\":{:.3f},\"elapsed_s\":{:.3f},\"rate\":{:.3f},\"mbit_per_s\":{:.3f}",
        statistics.frames(), statistics.missing(), statistics.corrupt(), statistics.pauses(),
        statistics.longestPauseSeconds(), statistics.seconds(), reception.elapsedSeconds,
        statistics.framesPerSecond(), statistics.megabitsPerSecond());
    if (const auto latency = statistics.latency()) {
        json += fmt::format(
            ",\"latency_ms\":{{\"min\":{:.3f},\"median\":{:.3f},\"p99\":{:.3f},\"max\":{:.3f}}}",
            latency->least, latency->median, latency->p99, latency->most);
    }
    if (!saved.empty()) {
        json += ",\"saved\":" + jsonText(saved);
    }
    return json + "}";
}

std::string listText(const FoundSources& sources) {
    std::string text;
    for (const auto& source : sources) {
        text += support::cleanUtf8(source.name) + "\t";
        for (const auto& endpoint : source.endpoints) {
            text += (text.back() == '\t' ? "" : " ") + endpointText(endpoint);
        }
        text += "\n";
    }
    return text;
}

std::string listJson(const FoundSources& sources) {
    std::string json;
    for (const auto& source : sources) {
        json += json.empty() ? "[" : ",";
        json += "{\"name\":" + jsonText(source.name) + ",\"addresses\":[";
        for (const auto& endpoint : source.endpoints) {
            json += (json.back() == '[' ? "" : ",") + jsonText(endpointText(endpoint));
        }
        json += "]}";
    }
    return (json.empty() ? "[" : json) + "]\n";
}

std::string jsonText(const std::string& text) {
    std::string json = "\"";
    for (const char c : support::cleanUtf8(text)) {
        if (c == '"' || c == '\\') {
            json += '\\';
        }
        json += c;
    }
    return json + "\"";
}

}  // namespace monitor
