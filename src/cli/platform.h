#pragma once
// What ndisend needs of the operating system. Implemented once per platform.

#include <QObject>
#include <chrono>
#include <functional>
#include <optional>
#include <string>

namespace cli {

/// The standard output that ndisend was started with. Libraries print to standard output too; from
/// the construction on, what they print goes to standard error.
class Console {
public:
    Console();

    [[nodiscard]] bool isTerminal() const { return m_width.has_value(); }
    /// In characters, of a terminal.
    [[nodiscard]] int width() const { return m_width.value_or(0); }

    /// False: nobody reads it any more. A reader that does not keep up misses text; the caller
    /// never waits for longer than `patience`.
    [[nodiscard]] bool write(const std::string& text,
                             std::chrono::milliseconds patience = {}) const;

private:
    int m_descriptor;
    std::optional<int> m_width;  ///< Empty: no terminal that can move its cursor.
};

/// Calls `end` on the thread of `context` when the user or the system asks the program to end:
/// Ctrl-C, SIGINT, SIGTERM, SIGHUP; on Windows Ctrl-C, Ctrl-Break, the console's close button,
/// logging off. Call it once; `context` outlives the event loop.
void whenAskedToEnd(QObject* context, std::function<void()> end);

/// Calls `take` on the thread of `context` with each line of standard input, and `end` at its end.
/// Call it once; `context` outlives the event loop.
void readLines(QObject* context, std::function<void(const std::string& line)> take,
               std::function<void()> end);

/// The service manager that started the program, by systemd's notify protocol (sd_notify(3)):
/// datagrams to the socket that NOTIFY_SOCKET names. Without one, nothing happens.
class ServiceManager {
public:
    ServiceManager();
    ~ServiceManager();
    ServiceManager(const ServiceManager&) = delete;
    ServiceManager& operator=(const ServiceManager&) = delete;

    /// Sends "READY=1", "WATCHDOG=1" and the like, several separated by line ends.
    void tell(const std::string& state) const;

    /// How often "WATCHDOG=1" has to be told at least; empty: never.
    [[nodiscard]] std::optional<std::chrono::microseconds> watchdog() const { return m_watchdog; }

private:
    int m_socket = -1;
    std::optional<std::chrono::microseconds> m_watchdog;
};

}  // namespace cli
