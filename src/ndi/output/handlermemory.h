#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <new>

namespace ndi {

/// Memory for one asio handler at a time, so that handing something to the I/O thread allocates
/// nothing. A second handler at the same time gets memory from the heap. Any thread.
class HandlerMemory {
public:
    HandlerMemory() = default;
    HandlerMemory(const HandlerMemory&) = delete;
    HandlerMemory& operator=(const HandlerMemory&) = delete;

    void* allocate(std::size_t size) {
        if (size <= m_block.size() && !m_used.exchange(true, std::memory_order_acquire)) {
            return m_block.data();
        }
        return ::operator new(size);
    }

    void deallocate(void* memory) {
        if (memory == m_block.data()) {
            m_used.store(false, std::memory_order_release);
        } else {
            ::operator delete(memory);
        }
    }

private:
    alignas(std::max_align_t) std::array<std::byte, 256> m_block{};
    std::atomic<bool> m_used{false};
};

/// The allocator that asio asks a handler for.
template <typename T>
class HandlerAllocator {
public:
    using value_type = T;

    explicit HandlerAllocator(HandlerMemory& memory) : m_memory(&memory) {}
    template <typename U>
    HandlerAllocator(const HandlerAllocator<U>& other) : m_memory(other.memory()) {}

    T* allocate(std::size_t count) {
        return static_cast<T*>(m_memory->allocate(count * sizeof(T)));
    }
    void deallocate(T* memory, std::size_t /*count*/) { m_memory->deallocate(memory); }

    [[nodiscard]] HandlerMemory* memory() const { return m_memory; }
    template <typename U>
    bool operator==(const HandlerAllocator<U>& other) const {
        return m_memory == other.memory();
    }
    template <typename U>
    bool operator!=(const HandlerAllocator<U>& other) const {
        return !(*this == other);
    }

private:
    HandlerMemory* m_memory;
};

}  // namespace ndi
