#pragma once
// An Avahi daemon to observe announcements with, or to publish through.

#include <gtest/gtest.h>
#include <sys/mount.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "support/process.h"

namespace tests {

/// A private D-Bus and Avahi daemon. The bus is unix:path=/run/test-bus, in a /run that only this
/// process and its children see.
class AvahiDaemon {
public:
    /// `prefix` precedes the command of the daemon, to start it in another network namespace.
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
        m_bus = std::make_unique<Process>(std::vector<std::string>{
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
        m_daemon = std::make_unique<Process>(command);
        EXPECT_TRUE(m_daemon->says("Server startup complete")) << m_daemon->output();
    }

    void end(int signal) {
        m_daemon->signal(signal);
        EXPECT_TRUE(m_daemon->waitFor(std::chrono::seconds(20)));
        std::filesystem::remove_all("/run/avahi-daemon");
    }

    /// Starts a program of avahi-utils on this daemon.
    static std::unique_ptr<Process> tool(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(),
                         {"env", std::string("DBUS_SYSTEM_BUS_ADDRESS=") + kAddress});
        return std::make_unique<Process>(std::move(arguments));
    }

    /// The NDI sources that avahi-browse finds, resolved, one per line.
    static std::string browse() {
        const auto browser = tool({"timeout", "20", "avahi-browse", "-rpt", "_ndi._tcp"});
        EXPECT_EQ(browser->waitFor(std::chrono::seconds(30)), 0);
        return browser->output();
    }
    /// Waits until browse() contains `text`.
    [[nodiscard]] static bool finds(const std::string& text) {
        return eventually([&] { return browse().find(text) != std::string::npos; });
    }

    static constexpr char kAddress[] = "unix:path=/run/test-bus";

private:
    std::vector<std::string> m_prefix;
    std::unique_ptr<Process> m_bus;
    std::unique_ptr<Process> m_daemon;
};

}  // namespace tests
