#include "sender/ndisender.h"

extern "C" {
#include <libavdevice/avdevice.h>
}
#include <gmock/gmock.h>
#include <xcb/xcb.h>

#include <chrono>
#include <cstdlib>

#include "support/hv/spdlogapplication.h"
#include "unit/sender/recordingndi.h"

using namespace std::chrono_literals;
using recording::Sent;
using testing::HasSubstr;

namespace {

struct Region {
    int x, y, w, h;
};

/// The screen of $DISPLAY, 800x600, covered with a picture in which every pixel differs.
class PaintedScreen {
public:
    PaintedScreen() : m_connection(xcb_connect(nullptr, nullptr)) {
        m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
        m_gc = xcb_generate_id(m_connection);
        xcb_create_gc(m_connection, m_gc, m_root, 0, nullptr);
    }
    ~PaintedScreen() { xcb_disconnect(m_connection); }
    PaintedScreen(const PaintedScreen&) = delete;
    PaintedScreen& operator=(const PaintedScreen&) = delete;

    void paint(int seed) {
        m_seed = seed;
        constexpr int kRows = 20;  // One request has to fit into the server's limit.
        for (int y = 0; y < 600; y += kRows) {
            const auto strip = pixels({0, y, 800, kRows});
            xcb_put_image(m_connection, XCB_IMAGE_FORMAT_Z_PIXMAP, m_root, m_gc, 800, kRows, 0,
                          static_cast<std::int16_t>(y), 0, 24,
                          static_cast<std::uint32_t>(strip.size()), strip.data());
        }
        free(xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr));
    }

    [[nodiscard]] std::vector<std::uint8_t> pixels(const Region& region) const {
        std::vector<std::uint8_t> bgra;
        for (int y = region.y; y < region.y + region.h; ++y) {
            for (int x = region.x; x < region.x + region.w; ++x) {
                const int value = (y * 800 + x) * 31 + m_seed * 7919;
                for (const int shift : {0, 8, 16}) {
                    bgra.push_back(static_cast<std::uint8_t>(value >> shift));
                }
                bgra.push_back(255);
            }
        }
        return bgra;
    }

    /// Whether the region, as it is painted now, arrives within ten seconds.
    [[nodiscard]] bool arrives(const Region& region) const {
        return recording::waitFor(
            [wanted = pixels(region)](const Sent& sent, int) { return sent.pixels == wanted; });
    }

private:
    xcb_connection_t* m_connection;
    xcb_window_t m_root = 0;
    xcb_gcontext_t m_gc = 0;
    int m_seed = 0;
};

bool init(NDISender& sender, const Region& r, int rate = 30) {
    return sender.initParmeter(r.x, r.y, r.w, r.h, rate, "output");
}

