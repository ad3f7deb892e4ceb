#include "ndi/wire/videoinfo.h"

#include <algorithm>
#include <cstring>

#include "ndi/wire/scramble.h"

namespace ndi::wire {
namespace {

// Offsets of the fields, in bytes.
constexpr std::size_t kFourCC = 0;
constexpr std::size_t kWidth = 4;
constexpr std::size_t kHeight = 8;
constexpr std::size_t kRateNumerator = 12;
constexpr std::size_t kRateDenominator = 16;
constexpr std::size_t kAspect = 20;
constexpr std::size_t kCommonEnd = 24;  // every protocol version has the fields up to here
constexpr std::size_t kFrameFormat = 28;
constexpr std::size_t kTimecode = 40;
constexpr std::size_t kTimestamp = 48;
constexpr std::size_t kMetadata = 56;

std::uint32_t bitsOf(float number) {
    std::uint32_t bits = 0;
    static_assert(sizeof(bits) == sizeof(number));
    std::memcpy(&bits, &number, sizeof(bits));
    return bits;
}

float floatOf(std::uint32_t bits) {
    float number = 0;
    std::memcpy(&number, &bits, sizeof(number));
    return number;
}

}  // namespace

void writeVideoHead(const VideoInfo& info, std::uint32_t dataSize, MessageHead& head) {
    const std::size_t metadataSize =
        info.metadata.size() <= kMaxVideoMetadata ? info.metadata.size() : 0;
    Header header;
    header.version = kVideoVersion;
    header.kind = static_cast<std::uint16_t>(Kind::Video);
    header.infoSize = static_cast<std::uint32_t>(kMetadata + metadataSize + 1);
    header.dataSize = dataSize;
    head.size = kHeaderSize + header.infoSize;
    writeHeader(header, head.bytes.data());

    std::uint8_t* const out = head.bytes.data() + kHeaderSize;
    std::fill_n(out, header.infoSize, std::uint8_t{0});
    storeLittle(info.fourCC, out + kFourCC);
    storeLittle(info.width, out + kWidth);
    storeLittle(info.height, out + kHeight);
    storeLittle(info.rateNumerator, out + kRateNumerator);
    storeLittle(info.rateDenominator, out + kRateDenominator);
    storeLittle(bitsOf(info.aspect), out + kAspect);
    storeLittle(info.frameFormat, out + kFrameFormat);
    storeLittle(info.timecode, out + kTimecode);
    storeLittle(info.timestamp, out + kTimestamp);
    std::copy_n(info.metadata.begin(), metadataSize, out + kMetadata);
    scramble(out, header.infoSize, header.infoSize + dataSize);
}

std::optional<VideoInfo> parseVideoInfo(ByteView bytes) {
    if (bytes.size < kCommonEnd) {
        return std::nullopt;
    }
    VideoInfo info;
    info.fourCC = loadLittle<std::uint32_t>(bytes.data + kFourCC);
    info.width = loadLittle<std::uint32_t>(bytes.data + kWidth);
    info.height = loadLittle<std::uint32_t>(bytes.data + kHeight);
    info.rateNumerator = loadLittle<std::uint32_t>(bytes.data + kRateNumerator);
    info.rateDenominator = loadLittle<std::uint32_t>(bytes.data + kRateDenominator);
    info.aspect = floatOf(loadLittle<std::uint32_t>(bytes.data + kAspect));
    if (info.width == 0 || info.height == 0 || info.rateNumerator == 0 ||
        info.rateDenominator == 0) {
        return std::nullopt;
    }
    if (bytes.size >= kMetadata) {
        info.frameFormat = loadLittle<std::uint32_t>(bytes.data + kFrameFormat);
        info.timecode = loadLittle<std::int64_t>(bytes.data + kTimecode);
        info.timestamp = loadLittle<std::int64_t>(bytes.data + kTimestamp);
        const std::uint8_t* const text = bytes.data + kMetadata;
        const std::uint8_t* const end = bytes.data + bytes.size;
        info.metadata.assign(text, std::find(text, end, std::uint8_t{0}));
    }
    return info;
}

}  // namespace ndi::wire
