// Leads through the window and its overlay on the display at hand and takes a picture of the
// screen at every stop. usage: windowtour FOLDER PREFIX
// scripts/screenshots.sh runs it.

#include <QApplication>
#include <QDir>
#include <QPixmap>
#include <QScreen>

#include "operator.h"

namespace {

class Tour {
public:
    Tour(const QString& folder, const QString& prefix) : m_folder(folder), m_prefix(prefix) {
        QDir().mkpath(folder);
        const QRect all = QGuiApplication::primaryScreen()->virtualGeometry();
        const qreal scale = QGuiApplication::primaryScreen()->devicePixelRatio();
        m_desk = std::make_unique<Desk>(std::vector<Desk::Screen>{
            {0, 0, qRound(all.width() * scale), qRound(all.height() * scale)}});
        const QString path = m_settings.filePath("settings.ini");
        QSettings(path, QSettings::IniFormat).setValue("SystemSet/name", "Studio A");
        m_operator = std::make_unique<Operator>(*m_desk, path);
        m_operator->window->move(40, 60);
    }

    void languages() {
        const char* const names[] = {"cn", "en", "tw", "kr", "ru"};
        m_operator->title->slotTransIndexChanged(0);  // The combo box stands there already.
        for (int i = 0; i < 5; ++i) {
            m_operator->language->setCurrentIndex(i);
            picture(QString("window-%1-idle").arg(names[i]));
        }
        // From here on the window is never idle again: a reset leaves it paused.
        for (int i = 0; i < 5; ++i) {
            m_operator->language->setCurrentIndex(i);
            Operator::click(m_operator->start);
            picture(QString("window-%1-sending").arg(names[i]));
            Operator::click(m_operator->start);
            picture(QString("window-%1-paused").arg(names[i]));
            Operator::click(m_operator->reset);
        }
        Operator::choose(m_operator->language, 1);
        m_operator->reset->click();
        picture("window-after-reset");
    }

    void details() {
        QTest::mouseMove(m_operator->name);
        QTest::qWait(1200);
        picture("window-tooltip");
        m_operator->language->showPopup();
        picture("window-language-list");
        m_operator->language->hidePopup();
        QTest::qWait(300);
    }

    void overlay() {
        CaptureROI* overlay = m_operator->overlay;
        Operator::click(m_operator->select);
        picture("overlay-empty");
        QTest::mousePress(overlay, Qt::LeftButton, {}, {500, 200});
        drag(overlay, {900, 500});
        picture("overlay-drawing");
        QTest::mouseRelease(overlay, Qt::LeftButton, {}, {900, 500});
        picture("overlay-drawn");
        for (QPushButton* button : overlay->findChildren<QPushButton*>()) {
            if (button->text() == "OK") {
                Operator::click(button);
            }
        }
        Operator::click(m_operator->show);
        picture("overlay-shown");
        Operator::click(m_operator->show);
    }

private:
    static void drag(QWidget* widget, QPoint to) {
        const QPointF global = widget->mapToGlobal(to);
        QMouseEvent move(QEvent::MouseMove, to, global, Qt::NoButton, Qt::LeftButton, {});
        QApplication::sendEvent(widget, &move);
    }

    void picture(const QString& name) {
        QTest::qWait(300);
        const QString path = QString("%1/%2%3.png").arg(m_folder, m_prefix, name);
        if (!QGuiApplication::primaryScreen()->grabWindow(0).save(path)) {
            qFatal("%s can't be written", qPrintable(path));
        }
    }

    QString m_folder;
    QString m_prefix;
    QTemporaryDir m_settings;
    std::unique_ptr<Desk> m_desk;
    std::unique_ptr<Operator> m_operator;
};

}  // namespace

int main(int argc, char* argv[]) {
    QApplication application(argc, argv);
    if (argc != 3) {
        qFatal("usage: windowtour FOLDER PREFIX");
    }
    Tour tour(argv[1], argv[2]);
    tour.languages();
    tour.details();
    tour.overlay();
    return 0;
}
