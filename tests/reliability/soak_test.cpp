// Hours of 1080p30 with everything that goes wrong on a network going wrong all the time, a little.
// RELIABILITY_SOAK_MINUTES says how long; without it there is no soak.

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>

#include "reliability/hosts.h"
#include "reliability/sending.h"
#include "support/footprint.h"

namespace reliability {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;
using tests::Footprint;
using tests::runToEnd;
using tests::sleepFor;

/// The least of what is held in a few seconds: connections come and go.
Footprint restingFootprint() {
    Footprint least = Footprint::of();
    for (int i = 0; i < 50; ++i) {
        sleepFor(200ms);
        const Footprint here = Footprint::of();
        least.residentKiB = std::min(least.residentKiB, here.residentKiB);
        least.threads = std::min(least.threads, here.threads);
        least.files = std::min(least.files, here.files);
    }
    return least;
}

TEST(Soak, HoldsNothingMoreAtTheEndThanAfterTheFirstMinute) {
    const char* const minutes = std::getenv("RELIABILITY_SOAK_MINUTES");
    if (minutes == nullptr) {
        GTEST_SKIP() << "RELIABILITY_SOAK_MINUTES is not set";
    }
    const auto end = steady_clock::now() + std::chrono::minutes(std::atoi(minutes));
    Wire wire;
    const Host first;
    const Host second;
    wire.plug(first, 2);
    wire.plug(second, 3);
    Sender sender("Soak", 1920, 1080, kSanitized ? 5 : 30);
    ASSERT_NE(sender.instance(), nullptr);
    Crowd good(first, "10.7.0.1", {"watch:2", "low:1"});
    Crowd others(second, "fd07::1",
                 {"watch:1", "stop:1", "return:1", "fickle:1", "pause:1000", "churn:2", "noise:1"});
    sleepFor(50s);
    const Footprint before = restingFootprint();
    Footprint after = before;
    for (int minute = 1; minute == 1 || steady_clock::now() < end; ++minute) {
        fmt::print("minute {}: {}; {}\n", minute, after.describe(),
                   sender.takeCallTimes().describe());
        std::fflush(stdout);
        // A cable is pulled for a second, and this machine's address comes and goes.
        runToEnd({"ip", "link", "set", "port3", "down"});
        runToEnd({"ip", "addr", "add", "10.7.0.77/24", "dev", "wire"});
        sleepFor(1s);
        runToEnd({"ip", "link", "set", "port3", "up"});
        runToEnd({"ip", "addr", "del", "10.7.0.77/24", "dev", "wire"});
        sleepFor(48s);
        after = restingFootprint();
    }
    fmt::print("end: {}; {} frames sent\n", after.describe(), sender.sent());
    const Reports received = good.end();
    for (const Reports& reports : {received, others.end()}) {
        for (const Report& one : reports) {
            fmt::print("  {}: {} frames, {} lost, {} connections, {} of them closed or failed\n",
                       one.role, one.frames, one.lost, one.connections, one.dropped);
        }
    }
    const Report watching = sumOf(received, "watch");
    EXPECT_EQ(watching.connections, 2U);
    EXPECT_EQ(watching.dropped, 0U);
    EXPECT_EQ(after.threads, before.threads);
    EXPECT_LE(after.files, before.files + 1) << "a connection more or less at that moment";
    if (!kSanitized) {
        EXPECT_LE(after.residentKiB, before.residentKiB + 8 * 1024);
    }
}

}  // namespace
}  // namespace reliability
