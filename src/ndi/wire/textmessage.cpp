#include "ndi/wire/textmessage.h"

#include <algorithm>
#include <pugixml.hpp>
#include <string_view>

#include "support/utf8.h"

namespace ndi::wire {
namespace {

constexpr std::size_t kMaxParsedText = 16 * 1024;
constexpr std::size_t kMaxString = 128;

std::string cleanForLog(std::string_view text) {
    return support::cutUtf8(support::cleanUtf8(text), kMaxString);
}

std::string attribute(const pugi::xml_node& element, const char* name) {
    return cleanForLog(element.attribute(name).as_string());
}

bool flag(const pugi::xml_node& element, const char* name) {
    return element.attribute(name).as_bool();
}

/// Collects what pugixml prints.
class StringWriter : public pugi::xml_writer {
public:
    void write(const void* data, std::size_t size) override {
        m_text.append(static_cast<const char*>(data), size);
    }
    [[nodiscard]] std::string take() { return std::move(m_text); }

private:
    std::string m_text;
};

/// One element under construction.
class Element {
public:
    explicit Element(const char* name) : m_element(m_document.append_child(name)) {}

    Element& with(const char* name, const std::string& value) {
        m_element.append_attribute(name).set_value(support::cleanUtf8(value).c_str());
        return *this;
    }
    Element& with(const char* name, int value) {
        m_element.append_attribute(name).set_value(value);
        return *this;
    }
    Element& with(const char* name, bool value) {
        m_element.append_attribute(name).set_value(value);
        return *this;
    }
    [[nodiscard]] std::string print() const {
        StringWriter writer;
        m_element.print(writer, "", pugi::format_raw, pugi::encoding_utf8);
        return writer.take();
    }

private:
    pugi::xml_document m_document;
    pugi::xml_node m_element;
};

}  // namespace

const char* VersionText::ownPlatform() {
    return NDI_PLATFORM_NAME;
}

TextMessage parseText(ByteView text) {
    const std::uint8_t* const end = std::find(text.data, text.data + text.size, std::uint8_t{0});
    const auto size = static_cast<std::size_t>(end - text.data);
    if (size > kMaxParsedText) {
        return UnknownText{"(too long to be parsed)"};
    }
    // pugixml expands only XML's five predefined entities and does not recurse, so neither
    // expansion nor nesting costs more than a small multiple of the text's size.
    pugi::xml_document document;
    const auto result = document.load_buffer(
        text.data, size, pugi::parse_escapes | pugi::parse_wconv_attribute, pugi::encoding_utf8);
    const auto element = document.document_element();
    if (!result || !element) {
        return MalformedText{result ? "no element" : result.description()};
    }

    const std::string_view name = element.name();
    if (name == "ndi_version") {
        VersionText message;
        message.text = element.attribute("text").as_int();
        message.video = element.attribute("video").as_int();
        message.audio = element.attribute("audio").as_int();
        message.sdk = attribute(element, "sdk");
        message.platform = attribute(element, "platform");
        return message;
    }
    if (name == "ndi_identify") {
        return IdentifyText{attribute(element, "name")};
    }
    if (name == "ndi_video") {
        return QualityText{attribute(element, "quality") == "low"};
    }
    if (name == "ndi_enabled_streams") {
        return EnabledStreamsText{flag(element, "video"), flag(element, "audio"),
                                  flag(element, "text")};
    }
    if (name == "ndi_tally") {
        return TallyText{flag(element, "on_program"), flag(element, "on_preview")};
    }
    if (name == "ndi_tally_echo") {
        return TallyEchoText{flag(element, "on_program"), flag(element, "on_preview")};
    }
    return UnknownText{cleanForLog(name)};
}

std::string composeText(const VersionText& message) {
    return Element("ndi_version")
        .with("text", message.text)
        .with("video", message.video)
        .with("audio", message.audio)
        .with("sdk", message.sdk)
        .with("platform", message.platform)
        .print();
}

std::string composeText(const IdentifyText& message) {
    return Element("ndi_identify").with("name", message.name).print();
}

std::string composeText(const QualityText& message) {
    return Element("ndi_video").with("quality", std::string(message.low ? "low" : "high")).print();
}

std::string composeText(const EnabledStreamsText& message) {
    return Element("ndi_enabled_streams")
        .with("video", message.video)
        .with("audio", message.audio)
        .with("text", message.text)
        .print();
}

std::string composeText(const TallyText& message) {
    return Element("ndi_tally")
        .with("on_program", message.onProgram)
        .with("on_preview", message.onPreview)
        .print();
}

std::string composeText(const TallyEchoText& message) {
    return Element("ndi_tally_echo")
        .with("on_program", message.onProgram)
        .with("on_preview", message.onPreview)
        .print();
}

}  // namespace ndi::wire
