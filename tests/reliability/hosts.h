#pragma once
// Other machines: network namespaces, each held by a process that sleeps, with cables to a bridge.

#include <cstdint>
#include <string>
#include <vector>

#include "support/process.h"

namespace reliability {

using Command = std::vector<std::string>;

/// `command` with `words` behind it.
[[nodiscard]] Command operator+(Command command, const Command& words);

/// A machine of its own. `exec` of something is a command that runs it there.
class Host {
public:
    Host();

    [[nodiscard]] Command exec(const Command& command) const;
    void run(const Command& command) const;
    [[nodiscard]] std::string pid() const { return std::to_string(m_holder.pid()); }

private:
    tests::Process m_holder{{"unshare", "--net", "sleep", "7200"}};
};

/// The bridge "wire" of this namespace; it has 10.7.0.1 and fd07::1. Loopback carries no multicast
/// meanwhile, so that sources are found through the bridge only.
class Wire {
public:
    Wire();
    ~Wire();
    Wire(const Wire&) = delete;
    Wire& operator=(const Wire&) = delete;

    /// Connects a host by its interface "eth0", as 10.7.0.`number` and fd07::`number`. This side
    /// of the cable is "port<number>".
    void plug(const Host& host, int number);
};

/// What one or several receivers got and did.
struct Report {
    std::string role;
    std::uint64_t frames = 0;  ///< New ones, repetitions left out.
    std::uint64_t lost = 0;    ///< Missing between the first and the last one of a connection.
    std::uint64_t connections = 0;
    std::uint64_t dropped = 0;  ///< Connections that failed, or that the source closed.
    std::uint64_t sentBytes = 0;
};
using Reports = std::vector<Report>;

/// Those of one role added up.
[[nodiscard]] Report sumOf(const Reports& reports, const std::string& role);

/// Receivers in a process of their own: what else runs in this one must not hold them up.
class Crowd {
public:
    /// `words` as in crowd.cpp. They connect to the first port of `address`.
    Crowd(const std::string& address, const Command& words);
    Crowd(const Host& host, const std::string& address, const Command& words);

    /// What they got so far.
    [[nodiscard]] Reports soFar();
    /// Ends them.
    [[nodiscard]] Reports end();

private:
    [[nodiscard]] Reports reportAt(int signal);

    tests::Process m_program;
};

}  // namespace reliability
