#pragma once
// A program started by a test, ended with the test, by its own pid.

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "support/eventually.h"

namespace tests {

class Process {
public:
    /// Starts `command` (found through PATH). Standard output and error go to `outputFile`; without
    /// one, to a file that goes with this object. Throws std::system_error when it can't be
    /// started.
    explicit Process(const std::vector<std::string>& command, const std::string& outputFile = {});

    /// Kills the program if it still runs.
    ~Process();

    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    [[nodiscard]] pid_t pid() const { return m_pid; }
    [[nodiscard]] bool running();
    void signal(int number) const;

    /// The exit code (128 + number for a signal); nothing when the program runs on.
    std::optional<int> waitFor(std::chrono::milliseconds limit);

    /// What the program wrote so far.
    [[nodiscard]] std::string output() const;

    /// Waits for `text` in the output.
    [[nodiscard]] bool says(const std::string& text) const;

    [[nodiscard]] long residentKiB() const;

private:
    pid_t m_pid = -1;
    std::optional<int> m_exitCode;
    const bool m_ownsOutput;
    const std::string m_outputFile;
};

/// Runs `command` to its end and gives what it wrote. Fails the running test when it does not end
/// with 0 within `limit`.
std::string runToEnd(const std::vector<std::string>& command,
                     std::chrono::milliseconds limit = std::chrono::seconds(20));

}  // namespace tests
