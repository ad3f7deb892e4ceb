#pragma once

namespace support {

/// A connection to the window system that tells when the desktop's monitors change. One thread.
class MonitorEvents {
public:
    MonitorEvents() = default;
    virtual ~MonitorEvents() = default;
    MonitorEvents(const MonitorEvents&) = delete;
    MonitorEvents& operator=(const MonitorEvents&) = delete;

    /// Can be read when read() has something to do.
    [[nodiscard]] virtual int file() const = 0;

    /// Handles what has come; never waits for more. True: monitors may have come, gone, moved or
    /// changed their mode.
    [[nodiscard]] virtual bool read() = 0;

    /// False once the window system is gone; stays false.
    [[nodiscard]] virtual bool alive() const = 0;
};

}  // namespace support
