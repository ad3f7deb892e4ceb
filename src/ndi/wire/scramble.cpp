#include "ndi/wire/scramble.h"

#include <algorithm>
#include <array>

#include "ndi/wire/bytes.h"

namespace ndi::wire {
namespace {

constexpr std::size_t kWord = sizeof(std::uint64_t);

/// The generator's state depends on the plain text: the input when scrambling, else the output.
template <bool kPlainIsInput>
void run(std::uint8_t* bytes, std::size_t size, std::uint32_t seed) {
    const std::uint64_t start = (std::uint64_t{seed} << 32) + seed;
    std::uint64_t a = start ^ 0xb711674bd24f4b24U;
    std::uint64_t b = start ^ 0xb080d84f1fe3bf44U;
    for (std::size_t at = 0; at < size; at += kWord) {
        const std::size_t count = std::min(kWord, size - at);
        std::array<std::uint8_t, kWord> word{};
        std::copy_n(bytes + at, count, word.begin());
        const auto input = loadLittle<std::uint64_t>(word.data());

        std::uint64_t t = a ^ (a << 23);
        t = (((b >> 9) ^ t) >> 17) ^ t ^ b;
        const std::uint64_t output = input ^ (t + b);
        a = b;
        b = t ^ (kPlainIsInput ? input : output);

        storeLittle(output, word.data());
        std::copy_n(word.begin(), count, bytes + at);
    }
}

}  // namespace

void scramble(std::uint8_t* bytes, std::size_t size, std::uint32_t seed) {
    run<true>(bytes, size, seed);
}

void unscramble(std::uint8_t* bytes, std::size_t size, std::uint32_t seed) {
    run<false>(bytes, size, seed);
}

}  // namespace ndi::wire
