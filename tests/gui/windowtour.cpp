// Operates the window and its overlay on the current display and saves a screenshot after each
// step. usage: windowtour FOLDER PREFIX scripts/screenshots.sh runs it.

#include <QApplication>
#include <QDir>
#include <QPixmap>
#include <QScreen>

#include "operator.h"
#include "ui/application.h"

using tests::Operator;

int main(int argc, char* argv[]) {
    ui::prepareApplication();
    const QApplication application(argc, argv);
    if (argc != 3 || !QDir().mkpath(argv[1])) {
        qFatal("usage: windowtour FOLDER PREFIX");
    }
    QScreen* const screen = QGuiApplication::primaryScreen();
    const auto screenshot = [&](const QString& name) {
        QTest::qWait(300);
        if (!screen->grabWindow(0).save(QString("%1/%2%3.png").arg(argv[1], argv[2], name))) {
            qFatal("%s can't be written", qPrintable(name));
        }
    };
    const QSize all = (QSizeF(screen->virtualSize()) * screen->devicePixelRatio()).toSize();
    const QTemporaryDir folder;
    const QString settings = folder.filePath("settings.ini");
    QSettings(settings, QSettings::IniFormat).setValue("SystemSet/name", "Studio A");
    tests::FakeCollaborators fakes({{0, 0, all.width(), all.height()}});
    Operator op(fakes, settings);
    op.window->move(40, 60);

    const QStringList languages{"cn", "en", "tw", "kr", "ru"};
    op.title->slotTransIndexChanged(0);  // The combo box has this index already.
    for (const QString state : {"idle", "sending", "paused"}) {
        for (int i = 0; i < languages.size(); ++i) {
            op.language->setCurrentIndex(i);
            screenshot("window-" + languages[i] + "-" + state);
        }
        op.click("start");
    }
    op.click("start");

    ndi::ReceiverStatus receiver;
    receiver.name = "VM (viewer)";
    receiver.address = "10.0.0.2:40112";
    receiver.sentFrames = 1234;
    receiver.megabitsPerSecond = 25.7;
    QMap<QString, ndi::SourceStatus> statuses;
    const auto status = [&](const QString& name) -> ndi::SourceStatus& {
        return statuses.insert(name, tests::FakeCollaborators::announcedAs("Studio A")).value();
    };
    status("1-no-receivers");
    status("2-one-receiver").receivers = {receiver};
    status("3-receivers").receivers = {receiver, receiver, receiver};
    status("4-preview").receivers = {receiver, receiver};
    statuses["4-preview"].onPreview = true;
    status("5-on-air").receivers = {receiver};
    statuses["5-on-air"].onProgram = true;
    statuses["6-numbered"] = tests::FakeCollaborators::announcedAs("Studio A2");
    statuses["6-numbered"].receivers = {receiver, receiver};
    status("7-not-announced").announceState = ndi::AnnounceState::NotAnnounced;
    statuses["8-unknown"] = {};
    status("9-empty-region");
    for (const QString& name : statuses.keys()) {
        fakes.status = statuses[name];
        if (name == "9-empty-region") {
            op.type("y", QString::number(all.height()));
            op.click("start");
        }
        for (int i = 0; i < languages.size(); ++i) {
            op.language->setCurrentIndex((i + 1) % languages.size());
            op.language->setCurrentIndex(i);
            screenshot("status-" + name + "-" + languages[i]);
        }
    }
    fakes.status = statuses["3-receivers"];
    Operator::choose(op.language, 1);
    op.click("reset");
    screenshot("window-after-reset");
    op.language->showPopup();
    screenshot("window-language-list");
    op.language->hidePopup();
    QTest::qWait(300);

    op.click("select");
    screenshot("overlay-empty");
    QTest::mousePress(op.overlay, Qt::LeftButton, {}, {500, 200});
    tests::dragTo(op.overlay, {900, 500});
    screenshot("overlay-drawing");
    QTest::mouseRelease(op.overlay, Qt::LeftButton, {}, {900, 500});
    screenshot("overlay-drawn");
    op.click("ok");
    op.click("show");
    screenshot("overlay-shown");
    op.click("show");

    fakes.sourceFails = true;
    op.type("name", "Taken");
    op.click("reset");
    for (int i = 0; i < languages.size(); ++i) {
        op.language->setCurrentIndex(i);
        screenshot("status-0-no-source-" + languages[i]);
    }
    op.controls["screen"]->setFocus();
    screenshot("focus-screen");
    op.language->setFocus();
    screenshot("focus-language");
    return 0;
}
