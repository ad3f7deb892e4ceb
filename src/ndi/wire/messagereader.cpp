#include "ndi/wire/messagereader.h"

#include "ndi/wire/scramble.h"

namespace ndi::wire {

void MessageReader::append(const std::uint8_t* bytes, std::size_t size) {
    if (m_begin > 0) {
        m_buffer.erase(m_buffer.begin(), m_buffer.begin() + static_cast<std::ptrdiff_t>(m_begin));
        m_begin = 0;
    }
    m_buffer.insert(m_buffer.end(), bytes, bytes + size);
}

MessageReader::Result MessageReader::next(Message& message) {
    if (m_error != nullptr) {
        return Result::Garbage;
    }
    if (held() < kHeaderSize) {
        return Result::More;
    }
    std::uint8_t* const start = m_buffer.data() + m_begin;
    Header& header = message.header;
    m_error = readHeader(start, m_limits, header);
    if (m_error != nullptr) {
        return Result::Garbage;
    }
    const std::size_t body = std::size_t{header.infoSize} + header.dataSize;
    if (held() - kHeaderSize < body) {
        return Result::More;
    }
    std::uint8_t* const info = start + kHeaderSize;
    message.readable = isReadable(header);
    if (message.readable) {
        const bool text = header.kind == static_cast<std::uint16_t>(Kind::Text);
        unscramble(info, text ? body : header.infoSize, static_cast<std::uint32_t>(body));
    }
    message.info = {info, header.infoSize};
    message.data = {info + header.infoSize, header.dataSize};
    m_begin += kHeaderSize + body;
    return Result::Ready;
}

void MessageReader::trim(std::size_t capacity) {
    if (held() == 0 && m_buffer.capacity() > capacity) {
        m_buffer = {};
        m_begin = 0;
    }
}

}  // namespace ndi::wire
