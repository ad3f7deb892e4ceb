#pragma once

namespace session {

/// Keeps the display from going to sleep while it is held. One thread at a time, always the same
/// one. Released with the object.
class DisplayLock {
public:
    DisplayLock() = default;
    ~DisplayLock() { hold(false); }
    DisplayLock(const DisplayLock&) = delete;
    DisplayLock& operator=(const DisplayLock&) = delete;

    /// Holds or releases it. On Linux it takes a desktop that offers org.freedesktop.ScreenSaver on
    /// the session bus; it is asked, and not waited for.
    void hold(bool on);

private:
    bool m_held = false;
};

/// Keeps the process's timers exact while its windows are minimised or covered, or it has none,
/// where the system would stretch them.
void keepTimersExact();

}  // namespace session
