#include "sender/senderoptions.h"

#include "support/log.h"

namespace sender {
namespace {

constexpr int kLowestRate = 1;
constexpr int kHighestRate = 120;

}  // namespace

std::optional<RateMode> rateModeOf(const std::string& text) {
    if (text.empty() || text == "0") {
        return RateMode::Paced;
    }
    if (text == "1") {
        return RateMode::Exact;
    }
    return text == "ntsc" ? std::optional(RateMode::Ntsc) : std::nullopt;
}

SenderOptions readSenderOptions(const std::function<std::string(const char* key)>& read) {
    SenderOptions options;
    const std::string rate = read("exactFrameRate");
    if (const auto mode = rateModeOf(rate)) {
        options.rateMode = *mode;
    } else {
        HV_WARN("setting exactFrameRate is \"{}\", expected is 0, 1 or ntsc; using 0", rate);
    }
    const std::string pointer = read("drawPointer");
    options.drawPointer = pointer == "1";
    if (!pointer.empty() && pointer != "0" && pointer != "1") {
        HV_WARN("setting drawPointer is \"{}\", expected is 0 or 1; using 0", pointer);
    }
    return options;
}

std::optional<FrameRate> exactRate(RateMode mode, int chosen) {
    if (mode == RateMode::Paced) {
        return std::nullopt;
    }
    if (chosen < kLowestRate || chosen > kHighestRate) {
        HV_WARN(
            "{} fps can't be kept exactly, only {} to {} fps can; announcing 29.97 fps as without "
            "exactFrameRate",
            chosen, kLowestRate, kHighestRate);
        return std::nullopt;
    }
    const bool fractional = chosen == 24 || chosen == 30 || chosen == 48 || chosen == 60;
    const FrameRate rate = mode == RateMode::Ntsc && fractional ? FrameRate{chosen * 1000, 1001}
                                                                : FrameRate{chosen, 1};
    HV_INFO("announcing and keeping {}/{} fps", rate.numerator, rate.denominator);
    return rate;
}

}  // namespace sender
