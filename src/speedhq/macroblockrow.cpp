#include "speedhq/macroblockrow.h"

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
    m_changed.assign(macroblocks, 0);
}

/// Flat areas are frequent on desktops, so macroblocks often equal the previous one.
DcPredictors RowEncoder::encodeMacroblock(const RowSettings& settings,
                                          const MacroblockSamples& samples, BitWriter& writer,
                                          DcPredictors predictors) {
    if (m_transformed == nullptr || std::memcmp(m_transformed, &samples, sizeof samples) != 0) {
        settings.kernels.transform(samples, settings.quantiser, m_levels);
    }
    m_transformed = &samples;
    return settings.kernels.write(m_levels, settings.codes, predictors, writer);
}

void RowEncoder::encode(const RowSettings& settings, const MacroblockSamples* row,
                        EncodedRow& encoded) {
    BitWriter writer(m_buffer.get());
    DcPredictors predictors;
    m_transformed = nullptr;
    for (EncodedRow::End& end : encoded.ends()) {
        predictors = encodeMacroblock(settings, *row++, writer, predictors);
        end = {static_cast<std::uint32_t>(writer.bitsSince(m_buffer.get())), predictors};
    }
    finish(writer, encoded);
}

void RowEncoder::reencode(const RowSettings& settings, const MacroblockSamples* row,
                          EncodedRow& encoded) {
    BitWriter writer(m_buffer.get());
    DcPredictors predictors;
    m_transformed = nullptr;
    EncodedRow::End before{0, {}};  // The end of the previous macroblock in the old bits.
    const std::size_t columns = encoded.ends().size();
    for (std::size_t column = 0; column < columns;) {
        auto* end = &encoded.ends()[column];
        if (m_changed[column] != 0 || predictors != before.dc) {
            before = *end;
            predictors = encodeMacroblock(settings, row[column], writer, predictors);
            *end = {static_cast<std::uint32_t>(writer.bitsSince(m_buffer.get())), predictors};
            ++column;
            continue;
        }
        const std::uint32_t from = before.bit;
        const auto moved = static_cast<std::uint32_t>(writer.bitsSince(m_buffer.get())) - from;
        for (; column < columns && m_changed[column] == 0; ++column) {
            before = *end;
            end->bit += moved;
            ++end;
        }
        predictors = before.dc;
        settings.kernels.append(writer, encoded.bits(), from, before.bit - from);
    }
    finish(writer, encoded);
}

void RowEncoder::finish(BitWriter& writer, EncodedRow& encoded) {
    finishBits(writer);
    encoded.store(m_buffer.get());
}

}  // namespace speedhq
