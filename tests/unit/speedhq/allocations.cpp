#include "unit/speedhq/allocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<int> allocations{0};

}  // namespace

void* operator new(std::size_t size) {
    ++allocations;
    if (void* const memory = std::malloc(size)) {
        return memory;
    }
    throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace testing_support {

int allocationsSoFar() {
    return allocations.load();
}

}  // namespace testing_support
