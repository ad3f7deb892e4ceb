#pragma once
// Little-endian numbers in byte buffers.

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace ndi::wire {

/// A range of bytes owned elsewhere.
struct ByteView {
    const std::uint8_t* data = nullptr;
    std::size_t size = 0;
};

template <typename Integer>
[[nodiscard]] Integer loadLittle(const std::uint8_t* bytes) {
    std::make_unsigned_t<Integer> value = 0;
    for (std::size_t i = sizeof(Integer); i-- > 0;) {
        value = static_cast<std::make_unsigned_t<Integer>>((std::uint64_t{value} << 8) | bytes[i]);
    }
    return static_cast<Integer>(value);
}

template <typename Integer>
void storeLittle(Integer number, std::uint8_t* bytes) {
    auto value = static_cast<std::uint64_t>(number);
    for (std::size_t i = 0; i < sizeof(Integer); ++i, value >>= 8) {
        bytes[i] = static_cast<std::uint8_t>(value);
    }
}

}  // namespace ndi::wire
