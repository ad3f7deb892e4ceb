#pragma once
// The window's controls as an operator finds them, and what he does with them.

#include <gtest/gtest.h>

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

inline void speak(const QString& languageFile) {
    StringToTranslate::instance().setTranslateStringMap(loadLanguageFile(beside(languageFile)));
}

/// A window on a desk, speaking English, and its parts.
class Operator {
public:
    explicit Operator(Desk& desk, const QString& iniPath) {
        g_roiShown = false;
        speak("LanguageEN_Tools.xml");
        window = std::make_unique<NDISenderUI>(iniPath.toLocal8Bit().toStdString(), nullptr,
                                               desk.collaborators());
        for (QWidget* widget : QApplication::topLevelWidgets()) {
            if (auto* found = qobject_cast<CaptureROI*>(widget)) {
                overlay = found;
            }
        }
        title = window->findChild<TitleBar*>("dialogTitle");
        language = window->findChild<QComboBox*>("ComboxTrans");
        name = window->findChild<QLineEdit*>("nameLndt");
        rate = window->findChild<QSpinBox*>("m_pFrateSpinBox");
        const auto boxes = group()->findChildren<QSpinBox*>();
        x = boxes.at(0);
        y = boxes.at(1);
        w = boxes.at(2);
        h = boxes.at(3);
        start = button("Start");
        reset = button("Reset");
        select = button("Select region");
        show = button("Show region");
        for (QComboBox* box : window->findChildren<QComboBox*>()) {
            screen = box == language ? screen : box;
        }
        window->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(window.get()));
    }

    [[nodiscard]] QGroupBox* group() const { return window->findChild<QGroupBox*>(); }

    [[nodiscard]] QPushButton* button(const QString& caption) const {
        for (QPushButton* found : window->findChildren<QPushButton*>()) {
            if (found->text() == caption) {
                return found;
            }
        }
        return nullptr;
    }

    static void click(QWidget* widget) { QTest::mouseClick(widget, Qt::LeftButton); }

    /// Types over what a field holds and ends with Return. The field keeps the focus; losing it
    /// later ends the edit once more.
    static void type(QWidget* field, const QString& text) {
        field->setFocus();
        QTest::keyClick(field, Qt::Key_A, Qt::ControlModifier);
        for (const QChar letter : text) {  // QTest::keyClicks() knows ASCII only.
            QKeyEvent press(QEvent::KeyPress, 0, Qt::NoModifier, QString(letter));
            QApplication::sendEvent(field, &press);
        }
        QTest::keyClick(field, Qt::Key_Return);
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
    TitleBar* title = nullptr;
    QComboBox* language = nullptr;
    QComboBox* screen = nullptr;
    QLineEdit* name = nullptr;
    QSpinBox* rate = nullptr;
    QSpinBox* x = nullptr;
    QSpinBox* y = nullptr;
    QSpinBox* w = nullptr;
    QSpinBox* h = nullptr;
    QPushButton* start = nullptr;
    QPushButton* reset = nullptr;
    QPushButton* select = nullptr;
    QPushButton* show = nullptr;
};
