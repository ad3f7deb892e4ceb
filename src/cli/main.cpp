#include <fmt/format.h>

#include <QCoreApplication>
#include <QSysInfo>

#include "cli/report.h"
#include "cli/run.h"
#include "sender/ndisource.h"
#include "session/screenwatch.h"
#include "support/log.h"
#include "support/logging.h"
#include "support/utf8.h"

namespace {

/// Ends the log as the program with the window does: same lines, from lines of the same numbers.
void stopCallback() {
    static_assert(__LINE__ == 18, "the banner must be on lines 19, 20 and 21");
    HV_INFO("####################################################");
    HV_INFO("#                    STOP                         #");
    HV_INFO("####################################################");
    HV::SpdlogApplication::instance().flush();
    HV::SpdlogApplication::instance().shutdownLogger();
}

using namespace cli;

int fail(ExitCode code, const std::string& message) {
    HV_ERROR("ndisend ends with exit code {}: {}", static_cast<int>(code), message);
    fmt::print(stderr, "ndisend: {}\n", support::cleanUtf8(message));
    return code;
}

void logStart(const session::ScreenList& list, const Plan& plan) {
    const auto variable = [](const char* name) {
        const QByteArray value = qgetenv(name);
        return value.isEmpty() ? "not set" : value.toStdString();
    };
    HV_INFO("ndisend {} starts on {}, {}; session type {}, display {}", TARSIN_VERSION,
            QSysInfo::prettyProductName().toStdString(),
            QSysInfo::currentCpuArchitecture().toStdString(), variable("XDG_SESSION_TYPE"),
            variable("DISPLAY"));
    for (int i = 0; i != list.screens.count; ++i) {
        HV_INFO("screen {}: {}", i, describeScreen(list, i));
    }
    HV_INFO("name \"{}\", screen {}, region {}, {} fps, capture path {}", plan.target.senderName,
            plan.target.screenIndex, geometry(plan.target.region), plan.target.frameRate,
            plan.forceGrab ? "FFmpeg" : "default");
}

/// An operator who names a source expects this name, so a taken one is not numbered.
Collaborators withExactName(Collaborators collaborators) {
    collaborators.createSource = [](const std::string& name, NDIlib_send_instance_t& instance) {
        createNdiSourceOfName(name, instance);
    };
    return collaborators;
}

int listScreens(const Options& options, const Console& console, const session::ScreenList& list) {
    const std::string text = options.json ? screensJson(list) : screensText(list);
    if (list.screens.count == 0) {
        return fail(kCouldNot,
                    "no screen was found: is DISPLAY set, or is this a Wayland session?");
    }
    return console.write(text, std::chrono::seconds(10)) ? kDone : kCouldNot;
}

int send(const Options& options, const Console& console) {
    const auto config = readConfig(options.configFile);
    if (const auto* failure = std::get_if<Failure>(&config)) {
        return fail(failure->code, failure->message);
    }
    const session::ScreenList list = session::listScreens(Collaborators::withoutSettings());
    if (options.listScreens) {
        return listScreens(options, console, list);
    }
    const auto plan = makePlan(options, std::get<Config>(config), list);
    if (const auto* failure = std::get_if<Failure>(&plan)) {
        return fail(failure->code, failure->message);
    }
    logStart(list, std::get<Plan>(plan));
    Publisher publisher(withExactName(Collaborators::withoutSettings(std::get<Plan>(plan).sender)),
                        list, std::get<Plan>(plan));
    const session::ScreenWatch watch([&publisher] { publisher.followScreens(); });
    if (const std::string error = publisher.begin(); !error.empty()) {
        return fail(kCouldNot, error);
    }
    logWarningsToConsole();
    Run(options, console, publisher).toTheEnd();
    return kDone;
}

}  // namespace

// An uncaught exception terminates the program; there is nothing to recover here.
// NOLINTNEXTLINE(bugprone-exception-escape)
int main(int argc, char* argv[]) {
    const auto parsed = parseOptions({argv + 1, argv + argc});
    if (const auto* information = std::get_if<Information>(&parsed)) {
        fmt::print("{}", information->text);
        return kDone;
    }
    if (const auto* error = std::get_if<UsageError>(&parsed)) {
        fmt::print(stderr, "ndisend: {}; see ndisend --help\n", error->message);
        return kUsage;
    }
    const Console console;
    initLogger(LogConsole::Nothing);
    const QCoreApplication application(argc, argv);
    const int exitCode = send(std::get<Options>(parsed), console);
    stopCallback();
    return exitCode;
}
