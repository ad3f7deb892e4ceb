#include "capture/devicename.h"

#include <cstdint>

namespace capture {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

/// Takes one character off `rest`, which is not empty; at least one byte goes.
char32_t takeCharacter(std::string_view& rest) {
    const auto first = static_cast<std::uint8_t>(rest.front());
    rest.remove_prefix(1);
    if (first < 0x80) {
        return first;
    }
    int following = 0;
    char32_t character = 0;
    char32_t smallest = 0;
    if ((first & 0xE0) == 0xC0) {
        following = 1, character = first & 0x1F, smallest = 0x80;
    } else if ((first & 0xF0) == 0xE0) {
        following = 2, character = first & 0x0F, smallest = 0x800;
    } else if ((first & 0xF8) == 0xF0) {
        following = 3, character = first & 0x07, smallest = 0x10000;
    } else {
        return kReplacement;
    }
    for (; following > 0; --following) {
        if (rest.empty() || (static_cast<std::uint8_t>(rest.front()) & 0xC0) != 0x80) {
            return kReplacement;
        }
        character = character << 6 | (static_cast<std::uint8_t>(rest.front()) & 0x3F);
        rest.remove_prefix(1);
    }
    const bool surrogate = character >= 0xD800 && character <= 0xDFFF;
    return character < smallest || character > 0x10FFFF || surrogate ? kReplacement : character;
}

void appendUtf8(std::string& utf8, char32_t character) {
    const auto append = [&utf8](char32_t byte) { utf8.push_back(static_cast<char>(byte)); };
    if (character < 0x80) {
        append(character);
    } else if (character < 0x800) {
        append(0xC0 | character >> 6);
        append(0x80 | (character & 0x3F));
    } else if (character < 0x10000) {
        append(0xE0 | character >> 12);
        append(0x80 | (character >> 6 & 0x3F));
        append(0x80 | (character & 0x3F));
    } else {
        append(0xF0 | (character >> 18 & 0x07));
        append(0x80 | (character >> 12 & 0x3F));
        append(0x80 | (character >> 6 & 0x3F));
        append(0x80 | (character & 0x3F));
    }
}

}  // namespace

std::wstring wideDeviceName(std::string_view utf8) {
    std::wstring wide;
    while (!utf8.empty()) {
        const char32_t character = takeCharacter(utf8);
        if (sizeof(wchar_t) > 2 || character < 0x10000) {
            wide.push_back(static_cast<wchar_t>(character));
        } else {
            wide.push_back(static_cast<wchar_t>(0xD800 + ((character - 0x10000) >> 10)));
            wide.push_back(static_cast<wchar_t>(0xDC00 + ((character - 0x10000) & 0x3FF)));
        }
    }
    return wide;
}

std::string utf8DeviceName(std::wstring_view wide) {
    std::string utf8;
    for (std::size_t i = 0; i < wide.size(); ++i) {
        auto character = static_cast<char32_t>(wide[i]);
        if (sizeof(wchar_t) == 2 && (character & 0xFC00) == 0xD800 && i + 1 < wide.size()) {
            character =
                0x10000 + ((character & 0x3FF) << 10) + (static_cast<char32_t>(wide[++i]) & 0x3FF);
        }
        appendUtf8(utf8, character);
    }
    return utf8;
}

}  // namespace capture
