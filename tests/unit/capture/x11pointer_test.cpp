// Frames with the pointer against the memory of a server that draws the pointer itself.

#include <stdlib.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <random>
#include <thread>

#include "capturerun.h"
#include "support/logcapture.h"
#include "support/virtualdisplay.h"

namespace {

using tests::Area;
using tests::CaptureRun;
using tests::Painter;
using tests::VirtualDisplay;
using Memory = CaptureRun::Memory;

std::filesystem::path newFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "pointer-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("no temporary folder");
    }
    return pattern;
}

class X11Pointer : public testing::Test {
protected:
    X11Pointer() {
        painter.paint({0, 0, 640, 480}, [](int x, int y) {
            return static_cast<std::uint32_t>(x * 2654435 + y * 40503 + x * y) & 0xFFFFFF;
        });
    }
    ~X11Pointer() override { std::filesystem::remove_all(folder); }

    /// A shape with every alpha, in the file format of X cursors: a header, a table of contents
    /// with one entry, and an image of premultiplied ARGB.
    void setTranslucentShape(std::uint32_t width, std::uint32_t height, std::uint32_t hotX,
                             std::uint32_t hotY) const {
        constexpr std::uint32_t kImage = 0xFFFD0002;
        constexpr std::uint32_t kSize = 32;
        std::vector<std::uint32_t> words = {0x72756358, 16,   0x10000, 1,     kImage, kSize,
                                            28,         36,   kImage,  kSize, 1,      width,
                                            height,     hotX, hotY,    0};
        for (std::uint32_t i = 0; i < width * height; ++i) {
            const std::uint32_t alpha = i * 37 % 256;
            words.push_back(alpha << 24U | alpha / 2 << 16U | alpha << 8U | alpha / 3);
        }
        const auto file = (folder / "cursor").string();
        std::ofstream(file, std::ios::binary)
            .write(reinterpret_cast<const char*>(words.data()),
                   static_cast<std::streamsize>(words.size() * 4));
        display.run({"xsetroot", "-xcf", file, "32"});
    }

    /// What the server shows there, pointer included: its frame buffer, which it keeps in a file
    /// with the header of a window dump.
    [[nodiscard]] std::vector<std::uint8_t> shown(const Area& area) const {
        std::ifstream file(folder / "Xvfb_screen0", std::ios::binary);
        std::array<unsigned char, 100> head{};
        file.read(reinterpret_cast<char*>(head.data()), head.size());
        const auto word = [&head](std::size_t index) {
            const auto* const at = &head.at(index * 4);
            return std::size_t{at[0]} << 24U | std::size_t{at[1]} << 16U |
                   std::size_t{at[2]} << 8U | at[3];
        };
        const std::size_t pixels = word(0) + word(19) * 12;  // Behind header and colour map.
        const std::size_t stride = word(12);
        std::vector<std::uint8_t> result;
        std::vector<std::uint8_t> row(static_cast<std::size_t>(area.width) * 4);
        for (int y = area.y; y < area.y + area.height; ++y) {
            file.seekg(static_cast<std::streamoff>(pixels + static_cast<std::size_t>(y) * stride +
                                                   static_cast<std::size_t>(area.x) * 4));
            file.read(reinterpret_cast<char*>(row.data()),
                      static_cast<std::streamsize>(row.size()));
            result.insert(result.end(), row.begin(), row.end());
        }
        for (std::size_t alpha = 3; alpha < result.size(); alpha += 4) {
            result[alpha] = 255;
        }
        return result;
    }

    /// Reads until the frame is what the server shows.
    [[nodiscard]] bool agrees(CaptureRun& run) const {
        return tests::eventually(
            [&] { return run.opaque() == shown(run.area) || (run.read(), false); },
            std::chrono::seconds(10));
    }

    const std::filesystem::path folder = newFolder();
    const VirtualDisplay display =
        VirtualDisplay::xvfb("640x480x24", {"-fbdir", folder.string(), "-extension", "SECURITY"});
    Painter painter{display.name()};
};

