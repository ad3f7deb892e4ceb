#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <wrl/client.h>

#include "screens/windows/adaptors.h"
#include "screens/windows/monitors.h"
#include "support/logcapture.h"
#include "windows/fakegraphics.h"

namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;

screens::Monitor monitor(const wchar_t* name, LONG x, LONG y, LONG width, LONG height,
                         bool primary = false) {
    return {name, {x, y, x + width, y + height}, primary};
}

TEST(WindowsScreens, AreOrderedByNumberAndAtMostTwenty) {
    const auto message = screens::screensOf({monitor(L"\\\\.\\DISPLAY10", 0, -768, 1024, 768),
                                             monitor(L"\\\\.\\DISPLAY2", -1280, 60, 1280, 1024),
                                             monitor(L"\\\\.\\DISPLAY1", 0, 0, 3840, 2160, true)});
    ASSERT_EQ(message.count, 3);
    EXPECT_EQ(message.screens[0].width, 3840);
    EXPECT_NE(message.screens[0].isDefault, 0);
    EXPECT_EQ(message.screens[1].x, -1280);
    EXPECT_EQ(message.screens[1].isDefault, 0);
    EXPECT_EQ(message.screens[2].y, -768);
    EXPECT_EQ(screens::screensOf(std::vector<screens::Monitor>(25)).count, 20);
    EXPECT_EQ(screens::screensOf({}).count, 0);
}

TEST(WindowsAdaptors, AreTakenOverWithTheirOutputs) {
    FakeGraphics machine;
    machine.adapters = {
        {0, {{L"\\\\.\\DISPLAY1", {0, 0, 1920, 1080}}, {L"\\\\.\\Экран", {-800, 9, 0, 609}}}},
        {DXGI_ADAPTER_FLAG_SOFTWARE, {}}};
    Microsoft::WRL::ComPtr<IDXGIFactory1> factory;
    ASSERT_EQ(machine.CreateDXGIFactory2(0, IID_PPV_ARGS(factory.GetAddressOf())), S_OK);

    const auto adaptors = screens::adaptorsOf(*factory.Get());
    ASSERT_EQ(adaptors.size(), 2U);
    ASSERT_EQ(adaptors.front().outputs.size(), 2U);
    EXPECT_EQ(adaptors.front().outputs.back().deviceName, u8"\\\\.\\Экран");
    EXPECT_EQ(adaptors.front().outputs.back().left, -800);
    EXPECT_THAT(adaptors.back().outputs, IsEmpty());

    // Outputs that can't be had are passed over, and not for ever.
    machine.failing["adapter0.EnumOutputs"] = DXGI_ERROR_NOT_CURRENTLY_AVAILABLE;
    EXPECT_THAT(screens::adaptorsOf(*factory.Get()).front().outputs, IsEmpty());
    factory.Reset();
    EXPECT_THAT(machine.held(), IsEmpty());
}

// This machine's own: what is listed as a screen can be found as an output.
TEST(WindowsScreens, OfThisMachineJoinItsOutputs) {
    const tests::LogCapture log;
    const auto screens = ScreensDetector("local", "127.0.0.1").getScreens();
    const auto adaptors = enumerateAdaptors();
    ASSERT_GE(screens.count, 1);
    EXPECT_GT(screens.screens[0].width, 0);
    for (int i = 0; i < screens.count; ++i) {
        EXPECT_THAT(findOutputDeviceName(adaptors, screens.screens[i]),
                    HasSubstr("\\\\.\\DISPLAY"));
    }
    EXPECT_GE(log.count("2,DXGI_OUTPUT_DESC info, it.DeviceName \\\\.\\DISPLAY"), screens.count);
}

}  // namespace
