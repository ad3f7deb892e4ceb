// A cable to another network namespace, with a rate and a delay on the way there and none on the
// way back: two TUN devices, both called "slow", and this program between them. What does not fit
// into its queue is dropped, as a router would.
//
// usage: reliability_slowlink PID BITS-PER-SECOND DELAY-MS     PID: a process in the far namespace
// Says "ready" when both devices are there; ends when it is killed.

#include <fcntl.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <poll.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

/// What waits for the wire at most.
constexpr std::chrono::milliseconds kQueue{400};

[[noreturn]] void fail(const char* what) {
    std::perror(what);
    std::exit(1);
}

int openTun() {
    const int device = ::open("/dev/net/tun", O_RDWR | O_NONBLOCK);
    ifreq request{};
    request.ifr_flags = IFF_TUN | IFF_NO_PI;
    std::strcpy(request.ifr_name, "slow");
    if (device < 0 || ::ioctl(device, TUNSETIFF, &request) != 0) {
        fail("making a TUN device");
    }
    return device;
}

struct Packet {
    Clock::time_point due;
    std::vector<char> bytes;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        return 2;
    }
    const double bitsPerSecond = std::atof(argv[2]);
    const std::chrono::milliseconds delay(std::atoi(argv[3]));
    const int near = openTun();
    const int other = ::open(("/proc/" + std::string(argv[1]) + "/ns/net").c_str(), O_RDONLY);
    if (other < 0 || ::setns(other, CLONE_NEWNET) != 0) {
        fail("entering the far namespace");
    }
    const int far = openTun();
    std::puts("ready");
    std::fflush(stdout);

    std::deque<Packet> queue;
    auto wireFree = Clock::now();
    std::array<char, 65536> bytes;
    for (;;) {
        std::array<pollfd, 2> ready = {pollfd{near, POLLIN, 0}, pollfd{far, POLLIN, 0}};
        const auto wait =
            queue.empty()
                ? std::chrono::milliseconds(1000)
                : std::chrono::ceil<std::chrono::milliseconds>(queue.front().due - Clock::now());
        ::poll(ready.data(), ready.size(), static_cast<int>(std::max<long>(0, wait.count())));
        const auto now = Clock::now();
        for (; !queue.empty() && queue.front().due <= now; queue.pop_front()) {
            (void)!::write(far, queue.front().bytes.data(), queue.front().bytes.size());
        }
        ssize_t size = 0;
        while ((size = ::read(far, bytes.data(), bytes.size())) > 0) {
            (void)!::write(near, bytes.data(), static_cast<std::size_t>(size));
        }
        while ((size = ::read(near, bytes.data(), bytes.size())) > 0) {
            wireFree = std::max(wireFree, now);
            if (wireFree - now > kQueue) {
                continue;
            }
            wireFree += std::chrono::nanoseconds(
                static_cast<long>(static_cast<double>(size) * 8e9 / bitsPerSecond));
            queue.push_back({wireFree + delay, {bytes.data(), bytes.data() + size}});
        }
    }
}
