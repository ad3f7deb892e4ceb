#pragma once
// Programs that a test starts; they end with it.

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "support/eventually.h"

namespace tests {

class Process {
public:
    /// Starts `command`, found through PATH. Standard output and error go to `outputFile`, or to a
    /// temporary file that this object deletes. Throws std::system_error if it cannot be started.
    explicit Process(const std::vector<std::string>& command, const std::string& outputFile = {});

    /// Kills the program, by its pid, if it still runs.
    ~Process();

    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    [[nodiscard]] pid_t pid() const { return m_pid; }
    [[nodiscard]] bool running();
    void signal(int number) const;

    /// The exit code, 128 + number for a signal. Empty: still running after `limit`.
    std::optional<int> waitFor(std::chrono::milliseconds limit);

    /// The output so far.
    [[nodiscard]] std::string output() const;

    /// Waits until the output contains `text`.
    [[nodiscard]] bool says(const std::string& text) const;

    [[nodiscard]] long residentKiB() const;

private:
    pid_t m_pid = -1;
    std::optional<int> m_exitCode;
    const bool m_ownsOutput;
    const std::string m_outputFile;
};

/// Runs `command` to its end and returns its output. Fails the current test unless it exits with 0
/// within `limit`.
std::string runToEnd(const std::vector<std::string>& command,
                     std::chrono::milliseconds limit = kPatience);

}  // namespace tests
