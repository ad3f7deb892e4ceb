#include "ui/application.h"

#include <QFont>
#include <QGuiApplication>

#include "ui/desktop.h"

namespace ui {

void prepareApplication() {
    chooseWindowSystem();
    QCoreApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QCoreApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
    QGuiApplication::setHighDpiScaleFactorRoundingPolicy(
        Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
}

void substituteFonts() {
    for (const char* family : {"Microsoft YaHei", "MicrosoftYaHei"}) {
        if (QFont::substitutes(family).isEmpty()) {
            QFont::insertSubstitutions(family, {"Liberation Sans", "Noto Sans CJK SC"});
        }
    }
}

}  // namespace ui
