#include "support/allocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {
std::atomic<int> everywhere{0};
thread_local int here = 0;
}  // namespace

void* operator new(std::size_t size) {
    ++everywhere;
    ++here;
    if (void* const memory = std::malloc(size)) {
        return memory;
    }
    throw std::bad_alloc();
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    ++everywhere;
    ++here;
    const auto unit = static_cast<std::size_t>(alignment);
    if (void* const memory = std::aligned_alloc(unit, (size + unit - 1) / unit * unit)) {
        return memory;
    }
    throw std::bad_alloc();
}
void operator delete(void* memory, std::align_val_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

int tests::allocations() {
    return everywhere;
}
int tests::allocationsHere() {
    return here;
}
