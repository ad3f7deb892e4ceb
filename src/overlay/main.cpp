// tarsin-overlay: the region overlay for the program's window, where the compositor has layer
// surfaces. The program starts it and tells it what to do (ui/wayland/overlayprotocol.h).

#include <LayerShellQt/shell.h>

#include <QApplication>
#include <QFile>
#include <algorithm>

#include "overlay/commands.h"
#include "overlay/compositor.h"
#include "ui/application.h"
#include "ui/wayland/overlayprotocol.h"

namespace {

using namespace ui::overlayprotocol;

/// Qt loads it by name, and shows no window where it is missing.
bool hasPlugin() {
    const QStringList folders = QCoreApplication::libraryPaths();
    return std::any_of(folders.begin(), folders.end(), [](const QString& folder) {
        return QFile::exists(folder + "/wayland-shell-integration/liblayer-shell.so");
    });
}

}  // namespace

int main(int argc, char* argv[]) {
    if (!overlay::compositorHasLayerShell()) {
        overlay::tell(lineOf({kUnable, "the compositor does not offer zwlr_layer_shell_v1"}));
        return 0;
    }
    LayerShellQt::Shell::useLayerShell();
    ui::prepareApplication();
    const QApplication application(argc, argv);
    if (!hasPlugin()) {
        overlay::tell(
            lineOf({kUnable, "Qt's plugin for layer surfaces is missing; install layer-shell-qt"}));
        return 0;
    }
    ui::substituteFonts();
    const overlay::Commands commands;
    overlay::tell(lineOf({kReady, TARSIN_MODULE_VERSION}));
    return QApplication::exec();
}
