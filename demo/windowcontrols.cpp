#include "windowcontrols.h"

#include <QApplication>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>

#include "support/translation.h"
#include "ui/captureroi.h"
#include "ui/ndisenderui.h"

namespace windowcontrols {
namespace {

QPushButton* buttonCaptioned(const QWidget& parent, const char* key) {
    const QString caption = StringToTranslate::instance().find(key);
    for (QPushButton* button : parent.findChildren<QPushButton*>()) {
        if (button->text() == caption) {
            return button;
        }
    }
    return nullptr;
}

}  // namespace

CaptureROI* overlay() {
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (auto* found = qobject_cast<CaptureROI*>(widget)) {
            return found;
        }
    }
    return nullptr;
}

QMap<QString, QWidget*> controlsOf(const NDISenderUI& window) {
    QMap<QString, QWidget*> controls{
        {"name", window.findChild<QLineEdit*>("nameLndt")},
        {"rate", window.findChild<QSpinBox*>("m_pFrateSpinBox")},
        {"start", buttonCaptioned(window, "zhStartStr")},
        {"reset", buttonCaptioned(window, "zhResetStr")},
        {"select", buttonCaptioned(window, "zhSelectROIStr")},
        {"show", buttonCaptioned(window, "zhShowROIStr")},
        {"title", window.findChild<QLabel*>("TitleLabel")},
        {"language", window.findChild<QComboBox*>("ComboxTrans")},
        {"minimise", window.findChild<QPushButton*>("ButtonMin")},
        {"close", window.findChild<QPushButton*>("ButtonClose")},
        {"ok", buttonCaptioned(*overlay(), "zhOkStr")},
        {"cancel", buttonCaptioned(*overlay(), "zhCancalStr")},
    };
    for (QComboBox* box : window.findChildren<QComboBox*>()) {
        if (box != controls["language"]) {
            controls["screen"] = box;
        }
    }
    const auto region = window.findChild<QGroupBox*>()->findChildren<QSpinBox*>();
    const QString names = "xywh";
    for (int i = 0; i < names.size(); ++i) {
        controls[names.at(i)] = region.value(i);
    }
    return controls;
}

}  // namespace windowcontrols
