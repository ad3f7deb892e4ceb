#include "cli/run.h"

#include <fmt/format.h>

#include <QCoreApplication>
#include <cstdio>

#include "cli/report.h"
#include "support/log.h"
#include "support/utf8.h"

namespace cli {
namespace {

using namespace std::chrono_literals;

constexpr auto kStatusInterval = 1s;
constexpr auto kCaptureInterval = 250ms;
constexpr int kLooksBeforeTelling = 4;
/// For the reader of an answer to a command.
constexpr auto kAnswerPatience = 1s;

constexpr const char* kCommands = "region WxH+X+Y, screen N|NAME, pause, continue, status and quit";

/// Two words from a line; blanks around them do not count.
void split(const std::string& line, std::string& command, std::string& argument) {
    static const char* const kBlanks = " \t\r";
    const auto begin = std::min(line.find_first_not_of(kBlanks), line.size());
    const auto end = std::min(line.find_first_of(kBlanks, begin), line.size());
    command = line.substr(begin, end - begin);
    const auto next = line.find_first_not_of(kBlanks, end);
    argument = next == std::string::npos ? "" : line.substr(next);
    argument.erase(argument.find_last_not_of(kBlanks) + 1);
}

}  // namespace

Run::Run(const Options& options, const Console& console, Publisher& publisher)
    : m_options(options), m_console(console), m_publisher(publisher) {}

void Run::toTheEnd() {
    whenAskedToEnd(this, [] {
        HV_INFO("ndisend is asked to end");
        QCoreApplication::quit();
    });
    if (m_options.control) {
        readLines(
            this, [this](const std::string& line) { obey(line); },
            [] {
                HV_INFO("standard input has ended, and ndisend with it");
                QCoreApplication::quit();
            });
    }
    const Publisher::State state = m_publisher.state();
    if (m_options.json) {
        print(statusJson("started", state));
    }
    if (m_options.json || m_console.isTerminal()) {
        every(kStatusInterval, [this] { showStatus(); });
    }
    every(kCaptureInterval, [this] { showCapture(); });
    m_manager.tell("READY=1\nSTATUS=" + support::cleanUtf8(statusLine(state)));
    startWatchdog();

    QCoreApplication::exec();

    m_manager.tell("STOPPING=1");
    if (m_options.json) {
        print(statusJson("ended", m_publisher.state()));
    } else if (m_console.isTerminal()) {
        print("\n");
    }
    m_publisher.end();
}

void Run::every(std::chrono::milliseconds interval, std::function<void()> action) {
    auto* const timer = new QTimer(this);
    QObject::connect(timer, &QTimer::timeout, this, std::move(action));
    timer->start(interval);
}

/// A sender that hangs is no longer reported as alive, and the service manager restarts it.
void Run::startWatchdog() {
    if (const auto interval = m_manager.watchdog()) {
        constexpr int kTimesPerInterval = 3;
        every(std::chrono::duration_cast<std::chrono::milliseconds>(*interval / kTimesPerInterval),
              [this] {
                  if (m_publisher.isAlive()) {
                      m_manager.tell("WATCHDOG=1");
                  }
              });
    }
}

void Run::print(const std::string& text, std::chrono::milliseconds patience) {
    if (!m_outputClosed && !m_console.write(text, patience)) {
        m_outputClosed = true;
        HV_WARN("standard output is closed, and ndisend ends with it");
        QCoreApplication::quit();
    }
}

void Run::showStatus() {
    const Publisher::State state = m_publisher.state();
    if (m_options.json) {
        print(statusJson("status", state));
        return;
    }
    // The cursor stays at the begin of the line, where a log line may overwrite it.
    const auto room = static_cast<std::size_t>(std::max(m_console.width() - 1, 1));
    print("\r" + support::cutUtf8(support::cleanUtf8(statusLine(state)), room) + "\x1b[K\r");
}

/// Says once why there are no frames. What ends within a second, as the question for a permission
/// that is stored does, is not worth a line.
void Run::showCapture() {
    m_publisher.followCapture();
    const Publisher::State state = m_publisher.state();
    m_looks = state.problem == m_problem ? m_looks + 1 : 0;
    m_problem = state.problem;
    if (m_looks != kLooksBeforeTelling) {
        return;
    }
    if (!m_problem.empty()) {
        fmt::print(stderr, "ndisend: {}{}\n", m_problem,
                   m_console.isTerminal() || !state.needsPermission
                       ? ""
                       : "; to store the permission, start ndisend or TarsinNDI once in the "
                         "desktop's session and choose the screen there");
    }
    m_manager.tell("STATUS=" + support::cleanUtf8(statusLine(state)));
}

void Run::obey(const std::string& line) {
    std::string command;
    std::string argument;
    split(line, command, argument);
    if (command.empty()) {
        return;
    }
    const std::string error = carryOut(command, argument);
    print(answerJson(command, error, m_publisher.state()), kAnswerPatience);
    if (command == "quit" && error.empty()) {
        QCoreApplication::quit();
    }
}

/// "" or what is wrong.
std::string Run::carryOut(const std::string& command, const std::string& argument) {
    if (command == "region") {
        const auto region = parseRegion(argument);
        return region ? m_publisher.setRegion(*region)
                      : fmt::format("expected region WIDTHxHEIGHT+X+Y, not \"{}\"", argument);
    }
    if (command == "screen") {
        return m_publisher.setScreen(argument);
    }
    if (command != "pause" && command != "continue" && command != "status" && command != "quit") {
        return fmt::format("unknown command \"{}\"; there are {}", command, kCommands);
    }
    if (!argument.empty()) {
        return fmt::format("{} takes no argument, not \"{}\"", command, argument);
    }
    if (command == "pause") {
        m_publisher.pause();
    } else if (command == "continue") {
        m_publisher.resume();
    }
    return {};
}

}  // namespace cli
