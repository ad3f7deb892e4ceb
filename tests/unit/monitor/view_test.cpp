// ndimonitor --view as its user sees it: a source's image in a window on a real X server.
#include <gmock/gmock.h>

#include <QImage>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <thread>

#include "monitor/view/window.h"
#include "ndi/ndilib.h"
#include "ndi/ndilibrary.h"
#include "support/framecompare.h"
#include "support/painter.h"
#include "support/process.h"
#include "support/videoframe.h"
#include "support/virtualdisplay.h"

namespace {

using testing::HasSubstr;
using tests::Area;
using tests::eventually;

constexpr int kWidth = 960;
constexpr int kHeight = 720;
constexpr int kScreenWidth = 1280;
constexpr int kScreenHeight = 720;
/// Where the source of 4:3 is in the full screen of 16:9: not scaled, so pixels can be compared.
constexpr QRect kVideo(160, 0, kWidth, kHeight);
/// A part of the black area beside it.
constexpr QRect kBeside(0, 100, 160, 400);

/// Colours, gradients and edges.
QImage pattern() {
    QImage image(kWidth, kHeight, QImage::Format_RGB32);
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            const int bar = x * 8 / kWidth;
            const int grey = y % 40 < 2 ? 255 : x * 255 / (kWidth - 1);
            image.setPixel(x, y,
                           y < kHeight / 2 ? qRgb(bar / 4 * 191, bar / 2 % 2 * 191, bar % 2 * 191)
                                           : qRgb(grey, grey, grey));
        }
    }
    return image;
}

/// Publishes an image, 25 times per second.
class Source {
public:
    explicit Source(QImage image) : m_image(std::move(image)) {
        const NDIlib_send_create_t settings{"View", nullptr, true, false};
        if (NDIlib_initialize()) {
            m_instance = NDIlib_send_create(&settings);
        }
        m_thread = std::thread([this] { send(); });
    }
    ~Source() {
        m_stop = true;
        m_thread.join();
        NDIlib_send_destroy(m_instance);
    }
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    [[nodiscard]] ndi::SourceStatus status() const { return ndi::sourceStatus(m_instance); }

private:
    void send() {
        const auto frame = tests::bgraFrame(kWidth, kHeight, m_image.bits(), 25);
        while (!m_stop) {
            NDIlib_send_send_video_v2(m_instance, &frame);
        }
    }

    QImage m_image;
    NDIlib_send_instance_t m_instance = nullptr;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

class View : public testing::Test {
protected:
    View() {
        std::filesystem::create_directories(m_folder);
        std::filesystem::current_path(m_folder);  // Where S saves.
        publish();
    }
    ~View() override {
        std::filesystem::current_path("/");
        std::filesystem::remove_all(m_folder);
    }

    void publish() { m_source = std::make_unique<Source>(m_image); }

    QImage screen() {
        const auto pixels = m_screen.screen({0, 0, kScreenWidth, kScreenHeight});
        return QImage(pixels.data(), kScreenWidth, kScreenHeight, QImage::Format_RGB32).copy();
    }

    /// How much the video on the screen resembles the source's image, in decibels. The lower edge,
    /// where the lines are, is left out.
    double likeness() {
        const QRect upper(0, 0, kWidth, kHeight * 5 / 6);
        return tests::lumaPsnr(screen().copy(kVideo).copy(upper), m_image.copy(upper));
    }

    static void press(const std::string& key) { tests::runToEnd({"xdotool", "key", key}); }

    [[nodiscard]] bool hasTally(bool program, bool preview) const {
        return eventually([&] {
            const auto status = m_source->status();
            return status.onProgram == program && status.onPreview == preview;
        });
    }

    [[nodiscard]] bool receives(ndi::StreamChoice stream) const {
        return eventually([&] {
            const auto receivers = m_source->status().receivers;
            return receivers.size() == 1 && receivers[0].stream == stream;
        });
    }

