#pragma once

#include <string>
#include <string_view>

namespace capture {

/// UTF-8 to wide characters (UTF-16 or UTF-32, as wide as the platform's are), as
/// ScreenCapturer::InitCapture() takes a device name. Bytes that are no UTF-8 become U+FFFD.
[[nodiscard]] std::wstring wideDeviceName(std::string_view utf8);

/// The inverse, for log lines.
[[nodiscard]] std::string utf8DeviceName(std::wstring_view wide);

}  // namespace capture
