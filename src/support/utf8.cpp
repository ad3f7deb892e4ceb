#include "support/utf8.h"

#include <algorithm>
#include <cstdint>

namespace support {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

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

/// The code point of the well-formed character of `length` bytes at `at`.
char32_t codePoint(std::string_view text, std::size_t at, std::size_t length) {
    constexpr std::uint32_t kFirstByteBits[] = {0x7F, 0x1F, 0x0F, 0x07};
    char32_t character = byteAt(text, at) & kFirstByteBits[length - 1];
    for (std::size_t i = 1; i < length; ++i) {
        character = character << 6 | (byteAt(text, at + i) & 0x3FU);
    }
    return character;
}

bool isSurrogate(char32_t unit) {
    return unit >= 0xD800 && unit < 0xE000;
}

void appendWide(std::wstring& wide, char32_t character) {
    if (sizeof(wchar_t) > 2 || character < 0x10000) {
        wide += static_cast<wchar_t>(character);
    } else {
        wide += static_cast<wchar_t>(0xD800 + ((character - 0x10000) >> 10));
        wide += static_cast<wchar_t>(0xDC00 + ((character - 0x10000) & 0x3FF));
    }
}

/// Takes the first character off `wide`, which is not empty.
char32_t takeCharacter(std::wstring_view& wide) {
    const auto first = static_cast<char32_t>(wide.front());
    wide.remove_prefix(1);
    const char32_t second = wide.empty() ? 0 : static_cast<char32_t>(wide.front());
    if (first >= 0xD800 && first < 0xDC00 && second >= 0xDC00 && second < 0xE000) {
        wide.remove_prefix(1);
        return 0x10000 + ((first - 0xD800) << 10) + (second - 0xDC00);
    }
    return isSurrogate(first) || first > 0x10FFFF ? kReplacement : first;
}

void appendUtf8(std::string& utf8, char32_t character) {
    const std::size_t length = character < 0x80      ? 1
                               : character < 0x800   ? 2
                               : character < 0x10000 ? 3
                                                     : 4;
    constexpr std::uint32_t kFirstByteMarks[] = {0, 0xC0, 0xE0, 0xF0};
    std::size_t shift = 6 * (length - 1);
    utf8 += static_cast<char>(kFirstByteMarks[length - 1] | character >> shift);
    while (shift > 0) {
        shift -= 6;
        utf8 += static_cast<char>(0x80U | (character >> shift & 0x3FU));
    }
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

std::wstring wideFromUtf8(std::string_view text) {
    std::wstring wide;
    while (!text.empty()) {
        const std::size_t length = characterLength(text, 0);
        appendWide(wide, length > 0 ? codePoint(text, 0, length) : kReplacement);
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return wide;
}

std::string utf8FromWide(std::wstring_view wide) {
    std::string utf8;
    while (!wide.empty()) {
        appendUtf8(utf8, takeCharacter(wide));
    }
    return utf8;
}

}  // namespace support
