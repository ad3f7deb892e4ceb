// The whole program in a Wayland session, operated by clicks and received over the network.

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSettings>
#include <QTemporaryDir>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <sstream>

#include "support/framecompare.h"
#include "support/process.h"
#include "waylandsession.h"

namespace {

using namespace std::chrono_literals;
using tests::eventually;
using tests::pick;
using tests::Process;
using tests::runToEnd;
using tests::screenshot;
using tests::sessionPart;
using tests::showPattern;
using tests::sway;

constexpr char kFirst[] = "HEADLESS-1";
constexpr char kSecond[] = "HEADLESS-2";

// The places of the window's controls, in pixels from its top-left corner.
constexpr QPoint kStart{190, 204};
constexpr QPoint kScreen{195, 150};
constexpr QPoint kSelectRegion{410, 95};
constexpr QPoint kShowRegion{540, 95};
constexpr QPoint kTitle{250, 22};

void xdotool(std::vector<std::string> words) {
    words.insert(words.begin(), "xdotool");
    runToEnd(words);
}

std::string at(QPoint place) {
    return std::to_string(place.x()) + "," + std::to_string(place.y());
}

class Program {
public:
    /// `platform`: of Qt; "": the program's choice, an X11 window. `modules`: as TARSIN_MODULES.
    explicit Program(const QByteArray& platform = {}, const QByteArray& modules = {}) {
        static int runs = 0;
        m_name = "Wayland-" + std::to_string(++runs);
        const QString folder = m_folder.filePath("Halvark/TarsinNDI");
        QDir().mkpath(folder);
        QSettings(folder + "/TarsinNDI.ini", QSettings::IniFormat)
            .setValue("SystemSet/name", QString::fromStdString(m_name));
        const QByteArray before = qgetenv("XDG_DATA_HOME");
        const QByteArray modulesBefore = qgetenv("TARSIN_MODULES");
        qputenv("TARSIN_MODULES", modules.isEmpty() ? modulesBefore : modules);
        qputenv("XDG_DATA_HOME", m_folder.path().toLocal8Bit());
        platform.isEmpty() ? qunsetenv("QT_QPA_PLATFORM") : qputenv("QT_QPA_PLATFORM", platform);
        m_process = std::make_unique<Process>(std::vector<std::string>{TARSIN_PROGRAM});
        qputenv("QT_QPA_PLATFORM", "offscreen");
        qputenv("XDG_DATA_HOME", before);
        qputenv("TARSIN_MODULES", modulesBefore);
        if (!platform.isEmpty()) {
            EXPECT_TRUE(eventually([this] { return !window(false).isNull(); }));
            return;
        }
        std::istringstream windows(runToEnd({"xdotool", "search", "--sync", "--onlyvisible",
                                             "--pid", std::to_string(m_process->pid())},
                                            60s));
        while (windows >> m_window) {
        }
    }

    void click(QPoint where) const {
        xdotool({"mousemove", "--window", m_window, std::to_string(where.x()),
                 std::to_string(where.y()), "click", "1"});
    }

    /// Where sway shows the program's window, or the one that covers a screen. Null: nowhere.
    [[nodiscard]] QRect window(bool fullScreen) const {
        const std::string tree = runToEnd({"swaymsg", "-r", "-t", "get_tree"});
        QRect found;
        const std::function<void(const QJsonObject&)> search = [&](const QJsonObject& node) {
            if (node["pid"].toInt() == m_process->pid() && node["visible"].toBool() &&
                (node["fullscreen_mode"].toInt() != 0) == fullScreen) {
                const QJsonObject rect = node["rect"].toObject();
                found = {rect["x"].toInt(), rect["y"].toInt(), rect["width"].toInt(),
                         rect["height"].toInt()};
            }
            for (const char* children : {"nodes", "floating_nodes"}) {
                for (const auto& child : node[children].toArray()) {
                    search(child.toObject());
                }
            }
        };
        search(QJsonDocument::fromJson(QByteArray::fromStdString(tree)).object());
        return found;
    }