TEST_F(X11Pointer, IsInTheFrameAsTheServerShowsIt) {
    const Area area = {101, 77, 230, 150};
    CaptureRun ours(display.name(), area, Memory::Ours);
    CaptureRun own(display.name(), area, Memory::Capturers);
    for (CaptureRun* const run : {&ours, &own}) {
        run->capturer.DrawPointer(true);
        ASSERT_TRUE(run->capturer.InitCapture(nullptr));
    }
    const std::pair<int, int> places[] = {
        {200, 150}, {201, 150}, {101, 120}, {96, 77},   {330, 80}, {330, 226},
        {150, 76},  {150, 227}, {331, 227}, {104, 225}, {0, 0},    {639, 479},
    };
    const std::function<void()> shapes[] = {
        [&] { setTranslucentShape(32, 24, 5, 7); },
        [&] {
            display.run({"xsetroot", "-cursor_name", "left_ptr"});
        },
        [&] { setTranslucentShape(9, 31, 8, 30); },
        [&] {
            display.run({"xsetroot", "-cursor_name", "watch"});
        },
    };
    for (const auto& setShape : shapes) {
        setShape();
        for (const auto& [x, y] : places) {
            painter.movePointer(x, y);
            ASSERT_TRUE(agrees(ours)) << x << "," << y;
            ASSERT_TRUE(agrees(own)) << x << "," << y;
        }
    }
    EXPECT_EQ(own.framesInPlace, own.reads);
    EXPECT_EQ(own.partialReads, own.reads - 1);

    // A move costs the old place and the new one.
    setTranslucentShape(32, 24, 5, 7);
    painter.movePointer(150, 100);
    ASSERT_TRUE(agrees(own));
    own.settle();
    painter.movePointer(250, 200);
    ASSERT_TRUE(own.newFrame());
    const auto& spans = own.capturer.DirtyRows().spans;
    ASSERT_EQ(spans.size(), 2U);
    EXPECT_EQ(spans[0].first, 100 - 7 - area.y);
    EXPECT_EQ(spans[1].first, 200 - 7 - area.y);
    for (const auto& span : spans) {
        EXPECT_EQ(std::pair(span.count, span.right - span.left), std::pair(24, 32));
    }
    painter.movePointer(600, 400);
    ASSERT_TRUE(own.newFrame()) << "it leaves";
    painter.movePointer(500, 400);
    EXPECT_FALSE(own.newFrame(2)) << "it moves outside";
}

TEST_F(X11Pointer, LeavesNothingBehindWhileOthersDrawBelowIt) {
    setTranslucentShape(30, 30, 15, 15);
    CaptureRun run(display.name(), {20, 10, 600, 450}, Memory::Capturers);
    run.capturer.DrawPointer(true);
    ASSERT_TRUE(run.capturer.InitCapture(nullptr));
    std::mt19937 random{11};
    const auto pick = [&random](unsigned below) { return static_cast<int>(random() % below); };
    for (int step = 0; step < 400; ++step) {
        const int x = pick(640);
        const int y = pick(480);
        if (pick(3) != 0) {
            painter.movePointer(x, y);
        }
        const int width = pick(4) == 0 ? 640 : 1 + pick(100);
        painter.fill(painter.root(), {x - pick(50), y - pick(50), width, 1 + pick(60)},
                     static_cast<std::uint32_t>(random()) & 0xFFFFFF);
        run.capturer.Interrupt();
        run.read();
        if (step % 20 == 0) {
            ASSERT_TRUE(agrees(run)) << step;
        }
    }
}

TEST(X11PointerOfAnEndedProgram, IsAnArrow) {
    const auto display = VirtualDisplay::xvfb("640x480x24");
    Painter painter(display.name());
    painter.fill(painter.root(), {0, 0, 640, 480}, 0x808080);
    painter.movePointer(30, 40);
    CaptureRun run(display.name(), {10, 10, 100, 100});
    run.capturer.DrawPointer(true);
    ASSERT_TRUE(run.capturer.InitCapture(nullptr));
    const tests::LogCapture log;
    display.run({"xsetroot", "-cursor_name", "left_ptr"});
    ASSERT_TRUE(run.newFrame());
    EXPECT_EQ(run.at(20, 30), (std::vector<std::uint8_t>{0, 0, 0, 255}));
    EXPECT_EQ(run.at(21, 33), (std::vector<std::uint8_t>{255, 255, 255, 255}));
    EXPECT_EQ(log.count("an arrow is drawn instead"), 1);
}

TEST_F(X11Pointer, EndsTheWaitWhenItMovesOrChanges) {
    const capture::x11::Interrupt interrupt;
    std::string error;
    const auto session = capture::x11::ScreenSession::open(display.name(), {}, error);
    ASSERT_TRUE(session) << error;
    session->watchPointer();
    for (const auto& deed : {std::vector<std::string>{"xdotool", "mousemove_relative", "3", "4"},
                             std::vector<std::string>{"xsetroot", "-cursor_name", "cross"}}) {
        session->pointer()->request();
        ASSERT_TRUE(session->pointer()->receive());
        std::thread other([&] { display.run(deed); });
        while (!session->pointer()->pending()) {
            session->waitForEvent(interrupt, std::chrono::hours(1));
        }
        other.join();
    }
}

}  // namespace
