// Leads through the window and its overlay on the display at hand and takes a frame of the
// screen at every stop. usage: windowtour FOLDER PREFIX
// scripts/screenshots.sh runs it.

#include <QApplication>
#include <QDir>
#include <QPixmap>
#include <QScreen>

#include "operator.h"

namespace {

void drag(QWidget* widget, QPoint to) {
    QMouseEvent move(QEvent::MouseMove, to, widget->mapToGlobal(to), Qt::NoButton, Qt::LeftButton,
                     {});
    QApplication::sendEvent(widget, &move);
}

}  // namespace

int main(int argc, char* argv[]) {
    const QApplication application(argc, argv);
    if (argc != 3 || !QDir().mkpath(argv[1])) {
        qFatal("usage: windowtour FOLDER PREFIX");
    }
    QScreen* const screen = QGuiApplication::primaryScreen();
    const auto frame = [&](const QString& name) {
        QTest::qWait(300);
        if (!screen->grabWindow(0).save(QString("%1/%2%3.png").arg(argv[1], argv[2], name))) {
            qFatal("%s can't be written", qPrintable(name));
        }
    };
    const QSize all = (QSizeF(screen->virtualSize()) * screen->devicePixelRatio()).toSize();
    const QTemporaryDir folder;
    const QString settings = folder.filePath("settings.ini");
    QSettings(settings, QSettings::IniFormat).setValue("SystemSet/name", "Studio A");
    Desk desk({{0, 0, all.width(), all.height()}});
    Operator op(desk, settings);
    op.window->move(40, 60);

    const QStringList languages{"cn", "en", "tw", "kr", "ru"};
    op.title->slotTransIndexChanged(0);  // The combo box stands there already.
    for (const QString state : {"idle", "sending", "paused"}) {
        for (int i = 0; i < languages.size(); ++i) {
            op.language->setCurrentIndex(i);
            frame("window-" + languages[i] + "-" + state);
        }
        Operator::click(op.start);
    }
    Operator::choose(op.language, 1);
    Operator::click(op.reset);
    frame("window-after-reset");
    op.language->showPopup();
    frame("window-language-list");
    op.language->hidePopup();
    QTest::qWait(300);

    Operator::click(op.select);
    frame("overlay-empty");
    QTest::mousePress(op.overlay, Qt::LeftButton, {}, {500, 200});
    drag(op.overlay, {900, 500});
    frame("overlay-drawing");
    QTest::mouseRelease(op.overlay, Qt::LeftButton, {}, {900, 500});
    frame("overlay-drawn");
    Operator::click(buttonOf(*op.overlay, "OK"));
    Operator::click(op.show);
    frame("overlay-shown");
    return 0;
}
