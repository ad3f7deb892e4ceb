#pragma once
// Cuts what arrives on a connection into messages.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "ndi/wire/bytes.h"
#include "ndi/wire/message.h"

namespace ndi::wire {

/// One message, its scrambled parts made plain. Points into the reader.
struct Message {
    Header header;
    bool readable = false;  ///< False: of a later protocol version, its parts are still scrambled.
    ByteView info;
    ByteView data;
};

/// Feed it with append(), then call next() until it returns something else than Ready. Memory
/// grows with the bytes that really arrived, never with a size that a header only claims. Not
/// thread-safe.
class MessageReader {
public:
    enum class Result {
        Ready,    ///< A message; valid until the next call of append(), next() or trim().
        More,     ///< Not complete yet.
        Garbage,  ///< Not our protocol; error() says why. Final: close the connection.
    };

    explicit MessageReader(const Limits& limits) : m_limits(limits) {}

    void append(const std::uint8_t* bytes, std::size_t size);
    [[nodiscard]] Result next(Message& message);
    [[nodiscard]] const char* error() const { return m_error; }

    /// Gives memory back when nothing is held and more than `capacity` bytes are kept for later.
    void trim(std::size_t capacity);

private:
    [[nodiscard]] std::size_t held() const { return m_buffer.size() - m_begin; }

    Limits m_limits;
    std::vector<std::uint8_t> m_buffer;
    std::size_t m_begin = 0;  ///< Where the first message that was not handed out begins.
    const char* m_error = nullptr;
};

}  // namespace ndi::wire
