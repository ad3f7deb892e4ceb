#include <fmt/format.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <stdexcept>
#include <thread>

extern "C" {
#include <libavutil/log.h>
}

#include "monitor/doctor/doctor.h"
#include "monitor/livetable.h"
#include "monitor/options.h"
#include "monitor/png.h"
#include "monitor/receiver.h"
#include "monitor/report.h"
#include "monitor/search.h"
#include "monitor/videotext.h"
#include "monitor/view/viewer.h"
#include "monitor/watch.h"

namespace {

using namespace monitor;

enum ExitCode { kDone = 0, kNothing = 1, kUsage = 2, kEarly = 3, kNotSaved = 4 };

std::atomic<bool> g_interrupted{false};

int list(const Options& options) {
    if (options.watch) {
        watch(options, g_interrupted);
        return kDone;
    }
    const auto found = findAll(options, g_interrupted);
    fmt::print("{}", options.json ? listJson(found) : listText(found));
    return found.empty() ? kNothing : kDone;
}

int diagnose(const Options& options) {
    const auto findings =
        doctor::examine(options, g_interrupted, [&](const doctor::Finding& finding) {
            if (!options.json) {
                fmt::print("{}", doctor::findingText(finding));
                std::fflush(stdout);
            }
        });
    if (options.json) {
        fmt::print("{}", doctor::findingsJson(findings));
    }
    return doctor::allWell(findings) ? kDone : kNothing;
}

/// Receives from all targets at the same time, each on its own thread.
std::vector<Outcome> receiveAll(const std::vector<Target>& targets, const Options& options) {
    std::vector<std::string> names;
    for (const auto& target : targets) {
        names.push_back(target.name);
    }
    LiveTable table(names, options.all && !options.json);
    std::vector<Outcome> outcomes(targets.size());
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < targets.size(); ++i) {
        threads.emplace_back([&, i] {
            const auto tell = [&](const std::string& line) { table.tell(i, line); };
            const auto show = [&](const Progress& progress) { table.show(i, progress); };
            outcomes[i].reception =
                receive(targets[i], options, g_interrupted, tell,
                        options.all && !options.json ? ShowProgress(show) : ShowProgress());
            table.end(i, outcomes[i].reception.reason);
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    return outcomes;
}

/// "frame.png" for one source; "frame-1.png", "frame-2.png" ... with --all.
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

ExitCode exitCodeOf(const Reception& reception) {
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

/// Says on standard error why the reception ended, if not because everything had arrived.
void printReason(const Reception& reception) {
    if (exitCodeOf(reception) == kNothing) {
        fmt::print(stderr, "Nothing arrived from {}{}{}\n", reception.name,
                   reception.reason.empty() ? "" : ": ", reception.reason);
    } else if (!reception.reason.empty()) {
        fmt::print(stderr, "{}: {}\n", reception.name, reception.reason);
    }
}

/// Saves the last frame and remembers the file. False, with a line on standard error, when this
/// fails.
bool save(Outcome& outcome, const std::string& file) {
    const auto& frame = outcome.reception.frame;
    const std::string error =
        frame ? savePng(*frame, file) : file + " was not written: no frame could be decoded";
    if (!error.empty()) {
        fmt::print(stderr, "{}\n", error);
        return false;
    }
    outcome.savedFile = file;
    return true;
}

void printReport(const Outcome& outcome, bool withLatency) {
    const auto& reception = outcome.reception;
    fmt::print("{} at {}{}\n{}", reception.name, reception.address,
               reception.video ? ": " + describe(*reception.video) : "",
               reportText(reception, withLatency));
    if (!outcome.savedFile.empty()) {
        fmt::print("Saved {}\n", outcome.savedFile);
    }
}

/// Reports and saves one reception.
ExitCode conclude(Outcome& outcome, const Options& options, const std::string& file) {
    ExitCode code = exitCodeOf(outcome.reception);
    printReason(outcome.reception);
    if (code == kNothing) {
        return code;
    }
    if (!file.empty() && !save(outcome, file)) {
        code = kNotSaved;
    }
    if (!options.json) {
        printReport(outcome, options.stats);
    }
    return code;
}

int viewTask(const Target& target, const Options& options) {
    try {
        view(target, options, g_interrupted);
    } catch (const std::runtime_error& error) {
        fmt::print(stderr, "{} can't be shown: {}\n", target.name, error.what());
        return kNothing;
    }
    return kDone;
}

int receiveTask(const Options& options) {
    const std::string error = options.saveFile.empty() ? "" : checkWritable(fileFor(options, 0));
    if (!error.empty()) {
        fmt::print(stderr, "{}\n", error);
        return kNotSaved;
    }
    const auto targets = findTargets(options, g_interrupted);
    if (targets.empty()) {
        return kNothing;
    }
    if (options.view) {
        return viewTask(targets.front(), options);
    }
    auto outcomes = receiveAll(targets, options);
    int firstFailure = kDone;
    for (std::size_t i = 0; i < outcomes.size(); ++i) {
        const std::string file = options.saveFile.empty() ? "" : fileFor(options, i);
        const int code = conclude(outcomes[i], options, file);
        firstFailure = firstFailure == kDone ? code : firstFailure;
    }
    if (options.json) {
        fmt::print("{}", reportJson(outcomes, options.all));
    }
    return firstFailure;
}

}  // namespace

// An uncaught exception ends the program, and there is nothing better to do with it.
// NOLINTNEXTLINE(bugprone-exception-escape)
int main(int argc, char** argv) {
    const auto parsed = parseOptions(std::vector<std::string>(argv + 1, argv + argc));
    if (const auto* error = std::get_if<UsageError>(&parsed)) {
        fmt::print(stderr, "ndimonitor: {}\nSee ndimonitor --help.\n", error->message);
        return kUsage;
    }
    if (const auto* information = std::get_if<Information>(&parsed)) {
        fmt::print("{}", information->text);
        return kDone;
    }
    const auto& options = std::get<Options>(parsed);
    std::signal(SIGINT, [](int) { g_interrupted = true; });
    std::signal(SIGTERM, [](int) { g_interrupted = true; });
    av_log_set_level(AV_LOG_QUIET);  // Its messages would appear among this program's own.
    switch (options.task) {
        case Options::Task::List:
            return list(options);
        case Options::Task::Doctor:
            return diagnose(options);
        default:
            return receiveTask(options);
    }
}
