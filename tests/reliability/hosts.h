#pragma once
// Other machines: network namespaces, each held by a process that sleeps, with cables to a bridge.

#include <memory>
#include <string>
#include <vector>

#include "reliability/crowd.h"
#include "support/process.h"

namespace reliability {

using Command = std::vector<std::string>;

/// `command` with `words` behind it.
[[nodiscard]] Command operator+(Command command, const Command& words);

/// A program of ours whose output is kept in a file until the end.
class Program : public tests::Process {
public:
    explicit Program(const Command& command) : Program(command, newFile()) {}
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    /// Waits up to ten seconds for that text in its output.
    [[nodiscard]] bool says(const std::string& text) const;

private:
    Program(const Command& command, const std::string& file)
        : Process(command, file), m_file(file) {}
    [[nodiscard]] static std::string newFile();

    const std::string m_file;
};

/// A machine of its own. `exec` of something is a command that runs it there.
class Host {
public:
    Host();

    [[nodiscard]] Command exec(const Command& command) const;
    void run(const Command& command) const;
    [[nodiscard]] std::string pid() const { return std::to_string(m_holder.pid()); }

private:
    Program m_holder{{"unshare", "--net", "sleep", "7200"}};
};

/// Receivers in a process of their own. They stand for other machines: what else runs on this one
/// must not hold them up.
class CrowdProgram {
public:
    /// `roles` as in "watch:3". They connect to the first port.
    CrowdProgram(const std::string& address, const Command& roles);
    CrowdProgram(const Host& host, const std::string& address, const Command& roles);

    /// What the receivers got so far.
    [[nodiscard]] std::vector<ViewerReport> soFar();
    /// Ends it; what the receivers got.
    [[nodiscard]] std::vector<ViewerReport> end();

private:
    [[nodiscard]] std::vector<ViewerReport> reportAt(int signal);

    Program m_program;
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

}  // namespace reliability
