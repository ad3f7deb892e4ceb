#include "capture/devicename.h"

#include <gtest/gtest.h>

namespace {

TEST(DeviceName, IsConvertedBothWaysAndReplacesWhatIsNotUtf8) {
    for (const std::string name : {"HDMI-1", "\xE5\xB1\x8F \xC3\x9C", "\xF0\x9F\x96\xA5 left"}) {
        EXPECT_EQ(capture::utf8DeviceName(capture::wideDeviceName(name)), name);
    }
    EXPECT_EQ(capture::wideDeviceName("\xF0\x9F\x96\xA5").size(), sizeof(wchar_t) == 2 ? 2U : 1U);
    const std::pair<const char*, const wchar_t*> kCases[] = {
        {"a\xFFz", L"a\xFFFDz"},         {"\x80z", L"\xFFFDz"},
        {"\xE5\xB1", L"\xFFFD"},         {"\xC3(", L"\xFFFD("},
        {"\xC0\x80", L"\xFFFD"},         {"\xED\xA0\x80", L"\xFFFD"},
        {"\xF4\x90\x80\x80", L"\xFFFD"}, {"\xE2\x82\xC3\xA9", L"\xFFFD\xE9"},
    };
    for (const auto& [bytes, expected] : kCases) {
        EXPECT_EQ(capture::wideDeviceName(bytes), expected) << bytes;
    }
}

}  // namespace
