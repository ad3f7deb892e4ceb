#include "capture/x11/interrupt.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace capture::x11 {

Interrupt::Interrupt() : m_event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

Interrupt::~Interrupt() {
    if (m_event >= 0) {
        close(m_event);
    }
}

void Interrupt::raise() const {
    // Fails only without a descriptor.
    (void)eventfd_write(m_event, 1);
}

void Interrupt::wait(int socket, std::chrono::milliseconds limit) const {
    // poll() skips negative descriptors.
    pollfd descriptors[] = {{m_event, POLLIN, 0}, {socket, POLLIN, 0}};
    if (::poll(descriptors, 2, static_cast<int>(limit.count())) > 0 &&
        descriptors[0].revents != 0) {
        eventfd_t ignored = 0;
        (void)eventfd_read(m_event, &ignored);
    }
}

}  // namespace capture::x11
