#include "support/utf8.h"

#include <cstdint>

namespace support {
namespace {

std::uint32_t byteAt(std::string_view text, std::size_t at) {
    return static_cast<std::uint8_t>(text[at]);
}

bool isContinuation(std::string_view text, std::size_t at) {
    return (byteAt(text, at) & 0xC0U) == 0x80U;
}

/// Length of the well-formed character that begins at `at`, 0 if none does.
std::size_t characterLength(std::string_view text, std::size_t at) {
    const std::uint32_t first = byteAt(text, at);
    const std::size_t length = first < 0x80                    ? 1
                               : first >= 0xC2 && first < 0xE0 ? 2
                               : first >= 0xE0 && first < 0xF0 ? 3
                               : first >= 0xF0 && first < 0xF5 ? 4
                                                               : 0;
    if (length == 0 || at + length > text.size()) {
        return 0;
    }
    for (std::size_t i = 1; i < length; ++i) {
        if (!isContinuation(text, at + i)) {
            return 0;
        }
    }
    // Overlong forms, surrogates, and what lies above the last character.
    const std::uint32_t second = length > 1 ? byteAt(text, at + 1) : 0;
    const bool wrong = (first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F) ||
                       (first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F);
    return wrong ? 0 : length;
}

/// Of the character that begins at `at`: one of the two blocks of control characters.
bool isControl(std::string_view text, std::size_t at) {
    const std::uint32_t first = byteAt(text, at);
    return first < 0x20 || first == 0x7F || (first == 0xC2 && byteAt(text, at + 1) < 0xA0);
}

}  // namespace

std::string cutUtf8(std::string_view text, std::size_t maxBytes) {
    if (text.size() > maxBytes) {
        while (maxBytes > 0 && isContinuation(text, maxBytes)) {
            --maxBytes;
        }
        text = text.substr(0, maxBytes);
    }
    return std::string(text);
}

std::string cleanUtf8(std::string_view text) {
    std::string clean;
    clean.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = characterLength(text, at);
        if (length == 0) {
            clean += '?';
            ++at;
        } else if (isControl(text, at)) {
            clean += ' ';
            at += length;
        } else {
            clean += text.substr(at, length);
            at += length;
        }
    }
    return clean;
}

}  // namespace support
