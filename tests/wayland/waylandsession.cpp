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

void showImage(const std::string& output, const QImage& image) {
    static int number = 0;
    const std::string file = inFolder("image" + std::to_string(++number) + ".png");
    ASSERT_TRUE(image.save(QString::fromStdString(file)));
    // One colour in between, so that the image's arrival can be told from any image before it.
    showColour(output, "#010203");
    sway("output " + output + " bg " + file + " fill");
    EXPECT_TRUE(eventually([&] { return corner(output) != QColor(1, 2, 3); }));
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
    QImage pattern(320, 240, QImage::Format_RGB32);
    std::mt19937 random(seed);
    for (int y = 0; y < pattern.height(); ++y) {
        for (int x = 0; x < pattern.width(); ++x) {
            pattern.setPixel(x, y, 0xFF000000U | (random() & 0xFFFFFFU));
        }
    }
    showImage(output, pattern);
}

void showGradient(const std::string& output) {
    QImage image(1280, 720, QImage::Format_RGB32);
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            image.setPixel(x, y, qRgb(x * 255 / 1280, y * 255 / 720, (x + y) / 8));
        }
    }
    showImage(output, image);
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
