#pragma once
// The resources that a process uses.

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace tests {

struct Footprint {
    long residentKiB = 0;
    long threads = 0;
    long files = 0;
    /// The total time its threads were runnable but waited for a CPU.
    double waitedMilliseconds = 0;

    [[nodiscard]] static Footprint of(pid_t process = ::getpid()) {
        const std::string folder = "/proc/" + std::to_string(process);
        const auto entriesOf = [&](const char* name) {
            return std::distance(std::filesystem::directory_iterator(folder + name), {});
        };
        Footprint footprint;
        footprint.threads = entriesOf("/task");
        footprint.files = entriesOf("/fd");
        for (const auto& thread : std::filesystem::directory_iterator(folder + "/task")) {
            double ran = 0;
            double waited = 0;
            std::ifstream(thread.path() / "schedstat") >> ran >> waited;
            footprint.waitedMilliseconds += waited / 1e6;
        }
        std::ifstream status(folder + "/status");
        for (std::string line; std::getline(status, line);) {
            if (line.rfind("VmRSS:", 0) == 0) {
                footprint.residentKiB = std::atol(line.c_str() + 6);
            }
        }
        return footprint;
    }

    [[nodiscard]] std::string describe() const {
        return std::to_string(residentKiB) + " KiB resident, " + std::to_string(threads) +
               " threads, " + std::to_string(files) + " descriptors";
    }
};

}  // namespace tests
