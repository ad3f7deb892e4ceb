#pragma once
// The window's controls as an operator finds them, and what he does with them.

#include <gmock/gmock.h>

#include <QComboBox>
#include <QGroupBox>
#include <QLineEdit>
#include <QPushButton>
#include <QSettings>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QtTest>
#include <memory>
#include <string>

#include "desk.h"
#include "support/translation.h"
#include "ui/captureroi.h"
#include "ui/ndisenderui.h"
#include "ui/titlebar.h"

inline QString beside(const QString& file) {
    return QCoreApplication::applicationDirPath() + "/" + file;
}

inline void speakEnglish() {
    const QString file = beside("LanguageEN_Tools.xml");
    StringToTranslate::instance().setTranslateStringMap(loadLanguageFile(file));
}

/// Generous: the machine may be a busy one.
constexpr int kSoonMs = 20000;

template <typename Condition>
[[nodiscard]] bool soon(Condition condition) {
    return QTest::qWaitFor(condition, kSoonMs);
}

inline void waitUntilShown(QWidget* window) {
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window, kSoonMs));
}

inline QPushButton* buttonOf(const QWidget& window, const QString& caption) {
    for (QPushButton* found : window.findChildren<QPushButton*>()) {
        if (found->text() == caption) {
            return found;
        }
    }
    return nullptr;
}

/// A window on a desk, speaking English, and its parts.
class Operator {
public:
    explicit Operator(Desk& desk, const QString& iniPath) {
        g_roiShown = false;
        speakEnglish();
        window = std::make_unique<NDISenderUI>(iniPath.toLocal8Bit().toStdString(), nullptr,
                                               desk.collaborators());
        for (QWidget* widget : QApplication::topLevelWidgets()) {
            auto* found = qobject_cast<CaptureROI*>(widget);
            overlay = found != nullptr ? found : overlay;
        }
        title = window->findChild<TitleBar*>("dialogTitle");
        language = window->findChild<QComboBox*>("ComboxTrans");
        name = window->findChild<QLineEdit*>("nameLndt");
        rate = window->findChild<QSpinBox*>("m_pFrateSpinBox");
        group = window->findChild<QGroupBox*>();
        region = group->findChildren<QSpinBox*>();
        start = buttonOf(*window, "Start");
        reset = buttonOf(*window, "Reset");
        select = buttonOf(*window, "Select region");
        show = buttonOf(*window, "Show region");
        close = window->findChild<QPushButton*>("ButtonClose");
        for (QComboBox* box : window->findChildren<QComboBox*>()) {
            screen = box == language ? screen : box;
        }
        window->show();
        waitUntilShown(window.get());
    }

    static void click(QWidget* widget) { QTest::mouseClick(widget, Qt::LeftButton); }

    /// Types over what a field holds and ends with Return. Losing the focus later would end the
    /// edit once more; that is kept from the window.
    static void type(QWidget* field, const QString& text) {
        field->setFocus();
        QTest::keyClick(field, Qt::Key_A, Qt::ControlModifier);
        for (const QChar letter : text) {  // QTest::keyClicks() knows ASCII only.
            QKeyEvent press(QEvent::KeyPress, 0, Qt::NoModifier, QString(letter));
            QApplication::sendEvent(field, &press);
        }
        QTest::keyClick(field, Qt::Key_Return);
        const QSignalBlocker blocker(field);
        field->clearFocus();
    }

    static void choose(QComboBox* box, int index) {
        box->setFocus();
        const int steps = index - box->currentIndex();
        for (int i = 0; i < std::abs(steps); ++i) {
            QTest::keyClick(box, steps > 0 ? Qt::Key_Down : Qt::Key_Up);
        }
    }

    std::unique_ptr<NDISenderUI> window;
    CaptureROI* overlay = nullptr;
    TitleBar* title;
    QComboBox *language, *screen = nullptr;
    QLineEdit* name;
    QSpinBox* rate;
    QGroupBox* group;
    QList<QSpinBox*> region;  ///< x, y, w, h.
    QPushButton *start, *reset, *select, *show, *close;
};
