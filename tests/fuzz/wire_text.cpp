// Arbitrary text messages: a parsed message must survive composing and parsing.

#include <cstdlib>
#include <string>
#include <type_traits>
#include <variant>

#include "ndi/wire/sourcename.h"
#include "ndi/wire/textmessage.h"
#include "support/utf8.h"

namespace {

using namespace ndi::wire;

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

void check(const std::string& text) {
    require(text.size() <= 128 && support::cleanUtf8(text) == text);
}

/// Composes `text`, parses the result and composes it again: both texts are equal.
template <typename Text>
void checkAgain(const Text& text) {
    const std::string xml = composeText(text);
    const auto again = parseText({reinterpret_cast<const std::uint8_t*>(xml.data()), xml.size()});
    require(composeText(std::get<Text>(again)) == xml);
}

void check(const MalformedText& /*text*/) {}
void check(const UnknownText& text) {
    check(text.element);
}
void check(const IdentifyText& text) {
    check(text.name);
    checkAgain(text);
}
void check(const VersionText& text) {
    check(text.sdk);
    check(text.platform);
    checkAgain(text);
}
template <typename Text>
void check(const Text& text) {
    checkAgain(text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::visit([](const auto& text) { check(text); }, parseText({data, size}));
    const std::string name(reinterpret_cast<const char*>(data), size);
    require(instanceName(name, name).size() <= kMaxInstanceName);
    require(support::cleanUtf8(instanceName("HOST", name)) == instanceName("HOST", name));
    return 0;
}
