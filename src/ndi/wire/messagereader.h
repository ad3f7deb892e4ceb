#pragma once
// Splits the bytes of a connection into messages.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "ndi/wire/bytes.h"
#include "ndi/wire/message.h"

namespace ndi::wire {

/// One message, unscrambled. Points into the reader.
struct Message {
    Header header;
    bool readable = false;  ///< False: a later protocol version, its parts are still scrambled.
    ByteView info;
    ByteView data;
};

/// Call append(), then next() until it returns something other than Ready. Memory grows with the
/// bytes that arrived, never with a size that a header states. Not thread-safe.
class MessageReader {
public:
    enum class Result {
        Ready,    ///< A message; valid until the next call of append(), next() or trim().
        More,     ///< Not complete yet.
        Garbage,  ///< Not this protocol; error() says why. Final: close the connection.
    };

    explicit MessageReader(const Limits& limits) : m_limits(limits) {}

    void append(const std::uint8_t* bytes, std::size_t size);
    [[nodiscard]] Result next(Message& message);
    [[nodiscard]] const char* error() const { return m_error; }

    /// Frees the buffer when it is empty and larger than `capacity` bytes.
    void trim(std::size_t capacity);

private:
    [[nodiscard]] std::size_t held() const { return m_buffer.size() - m_begin; }

    Limits m_limits;
    std::vector<std::uint8_t> m_buffer;
    std::size_t m_begin = 0;  ///< Start of the first message that next() has not returned.
    const char* m_error = nullptr;
};

}  // namespace ndi::wire
