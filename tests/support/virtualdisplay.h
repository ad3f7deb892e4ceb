#pragma once
// X servers of a test's own.

#include <memory>
#include <string>
#include <vector>

#include "support/process.h"

namespace tests {

/// A running X server on a display number of its own. It ends with this object. Throws
/// std::runtime_error with the server's own words when it does not come up.
class VirtualDisplay {
public:
    /// Xvfb: one RandR output named "screen". `size` is WIDTHxHEIGHTxDEPTH.
    [[nodiscard]] static VirtualDisplay xvfb(const std::string& size,
                                             const std::vector<std::string>& options = {});

    /// Xorg with the dummy driver: RandR outputs DUMMY0 (1024x768, on), DUMMY1, ... that can be
    /// switched and moved. Modes larger than 1024x768 must be added first.
    [[nodiscard]] static VirtualDisplay xorg();

    /// As in the variable DISPLAY.
    [[nodiscard]] const std::string& name() const { return m_name; }

    /// Kills the server without a warning.
    void kill();

    /// Starts the server again under the same number, after kill().
    void restart();

    /// Runs a program on this display to its end, which must be a good one.
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

/// Has the program's own DISPLAY (which getenv() gives) be `display` during its life; with "",
/// there is none.
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
