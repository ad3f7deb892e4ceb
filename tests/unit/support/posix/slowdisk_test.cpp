// The log on a disk that hangs.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>
#include <vector>

#include "support/hv/sharedrotatingsink.h"
#include "unit/support/datahome.h"

namespace {

/// A pipe that is full and not read stands for a disk that hangs.
TEST(Log, ASlowDiskDoesNotHoldUpThreadsThatLog) {
    const DataHome home;
    const auto path = std::filesystem::u8path(home.path("log.txt").toStdString());
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    const int reader = ::open(path.c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_GE(reader, 0);
    std::vector<char> bytes(1 << 16);
    {
        HV::SharedRotatingSink sink(path, 1 << 30, 0);
        auto talk = std::async(std::launch::async, [&] {
            for (int i = 0; i < 300; ++i) {
                sink.log(spdlog::details::log_msg("", spdlog::level::info, std::string(1000, 'x')));
            }
        });
        EXPECT_EQ(talk.wait_for(std::chrono::seconds(10)), std::future_status::ready);
        std::atomic<bool> done{false};
        std::thread drain([&] {
            while (!done) {
                pollfd wait{reader, POLLIN, 0};
                ::poll(&wait, 1, 10);
                (void)!::read(reader, bytes.data(), bytes.size());
            }
        });
        talk.wait();
        sink.flush();
        done = true;
        drain.join();
    }
    ::close(reader);
}

}  // namespace