class NdiSenderTest : public testing::Test {
protected:
    NdiSenderTest() {
        avdevice_register_all();
        recording::clear();
        recording::setSendTime(0);
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
    NDIlib_send_instance_t m_instance = reinterpret_cast<NDIlib_send_instance_t>(&m_instance);
};

TEST_F(NdiSenderTest, SendsTheRegionPixelByPixelAndFollowsTheScreen) {
    PaintedScreen screen;
    NDISender sender("name", m_instance);
    const Region region{37, 21, 403, 211};
    screen.paint(1);
    EXPECT_EQ(printed([&] { ASSERT_TRUE(init(sender, region)); }), "403x211");
    sender.start();
    ASSERT_TRUE(screen.arrives(region));
    screen.paint(2);
    ASSERT_TRUE(screen.arrives(region));

    const Sent sent = recording::last();
    EXPECT_EQ(sent.instance, m_instance);
    EXPECT_EQ(sent.frame.xres, 403);
    EXPECT_EQ(sent.frame.yres, 211);
    EXPECT_EQ(sent.frame.FourCC, NDIlib_FourCC_type_BGRA);
    EXPECT_EQ(sent.frame.frame_rate_N, 30000);
    EXPECT_EQ(sent.frame.frame_rate_D, 1001);
    EXPECT_EQ(sent.frame.picture_aspect_ratio, 0);
    EXPECT_EQ(sent.frame.frame_format_type, NDIlib_frame_format_type_progressive);
    EXPECT_EQ(sent.frame.timecode, NDIlib_send_timecode_synthesize);
    EXPECT_EQ(sent.frame.line_stride_in_bytes, 0);
    EXPECT_EQ(sent.frame.p_metadata, nullptr);
    EXPECT_FALSE(sender.isDxSender());
}

TEST_F(NdiSenderTest, PausesContinuesAndTakesAnotherRegion) {
    PaintedScreen screen;
    NDISender sender("name", m_instance);
    const Region small{100, 100, 32, 32};
    screen.paint(3);
    ASSERT_TRUE(init(sender, small, 5));
    const std::string log = printed([&] {
        sender.start();
        ASSERT_TRUE(screen.arrives(small));
        std::this_thread::sleep_for(30ms);  // The send thread waits for the next frame.
        sender.pause();
    });
    EXPECT_THAT(log,
                testing::ContainsRegex(
                    "^\\[INFO \\] captureFrame begin \n //ndisender:captureFrame\\(\\)#[0-9]+.\n"
                    "\\[INFO \\] sendFrameThread, get frame is null \n //ndisender:send"));
    const int atPause = recording::count();
    std::this_thread::sleep_for(300ms);
    EXPECT_EQ(recording::count(), atPause);

    screen.paint(4);
    sender.start();
    EXPECT_TRUE(screen.arrives(small));

    const Region corner{791, 591, 9, 9};
    sender.reset();
    ASSERT_TRUE(init(sender, corner, 60));
    recording::clear();
    const std::string statistics = printed([&] {
        sender.start();
        EXPECT_TRUE(screen.arrives(corner));
        EXPECT_TRUE(recording::waitFor([](const Sent&, int count) { return count > 100; }));
    });
    EXPECT_THAT(statistics,
                testing::ContainsRegex("\\[DEBUG\\] timeconsuming is [0-9]+, logMax is 100, "
                                       "timeconsumingSum is [0-9]+ \n //ndisender:send"));
    sender.stop();
    sender.stop();
    sender.pause();
}

TEST_F(NdiSenderTest, PauseWakesACaptureThatTheSendHoldsUp) {
    NDISender sender("name", m_instance);
    recording::setSendTime(100);
    ASSERT_TRUE(init(sender, {0, 0, 64, 64}, 60));
    sender.start();
    std::this_thread::sleep_for(500ms);  // Five sends: the queue of four is full by now.
    const auto before = std::chrono::steady_clock::now();
    sender.pause();
    EXPECT_LT(std::chrono::steady_clock::now() - before, 1s);
}

TEST_F(NdiSenderTest, RefusesWhatCannotBeGrabbedAndSaysWhy) {
    const struct {
        Region region;
        const char* display;
        std::vector<std::string> said;  ///< Empty: nothing at all.
    } kCases[] = {
        {{0, 0, 0, 10}, nullptr, {}},
        {{0, 0, 10, -1}, nullptr, {}},
        {{0, 0, 30000, 30000}, nullptr, {"30000x30000"}},
        {{10, 10, 800, 600},
         nullptr,
         {"800x600Couldn't open input stream.\n", "region 800x600 at 10,10: ", "Invalid argument"}},
        {{-5, 0, 10, 10}, nullptr, {"Couldn't open input stream.\n", "10x10 at -5,0"}},
        {{0, 0, 10, 10}, ":4095", {"Couldn't open input stream.\n", "x11grab on \":4095\""}},
        {{0, 0, 10, 10}, "", {"Couldn't open input stream.\n", "x11grab on \"\""}},
    };
    const std::string display = std::getenv("DISPLAY");
    for (const auto& c : kCases) {
        NDISender sender("name", m_instance);
        ASSERT_TRUE(init(sender, {0, 0, 10, 10}));
        sender.reset();
        if (c.display != nullptr) {
            setenv("DISPLAY", c.display, 1);
        }
        const std::string said = printed([&] { EXPECT_FALSE(init(sender, c.region)); });
        sender.start();  // The window does so whatever initParmeter() said.
        std::this_thread::sleep_for(20ms);
        sender.pause();
        setenv("DISPLAY", display.c_str(), 1);
        EXPECT_EQ(said.empty(), c.said.empty()) << said;
        for (const std::string& text : c.said) {
            EXPECT_THAT(said, HasSubstr(text));
        }
        // And it is none the worse for it.
        sender.reset();
        EXPECT_TRUE(init(sender, {0, 0, 10, 10}));
    }
    EXPECT_EQ(recording::count(), 0);
}

}  // namespace
