#include "programrun.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QPixmap>
#include <QScreen>
#include <QSettings>
#include <sstream>

namespace e2e {
namespace {

/// The window that a program shows.
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

bool like(const QImage& frame, QPoint place) {
    return grabScreen().pixel(place) == frame.pixel(place);
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

void ProgramRun::click(QPoint where) const {
    xdotool({"mousemove", "--window", m_window, std::to_string(where.x()),
             std::to_string(where.y()), "click", "1"});
}

void ProgramRun::type(QPoint field, const std::string& text) const {
    click(field);
    xdotool({"key", "ctrl+a"});
    xdotool({"type", text});
    xdotool({"key", "Return"});
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
    auto frame = std::make_unique<tests::Process>(command, output);
    // The frame is there when the colour at a place that only it paints is on the screen.
    EXPECT_TRUE(tests::eventually(
        [] {
            const QImage screen = grabScreen();
            return screen.pixelColor(screen.width() / 16, 200) == QColor(191, 191, 191);
        },
        std::chrono::seconds(20)))
        << frame->output();
    return frame;
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

void waitUntilLike(const QImage& frame, QPoint place) {
    EXPECT_TRUE(tests::eventually([&] { return like(frame, place); }, std::chrono::seconds(20)));
}

void waitUntilUnlike(const QImage& frame, QPoint place) {
    EXPECT_TRUE(tests::eventually([&] { return !like(frame, place); }, std::chrono::seconds(20)));
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
