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

}  // namespace ndi::wire
