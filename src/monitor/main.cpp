#include <fmt/format.h>

#include <asio/io_context.hpp>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <mutex>
#include <thread>

extern "C" {
#include <libavutil/log.h>
}

#include "monitor/browser.h"
#include "monitor/options.h"
#include "monitor/png.h"
#include "monitor/receiver.h"
#include "monitor/report.h"

namespace {

using namespace monitor;

enum ExitCode { kDone = 0, kNothing = 1, kUsage = 2, kEarly = 3, kNotSaved = 4 };

std::atomic<bool> g_interrupted{false};

std::chrono::milliseconds milliseconds(double seconds) {
    return std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000));
}

bool interrupted(const FoundSources& /*soFar*/) {
    return g_interrupted;
}

FoundSources browseAll(const Options& options) {
    auto found = browse(milliseconds(options.waitSeconds), interrupted);
    if (found.empty()) {
        fmt::print(stderr, "No NDI source was found within {} s.\n", options.waitSeconds);
    }
    return found;
}

int list(const Options& options) {
    const auto found = browseAll(options);
    fmt::print("{}", options.json ? listJson(found) : listText(found));
    return found.empty() ? kNothing : kDone;
}

/// Searches for the one source that is meant. After the first match of its full name, more of its
/// addresses get a moment to show up; after a match of the short name, other sources that have it
/// too. Empty: the user was told why.
std::vector<Target> findByName(const Options& options) {
    using Clock = std::chrono::steady_clock;
    std::optional<Clock::time_point> firstMatch;
    const auto enough = [&](const FoundSources& soFar) {
        const auto matches = matching(soFar, options.name);
        if (matches.empty()) {
            return g_interrupted.load();
        }
        firstMatch = firstMatch.value_or(Clock::now());
        const std::chrono::milliseconds settling(matches[0].name == options.name ? 200 : 500);
        return g_interrupted || Clock::now() - *firstMatch > settling;
    };
    const auto all = browse(milliseconds(options.waitSeconds), enough);
    const auto matches = matching(all, options.name);
    if (matches.size() == 1) {
        return {{matches[0].name, matches[0].endpoints}};
    }
    if (matches.empty()) {
        fmt::print(stderr, "No source \"{}\" was found within {} s.{}\n{}", options.name,
                   options.waitSeconds, all.empty() ? "" : " There are:", listText(all));
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

std::vector<Target> findTargets(const Options& options) {
    if (!options.address.empty()) {
        return findByAddress(options);
    }
    if (!options.all) {
        return findByName(options);
    }
    std::vector<Target> targets;
    for (const auto& source : browseAll(options)) {
        targets.push_back({source.name, source.endpoints});
    }
    return targets;
}

/// One thread for each source.
std::vector<Reception> receiveAll(const std::vector<Target>& targets, const Options& options) {
    std::vector<Reception> receptions(targets.size());
    std::vector<std::thread> threads;
    std::mutex outputMutex;
    for (std::size_t i = 0; i < targets.size(); ++i) {
        threads.emplace_back([&, i] {
            const auto tell = [&](const std::string& line) {
                const std::lock_guard lock(outputMutex);
                fmt::print(stderr, "{}: {}\n", targets[i].name, line);
            };
            receptions[i] = receive(targets[i], options, g_interrupted, tell);
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    return receptions;
}

/// "frame.png" for one source; "frame-1.png", "frame-2.png" ... for all.
std::string fileFor(const Options& options, std::size_t index) {
    if (!options.all) {
        return options.saveFile;
    }
    const auto dot = options.saveFile.rfind('.');
    const auto slash = options.saveFile.find_last_of("/\\");
    const bool hasEnding = dot != std::string::npos && (slash == std::string::npos || dot > slash);
    const std::string ending = hasEnding ? options.saveFile.substr(dot) : "";
    return fmt::format("{}-{}{}", options.saveFile.substr(0, hasEnding ? dot : std::string::npos),
                       index + 1, ending);
}

int codeOf(const Reception& reception) {
    switch (reception.end) {
        case Reception::End::Complete:
            return kDone;
        case Reception::End::Early:
            return kEarly;
        case Reception::End::NoConnection:
        case Reception::End::Nothing:
            break;
    }
    return kNothing;
}

/// Saves and reports one reception; returns its exit code.
int conclude(const Reception& reception, const Options& options, const std::string& file,
             std::string& json) {
    int code = codeOf(reception);
    if (code == kNothing) {
        fmt::print(stderr, "Nothing arrived from {}{}{}\n", reception.name,
                   reception.reason.empty() ? "" : ": ", reception.reason);
    } else if (!reception.reason.empty()) {
        fmt::print(stderr, "{}: {}\n", reception.name, reception.reason);
    }
    std::string saved;
    if (!file.empty() && code != kNothing) {
        const std::string error =
            reception.frame ? savePng(*reception.frame, file) : "no frame could be decoded";
        if (error.empty()) {
            saved = file;
        } else {
            fmt::print(stderr, "{}\n", error);
            code = kNotSaved;
        }
    }
    if (options.json) {
        json += (json.empty() ? "" : ",\n") + reportJson(reception, saved);
    } else if (code != kNothing) {
        fmt::print("{} at {}{}\n{}", reception.name, reception.address,
                   reception.video ? ": " + describe(*reception.video) : "",
                   reportText(reception, options.stats));
        if (!saved.empty()) {
            fmt::print("Saved {}\n", saved);
        }
    }
    return code;
}

int receiveTask(const Options& options) {
    const auto targets = findTargets(options);
    if (targets.empty()) {
        return kNothing;
    }
    const auto receptions = receiveAll(targets, options);
    int worst = kDone;
    std::string json;
    for (std::size_t i = 0; i < receptions.size(); ++i) {
        const std::string file = options.saveFile.empty() ? "" : fileFor(options, i);
        const int code = conclude(receptions[i], options, file, json);
        worst = worst == kDone ? code : worst;
    }
    if (options.json) {
        fmt::print(options.all ? "[{}]\n" : "{}\n", json);
    }
    return worst;
}

}  // namespace

// An exception that nobody catches ends the program at once, which is the best it can do.
// NOLINTNEXTLINE(bugprone-exception-escape)
int main(int argc, char** argv) {
    const auto parsed = parseOptions(std::vector<std::string>(argv + 1, argv + argc));
    if (const auto* error = std::get_if<UsageError>(&parsed)) {
        fmt::print(stderr, "ndimonitor: {}\nSee ndimonitor --help.\n", error->message);
        return kUsage;
    }
    const auto& options = std::get<Options>(parsed);
    std::signal(SIGINT, [](int) { g_interrupted = true; });
    std::signal(SIGTERM, [](int) { g_interrupted = true; });
    av_log_set_level(AV_LOG_QUIET);
    switch (options.task) {
        case Options::Task::Help:
            fmt::print("{}", helpText());
            return kDone;
        case Options::Task::Version:
            fmt::print("ndimonitor {}\n", TARSIN_VERSION);
            return kDone;
        case Options::Task::List:
            return list(options);
        case Options::Task::Receive:
            break;
    }
    return receiveTask(options);
}
