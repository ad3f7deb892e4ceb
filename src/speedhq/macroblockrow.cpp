#include "speedhq/macroblockrow.h"

#include <algorithm>
#include <cstring>

namespace speedhq {

void CodedRow::store(const std::uint8_t* bits) {
    const std::size_t bytes = (bitCount() + 7) / 8;
    if (bytes + kBitSlack > m_room) {
        // A quarter more, so that a row that grows by and by does not ask each time.
        m_room = bytes + bytes / 4 + kBitSlack;
        m_bits.reset(new std::uint8_t[m_room]());
    }
    std::memcpy(m_bits.get(), bits, bytes);
}

void RowCoder::prepare(std::size_t macroblocks) {
    if (macroblocks > m_roomFor) {
        m_roomFor = macroblocks;
        m_room.reset(new std::uint8_t[macroblocks * kMaxMacroblockBytes + kBitSlack]);
    }
    m_flags.assign(macroblocks, 0);
}

void RowCoder::codeMacroblock(const RowSettings& settings, const KeptPicture& picture, int row,
                              int column, BitWriter& writer, DcPredictors& predictors) {
    const std::uint8_t* const pixels =
        picture.line(row * 16) + static_cast<std::ptrdiff_t>(column) * picture.blockBytes();
    if (picture.format() == PixelFormat::Uyvy) {
        settings.kernels.convertUyvy(pixels, picture.stride(), m_samples);
    } else {
        settings.kernels.convertBgra(pixels, picture.stride(), settings.matrix, m_samples);
    }
    settings.kernels.transform(m_samples, settings.quantiser, m_levels);
    settings.kernels.write(m_levels, settings.codes, predictors, writer);
}

void RowCoder::code(const RowSettings& settings, const KeptPicture& picture, int row,
                    CodedRow& coded) {
    BitWriter writer(m_room.get());
    DcPredictors predictors;
    for (int column = 0; column < picture.columns(); ++column) {
        codeMacroblock(settings, picture, row, column, writer, predictors);
        coded.ends()[static_cast<std::size_t>(column)] = {
            static_cast<std::uint32_t>(writer.bitsSince(m_room.get())), predictors};
    }
    finish(writer, coded);
}

void RowCoder::recode(const RowSettings& settings, const KeptPicture& picture, int row,
                      CodedRow& coded) {
    BitWriter writer(m_room.get());
    DcPredictors predictors;
    CodedRow::End before{0, {}};  // What stood before the current macroblock in the old bits.
    const int columns = picture.columns();
    for (int column = 0; column < columns;) {
        auto* end = &coded.ends()[static_cast<std::size_t>(column)];
        if (m_flags[static_cast<std::size_t>(column)] != 0 || predictors != before.dc) {
            before = *end;
            codeMacroblock(settings, picture, row, column, writer, predictors);
            *end = {static_cast<std::uint32_t>(writer.bitsSince(m_room.get())), predictors};
            ++column;
            continue;
        }
        const std::uint32_t from = before.bit;
        const auto moved = static_cast<std::uint32_t>(writer.bitsSince(m_room.get())) - from;
        for (; column < columns && m_flags[static_cast<std::size_t>(column)] == 0; ++column) {
            before = *end;
            end->bit += moved;
            ++end;
        }
        predictors = before.dc;
        appendBits(writer, coded.bits(), from, before.bit - from);
    }
    finish(writer, coded);
}

void RowCoder::finish(BitWriter& writer, CodedRow& coded) {
    finishBits(writer);
    coded.store(m_room.get());
    clearFlags();
}

void RowCoder::clearFlags() {
    std::fill(m_flags.begin(), m_flags.end(), std::uint8_t{0});
}

}  // namespace speedhq
