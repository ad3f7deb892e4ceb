#include "cli/report.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

namespace cli {
namespace {

// Keeps the order of the keys.
using Json = nlohmann::ordered_json;

std::uint64_t droppedFrames(const ndi::SourceStatus& source) {
    std::uint64_t dropped = 0;
    for (const auto& receiver : source.receivers) {
        dropped += receiver.dropped.receiverTooSlow + receiver.dropped.ioThreadLate +
                   receiver.dropped.connectionClosed;
    }
    return dropped;
}

std::string line(const Json& json) {
    // Names come from outside; what is not UTF-8 in them is replaced.
    return json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

void addState(Json& json, const Publisher::State& state) {
    json["name"] = state.source.known ? state.source.name : state.target.senderName;
    json["state"] = state.paused ? "paused" : "sending";
    json["screen"] = state.target.screenIndex;
    json["output"] = state.target.output;
    json["region"] = geometry(state.target.region);
    json["frameRate"] = state.target.frameRate;
    json["capture"] = state.grabbing ? "FFmpeg" : "default";
    if (!state.slow.empty()) {
        json["slow"] = state.slow;
    }
    if (!state.problem.empty()) {
        json["problem"] = state.problem;
    }
    if (state.source.known) {
        json["port"] = state.source.port;
        json["announced"] = state.source.announceState == ndi::AnnounceState::Announced;
        json["fps"] = state.source.framesPerSecond;
        json["frames"] = state.source.sentFrames;
        json["receivers"] = state.source.receivers.size();
        json["megabitsPerSecond"] = state.source.megabitsPerSecond;
        json["dropped"] = droppedFrames(state.source);
        json["onProgram"] = state.source.onProgram;
        json["onPreview"] = state.source.onPreview;
    }
}

Json jsonOf(const session::ScreenList& list, int index) {
    const auto& screen = list.screens.screens[index];
    return {{"screen", index},
            {"output", findOutputDeviceName(list.adaptors, screen)},
            {"x", int{screen.x}},
            {"y", int{screen.y}},
            {"width", int{screen.width}},
            {"height", int{screen.height}},
            {"primary", screen.isDefault != 0}};
}

}  // namespace

std::string statusLine(const Publisher::State& state) {
    const auto& source = state.source;
    std::string text = source.known ? source.name : state.target.senderName;
    if (source.known) {
        text += fmt::format(": {:.1f} fps, {} receiver{}, {:.1f} Mbit/s, {} dropped",
                            source.framesPerSecond, source.receivers.size(),
                            source.receivers.size() == 1 ? "" : "s", source.megabitsPerSecond,
                            droppedFrames(source));
    }
    text += state.paused ? ", paused" : "";
    text += source.onProgram ? ", on air" : source.onPreview ? ", preview" : "";
    text += state.slow.empty() ? "" : "; captured the slow way: " + state.slow;
    return state.problem.empty() ? text : text + "; " + state.problem;
}

std::string statusJson(const std::string& event, const Publisher::State& state) {
    Json json = {{"event", event}};
    addState(json, state);
    return line(json);
}

std::string answerJson(const std::string& command, const std::string& error,
                       const Publisher::State& state) {
    Json json = {{"command", command}, {"ok", error.empty()}};
    if (error.empty()) {
        addState(json, state);
    } else {
        json["error"] = error;
    }
    return line(json);
}

std::string screensText(const session::ScreenList& list) {
    std::string text;
    for (int i = 0; i != list.screens.count; ++i) {
        const auto& screen = list.screens.screens[i];
        text += fmt::format("{}\t{}\t{}{}\n", i, findOutputDeviceName(list.adaptors, screen),
                            geometry(session::rectangleOf(screen)),
                            screen.isDefault != 0 ? "\tprimary" : "");
    }
    return text;
}

std::string screensJson(const session::ScreenList& list) {
    Json all = Json::array();
    for (int i = 0; i != list.screens.count; ++i) {
        all.push_back(jsonOf(list, i));
    }
    return line(all);
}

}  // namespace cli
