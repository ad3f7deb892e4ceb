#include "ui/fixedsize.h"

#include <QEvent>
#include <QScreen>
#include <QTimer>
#include <QWindow>

namespace ui {
namespace {

class SizeKeeper : public QObject {
public:
    SizeKeeper(QWidget& window, QSize size) : QObject(&window), m_window(window), m_size(size) {
        m_window.setFixedSize(m_size);
        m_window.installEventFilter(this);
    }

    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Show && m_window.windowHandle() != nullptr) {
            connect(m_window.windowHandle(), &QWindow::screenChanged, this, &SizeKeeper::noteScreen,
                    Qt::UniqueConnection);
        }
        return QObject::eventFilter(watched, event);
    }

private:
    /// Qt applies the old physical size after this signal.
    void noteScreen() {
        QTimer::singleShot(0, this, [this] {
            // The window system learns of the limits only when they change.
            m_window.setFixedSize(m_size + QSize(1, 1));
            m_window.setFixedSize(m_size);
        });
    }

    QWidget& m_window;
    const QSize m_size;
};

}  // namespace

void fixSize(QWidget& window, QSize size) {
    new SizeKeeper(window, size);
}

}  // namespace ui
