#include "unit/speedhq/strictdecoder.h"

#include <map>
#include <stdexcept>
#include <string>

#include "ndi/speedhq/tables.h"

namespace testing_support {

namespace {

using speedhq::Code;

void require(bool condition, const char* what) {
    if (!condition) {
        throw std::runtime_error(what);
    }
}

struct BitReader {
    const std::uint8_t* bytes;
    std::size_t count;  ///< In bits.
    std::size_t at = 0;

    unsigned bits(unsigned wanted) {
        unsigned value = 0;
        for (unsigned i = 0; i < wanted; ++i, ++at) {
            require(at < count, "bits end early");
            value |= (bytes[at / 8] >> (at % 8) & 1U) << i;
        }
        return value;
    }
    void expectEnd() {
        require(count - at < 8, "bytes left behind the last macroblock");
        require(bits(static_cast<unsigned>(count - at)) == 0, "padding is not zero");
    }
};

using Meanings = std::map<Code, int>;

int readCode(BitReader& reader, const Meanings& meanings) {
    std::uint32_t bits = 0;
    for (unsigned length = 1; length <= 24; ++length) {
        bits |= reader.bits(1) << (length - 1);
        const auto found = meanings.find(speedhq::makeCode(bits, length));
        if (found != meanings.end()) {
            return found->second;
        }
    }
    throw std::runtime_error("a code that does not exist");
}

constexpr int kEnd = -1;
constexpr int kEscape = -2;

struct Codes {
    Meanings ac;  ///< 256 * run + 128 + level, or kEnd, or kEscape.
    Meanings dc[2];

    Codes() : ac{{speedhq::kEndOfBlock, kEnd}, {speedhq::makeCode(0x20, 6), kEscape}} {
        const speedhq::CodeTables& tables = speedhq::codeTables();
        for (int i = 0; i < 64 * 256; ++i) {
            const Code code = tables.ac[static_cast<std::size_t>(i)];
            if (speedhq::codeLength(code) != 24) {
                ac[code] = i;
            }
        }
        for (int d = -speedhq::kMaxDcDifference; d <= speedhq::kMaxDcDifference; ++d) {
            const auto index = static_cast<std::size_t>(d + speedhq::kMaxDcDifference);
            dc[0][tables.lumaDc[index]] = d;
            dc[1][tables.chromaDc[index]] = d;
        }
    }
};

void checkBlock(BitReader& reader, const Codes& codes, bool chroma, int& dc) {
    dc -= readCode(reader, codes.dc[chroma ? 1 : 0]);
    require(dc >= 0 && dc <= 2040, "a DC out of range");
    unsigned position = 0;
    for (int meaning = readCode(reader, codes.ac); meaning != kEnd;
         meaning = readCode(reader, codes.ac)) {
        const bool escape = meaning == kEscape;
        position += 1 + (escape ? reader.bits(6) : static_cast<unsigned>(meaning) / 256);
        const int level = escape ? static_cast<int>(reader.bits(12)) - 2048 : meaning % 256 - 128;
        require(position < 64 && level != 0, "a level that is 0 or beyond the block");
    }
}

}  // namespace

void checkStrictly(const std::uint8_t* packet, std::size_t size, int width, int height) {
    static const Codes codes;
    const auto length3 = [&](std::size_t at) {
        require(at + 3 <= size, "a length beyond the packet");
        return static_cast<std::size_t>(packet[at] | packet[at + 1] << 8 | packet[at + 2] << 16);
    };
    require(size >= 16 && length3(1) == 4 && packet[0] < 100 && width % 16 == 0,
            "not a packet with one field");
    std::size_t at = 4;
    for (int slice = 0; slice < 4; ++slice) {
        const std::size_t length = length3(at);
        require(length >= 3 && at + length <= size, "a slice beyond the packet");
        BitReader reader{packet + at + 3, (length - 3) * 8};
        for (int row = slice; row < (height + 15) / 16; row += 4) {
            int dc[] = {1024, 1024, 1024};
            for (int column = 0; column < width / 16; ++column) {
                for (const int plane : {0, 0, 0, 0, 1, 2, 1, 2}) {
                    checkBlock(reader, codes, plane > 0, dc[plane]);
                }
            }
        }
        reader.expectEnd();
        at += length;
    }
    require(at == size, "the slices do not end with the packet");
}

}  // namespace testing_support
