// Receivers in a process of their own, for another network namespace.
//
// usage: reliability_crowd ADDRESS PORT SECONDS [pause:MS] ROLE:COUNT...
// The pause is that of the roles behind it.
// Ends after that time, or at SIGTERM, with one line for each receiver, and "." behind the last:
//     ROLE pictures=N lost=N connections=N dropped=N
// At SIGUSR1 it says so, too, and goes on.

#include <fmt/format.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <string>

#include "reliability/crowd.h"

namespace {
std::atomic<bool> g_end{false};
std::atomic<bool> g_report{false};

void print(const reliability::Crowd& crowd) {
    for (const auto& report : crowd.reports()) {
        fmt::print("{} pictures={} lost={} connections={} dropped={}\n", nameOf(report.role),
                   report.pictures, report.lost, report.connections, report.dropped);
    }
    fmt::print(".\n");
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
    using namespace reliability;
    if (argc < 5) {
        fmt::print(stderr, "usage: reliability_crowd ADDRESS PORT SECONDS ROLE:COUNT...\n");
        return 2;
    }
    std::signal(SIGTERM, [](int) { g_end = true; });
    std::signal(SIGUSR1, [](int) { g_report = true; });
    Crowd crowd({asio::ip::make_address(argv[1]),
                 static_cast<std::uint16_t>(std::strtoul(argv[2], nullptr, 10))});
    for (int i = 4; i < argc; ++i) {
        const std::string word = argv[i];
        const auto colon = word.find(':');
        if (word.rfind("pause:", 0) == 0) {
            crowd.setPause(std::chrono::milliseconds(std::atoi(word.c_str() + colon + 1)));
            continue;
        }
        const auto role = roleCalled(word.substr(0, colon));
        if (!role || colon == std::string::npos) {
            fmt::print(stderr, "reliability_crowd: {} is no ROLE:COUNT\n", word);
            return 2;
        }
        crowd.add(*role, std::atoi(word.c_str() + colon + 1));
    }
    using std::chrono::steady_clock;
    const auto end = steady_clock::now() + std::chrono::seconds(std::atoi(argv[3]));
    while (!g_end && steady_clock::now() < end) {
        crowd.run(std::chrono::milliseconds(100));
        if (g_report.exchange(false)) {
            print(crowd);
        }
    }
    print(crowd);
    return 0;
}