    /// Chooses the screen below the current one in the combo box.
    void chooseNextScreen() const {
        click(kScreen);
        xdotool({"key", "Down", "Return"});
    }

    [[nodiscard]] QPoint position() const {
        std::istringstream lines(runToEnd({"xdotool", "getwindowgeometry", "--shell", m_window}));
        QPoint found;
        for (std::string line; std::getline(lines, line);) {
            if (line.rfind("X=", 0) == 0) {
                found.setX(std::stoi(line.substr(2)));
            } else if (line.rfind("Y=", 0) == 0) {
                found.setY(std::stoi(line.substr(2)));
            }
        }
        return found;
    }

    [[nodiscard]] std::string log() const {
        std::ostringstream text;
        text << std::ifstream(m_folder.filePath("Halvark/TarsinNDI/log/TarsinNDI").toStdString())
                    .rdbuf();
        return text.str();
    }

    [[nodiscard]] bool logs(const std::string& text) const {
        return eventually([&] { return log().find(text) != std::string::npos; });
    }

    /// What a receiver gets is, after a while, what the output shows at `area`.
    void expectReceived(const std::string& output, const QRect& area) const {
        const QString file = m_folder.filePath("received.png");
        double psnr = -1;
        std::string report;
        EXPECT_TRUE(eventually(
            [&] {
                Process monitor({TARSIN_MONITOR, m_name, "--wait", "20", "--seconds", "2", "--save",
                                 file.toStdString()});
                (void)monitor.waitFor(60s);
                report = monitor.output();
                psnr = tests::lumaPsnr(QImage(file), screenshot(output).copy(area));
                return psnr >= 38;
            },
            60s))
            << psnr << " dB\n"
            << report << log();
    }

    /// The process that shows its overlay.
    [[nodiscard]] pid_t child() const {
        const std::string pid = std::to_string(m_process->pid());
        std::ifstream children("/proc/" + pid + "/task/" + pid + "/children");
        pid_t found = -1;
        children >> found;
        return found;
    }

