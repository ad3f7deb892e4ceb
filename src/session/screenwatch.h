#pragma once

#include <QTimer>
#include <functional>

namespace session {

/// Watches the desktop's monitors. Lives on one thread with an event loop, and needs no windows.
class ScreenWatch {
public:
    /// Calls `changed` a moment after the monitors may have changed: come, gone, moved, or with
    /// another mode. The several steps of one change lead to one call. A call does not mean that
    /// anything is different.
    explicit ScreenWatch(std::function<void()> changed);
    ScreenWatch(const ScreenWatch&) = delete;
    ScreenWatch& operator=(const ScreenWatch&) = delete;

private:
    QTimer m_settled;
};

/// While `owner` lives, calls `changed` on its thread when the system reports that monitors have
/// changed. May call too often. Each platform has its own implementation.
void onDisplayChange(QObject* owner, std::function<void()> changed);

}  // namespace session
