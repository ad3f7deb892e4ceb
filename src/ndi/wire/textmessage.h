#pragma once
// The known text messages: one XML element each.

#include <string>
#include <variant>

#include "ndi/wire/bytes.h"

namespace ndi::wire {

/// `ndi_version`: the message versions that a peer can read.
struct VersionText {
    int text = 2;
    int video = 3;
    int audio = 2;
    std::string sdk = "3.5.1";
    std::string platform = ownPlatform();

    [[nodiscard]] static const char* ownPlatform();
};

/// `ndi_identify`: a peer's name.
struct IdentifyText {
    std::string name;
};

/// `ndi_video`: the main or the preview stream.
struct QualityText {
    bool low = false;  ///< The preview stream.
};

/// `ndi_enabled_streams`: what a receiver wants to receive.
struct EnabledStreamsText {
    bool video = false;
    bool audio = false;
    bool text = false;
};

/// `ndi_tally`: this receiver has the source on air or in preview.
struct TallyText {
    bool onProgram = false;
    bool onPreview = false;
};

/// `ndi_tally_echo`: whether any receiver has it on air or in preview.
struct TallyEchoText {
    bool onProgram = false;
    bool onPreview = false;
};

/// Well-formed, but not a known message.
struct UnknownText {
    std::string element;
};

/// Not XML.
struct MalformedText {
    std::string reason;
};

using TextMessage = std::variant<MalformedText, UnknownText, VersionText, IdentifyText, QualityText,
                                 EnabledStreamsText, TallyText, TallyEchoText>;

/// Reads the data part of a text message, with or without its closing zero byte. The strings in
/// the result are safe in a log line: valid UTF-8, no control characters, at most 128 bytes.
/// Nested elements, custom entities and unknown attributes are ignored. Texts of more than 16 KiB
/// are not parsed and count as unknown.
[[nodiscard]] TextMessage parseText(ByteView text);

[[nodiscard]] std::string composeText(const VersionText& message);
[[nodiscard]] std::string composeText(const IdentifyText& message);
[[nodiscard]] std::string composeText(const QualityText& message);
[[nodiscard]] std::string composeText(const EnabledStreamsText& message);
[[nodiscard]] std::string composeText(const TallyText& message);
[[nodiscard]] std::string composeText(const TallyEchoText& message);

}  // namespace ndi::wire