    [[nodiscard]] Process& process() { return *m_process; }

private:
    QTemporaryDir m_folder;
    std::string m_name;
    std::unique_ptr<Process> m_process;
    std::string m_window;
};

class Operator : public testing::Test {
protected:
    Operator() {
        pick(kFirst);
        // Smooth enough for any codec, and different everywhere.
        for (const char* output : {kFirst, kSecond}) {
            tests::showGradient(output);
        }
    }
};

TEST_F(Operator, SendsTheScreenAndFollowsItsMode) {
    Program program;
    program.click(kStart);
    program.expectReceived(kFirst, {0, 0, 1280, 720});
    EXPECT_NE(program.log().find("captured through PipeWire, 1280x720"), std::string::npos);
    sway("output HEADLESS-1 mode --custom 1280x800@60Hz");
    EXPECT_TRUE(program.logs("captured through PipeWire, 1280x800"));
    program.expectReceived(kFirst, {0, 0, 1280, 800});
    sway("output HEADLESS-1 mode --custom 1280x720@60Hz");
    EXPECT_TRUE(program.process().running());
}

TEST_F(Operator, SendsTwoScreensAtOnceAndARegionDrawnOnTheSecond) {
    Program first;
    first.click(kStart);
    first.expectReceived(kFirst, {0, 0, 1280, 720});
    pick(kSecond);
    Program second;
    second.chooseNextScreen();
    second.click(kStart);
    second.expectReceived(kSecond, {0, 0, 1600, 1200});

    // Logical pixels of the overlay are two physical ones of the stream.
    const QColor plain = screenshot(kSecond).pixelColor(1500, 1100);
    second.click(kSelectRegion);
    EXPECT_TRUE(eventually([&] { return screenshot(kSecond).pixelColor(1500, 1100) != plain; }));
    xdotool({"mousemove", "1380", "100", "mousedown", "1", "mousemove", "1450", "150", "mousemove",
             "1580", "250", "mouseup", "1"});
    EXPECT_TRUE(eventually([&] { return screenshot(kSecond).pixelColor(1500, 1100) == plain; }));
    xdotool({"mousemove", "1550", "235", "click", "1"});
    EXPECT_TRUE(second.logs("initParmeter x 200 y 200 w 400 h 300")) << second.log();
    second.expectReceived(kSecond, {200, 200, 400, 300});
    first.expectReceived(kFirst, {0, 0, 1280, 720});
}

TEST_F(Operator, SeesARefusalAndIsAskedAgainByTheNextStart) {
    pick("");
    Program program;
    program.click(kStart);
    EXPECT_TRUE(
        program.logs("no screen capture from output \"HEADLESS-1\": the permission was "
                     "refused. The next start asks again."))
        << program.log();
    pick(kFirst);
    // The window has paused by itself; each click is a start or a pause of one that was refused.
    EXPECT_TRUE(eventually(
        [&] {
            program.click(kStart);
            return eventually(
                [&] {
                    return program.log().find("captured through PipeWire") != std::string::npos;
                },
                2s);
        },
        30s))
        << program.log();
    program.expectReceived(kFirst, {0, 0, 1280, 720});
}

TEST_F(Operator, IsShownTheScreenThatTheDesktopGranted) {
    pick(kSecond);
    Program program;
    program.click(kStart);
    EXPECT_TRUE(program.logs("granted output \"HEADLESS-2\" instead of \"HEADLESS-1\""));
    program.expectReceived(kSecond, {0, 0, 1600, 1200});
}

TEST_F(Operator, DragsTheWindowByItsTitle) {
    Program program;
    const QPoint before = program.position();
    const QPoint title = before + kTitle;
    // The compositor takes over somewhere on the way, and goes with the pointer from there. As slow
    // as a hand: the program may need a second for its part, under a sanitizer.
    std::vector<std::string> drag{TARSIN_VIRTUALPOINTER, "2080", "720", at(title), "press"};
    for (int step = 1; step <= 30; ++step) {
        drag.push_back(at(title + QPoint(3, 2) * step));
    }
    drag.emplace_back("release");
    runToEnd(drag);
    EXPECT_TRUE(eventually([&] {
        const QPoint moved = program.position() - before;
        return moved.x() >= 30 && moved.x() <= 90 && moved.y() >= 20 && moved.y() <= 60;
    })) << (program.position() - before).x();
}

/// Moves and clicks the compositor's pointer; places are those of its layout.
void point(const std::vector<std::string>& words, int layoutHeight = 720) {
    std::vector<std::string> command{TARSIN_VIRTUALPOINTER, "2080", std::to_string(layoutHeight)};
    command.insert(command.end(), words.begin(), words.end());
    runToEnd(command);
}

/// To the window with the keyboard focus.
void type(const std::string& key) {
    runToEnd({"wtype", "-k", key});
}

QColor pixel(QPoint place) {
    return screenshot(kFirst).pixelColor(place);
}

bool similar(const QColor& is, const QColor& wanted) {
    return std::abs(is.red() - wanted.red()) < 4 && std::abs(is.green() - wanted.green()) < 4 &&
           std::abs(is.blue() - wanted.blue()) < 4;
}

/// What the overlay makes of a colour behind it in selection mode.
QColor whitened(const QColor& colour) {
    const auto mixed = [](int part) { return (part * 55 + 255 * 200) / 255; };
    return {mixed(colour.red()), mixed(colour.green()), mixed(colour.blue())};
}

bool seen(QPoint place, const QColor& wanted) {
    return eventually([&] { return similar(pixel(place), wanted); });
}

bool runs(pid_t pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    std::string number, name, state;
    return file >> number >> name >> state && state != "Z";
}

/// With Qt's own Wayland platform. Pointer and keyboard are there all the time: a program that has
/// to take a new one first may miss what it says.
class OnWayland : public Operator {
    Process m_pointer{{TARSIN_VIRTUALPOINTER, "2080", "720", "stay"}};
    Process m_keyboard{{"wtype", "-s", "1000000"}};
};

class AtScale : public OnWayland, public testing::WithParamInterface<double> {};
INSTANTIATE_TEST_SUITE_P(Scales, AtScale, testing::Values(1.0, 1.5, 2.0));

TEST_P(AtScale, DrawsOnALayerSurface) {
    const double scale = GetParam();
    const QPoint outside(1270, 10);
    const QColor behind = pixel(outside);
    sway("output HEADLESS-1 scale " + std::to_string(scale));
    Program program("wayland");
    const auto move = [&](const std::vector<std::string>& words) {
        point(words, scale > 1 ? 600 : 720);
    };
    const auto click = [&](QPoint control) {
        move({at(program.window(false).topLeft() + control), "press", "release"});
    };
    click(kStart);
    click(kSelectRegion);
    EXPECT_TRUE(seen(outside, whitened(behind)));
    EXPECT_TRUE(program.window(true).isNull()) << "a window covers the screen";
    const QPoint from = QPoint(180, 90) / scale;
    const QPoint to = QPoint(420, 300) / scale;
    move({at(from), "press", at((from + to) / 2), at(to), "release", at(to - QPoint(30, 15)),
          "press", "release"});
    EXPECT_TRUE(program.logs("initParmeter x 180 y 90 w 240 h 210")) << program.log();
    program.expectReceived(kFirst, {180, 90, 240, 210});

    const QImage plain = screenshot(kFirst);
    click(kShowRegion);
    EXPECT_TRUE(eventually([&] { return pixel({180, 95}).red() > 120; }));
    const QImage framed = screenshot(kFirst);
    const auto first = [&](QPoint place, QPoint step) {
        while (framed.valid(place) && similar(framed.pixelColor(place), plain.pixelColor(place))) {
            place += step;
        }
        return place;
    };
    EXPECT_NEAR(first({0, 95}, {1, 0}).x(), 180, 2);
    EXPECT_NEAR(first({1279, 95}, {-1, 0}).x(), 420, 2);
    EXPECT_NEAR(first({185, 0}, {0, 1}).y(), 90, 2);

    const QPoint edge = from + QPoint(1, 20);
    move({at(edge), "press", at(edge + QPoint(10, 5)), at(edge + QPoint(20, 10)), "release"});
    const QPoint moved = (QPointF(180, 90) + QPointF(20, 10) * scale).toPoint();
    EXPECT_TRUE(program.logs("chooses the region 240x210 at " + at(moved))) << program.log();
    click(kShowRegion);
    EXPECT_TRUE(seen({300, 95}, plain.pixelColor(300, 95)));
}

TEST_F(OnWayland, KeepsDesktopAndKeyboardUsableAroundALayerSurface) {
    const QPoint edge(0, 500);
    const QPoint inside(100, 500);
    const QColor plain = pixel(inside);
    Program program("wayland");
    const auto click = [&](QPoint control) {
        point({at(program.window(false).topLeft() + control), "press", "release"});
    };
    const auto framed = [&] {
        return eventually([&] {
            return pixel(edge).red() > 110 && !similar(pixel(inside), plain) &&
                   !similar(pixel(inside), whitened(plain));
        });
    };
    click(kSelectRegion);
    EXPECT_TRUE(seen(inside, whitened(plain)));
    type("Escape");
    EXPECT_TRUE(framed()) << "Escape flips the state";
    type("space");
    EXPECT_TRUE(seen(inside, whitened(plain))) << "the window has lost the keyboard";
    type("Escape");
    EXPECT_TRUE(seen(inside, plain));
    click(kShowRegion);
    EXPECT_TRUE(framed());
    click(kShowRegion);
    EXPECT_TRUE(seen(inside, plain)) << "the frame keeps clicks from what is inside";

    ASSERT_TRUE(runs(program.child()));
    EXPECT_EQ(::kill(program.child(), SIGKILL), 0);
    EXPECT_TRUE(program.logs("tarsin-overlay crashed or was killed; start the program anew"));
    click(kSelectRegion);
    EXPECT_TRUE(eventually([&] { return program.window(true) == QRect(0, 0, 1280, 720); }));
}

TEST_F(OnWayland, LeavesNoOverlayBehindWhenKilled) {
    const QColor plain = pixel({100, 500});
    Program program("wayland");
    point({at(program.window(false).topLeft() + kSelectRegion), "press", "release"});
    EXPECT_TRUE(seen({100, 500}, whitened(plain)));
    const pid_t overlay = program.child();
    ASSERT_TRUE(runs(overlay));
    program.process().signal(SIGKILL);
    EXPECT_TRUE(eventually([&] { return !runs(overlay); }));
}

TEST_F(OnWayland, DrawsARegionOnAnImageOfTheScreenWithoutAnOverlayOfItsBuild) {
    const QTemporaryDir modules;
    QFile other(modules.filePath("tarsin-overlay"));
    ASSERT_TRUE(other.open(QIODevice::WriteOnly));
    other.write("#!/bin/sh\nprintf 'ready\\t0.9-0123456789ab\\n'\nexec cat\n");
    other.close();
    other.setPermissions(other.permissions() | QFile::ExeOwner);
    sway("output HEADLESS-1 scale 1.5");
    Program program("wayland", modules.path().toLocal8Bit());
    const auto window = [&] { return program.window(false).topLeft(); };
    const auto move = [](const std::vector<std::string>& words) { point(words, 600); };
    move({at(window() + kStart), "press", "release"});
    program.expectReceived(kFirst, {0, 0, 1280, 720});

    const QPoint before = window();
    const QPoint title = before + kTitle;
    move({at(title), "press", at(title + QPoint(20, 10)), at(title + QPoint(40, 20)),
          at(title + QPoint(60, 30)), at(title + QPoint(80, 40)), "release"});
    EXPECT_TRUE(eventually([&] { return window() != before; }));

    // The overlay covers the screen with its own image, whitened.
    const auto contrast = [] {
        const QColor colour = screenshot(kFirst).pixelColor(1270, 10);
        return colour.red() - colour.green();
    };
    EXPECT_GT(contrast(), 200);
    move({at(window() + kSelectRegion), "press", "release"});
    EXPECT_TRUE(eventually([&] { return contrast() < 100; }));
    EXPECT_GT(contrast(), 30);
    EXPECT_TRUE(program.logs("tarsin-overlay is of another build (0.9-0123456789ab)"));
    EXPECT_EQ(program.window(true), QRect(0, 0, 853, 480));
    move({"100,50", "press", "200,100", "200,150", "260,200", "release", "230,185", "press",
          "release"});
    EXPECT_TRUE(program.logs("initParmeter x 150 y 75 w 240 h 225")) << program.log();
    program.expectReceived(kFirst, {150, 75, 240, 225});
    sway("output HEADLESS-1 scale 1");
}

TEST_F(Operator, GoesOnSendingAfterPipeWireCameBack) {
    Program program;
    program.click(kStart);
    program.expectReceived(kFirst, {0, 0, 1280, 720});
    for (const char* part : {"pipewire", "wireplumber", "backend"}) {
        sessionPart("kill", part);
    }
    EXPECT_TRUE(program.logs("was interrupted"));
    for (const char* part : {"pipewire", "wireplumber", "backend"}) {
        sessionPart("start", part);
    }
    EXPECT_TRUE(program.logs("goes on, 1280x720")) << program.log();
    showPattern(kSecond, 9);
    program.expectReceived(kFirst, {0, 0, 1280, 720});
}

}  // namespace
