#pragma once
// Memory shared between this process and the X server.

#include <xcb/shm.h>

#include <cstddef>
#include <cstdint>
#include <memory>

#include "support/x11/connection.h"

namespace capture::x11 {

/// A segment that the server writes pixels into: an anonymous file that only this user may open.
/// Must not outlive its connection.
class SharedSegment {
public:
    /// Null when memory can't be shared: the server runs on another machine or lacks MIT-SHM 1.2.
    /// Makes round trips.
    [[nodiscard]] static std::unique_ptr<SharedSegment> create(support::x11::Connection& connection,
                                                               std::size_t size);
    ~SharedSegment();
    SharedSegment(const SharedSegment&) = delete;
    SharedSegment& operator=(const SharedSegment&) = delete;

    [[nodiscard]] xcb_shm_seg_t id() const { return m_id; }
    [[nodiscard]] std::uint8_t* data() const { return static_cast<std::uint8_t*>(m_memory); }
    [[nodiscard]] std::size_t size() const { return m_size; }

private:
    SharedSegment(support::x11::Connection& connection, void* memory, std::size_t size);

    support::x11::Connection& m_connection;
    void* m_memory;
    std::size_t m_size;
    xcb_shm_seg_t m_id;
};

}  // namespace capture::x11
