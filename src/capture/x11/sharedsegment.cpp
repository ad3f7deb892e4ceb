#include "capture/x11/sharedsegment.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <tuple>

namespace capture::x11 {
namespace {

using support::x11::Owned;

bool serverTakesDescriptors(support::x11::Connection& connection) {
    // Passing a descriptor to a server on another machine would end the connection.
    if (!connection.isLocal() || connection.extension(xcb_shm_id) == nullptr) {
        return false;
    }
    auto* const c = connection.get();
    const Owned<xcb_shm_query_version_reply_t> version(
        xcb_shm_query_version_reply(c, xcb_shm_query_version(c), nullptr));
    return version && std::tie(version->major_version, version->minor_version) >=
                          std::make_tuple(std::uint16_t{1}, std::uint16_t{2});
}

}  // namespace

std::unique_ptr<SharedSegment> SharedSegment::create(support::x11::Connection& connection,
                                                     std::size_t size) {
    if (!serverTakesDescriptors(connection)) {
        return nullptr;
    }
    const int file = memfd_create("screen-pixels", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    if (file < 0) {
        return nullptr;
    }
    void* memory = MAP_FAILED;
    // Without fchmod every user could open it through /proc. Without the seals the server could
    // shrink it, and reading it would then end this process.
    if (fchmod(file, S_IRUSR | S_IWUSR) == 0 && ftruncate(file, static_cast<off_t>(size)) == 0 &&
        fcntl(file, F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_SEAL) == 0) {
        memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    }
    if (memory == MAP_FAILED) {
        close(file);
        return nullptr;
    }
    std::unique_ptr<SharedSegment> segment(new SharedSegment(connection, memory, size));
    // XCB closes the file after sending it.
    const auto attached =
        xcb_shm_attach_fd_checked(connection.get(), segment->m_id, file, /*read_only=*/0);
    const Owned<xcb_generic_error_t> error(xcb_request_check(connection.get(), attached));
    return error || !connection.alive() ? nullptr : std::move(segment);
}

SharedSegment::SharedSegment(support::x11::Connection& connection, void* memory, std::size_t size)
    : m_connection(connection),
      m_memory(memory),
      m_size(size),
      m_id(xcb_generate_id(connection.get())) {}

SharedSegment::~SharedSegment() {
    xcb_shm_detach(m_connection.get(), m_id);
    munmap(m_memory, m_size);
}

}  // namespace capture::x11
