#include "sender/ndisender.h"

extern "C" {
#include <libavdevice/avdevice.h>
}
#include <gmock/gmock.h>

#include <chrono>
#include <optional>

#include "support/hv/spdlogapplication.h"
#include "support/painter.h"
#include "support/recordingndi.h"
#include "support/virtualdisplay.h"

using namespace std::chrono_literals;
using recording::Sent;
using testing::ContainsRegex;
using tests::Area;

namespace {

bool init(NDISender& sender, const Area& area, int rate = 30) {
    return sender.initParmeter(area.x, area.y, area.width, area.height, rate, "output");
}

class NdiSenderTest : public testing::Test {
protected:
    NdiSenderTest() {
        avdevice_register_all();
        recording::begin();
    }
    /// A frame in which every pixel differs.
    void paint(int seed) {
        m_painter.paint({0, 0, 800, 600}, [seed](int x, int y) {
            return static_cast<std::uint32_t>((y * 800 + x) * 31 + seed * 7919) & 0xFFFFFF;
        });
    }
    /// Whether the region, as it is on the screen now, arrives.
    bool arrives(const Area& area) {
        return recording::waitFor([wanted = m_painter.screen(area)](const Sent& sent, int) {
            return sent.pixels == wanted;
        });
    }
    /// What `talk` prints and logs.
    template <typename Talk>
    static std::string printed(Talk talk) {
        testing::internal::CaptureStdout();
        HV::SpdlogApplication::instance().appendConsoleSink(0, "[%l] %v");
        HV::SpdlogApplication::instance().setupLogger();
        talk();
        HV::SpdlogApplication::instance().shutdownLogger();
        return testing::internal::GetCapturedStdout();
    }
    tests::VirtualDisplay m_display = tests::VirtualDisplay::xvfb("800x600x24");
    tests::DisplayVariable m_variable{m_display.name()};
    tests::Painter m_painter{m_display.name()};
    NDIlib_send_instance_t m_instance = reinterpret_cast<NDIlib_send_instance_t>(&m_instance);
    NDISender sender{"name", m_instance};
};

TEST_F(NdiSenderTest, SendsTheRegionPixelByPixelPausesAndTakesAnotherRegion) {
    const Area region{37, 21, 403, 211};
    paint(1);
    EXPECT_EQ(printed([&] { ASSERT_TRUE(init(sender, region)); }), "403x211");
    // A pause says that the frame is null only when it finds the send thread waiting for one.
    std::string log;
    for (int i = 0; i < 100 && log.find("get frame is null") == std::string::npos; ++i) {
        recording::begin();
        log = printed([&] {
            sender.start();
            EXPECT_TRUE(arrives(region));
            std::this_thread::sleep_for(10ms);
            sender.pause();
        });
    }
    EXPECT_THAT(
        log,
        ContainsRegex("^\\[INFO \\] captureFrame begin \n //ndisender:captureFrame\\(\\)#[0-9]+.\n"
                      "\\[INFO \\] sendFrameThread, get frame is null \n //ndisender:send"));
    EXPECT_EQ(recording::last().instance, m_instance);
    const int atPause = recording::count();
    std::this_thread::sleep_for(300ms);
    EXPECT_EQ(recording::count(), atPause);
    paint(2);
    sender.start();
    EXPECT_TRUE(arrives(region));

    const Area corner{791, 591, 9, 9};
    sender.reset();
    ASSERT_TRUE(init(sender, corner, 60));
    recording::begin();
    const std::string statistics = printed([&] {
        sender.start();
        EXPECT_TRUE(arrives(corner));
        EXPECT_TRUE(recording::waitFor([](const Sent&, int count) { return count > 100; }));
    });
    EXPECT_THAT(statistics, ContainsRegex("timeconsuming is [0-9]+, logMax is 100"));
}

TEST_F(NdiSenderTest, DrawsThePointerWhenAskedTo) {
    const Area region{100, 100, 200, 200};
    paint(1);
    m_display.run({"xsetroot", "-cursor_name", "left_ptr"});
    m_painter.movePointer(200, 200);
    const auto bare = m_painter.screen(region);
    for (const bool draws : {false, true}) {
        sender.reset();
        sender::SenderOptions options;
        options.drawPointer = draws;
        sender.setOptions(options);
        ASSERT_TRUE(init(sender, region));
        recording::begin();
        sender.start();
        EXPECT_TRUE(recording::waitFor([&](const Sent& sent, int count) {
            return count > 2 && (sent.pixels != bare) == draws;
        }));
    }
}

TEST_F(NdiSenderTest, RefusesWhatCannotBeGrabbedAndSaysWhy) {
    const struct {
        Area region;
        std::string display, said;
    } kCases[] = {
        {{0, 0, 10, -1}, m_display.name(), "^$"},
        {{0, 0, 30000, 30000}, m_display.name(), "30000x30000"},
        {{10, 10, 800, 600},
         m_display.name(),
         "800x600Couldn't open input stream.\n.*region 800x600 at 10,10: .*Invalid argument"},
        {{0, 0, 10, 10}, ":4095", "Couldn't open input stream.\n.*x11grab on \":4095\""},
    };
    for (const auto& c : kCases) {
        ASSERT_TRUE(init(sender, {0, 0, 10, 10}));
        sender.reset();
        {
            const tests::DisplayVariable variable(c.display);
            EXPECT_THAT(printed([&] { EXPECT_FALSE(init(sender, c.region)); }),
                        ContainsRegex(c.said));
        }
        sender.start();  // The window does so whatever initParmeter() said.
        const bool tried = c.said.find("open input") != std::string::npos;
        EXPECT_EQ(sender.captureStatus().reason.empty(), !tried);
        sender.pause();
        sender.reset();  // And it is none the worse for it.
    }
    EXPECT_EQ(recording::count(), 0);
}

}  // namespace
