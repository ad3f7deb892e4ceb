#include "reliability/hosts.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <sstream>

namespace reliability {

using tests::eventually;
using tests::runToEnd;

Command operator+(Command command, const Command& words) {
    command.insert(command.end(), words.begin(), words.end());
    return command;
}

Host::Host() {
    EXPECT_TRUE(eventually([this] {
        return std::filesystem::read_symlink("/proc/" + pid() + "/ns/net") !=
               std::filesystem::read_symlink("/proc/self/ns/net");
    }));
    run({"ip", "link", "set", "lo", "up"});
}

Command Host::exec(const Command& command) const {
    return Command{"nsenter", "-t", pid(), "-n"} + command;
}

void Host::run(const Command& command) const {
    runToEnd(exec(command));
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
    // An address of its own would be announced, too.
    runToEnd({"ip", "link", "set", port, "addrgenmode", "none"});
    runToEnd({"ip", "link", "set", port, "master", "wire", "up"});
    host.run({"ip", "addr", "add", "10.7.0." + std::to_string(number) + "/24", "dev", "eth0"});
    host.run(
        {"ip", "addr", "add", "fd07::" + std::to_string(number) + "/64", "dev", "eth0", "nodad"});
    host.run({"ip", "link", "set", "eth0", "up"});
}

Report sumOf(const Reports& reports, const std::string& role) {
    Report sum;
    for (const Report& one : reports) {
        if (one.role == role) {
            sum.frames += one.frames;
            sum.lost += one.lost;
            sum.connections += one.connections;
            sum.dropped += one.dropped;
            sum.sentBytes += one.sentBytes;
        }
    }
    return sum;
}

namespace {

Command crowdCommand(const std::string& address, const Command& words) {
    return Command{"nice", "-n", "-20", RELIABILITY_CROWD, address, "5961"} + words;
}

}  // namespace

Crowd::Crowd(const std::string& address, const Command& words)
    : m_program(crowdCommand(address, words)) {
    EXPECT_TRUE(m_program.says("ready"));
}

Crowd::Crowd(const Host& host, const std::string& address, const Command& words)
    : m_program(host.exec(crowdCommand(address, words))) {
    EXPECT_TRUE(m_program.says("ready"));
}

Reports Crowd::soFar() {
    return reportAt(SIGUSR1);
}

Reports Crowd::end() {
    auto reports = reportAt(SIGTERM);
    EXPECT_EQ(m_program.waitFor(std::chrono::seconds(20)).value_or(-1), 0) << m_program.output();
    return reports;
}

Reports Crowd::reportAt(int signal) {
    const std::size_t before = m_program.output().size();
    m_program.signal(signal);
    std::string text;
    EXPECT_TRUE(eventually([&] {
        text = m_program.output().substr(before);
        return text.find("\n.\n") != std::string::npos;
    })) << text;
    Reports reports;
    std::istringstream words(text);
    for (Report one; words >> one.role >> one.frames >> one.lost >> one.connections >>
                     one.dropped >> one.sentBytes;) {
        reports.push_back(one);
    }
    return reports;
}

}  // namespace reliability
