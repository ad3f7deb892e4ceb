#include "support/allocations.h"

#include <atomic>
#include <cstdlib>
#include <memory>
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
/// From plain malloc() on every platform: what that returned is kept in front of the aligned
/// memory.
void* operator new(std::size_t size, std::align_val_t alignment) {
    ++everywhere;
    ++here;
    const auto unit = static_cast<std::size_t>(alignment);
    void* const whole = std::malloc(size + unit + sizeof(void*));
    if (whole == nullptr) {
        throw std::bad_alloc();
    }
    std::size_t space = size + unit;
    void* memory = static_cast<void**>(whole) + 1;
    std::align(unit, size, memory, space);
    static_cast<void**>(memory)[-1] = whole;
    return memory;
}
void operator delete(void* memory, std::align_val_t) noexcept {
    if (memory != nullptr) {
        std::free(static_cast<void**>(memory)[-1]);
    }
}
void operator delete(void* memory, std::size_t, std::align_val_t alignment) noexcept {
    operator delete(memory, alignment);
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