    const QImage m_image = pattern();
    tests::Painter m_screen{std::getenv("DISPLAY")};
    const std::string m_folder = testing::TempDir() + "view-test";
    std::unique_ptr<Source> m_source;
};

TEST(Letterbox, KeepsTheAspectRatio) {
    const struct {
        int width, height;
        double aspect;
        SDL_Rect area;
    } cases[] = {
        {1280, 720, 16.0 / 9, {0, 0, 1280, 720}},
        {1280, 720, 4.0 / 3, {160, 0, 960, 720}},
        {600, 800, 2, {0, 250, 600, 300}},
        {100, 1, 0.1, {49, 0, 1, 1}},
    };
    for (const auto& each : cases) {
        const auto area = monitor::letterbox(each.width, each.height, each.aspect);
        EXPECT_TRUE(SDL_RectEquals(&area, &each.area))
            << area.x << ' ' << area.y << ' ' << area.w << ' ' << area.h;
    }
}

TEST_F(View, ShowsTheSourceAndObeysItsKeys) {
    tests::Process viewer({TARSIN_MONITOR, "View", "--view", "--tally", "preview"});
    ASSERT_TRUE(hasTally(false, true)) << viewer.output();
    tests::runToEnd({"xdotool", "search", "--sync", "--onlyvisible", "--name", "View"});
    press("f");
    EXPECT_TRUE(eventually([&] { return likeness() > 38; })) << likeness() << " dB";
    QImage black(kScreenWidth, kScreenHeight, QImage::Format_RGB32);
    black.fill(Qt::black);
    EXPECT_EQ(tests::largestDifference(screen(), black, kBeside), 0);

    press("p");
    EXPECT_TRUE(hasTally(true, true));
    press("v");
    EXPECT_TRUE(hasTally(true, false));
    press("q");
    EXPECT_TRUE(receives(ndi::StreamChoice::Preview));
    EXPECT_TRUE(eventually([&] { return likeness() < 36; })) << likeness() << " dB";
    press("q");
    EXPECT_TRUE(receives(ndi::StreamChoice::Main));
    EXPECT_TRUE(eventually([&] { return likeness() > 38; })) << likeness() << " dB";

    press("s");
    ASSERT_TRUE(viewer.says("Saved ")) << viewer.output();
    const auto file = std::filesystem::directory_iterator(m_folder)->path();
    EXPECT_EQ(file.extension(), ".png");
    EXPECT_GT(
        tests::lumaPsnr(QImage(QString::fromStdString(file)).convertToFormat(QImage::Format_RGB32),
                        m_image),
        38);

    press("Escape");
    EXPECT_EQ(viewer.waitFor(tests::kPatience), 0) << viewer.output();
    EXPECT_TRUE(hasTally(false, false));
}

TEST_F(View, ReconnectsWhenTheSourceReturns) {
    tests::Process viewer({TARSIN_MONITOR, "View", "--view"});
    tests::runToEnd({"xdotool", "search", "--sync", "--onlyvisible", "--name", "View"});
    press("f");
    ASSERT_TRUE(eventually([&] { return likeness() > 38; })) << likeness() << " dB";
    m_source.reset();
    ASSERT_TRUE(eventually([&] { return likeness() < 20; })) << "no message over the image";
    publish();
    EXPECT_TRUE(eventually([&] { return likeness() > 38; })) << likeness() << " dB";
    viewer.signal(SIGINT);
    EXPECT_EQ(viewer.waitFor(tests::kPatience), 0) << viewer.output();
}

TEST_F(View, EndsWithItsWindow) {
    tests::Process viewer({TARSIN_MONITOR, "View", "--view"});
    tests::runToEnd({"xdotool", "search", "--sync", "--onlyvisible", "--name", "View"});
    press("alt+F4");
    EXPECT_EQ(viewer.waitFor(tests::kPatience), 0) << viewer.output();
    const tests::DisplayVariable none("");
    tests::Process windowless({TARSIN_MONITOR, "View", "--view"});
    EXPECT_EQ(windowless.waitFor(tests::kPatience), 1);
    EXPECT_THAT(windowless.output(), HasSubstr("can't be shown"));
}

}  // namespace
