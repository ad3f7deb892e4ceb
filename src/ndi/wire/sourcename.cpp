#include "ndi/wire/sourcename.h"

#include <algorithm>

#include "support/utf8.h"

namespace ndi::wire {

using support::cleanUtf8;
using support::cutUtf8;

namespace {

constexpr std::size_t kBrackets = 3;  // " (" and ")"
constexpr std::size_t kMinSourcePart = 20;
constexpr std::size_t kMaxDigits = 4;

/// `text` in at most `limit` bytes, which is more than kMaxDigits.
std::string cutBeforeNumber(const std::string& text, std::size_t limit) {
    if (text.size() <= limit) {
        return text;
    }
    const auto lastOther = text.find_last_not_of("0123456789");
    const std::size_t begin = lastOther == std::string::npos ? 0 : lastOther + 1;
    const std::string number = text.substr(std::max(begin, text.size() - kMaxDigits));
    return cutUtf8(text.substr(0, text.size() - number.size()), limit - number.size()) + number;
}

}  // namespace

std::string instanceName(std::string_view machine, std::string_view source) {
    const std::string cleanSource = cleanUtf8(source);
    const std::string machinePart =
        cutUtf8(cleanUtf8(machine),
                kMaxInstanceName - kBrackets - std::min(cleanSource.size(), kMinSourcePart));
    return machinePart + " (" +
           cutBeforeNumber(cleanSource, kMaxInstanceName - kBrackets - machinePart.size()) + ")";
}

std::string sourcePart(std::string_view instance) {
    const auto open = instance.find(" (");
    if (open == std::string_view::npos || instance.back() != ')') {
        return std::string(instance);
    }
    return std::string(instance.substr(open + 2, instance.size() - open - 3));
}

}  // namespace ndi::wire
