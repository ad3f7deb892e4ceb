#pragma once
// Other programs as witnesses: started, read and ended by the test, found by process id.

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "support/process.h"

namespace testing_programs {

using std::chrono::milliseconds;
using tests::runToEnd;

template <typename Condition>
bool eventually(const Condition& condition, milliseconds limit = milliseconds(10000)) {
    return tests::eventually(condition, limit);
}

/// A running program whose output is looked at; killed at the end.
class Program : public tests::Process {
public:
    explicit Program(const std::vector<std::string>& command) : Program(command, newFile()) {}
    ~Program() { std::filesystem::remove(m_file); }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    [[nodiscard]] bool says(const std::string& text) const {
        return output().find(text) != std::string::npos;
    }

    void end(int number) {
        signal(number);
        EXPECT_TRUE(waitFor(milliseconds(5000)));
    }

private:
    Program(const std::vector<std::string>& command, const std::string& file)
        : Process(command, file), m_file(file) {}

    static std::string newFile() {
        static int number = 0;
        return testing::TempDir() + "discovery-test-" + std::to_string(::getpid()) + "-" +
               std::to_string(++number);
    }

    const std::string m_file;
};

/// A D-Bus and an Avahi daemon of the test's own. The bus is unix:path=/run/test-bus, in a /run
/// that only this process and its children see.
class AvahiDaemon {
public:
    /// `prefix` comes before the daemon's command, to start it in another network namespace.
    explicit AvahiDaemon(std::vector<std::string> prefix = {}) : m_prefix(std::move(prefix)) {
        static const bool mounted = mount("tmpfs", "/run", "tmpfs", 0, nullptr) == 0;
        EXPECT_TRUE(mounted);
        std::filesystem::remove("/run/test-bus");
        std::ofstream("/run/bus.conf")
            << "<busconfig><type>system</type><listen>" << kAddress
            << "</listen><policy context=\"default\"><allow user=\"*\"/><allow own=\"*\"/>"
               "<allow send_destination=\"*\"/><allow receive_sender=\"*\"/></policy></busconfig>";
        std::ofstream("/run/avahi.conf") << "[server]\nhost-name=testhost\nuse-ipv4=yes\n"
                                            "use-ipv6=yes\n[publish]\npublish-workstation=no\n";
        m_bus = std::make_unique<Program>(std::vector<std::string>{
            "dbus-daemon", "--config-file=/run/bus.conf", "--nofork", "--nopidfile"});
        EXPECT_TRUE(eventually([] { return std::filesystem::exists("/run/test-bus"); }));
        start();
    }

    void start() {
        auto command = m_prefix;
        for (const char* word :
             {"env", "DBUS_SYSTEM_BUS_ADDRESS=unix:path=/run/test-bus", "avahi-daemon",
              "--file=/run/avahi.conf", "--no-drop-root", "--no-chroot", "--no-rlimits"}) {
            command.emplace_back(word);
        }
        m_daemon = std::make_unique<Program>(command);
        EXPECT_TRUE(eventually([this] { return m_daemon->says("Server startup complete"); }))
            << m_daemon->output();
    }

    void end(int signal) {
        m_daemon->end(signal);
        std::filesystem::remove_all("/run/avahi-daemon");
    }

    /// Starts one of avahi-utils' programs with this daemon.
    static std::unique_ptr<Program> tool(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(),
                         {"env", std::string("DBUS_SYSTEM_BUS_ADDRESS=") + kAddress});
        return std::make_unique<Program>(std::move(arguments));
    }

    /// What avahi-browse finds of NDI sources, resolved, one a line.
    static std::string browse() {
        const auto browser = tool({"timeout", "10", "avahi-browse", "-rpt", "_ndi._tcp"});
        EXPECT_EQ(browser->waitFor(milliseconds(12000)), 0);
        return browser->output();
    }

    static constexpr char kAddress[] = "unix:path=/run/test-bus";

private:
    std::vector<std::string> m_prefix;
    std::unique_ptr<Program> m_bus;
    std::unique_ptr<Program> m_daemon;
};

}  // namespace testing_programs
