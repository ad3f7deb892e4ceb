#include "ndi/outputsettings.h"

#include <algorithm>
#include <charconv>

#include "ndi/output/addressrange.h"
#include "support/log.h"

namespace ndi {
namespace {

std::vector<std::string> entriesOf(const std::string& text) {
    static const char* const kSeparators = ", \t";
    std::vector<std::string> entries;
    for (std::size_t at = text.find_first_not_of(kSeparators); at != std::string::npos;) {
        const std::size_t end = std::min(text.find_first_of(kSeparators, at), text.size());
        entries.push_back(text.substr(at, end - at));
        at = text.find_first_not_of(kSeparators, end);
    }
    return entries;
}

void readNumber(const char* key, const std::string& text, int most, std::uint16_t& value) {
    if (text.empty()) {
        return;
    }
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number < 1 || number > most) {
        HV_WARN("setting {} is \"{}\", expected is a number from 1 to {}; using {}", key, text,
                most, value);
        return;
    }
    value = static_cast<std::uint16_t>(number);
}

speedhq::ColourChoice readColours(const std::string& text) {
    using speedhq::ColourChoice;
    if (text == "601") {
        return ColourChoice::Bt601;
    }
    if (text == "709") {
        return ColourChoice::Bt709;
    }
    if (text == "2020") {
        return ColourChoice::Bt2020;
    }
    if (!text.empty() && text != "auto") {
        HV_WARN("setting colorMatrix is \"{}\", expected is auto, 601, 709 or 2020; using auto",
                text);
    }
    return ColourChoice::Automatic;
}

}  // namespace

OutputSettings readOutputSettings(const std::function<std::string(const char* key)>& read) {
    OutputSettings settings;
    settings.networkInterfaces = entriesOf(read("networkInterfaces"));
    settings.allowedReceivers = entriesOf(read("allowedReceivers"));
    for (const std::string& entry : settings.allowedReceivers) {
        if (!AddressRange::parse(entry)) {
            HV_WARN(
                "setting allowedReceivers has the entry \"{}\", expected are addresses like "
                "10.0.0.7 or networks like 10.1.0.0/16 and fd00::/8; every receiver is allowed",
                entry);
            settings.allowedReceivers.clear();
            break;
        }
    }
    readNumber("maximumReceivers", read("maximumReceivers"), 10'000, settings.maximumReceivers);
    readNumber("firstPort", read("firstPort"), 65'535, settings.firstPort);
    settings.colours = readColours(read("colorMatrix"));
    return settings;
}

}  // namespace ndi
