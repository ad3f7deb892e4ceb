#include "mdns/hostlabel.h"

#include <algorithm>

#include "support/utf8.h"

namespace mdns {
namespace {

constexpr std::size_t kMaxLabel = 63;

bool mayStay(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           static_cast<unsigned char>(c) >= 0x80;
}

std::string withoutHyphensAtEnds(const std::string& text) {
    const auto first = text.find_first_not_of('-');
    return first == std::string::npos ? std::string()
                                      : text.substr(first, text.find_last_not_of('-') + 1 - first);
}

}  // namespace

std::string hostLabel(std::string_view hostName) {
    std::string label = support::cleanUtf8(hostName);
    std::replace_if(
        label.begin(), label.end(), [](char c) { return !mayStay(c); }, '-');
    label = withoutHyphensAtEnds(label);
    label = withoutHyphensAtEnds(support::cutUtf8(label, kMaxLabel));
    return label.empty() || label == "localhost" ? "ndi-host" : label;
}

std::string numberedHostLabel(std::string_view label, unsigned number) {
    const std::string tail = "-" + std::to_string(number);
    return support::cutUtf8(label, kMaxLabel - tail.size()) + tail;
}

}  // namespace mdns
