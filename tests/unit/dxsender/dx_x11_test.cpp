// The running engine on a real screen: capturer, sender and real time.

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>

#include "dx_recordingndi.h"
#include "sender/ndidxsender.h"
#include "support/painter.h"
#include "support/virtualdisplay.h"

namespace {

using tests::Painter;
using tests::VirtualDisplay;

/// The newest picture that was sent.
class Receiver {
public:
    Receiver() {
        tests::g_onPicture = [this](tests::SentPicture picture) {
            const std::lock_guard lock(m_mutex);
            m_newest = std::move(picture.pixels);
            ++m_count;
            m_arrived.notify_all();
        };
    }
    ~Receiver() { tests::g_onPicture = nullptr; }

    [[nodiscard]] bool sees(const std::vector<std::uint8_t>& expected,
                            std::chrono::seconds limit = std::chrono::seconds(10)) {
        std::unique_lock lock(m_mutex);
        return m_arrived.wait_for(lock, limit, [&] { return m_newest == expected; });
    }
    [[nodiscard]] int count() {
        const std::lock_guard lock(m_mutex);
        return m_count;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_arrived;
    std::vector<std::uint8_t> m_newest;
    int m_count = 0;
};

TEST(DxSenderOnX11, ComesBackWithItsServer) {
    auto display = VirtualDisplay::xvfb("640x480x24");
    const tests::DisplayVariable variable(display.name());
    Receiver receiver;
    NdiDxSender sender("name", nullptr);
    ASSERT_TRUE(sender.initParmeter(10, 20, 300, 200, 60, "screen"));
    sender.start();
    for (const int grey : {0x10, 0x55, 0xF0}) {
        const auto level = static_cast<std::uint8_t>(grey);
        // Another process draws: this one may be connecting just now.
        display.run({"xsetroot", "-solid", fmt::format("#{0:02x}{0:02x}{0:02x}", grey)});
        std::vector<std::uint8_t> expected(300 * 200 * 4, level);
        for (std::size_t alpha = 3; alpha < expected.size(); alpha += 4) {
            expected[alpha] = 255;
        }
        EXPECT_TRUE(receiver.sees(expected)) << grey;
        display.kill();
        tests::sleepFor(std::chrono::milliseconds(300));
        display.restart();
    }
    sender.stop();
}

TEST(DxSenderOnX11, SendsNothingOfItsOwnAccord) {
    const auto display = VirtualDisplay::xvfb("640x480x24");
    const tests::DisplayVariable variable(display.name());
    Painter painter(display.name());
    Receiver receiver;
    NdiDxSender sender("name", nullptr);
    ASSERT_TRUE(sender.initParmeter(0, 0, 640, 480, 60, "screen"));
    sender.start();
    ASSERT_TRUE(receiver.sees(painter.screen({0, 0, 640, 480})));
    tests::sleepFor(std::chrono::milliseconds(200));
    const int before = receiver.count();
    tests::sleepFor(std::chrono::seconds(1));
    EXPECT_EQ(receiver.count(), before);
    sender.pause();
    painter.fill(painter.root(), {0, 0, 640, 480}, 0xABCDEF);
    EXPECT_EQ(receiver.count(), before) << "paused";
    sender.start();
    EXPECT_TRUE(receiver.sees(painter.screen({0, 0, 640, 480})));
}

TEST(DxSenderOnX11, FailsWithoutADisplayOrTheOutput) {
    const auto display = VirtualDisplay::xvfb("320x240x24");
    NdiDxSender sender("name", nullptr);
    {
        const tests::DisplayVariable variable("");
        EXPECT_FALSE(sender.initParmeter(0, 0, 10, 10, 30, "screen"));
    }
    const tests::DisplayVariable variable(display.name());
    EXPECT_FALSE(sender.initParmeter(0, 0, 10, 10, 30, "HDMI-1"));
    EXPECT_FALSE(sender.initParmeter(0, 0, 10, 10, 30, ""));
    EXPECT_TRUE(sender.initParmeter(0, 0, 10, 10, 30, "screen"));
}

}  // namespace
