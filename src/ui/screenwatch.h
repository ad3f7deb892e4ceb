#pragma once

#include <QTimer>
#include <functional>

class QScreen;

namespace ui {

/// Watches the desktop's monitors. Lives on the GUI thread.
class ScreenWatch {
public:
    /// Calls `changed` a moment after the monitors may have changed: come, gone, moved, or with
    /// another mode. The several steps of one change lead to one call. A call does not mean that
    /// anything is different.
    explicit ScreenWatch(std::function<void()> changed);
    ScreenWatch(const ScreenWatch&) = delete;
    ScreenWatch& operator=(const ScreenWatch&) = delete;

private:
    void noteChange();
    void watch(const QScreen& screen);

    std::function<void()> m_changed;
    QTimer m_settled;
};

}  // namespace ui
