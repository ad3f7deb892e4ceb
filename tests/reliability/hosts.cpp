#include "reliability/hosts.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <filesystem>

namespace reliability {

using tests::eventually;
using tests::runToEnd;

Command operator+(Command command, const Command& words) {
    command.insert(command.end(), words.begin(), words.end());
    return command;
}

Program::~Program() {
    std::filesystem::remove(m_file);
}

bool Program::says(const std::string& text) const {
    return eventually([&] { return output().find(text) != std::string::npos; },
                      std::chrono::seconds(10));
}

std::string Program::newFile() {
    static int number = 0;
    return testing::TempDir() + "reliability-" + std::to_string(::getpid()) + "-" +
           std::to_string(++number);
}

Host::Host() {
    EXPECT_TRUE(eventually(
        [this] {
            return std::filesystem::read_symlink("/proc/" + pid() + "/ns/net") !=
                   std::filesystem::read_symlink("/proc/self/ns/net");
        },
        std::chrono::seconds(5)));
    run({"ip", "link", "set", "lo", "up"});
}

Command Host::exec(const Command& command) const {
    return Command{"nsenter", "-t", pid(), "-n"} + command;
}

void Host::run(const Command& command) const {
    runToEnd(exec(command));
}

namespace {

Command crowdCommand(const std::string& address, const Command& roles) {
    return Command{"nice", "-n", "-20", RELIABILITY_CROWD, address, "5961", "7200"} + roles;
}

}  // namespace

CrowdProgram::CrowdProgram(const std::string& address, const Command& roles)
    : m_program(crowdCommand(address, roles)) {}

CrowdProgram::CrowdProgram(const Host& host, const std::string& address, const Command& roles)
    : m_program(host.exec(crowdCommand(address, roles))) {}

std::vector<ViewerReport> CrowdProgram::soFar() {
    return reportAt(SIGUSR1);
}

std::vector<ViewerReport> CrowdProgram::end() {
    auto reports = reportAt(SIGTERM);
    EXPECT_EQ(m_program.waitFor(std::chrono::seconds(20)).value_or(-1), 0) << m_program.output();
    return reports;
}

std::vector<ViewerReport> CrowdProgram::reportAt(int signal) {
    const std::size_t before = m_program.output().size();
    m_program.signal(signal);
    std::string report;
    EXPECT_TRUE(eventually(
        [&] {
            report = m_program.output().substr(before);
            return report.find("\n.\n") != std::string::npos;
        },
        std::chrono::seconds(20)))
        << report;
    return readReports(report);
}

Wire::Wire() {
    runToEnd({"ip", "link", "set", "lo", "multicast", "off"});
    runToEnd({"ip", "link", "add", "wire", "type", "bridge"});
    runToEnd({"ip", "addr", "add", "10.7.0.1/24", "dev", "wire"});
    runToEnd({"ip", "addr", "add", "fd07::1/64", "dev", "wire", "nodad"});
    runToEnd({"ip", "link", "set", "wire", "up"});
}

Wire::~Wire() {
    runToEnd({"ip", "link", "del", "wire"});
    runToEnd({"ip", "link", "set", "lo", "multicast", "on"});
}

void Wire::plug(const Host& host, int number) {
    const std::string port = "port" + std::to_string(number);
    runToEnd(
        {"ip", "link", "add", port, "type", "veth", "peer", "name", "eth0", "netns", host.pid()});
    runToEnd({"ip", "link", "set", port, "master", "wire", "up"});
    host.run({"ip", "addr", "add", "10.7.0." + std::to_string(number) + "/24", "dev", "eth0"});
    host.run(
        {"ip", "addr", "add", "fd07::" + std::to_string(number) + "/64", "dev", "eth0", "nodad"});
    host.run({"ip", "link", "set", "eth0", "up"});
}

}  // namespace reliability
