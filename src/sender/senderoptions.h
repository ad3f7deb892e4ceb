#pragma once
// What an operator may ask of the senders beyond their parameters.

#include <functional>
#include <optional>
#include <string>

namespace sender {

/// What the frame rate that the operator chooses means.
enum class RateMode {
    Paced,  ///< It paces the capture; 30000/1001 is announced.
    Exact,  ///< It is announced and kept.
    Ntsc,   ///< Likewise; 24, 30, 48 and 60 mean 1000/1001 of that.
};

/// The defaults are those of a settings file without the keys.
struct SenderOptions {
    RateMode rateMode = RateMode::Paced;
    bool drawPointer = false;  ///< Frames show the pointer.
};

/// The mode that a text of the key `exactFrameRate` means; nothing for a wrong one.
[[nodiscard]] std::optional<RateMode> rateModeOf(const std::string& text);

/// Reads the keys `exactFrameRate` and `drawPointer` through `read`, which gives the text of a key,
/// "" when it is absent. A wrong value is logged with what was expected, and the default holds.
[[nodiscard]] SenderOptions readSenderOptions(
    const std::function<std::string(const char* key)>& read);

/// Frames per second.
struct FrameRate {
    int numerator = 30000;
    int denominator = 1001;
};

/// The rate to announce and keep; nothing when the mode is Paced. A rate outside 1 to 120 is logged
/// and gives nothing, too.
[[nodiscard]] std::optional<FrameRate> exactRate(RateMode mode, int chosen);

}  // namespace sender
