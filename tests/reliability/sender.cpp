// A source as the program makes one, numbered retry included, in a process of its own.
//
// usage: reliability_sender NAME     sends a small frame until it is killed

#include <chrono>
#include <cstdio>
#include <optional>
#include <thread>
#include <vector>

#include "sender/ndisource.h"
#include "support/videoframe.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        return 2;
    }
    NdiSourceCalls calls = NdiSourceCalls::real();
    calls.initializeMedia = [] { return std::optional<std::string>(); };
    NDIlib_send_instance_t instance = nullptr;
    createNdiSource(argv[1], instance, calls);
    if (instance == nullptr) {
        return 1;
    }
    std::puts("ready");
    std::fflush(stdout);
    std::vector<std::uint8_t> pixels(64 * 64 * 4, 100);
    const auto frame = tests::bgraFrame(64, 64, pixels.data(), 10);
    for (;;) {
        NDIlib_send_send_video_v2(instance, &frame);
    }
}
