// The screen and adapter lists of real X servers.

#include <gtest/gtest.h>

#include "capture/x11/x11capturescreen.h"
#include "screens/adaptorinfo.h"
#include "support/logcapture.h"
#include "support/utf8.h"
#include "support/virtualdisplay.h"

namespace {

using tests::DisplayVariable;
using tests::VirtualDisplay;

/// "WxH+X+Y NAME" of each screen, NAME being the output it joins; the default one with a star.
std::vector<std::string> screens() {
    const auto message = ScreensDetector("local", "127.0.0.1").getScreens();
    const auto adaptors = enumerateAdaptors();
    std::vector<std::string> result;
    for (int i = 0; i < message.count; ++i) {
        const auto& screen = message.screens[i];
        const auto output = findOutputDeviceName(adaptors, screen);
        result.push_back(fmt::format("{}x{}+{}+{} {}{}", int{screen.width}, int{screen.height},
                                     int{screen.x}, int{screen.y}, output,
                                     screen.isDefault != 0 ? "*" : ""));
        EXPECT_TRUE(X11CaptureScreen().InitCapture(support::wideFromUtf8(output).c_str()));
    }
    return result;
}

using List = std::vector<std::string>;

TEST(X11Screens, AreTheMonitorsTheUserDeclared) {
    const auto display = VirtualDisplay::xvfb("3200x1080x24");
    const DisplayVariable variable(display.name());
    EXPECT_EQ(screens(), (List{"3200x1080+0+0 screen*"})) << "no primary one: the first is";

    // Declared from right to left; listed from left to right all the same.
    display.run({"xrandr", "--setmonitor", "*right", "1280/320x1024/256+1920+0", "none"});
    display.run({"xrandr", "--setmonitor", "left", "1920/480x1080/270+0+0", "screen"});
    EXPECT_EQ(screens(), (List{"1920x1080+0+0 screen", "1280x1024+1920+0 right*"}));

    for (int i = 0; i < 25; ++i) {
        display.run({"xrandr", "--setmonitor", fmt::format("m{}", i),
                     fmt::format("10/3x10/3+{}+500", i * 10), "none"});
    }
    EXPECT_EQ(screens().size(), 20U);
}

TEST(X11Screens, AreTheOutputsOfACard) {
    const auto display = VirtualDisplay::xorg();
    const DisplayVariable variable(display.name());
    display.run({"xrandr", "--addmode", "DUMMY1", "800x600"});
    display.run({"xrandr", "--output", "DUMMY1", "--mode", "800x600", "--pos", "0x0", "--output",
                 "DUMMY0", "--mode", "1024x768", "--pos", "800x0", "--primary"});
    EXPECT_EQ(screens(), (List{"800x600+0+0 DUMMY1", "1024x768+800+0 DUMMY0*"}));

    display.run({"xrandr", "--output", "DUMMY0", "--mode", "800x600", "--same-as", "DUMMY1"});
    EXPECT_EQ(screens(), (List{"800x600+0+0 DUMMY0*", "800x600+0+0 DUMMY0"})) << "mirrored";

    display.run({"xrandr", "--output", "DUMMY1", "--off"});
    display.run({"xrandr", "--output", "DUMMY0", "--off"});
    tests::LogCapture log;
    EXPECT_EQ(screens(), List{});
    EXPECT_EQ(log.count("Not Found. DeviceId is "), 1) << log.text();
}

TEST(X11Screens, AreOneWithoutAnArrangement) {
    const auto display = VirtualDisplay::xvfb("640x480x24", {"-extension", "RANDR"});
    const DisplayVariable variable(display.name());
    tests::LogCapture log;
    EXPECT_EQ(screens(), (List{"640x480+0+0 screen*"}));
    EXPECT_EQ(log.count("adaptorName is The X.Org Foundation, adDes.AdapterLuid.LowPart 0, "
                        "adDes.AdapterLuid.HighPart 0, iOutputNum is 1 \n"),
              1)
        << log.text();
}

TEST(X11Screens, AreNoneWithoutADisplay) {
    const DisplayVariable variable("");
    tests::LogCapture log;
    EXPECT_EQ(screens(), List{});
    EXPECT_EQ(log.count("listing the screens of the X display failed"), 1);
}

}  // namespace
