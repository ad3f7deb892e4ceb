#include "ndi/wire/message.h"

#include <algorithm>

#include "ndi/wire/scramble.h"

namespace ndi::wire {
namespace {

constexpr std::uint16_t kMark = 0x8000;
constexpr std::uint32_t kTextInfoSize = 8;

/// The highest versions that use the first kind of scrambling.
constexpr std::uint16_t kReadableVideo = 3;
constexpr std::uint16_t kReadableOther = 2;

bool isKind(const Header& header, Kind kind) {
    return header.kind == static_cast<std::uint16_t>(kind);
}

}  // namespace

const char* readHeader(const std::uint8_t* bytes, const Limits& limits, Header& header) {
    const auto first = loadLittle<std::uint16_t>(bytes);
    if ((first & kMark) == 0) {
        return "not a message header";
    }
    header.version = static_cast<std::uint16_t>(first & ~kMark);
    header.kind = loadLittle<std::uint16_t>(bytes + 2);
    header.infoSize = loadLittle<std::uint32_t>(bytes + 4);
    header.dataSize = loadLittle<std::uint32_t>(bytes + 8);
    if (header.infoSize > limits.info) {
        return "the info block is too large";
    }
    if (header.dataSize > (isKind(header, Kind::Text) ? limits.text : limits.other)) {
        return "the data block is too large";
    }
    return nullptr;
}

void writeHeader(const Header& header, std::uint8_t* bytes) {
    storeLittle(static_cast<std::uint16_t>(header.version | kMark), bytes);
    storeLittle(header.kind, bytes + 2);
    storeLittle(header.infoSize, bytes + 4);
    storeLittle(header.dataSize, bytes + 8);
}

bool isReadable(const Header& header) {
    return header.version <= (isKind(header, Kind::Video) ? kReadableVideo : kReadableOther);
}

std::vector<std::uint8_t> makeTextMessage(std::string_view xml) {
    Header header;
    header.version = kTextVersion;
    header.kind = static_cast<std::uint16_t>(Kind::Text);
    header.infoSize = kTextInfoSize;
    header.dataSize = static_cast<std::uint32_t>(xml.size() + 1);

    std::vector<std::uint8_t> message(kHeaderSize + kTextInfoSize + xml.size() + 1);
    writeHeader(header, message.data());
    std::copy(xml.begin(), xml.end(), message.begin() + kHeaderSize + kTextInfoSize);
    scramble(message.data() + kHeaderSize, message.size() - kHeaderSize,
             header.infoSize + header.dataSize);
    return message;
}

}  // namespace ndi::wire
