#pragma once
// Ends a wait from another thread.

#include <chrono>

namespace capture::x11 {

/// A flag that a thread can wait for together with a socket.
class Interrupt {
public:
    /// Without a free file descriptor, raise() does nothing.
    Interrupt();
    ~Interrupt();
    Interrupt(const Interrupt&) = delete;
    Interrupt& operator=(const Interrupt&) = delete;

    /// Ends wait(), or else the next wait(). Any thread.
    void raise() const;

    /// Waits until `socket` (-1: none) can be read, until raise(), or until `limit` has passed.
    /// Lowers the flag. One thread at a time.
    void wait(int socket, std::chrono::milliseconds limit) const;

private:
    const int m_event;
};

}  // namespace capture::x11
