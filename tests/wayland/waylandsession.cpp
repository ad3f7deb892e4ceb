#include "waylandsession.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <random>

#include "support/process.h"

namespace tests {
namespace {

std::string inFolder(const std::string& name) {
    return std::string(std::getenv("SESSION_FOLDER")) + "/" + name;
}

QColor corner(const std::string& output) {
    return screenshot(output).pixelColor(1, 1);
}

}  // namespace

void sway(const std::string& command) {
    runToEnd({"swaymsg", "-q", command});
}

QImage screenshot(const std::string& output) {
    const std::string file = inFolder("screenshot.png");
    runToEnd({"grim", "-o", output, file});
    return QImage(QString::fromStdString(file)).convertToFormat(QImage::Format_RGB32);
}

void showPattern(const std::string& output, unsigned seed) {
    static int number = 0;
    QImage pattern(320, 240, QImage::Format_RGB32);
    std::mt19937 random(seed);
    for (int y = 0; y < pattern.height(); ++y) {
        for (int x = 0; x < pattern.width(); ++x) {
            pattern.setPixel(x, y, 0xFF000000U | (random() & 0xFFFFFFU));
        }
    }
    const std::string file = inFolder("pattern" + std::to_string(++number) + ".png");
    ASSERT_TRUE(pattern.save(QString::fromStdString(file)));
    const QImage before = screenshot(output);
    sway("output " + output + " bg " + file + " fill");
    EXPECT_TRUE(eventually([&] { return screenshot(output) != before; }));
}

void showColour(const std::string& output, const std::string& colour) {
    sway("output " + output + " bg " + colour + " solid_color");
    EXPECT_TRUE(
        eventually([&] { return corner(output) == QColor(QString::fromStdString(colour)); }));
}

void pick(const std::string& output) {
    std::ofstream(inFolder("pick")) << output << (output.empty() ? "" : "\n");
}

int timesAsked() {
    std::ifstream file(inFolder("asked"));
    int lines = 0;
    for (std::string line; std::getline(file, line);) {
        ++lines;
    }
    return lines;
}

void sessionPart(const std::string& action, const std::string& part) {
    runToEnd({TARSIN_SESSION_PART, action, part});
}

}  // namespace tests
