#include "ndi/wire/sourcename.h"

#include <algorithm>

#include "support/utf8.h"

namespace ndi::wire {

using support::cleanUtf8;
using support::cutUtf8;

namespace {

constexpr std::size_t kBrackets = 3;  // " (" and ")"
constexpr std::size_t kMinSourcePart = 20;

}  // namespace

std::string instanceName(std::string_view machine, std::string_view source) {
    const std::string cleanSource = cleanUtf8(source);
    const std::string machinePart =
        cutUtf8(cleanUtf8(machine),
                kMaxInstanceName - kBrackets - std::min(cleanSource.size(), kMinSourcePart));
    const std::string sourcePart =
        cutUtf8(cleanSource, kMaxInstanceName - kBrackets - machinePart.size());
    return machinePart + " (" + sourcePart + ")";
}

std::string sourcePart(std::string_view instance) {
    const auto open = instance.find(" (");
    if (open == std::string_view::npos || instance.back() != ')') {
        return std::string(instance);
    }
    return std::string(instance.substr(open + 2, instance.size() - open - 3));
}

}  // namespace ndi::wire
