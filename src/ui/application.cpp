#include "ui/application.h"

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

}  // namespace ui
