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

std::string windowOf(pid_t pid) {
    std::string found;
    const bool shown = tests::eventually(
        [&] {
            const std::string file = "/tmp/e2e-window-" + std::to_string(pid);
            tests::Process search(
                {"xdotool", "search", "--onlyvisible", "--pid", std::to_string(pid)}, file);
            search.waitFor(std::chrono::seconds(5));
            std::istringstream lines(search.output());
            QFile::remove(QString::fromStdString(file));
            std::string line;
            while (std::getline(lines, line)) {
                if (line.find_first_not_of("0123456789") == std::string::npos) {
                    found = line;
                }
            }
            return !found.empty();
        },
        std::chrono::seconds(30));
    EXPECT_TRUE(shown) << "the program shows no window";
    return found;
}

}  // namespace

ProgramRun::ProgramRun(const Settings& settings) {
    const QString home = m_folder.filePath("data");
    const QString folder = home + "/Halvark/TarsinNDI";
    QDir().mkpath(folder);
    {
        QSettings file(folder + "/TarsinNDI.ini", QSettings::IniFormat);
        file.beginGroup("SystemSet");
        file.setValue("name", settings.name);
        file.setValue("forceUseOldCapture", settings.forceUseOldCapture ? "1" : "0");
    }
    qputenv("XDG_DATA_HOME", home.toLocal8Bit());
    m_process = std::make_unique<tests::Process>(std::vector<std::string>{TARSIN_PROGRAM},
                                                 path("program.out"));
    m_window = windowOf(m_process->pid());
}

ProgramRun::~ProgramRun() {
    m_process.reset();
    tests::sleepFor(std::chrono::seconds(1));
}

void ProgramRun::click(QPoint where) const {
    tests::runToEnd({"xdotool", "mousemove", "--window", m_window, std::to_string(where.x()),
                     std::to_string(where.y()), "click", "1"});
}

void ProgramRun::type(QPoint field, const std::string& text) const {
    click(field);
    tests::runToEnd({"xdotool", "key", "ctrl+a"});
    tests::runToEnd({"xdotool", "type", text});
    tests::runToEnd({"xdotool", "key", "Return"});
}

void ProgramRun::moveBy(QPoint distance) const {
    const QPoint half = distance / 2;
    tests::runToEnd({"xdotool", "mousemove", "--window", m_window,
                     std::to_string(control::kTitle.x()), std::to_string(control::kTitle.y()),
                     "mousedown", "1", "mousemove_relative", "--", std::to_string(half.x()),
                     std::to_string(half.y()), "mousemove_relative", "--", std::to_string(half.x()),
                     std::to_string(half.y()), "mouseup", "1"});
}

QString ProgramRun::log() const {
    QFile file(m_folder.filePath("data/Halvark/TarsinNDI/log/TarsinNDI"));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

std::string ProgramRun::path(const std::string& name) const {
    return m_folder.filePath(QString::fromStdString(name)).toStdString();
}

std::unique_ptr<tests::Process> showTestPicture(int rate, const std::string& output) {
    std::vector<std::string> command{TARSIN_TESTPICTURE};
    if (rate > 0) {
        command.insert(command.end(), {"--moving", std::to_string(rate)});
    }
    auto picture = std::make_unique<tests::Process>(command, output);
    // The picture is there when the colour at a place that only it paints is on the screen.
    EXPECT_TRUE(tests::eventually(
        [] {
            const QImage screen = grabScreen();
            return screen.pixelColor(screen.width() / 16, 200) == QColor(191, 191, 191);
        },
        std::chrono::seconds(20)))
        << picture->output();
    return picture;
}

void clickAt(QPoint where) {
    tests::runToEnd({"xdotool", "mousemove", std::to_string(where.x()), std::to_string(where.y()),
                     "click", "1"});
}

void drag(QPoint from, QPoint to) {
    const QPoint middle = (from + to) / 2;
    tests::runToEnd({"xdotool", "mousemove", std::to_string(from.x()), std::to_string(from.y()),
                     "mousedown", "1", "mousemove", std::to_string(middle.x()),
                     std::to_string(middle.y()), "mousemove", std::to_string(to.x()),
                     std::to_string(to.y()), "mouseup", "1"});
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
