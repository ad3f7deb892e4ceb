#pragma once
// Memory that this process and the X server both see.

#include <xcb/shm.h>

#include <cstddef>
#include <cstdint>
#include <memory>

#include "support/x11/connection.h"

namespace capture::x11 {

/// A segment the server can write images into. It is an anonymous file without a name that
/// anybody could open, and readable by this user only. Lives no longer than its connection.
class SharedSegment {
public:
    /// Null when the server can't share memory with us (it runs elsewhere, or lacks MIT-SHM 1.2).
    /// Makes round trips.
    [[nodiscard]] static std::unique_ptr<SharedSegment> create(support::x11::Connection& connection,
                                                               std::size_t size);
    ~SharedSegment();
    SharedSegment(const SharedSegment&) = delete;
    SharedSegment& operator=(const SharedSegment&) = delete;

    [[nodiscard]] xcb_shm_seg_t id() const { return m_id; }
    [[nodiscard]] const std::uint8_t* data() const { return static_cast<std::uint8_t*>(m_memory); }
    [[nodiscard]] std::size_t size() const { return m_size; }

private:
    SharedSegment(support::x11::Connection& connection, void* memory, std::size_t size);

    support::x11::Connection& m_connection;
    void* m_memory;
    std::size_t m_size;
    xcb_shm_seg_t m_id;
};

}  // namespace capture::x11
