#include "programrun.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QPixmap>
#include <QScreen>
#include <QSettings>
#include <sstream>
#include <stdexcept>

namespace e2e {
namespace {

/// The visible window of a process, as xdotool identifies it.
std::string windowOf(pid_t pid) {
    std::istringstream lines(tests::runToEnd(
        {"xdotool", "search", "--sync", "--onlyvisible", "--pid", std::to_string(pid)},
        std::chrono::seconds(60)));
    std::string found;
    for (std::string line; std::getline(lines, line);) {
        if (line.find_first_not_of("0123456789") == std::string::npos) {
            found = line;
        }
    }
    return found;
}

/// The places of all controls, from demo/controlplaces.
QPoint placeOf(const std::string& control) {
    static const std::string places =
        tests::runToEnd(std::vector<std::string>{TARSIN_CONTROLPLACES});
    std::istringstream lines(places);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string name;
        int x = 0;
        int y = 0;
        if (words >> name >> x >> y && name == control) {
            return {x, y};
        }
    }
    throw std::invalid_argument("no control is named " + control);
}

void waitUntil(bool like, const QImage& image, QPoint place) {
    EXPECT_TRUE(tests::eventually(
        [&] { return (grabScreen().pixel(place) == image.pixel(place)) == like; }));
}

}  // namespace

ProgramRun::ProgramRun(bool forceUseOldCapture) {
    static int runs = 0;
    m_name = "E2E-" + std::to_string(++runs);
    const QString home = m_folder.filePath("data");
    const QString folder = home + "/Halvark/TarsinNDI";
    QDir().mkpath(folder);
    {
        QSettings file(folder + "/TarsinNDI.ini", QSettings::IniFormat);
        file.setValue("SystemSet/name", QString::fromStdString(m_name));
        file.setValue("SystemSet/forceUseOldCapture", forceUseOldCapture ? "1" : "0");
    }
    qputenv("XDG_DATA_HOME", home.toLocal8Bit());
    m_process = std::make_unique<tests::Process>(std::vector<std::string>{TARSIN_PROGRAM},
                                                 path("program.out"));
    m_window = windowOf(m_process->pid());
}

void ProgramRun::click(const std::string& control) const {
    const QPoint where = placeOf(control);
    xdotool({"mousemove", "--window", m_window, std::to_string(where.x()),
             std::to_string(where.y()), "click", "1"});
}

void ProgramRun::type(const std::string& field, const std::string& text) const {
    click(field);
    xdotool({"key", "ctrl+a"});
    xdotool({"type", text});
    xdotool({"key", "Return"});
}

QPoint ProgramRun::onOverlay(const std::string& control, QPoint end) {
    return end + placeOf(control);
}

QString ProgramRun::log() const {
    QFile file(m_folder.filePath("data/Halvark/TarsinNDI/log/TarsinNDI"));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

std::string ProgramRun::path(const std::string& name) const {
    return m_folder.filePath(QString::fromStdString(name)).toStdString();
}

std::unique_ptr<tests::Process> showTestPattern(int rate, const std::string& output) {
    std::vector<std::string> command{TARSIN_SHOWPATTERN};
    if (rate > 0) {
        command.insert(command.end(), {"--moving", std::to_string(rate)});
    }
    auto pattern = std::make_unique<tests::Process>(command, output);
    // Only the pattern paints this colour there.
    EXPECT_TRUE(tests::eventually([] {
        const QImage screen = grabScreen();
        return screen.pixelColor(screen.width() / 16, 200) == QColor(191, 191, 191);
    })) << pattern->output();
    return pattern;
}

void xdotool(std::vector<std::string> words) {
    words.insert(words.begin(), "xdotool");
    tests::runToEnd(words);
}

void clickAt(QPoint where) {
    xdotool({"mousemove", std::to_string(where.x()), std::to_string(where.y()), "click", "1"});
}

void drag(QPoint from, QPoint to) {
    const QPoint middle = (from + to) / 2;
    xdotool({"mousemove", std::to_string(from.x()), std::to_string(from.y()), "mousedown", "1",
             "mousemove", std::to_string(middle.x()), std::to_string(middle.y()), "mousemove",
             std::to_string(to.x()), std::to_string(to.y()), "mouseup", "1"});
}

void waitUntilLike(const QImage& image, QPoint place) {
    waitUntil(true, image, place);
}

void waitUntilUnlike(const QImage& image, QPoint place) {
    waitUntil(false, image, place);
}

QImage grabScreen() {
    return QGuiApplication::primaryScreen()->grabWindow(0).toImage().convertToFormat(
        QImage::Format_RGB32);
}

std::unique_ptr<tests::Process> startMonitor(const std::vector<std::string>& arguments,
                                             const std::string& output) {
    std::vector<std::string> command{TARSIN_MONITOR};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return std::make_unique<tests::Process>(command, output);
}

}  // namespace e2e
