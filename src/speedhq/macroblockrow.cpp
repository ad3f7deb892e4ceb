#include "speedhq/macroblockrow.h"

#include <algorithm>
#include <cstring>

namespace speedhq {

void EncodedRow::store(const std::uint8_t* bits) {
    const std::size_t bytes = (bitCount() + 7) / 8;
    if (bytes + kBitSlack > m_capacity) {
        // A quarter more than necessary, so that a slowly growing row rarely reallocates.
        m_capacity = bytes + bytes / 4 + kBitSlack;
        m_bits.reset(new std::uint8_t[m_capacity]());
    }
    std::memcpy(m_bits.get(), bits, bytes);
}

void RowEncoder::prepare(std::size_t macroblocks) {
    if (macroblocks > m_bufferFor) {
        m_bufferFor = macroblocks;
        m_buffer.reset(new std::uint8_t[macroblocks * kMaxMacroblockBytes + kBitSlack]);
    }
    m_flags.assign(macroblocks, 0);
}

void RowEncoder::encodeMacroblock(const RowSettings& settings, const ReferenceFrame& frame, int row,
                                  int column, BitWriter& writer, DcPredictors& predictors) {
    const std::uint8_t* const pixels =
        frame.line(row * 16) + static_cast<std::ptrdiff_t>(column) * frame.blockBytes();
    if (frame.format() == PixelFormat::Uyvy) {
        settings.kernels.convertUyvy(pixels, frame.stride(), m_samples);
    } else {
        settings.kernels.convertBgra(pixels, frame.stride(), settings.matrix, m_samples);
    }
    settings.kernels.transform(m_samples, settings.quantiser, m_levels);
    settings.kernels.write(m_levels, settings.codes, predictors, writer);
}

void RowEncoder::encode(const RowSettings& settings, const ReferenceFrame& frame, int row,
                        EncodedRow& encoded) {
    BitWriter writer(m_buffer.get());
    DcPredictors predictors;
    for (int column = 0; column < frame.columns(); ++column) {
        encodeMacroblock(settings, frame, row, column, writer, predictors);
        encoded.ends()[static_cast<std::size_t>(column)] = {
            static_cast<std::uint32_t>(writer.bitsSince(m_buffer.get())), predictors};
    }
    finish(writer, encoded);
}

void RowEncoder::reencode(const RowSettings& settings, const ReferenceFrame& frame, int row,
                          EncodedRow& encoded) {
    BitWriter writer(m_buffer.get());
    DcPredictors predictors;
    EncodedRow::End before{0, {}};  // The end of the previous macroblock in the old bits.
    const int columns = frame.columns();
    for (int column = 0; column < columns;) {
        auto* end = &encoded.ends()[static_cast<std::size_t>(column)];
        if (m_flags[static_cast<std::size_t>(column)] != 0 || predictors != before.dc) {
            before = *end;
            encodeMacroblock(settings, frame, row, column, writer, predictors);
            *end = {static_cast<std::uint32_t>(writer.bitsSince(m_buffer.get())), predictors};
            ++column;
            continue;
        }
        const std::uint32_t from = before.bit;
        const auto moved = static_cast<std::uint32_t>(writer.bitsSince(m_buffer.get())) - from;
        for (; column < columns && m_flags[static_cast<std::size_t>(column)] == 0; ++column) {
            before = *end;
            end->bit += moved;
            ++end;
        }
        predictors = before.dc;
        appendBits(writer, encoded.bits(), from, before.bit - from);
    }
    finish(writer, encoded);
}

void RowEncoder::finish(BitWriter& writer, EncodedRow& encoded) {
    finishBits(writer);
    encoded.store(m_buffer.get());
    clearFlags();
}

void RowEncoder::clearFlags() {
    std::fill(m_flags.begin(), m_flags.end(), std::uint8_t{0});
}

}  // namespace speedhq
