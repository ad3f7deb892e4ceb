// controlplaces: prints where the controls of the program's window are, for scripts and tests that
// click them. The layout is fixed, so the places hold for any window with the same fonts.
// usage: controlplaces
//
// One line per control: its name, then x and y of its centre in pixels. x and y count from the
// window's top left corner; those of "ok" and "cancel" from the end of the selected region.

#include <QApplication>
#include <QMouseEvent>
#include <QTemporaryDir>
#include <cstdio>
#include <memory>

#include "support/translation.h"
#include "ui/application.h"
#include "ui/captureroi.h"
#include "ui/ndisenderui.h"
#include "windowcontrols.h"

namespace {

constexpr QPoint kSelectionEnd(400, 300);

/// The real screens, but no source and no sender.
Collaborators passiveCollaborators() {
    Collaborators all = Collaborators::real();
    all.createSource = [](const std::string&, NDIlib_send_instance_t&) {};
    all.destroySource = [](NDIlib_send_instance_t) {};
    all.sourceStatus = [](NDIlib_send_instance_t) { return ndi::SourceStatus(); };
    all.makeDxSender = all.makeGrabSender = [](const std::string&, NDIlib_send_instance_t) {
        return std::unique_ptr<NDISenderBase>();
    };
    return all;
}

/// Draws a region in selection mode, so that the overlay shows its buttons.
void selectUpTo(QWidget& overlay, QPoint end) {
    for (const auto type : {QEvent::MouseButtonPress, QEvent::MouseButtonRelease}) {
        QMouseEvent event(type, end, end, Qt::LeftButton, Qt::LeftButton, {});
        QApplication::sendEvent(&overlay, &event);
    }
}

}  // namespace

int main(int argc, char* argv[]) {
    ui::prepareApplication();
    const QApplication application(argc, argv);
    const QTemporaryDir folder;
    const QString settings = folder.filePath("settings.ini");
    NDISenderUI window(settings.toLocal8Bit().toStdString(), nullptr, passiveCollaborators());
    // Lays the widgets out as show() does, without showing a window.
    window.setAttribute(Qt::WA_DontShowOnScreen);
    window.show();
    CaptureROI* const overlay = windowcontrols::overlay();
    overlay->setAttribute(Qt::WA_DontShowOnScreen);
    overlay->show();
    overlay->beginSelection();
    selectUpTo(*overlay, kSelectionEnd);

    const auto controls = windowcontrols::controlsOf(window);
    for (auto control = controls.begin(); control != controls.end(); ++control) {
        const QWidget* top = control.value()->window();
        const QPoint place = control.value()->mapTo(top, control.value()->rect().center()) -
                             (top == overlay ? kSelectionEnd : QPoint());
        std::printf("%s %d %d\n", qPrintable(control.key()), place.x(), place.y());
    }
    return 0;
}
