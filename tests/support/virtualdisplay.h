#pragma once
// Private X servers for tests.

#include <memory>
#include <string>
#include <vector>

#include "support/process.h"

namespace tests {

/// A running X server with its own display number. It ends with this object. The factories throw
/// std::runtime_error, with the server's output, if it does not start.
class VirtualDisplay {
public:
    /// Xvfb: one RandR output named "screen". `size` is WIDTHxHEIGHTxDEPTH.
    [[nodiscard]] static VirtualDisplay xvfb(const std::string& size,
                                             const std::vector<std::string>& options = {});

    /// Xorg with the dummy driver: RandR outputs DUMMY0 (1024x768, on), DUMMY1, ... that can be
    /// switched on and off and moved. Modes larger than 1024x768 must be added first.
    [[nodiscard]] static VirtualDisplay xorg();

    /// For the variable DISPLAY.
    [[nodiscard]] const std::string& name() const { return m_name; }

    /// Kills the server with SIGKILL.
    void kill();

    /// After kill(): starts the server again with the same display number.
    void restart();

    /// Runs a program on this display to its end; it must exit with 0.
    void run(std::vector<std::string> command) const;

    /// Starts a program on this display.
    [[nodiscard]] std::unique_ptr<Process> spawn(std::vector<std::string> command) const;

private:
    struct Folder;

    explicit VirtualDisplay(std::vector<std::string> command, std::shared_ptr<Folder> folder);
    void start(const std::vector<std::string>& command);
    [[nodiscard]] std::vector<std::string> onDisplay(std::vector<std::string> command) const;

    std::shared_ptr<Folder> m_folder;
    std::vector<std::string> m_command;
    std::string m_name;
    std::unique_ptr<Process> m_server;
};

/// Sets DISPLAY of this process during its life; "" removes the variable.
class DisplayVariable {
public:
    explicit DisplayVariable(const std::string& display);
    ~DisplayVariable();
    DisplayVariable(const DisplayVariable&) = delete;
    DisplayVariable& operator=(const DisplayVariable&) = delete;

private:
    std::string m_before;
};

}  // namespace tests
