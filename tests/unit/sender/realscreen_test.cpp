// The default sender on a real screen: capturer, sender and real time.

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "sender/ndidxsender.h"
#include "support/painter.h"
#include "support/recordingndi.h"
#include "support/virtualdisplay.h"

namespace {

using namespace std::chrono_literals;
using tests::VirtualDisplay;

bool arrives(const std::vector<std::uint8_t>& wanted) {
    return recording::waitFor(
        [&](const recording::Sent& sent, int) { return sent.pixels == wanted; });
}

TEST(DxSenderOnX11, ComesBackWithItsServer) {
    auto display = VirtualDisplay::xvfb("640x480x24");
    const tests::DisplayVariable variable(display.name());
    recording::begin();
    NdiDxSender sender("name", nullptr);
    ASSERT_TRUE(sender.initParmeter(10, 20, 300, 200, 60, "screen"));
    sender.start();
    for (const std::uint8_t grey : std::vector<std::uint8_t>{0x10, 0x55, 0xF0}) {
        // Another process draws: this one may be connecting just now.
        display.run({"xsetroot", "-solid", fmt::format("#{0:02x}{0:02x}{0:02x}", grey)});
        std::vector<std::uint8_t> expected(300 * 200 * 4, grey);
        for (std::size_t alpha = 3; alpha < expected.size(); alpha += 4) {
            expected[alpha] = 255;
        }
        EXPECT_TRUE(arrives(expected)) << int{grey};
        display.kill();
        tests::sleepFor(300ms);  // The sender notices, and tries in vain.
        display.restart();
    }
}

TEST(DxSenderOnX11, SendsNothingOfItsOwnAccordButMovesItsRegion) {
    const auto display = VirtualDisplay::xvfb("640x480x24");
    const tests::DisplayVariable variable(display.name());
    tests::Painter painter(display.name());
    painter.fill(painter.root(), {320, 200, 100, 100}, 0x123456);
    recording::begin();
    NdiDxSender sender("name", nullptr);
    EXPECT_FALSE(sender.initParmeter(0, 0, 10, 10, 30, "HDMI-1"));
    EXPECT_FALSE(sender.moveRegion(0, 0)) << "nothing is captured";
    ASSERT_TRUE(sender.initParmeter(0, 0, 120, 80, 60, "screen"));
    sender.start();
    ASSERT_TRUE(arrives(painter.screen({0, 0, 120, 80})));
    int before = 0;
    EXPECT_TRUE(tests::eventually([&before] {
        before = recording::count();
        tests::sleepFor(1s);
        return recording::count() == before;
    }));
    EXPECT_TRUE(sender.moveRegion(310, 230));
    EXPECT_TRUE(arrives(painter.screen({310, 230, 120, 80})));
}

}  // namespace
