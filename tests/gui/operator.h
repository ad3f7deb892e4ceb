#pragma once
// The controls of the window, and what an operator does with them.

#include <gmock/gmock.h>

#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSettings>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QtTest>
#include <memory>

#include "fakecollaborators.h"
#include "support/eventually.h"
#include "support/translation.h"
#include "ui/captureroi.h"
#include "ui/ndisenderui.h"
#include "ui/sourcelabel.h"
#include "ui/titlebar.h"
#include "windowcontrols.h"

namespace tests {

inline QString beside(const QString& file) {
    return QCoreApplication::applicationDirPath() + "/" + file;
}

inline void speakEnglish() {
    const QString file = beside("LanguageEN_Tools.xml");
    StringToTranslate::instance().setTranslateStringMap(loadLanguageFile(file));
}

/// As eventually(), while this program's windows get their events.
template <typename Condition>
[[nodiscard]] bool eventuallyWithEvents(Condition condition) {
    return QTest::qWaitFor(condition, static_cast<int>(kPatience.count()));
}

inline void waitUntilShown(QWidget* window) {
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window, static_cast<int>(kPatience.count())));
}

/// Moves the pointer over `widget` with the left button held.
inline void dragTo(QWidget* widget, QPoint to) {
    QMouseEvent move(QEvent::MouseMove, to, widget->mapToGlobal(to), Qt::NoButton, Qt::LeftButton,
                     {});
    QApplication::sendEvent(widget, &move);
}

/// A window in English with fake collaborators, and its controls.
class Operator {
public:
    explicit Operator(FakeCollaborators& fakes, const QString& iniPath) {
        g_roiShown = false;
        speakEnglish();
        window = std::make_unique<NDISenderUI>(iniPath.toLocal8Bit().toStdString(), nullptr,
                                               fakes.collaborators());
        overlay = windowcontrols::overlay();
        controls = windowcontrols::controlsOf(*window);
        title = window->findChild<TitleBar*>("dialogTitle");
        group = window->findChild<QGroupBox*>();
        language = qobject_cast<QComboBox*>(controls["language"]);
        screen = qobject_cast<QComboBox*>(controls["screen"]);
        window->show();
        waitUntilShown(window.get());
    }

    static void click(QWidget* widget) { QTest::mouseClick(widget, Qt::LeftButton); }
    void click(const QString& control) const { click(controls[control]); }

    /// Replaces the content of a field and ends with Return. The window does not see the second
    /// editingFinished(), which comes when the field loses the focus.
    void type(const QString& control, const QString& text) const {
        QWidget* field = controls[control];
        field->setFocus();
        QTest::keyClick(field, Qt::Key_A, Qt::ControlModifier);
        for (const QChar letter : text) {  // QTest::keyClicks() is limited to ASCII.
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

    [[nodiscard]] QPushButton* button(const QString& control) const {
        return qobject_cast<QPushButton*>(controls[control]);
    }
    [[nodiscard]] QString caption(const QString& control) const { return button(control)->text(); }
    [[nodiscard]] std::string name() const {
        return qobject_cast<QLineEdit*>(controls["name"])->text().toStdString();
    }
    [[nodiscard]] SourceLabel* source() const { return window->findChild<SourceLabel*>(); }
    /// One of "x", "y", "w", "h", "rate".
    [[nodiscard]] QSpinBox* box(const QString& control) const {
        return qobject_cast<QSpinBox*>(controls[control]);
    }

    std::unique_ptr<NDISenderUI> window;
    CaptureROI* overlay;
    QMap<QString, QWidget*> controls;  ///< By the names of windowcontrols.h.
    TitleBar* title;
    QGroupBox* group;
    QComboBox* language;
    QComboBox* screen;
};

}  // namespace tests
