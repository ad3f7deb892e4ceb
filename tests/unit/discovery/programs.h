#pragma once
// Other programs as witnesses: started, read and ended by the test, found by process id.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace testing_programs {

using std::chrono::milliseconds;

/// Asks every 50 ms until `condition` holds or `limit` is over.
inline bool eventually(const std::function<bool()>& condition,
                       milliseconds limit = milliseconds(10000)) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(milliseconds(50));
    }
    return true;
}

/// A running program; its output goes to a file. Killed and waited for at the end.
class Program {
public:
    explicit Program(std::vector<std::string> arguments) {
        char name[] = "/tmp/discovery-test-XXXXXX";
        const int output = mkstemp(name);
        m_output = name;
        std::vector<char*> argv;
        for (auto& each : arguments) {
            argv.push_back(each.data());
        }
        argv.push_back(nullptr);
        m_pid = fork();
        if (m_pid == 0) {
            dup2(output, 1);
            dup2(output, 2);
            execvp(argv[0], argv.data());
            _exit(127);
        }
        close(output);
    }
    ~Program() {
        end(SIGKILL);
        std::filesystem::remove(m_output);
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    [[nodiscard]] pid_t pid() const { return m_pid; }

    void end(int signal) {
        if (m_pid > 0) {
            kill(m_pid, signal);
            wait();
        }
    }

    int wait() {
        int status = -1;
        if (m_pid > 0) {
            waitpid(m_pid, &status, 0);
        }
        m_pid = 0;
        return status;
    }

    [[nodiscard]] std::string output() const {
        std::ifstream file(m_output);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    [[nodiscard]] bool says(const std::string& text) const {
        return output().find(text) != std::string::npos;
    }

private:
    pid_t m_pid = 0;
    std::string m_output;
};

/// Runs to the end; the test fails when the program does.
inline std::string run(std::vector<std::string> arguments) {
    const std::string what = arguments[0] + " " + arguments.back();
    Program program(std::move(arguments));
    EXPECT_EQ(program.wait(), 0) << what << ": " << program.output();
    return program.output();
}

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
        browser->wait();
        return browser->output();
    }

    static constexpr char kAddress[] = "unix:path=/run/test-bus";

private:
    std::vector<std::string> m_prefix;
    std::unique_ptr<Program> m_bus;
    std::unique_ptr<Program> m_daemon;
};

}  // namespace testing_programs
