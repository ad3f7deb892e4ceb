// WM_DISPLAYCHANGE, of which Qt passes over those that leave size and colour depth as they are.

#include <windows.h>

#include <QAbstractNativeEventFilter>
#include <QCoreApplication>
#include <utility>

#include "ui/desktop.h"

namespace ui {
namespace {

/// Qt shows it the messages to every window of this program; WM_DISPLAYCHANGE goes to each of them.
class DisplayEvents : public QObject, public QAbstractNativeEventFilter {
public:
    DisplayEvents(std::function<void()> changed, QObject* owner)
        : QObject(owner), m_changed(std::move(changed)) {
        QCoreApplication::instance()->installNativeEventFilter(this);
    }

    bool nativeEventFilter(const QByteArray& /*type*/, void* message, long* /*result*/) override {
        if (static_cast<const MSG*>(message)->message == WM_DISPLAYCHANGE) {
            m_changed();
        }
        return false;
    }

private:
    std::function<void()> m_changed;
};

}  // namespace

void onDisplayChange(QObject* owner, std::function<void()> changed) {
    new DisplayEvents(std::move(changed), owner);
}

}  // namespace ui
