// Text messages, plain: what is understood must survive being written and read again.

#include <cstdlib>
#include <string>
#include <type_traits>
#include <variant>

#include "ndi/wire/sourcename.h"
#include "ndi/wire/textmessage.h"

namespace {

using namespace ndi::wire;

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

void check(const std::string& text) {
    require(text.size() <= 128 && cleanUtf8(text) == text);
}

template <typename Text>
Text again(const Text& text) {
    const std::string xml = composeText(text);
    return std::get<Text>(
        parseText({reinterpret_cast<const std::uint8_t*>(xml.data()), xml.size()}));
}

void check(const MalformedText& /*text*/) {}
void check(const UnknownText& text) {
    check(text.element);
}
void check(const IdentifyText& text) {
    check(text.name);
    require(again(text).name == text.name);
}
void check(const VersionText& text) {
    check(text.sdk);
    check(text.platform);
    const auto same = again(text);
    require(same.text == text.text && same.video == text.video && same.audio == text.audio &&
            same.sdk == text.sdk && same.platform == text.platform);
}
void check(const QualityText& text) {
    require(again(text).low == text.low);
}
void check(const EnabledStreamsText& text) {
    require(again(text).video == text.video);
}
void check(const TallyText& text) {
    require(again(text).onProgram == text.onProgram);
}
void check(const TallyEchoText& text) {
    require(again(text).onPreview == text.onPreview);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::visit([](const auto& text) { check(text); }, parseText({data, size}));
    const std::string name(reinterpret_cast<const char*>(data), size);
    require(instanceName(name, name).size() <= kMaxInstanceName);
    require(cleanUtf8(instanceName("HOST", name)) == instanceName("HOST", name));
    return 0;
}
