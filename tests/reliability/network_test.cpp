// A source among receivers on other machines: good ones, one behind a slow line, one that stops
// reading, one that comes and goes.

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>

#include "reliability/hosts.h"
#include "reliability/sending.h"
#include "support/footprint.h"

namespace reliability {
namespace {

using namespace std::chrono_literals;
using tests::eventually;
using tests::Footprint;
using tests::runToEnd;

/// The send calls and all good receivers' frames in a period of time.
struct Phase {
    CallTimes calls;
    std::uint64_t frames = 0;
    std::uint64_t lost = 0;  ///< Beyond what the machine's own load explains.

    [[nodiscard]] double lostShare() const {
        return static_cast<double>(lost) / static_cast<double>(std::max<std::uint64_t>(1, frames));
    }
    [[nodiscard]] std::string describe() const {
        return fmt::format("{}; good receivers: {} received, {} lost", calls.describe(), frames,
                           lost);
    }
};

Reports both(Reports one, const Reports& other) {
    one.insert(one.end(), other.begin(), other.end());
    return one;
}

/// The long form takes five minutes, has the strict bounds, and wants the machine for itself.
TEST(Network, BadReceiversTouchNeitherTheSenderNorTheGoodOnes) {
    Wire wire;
    const Host first;
    const Host second;
    const Host far;
    wire.plug(first, 2);
    wire.plug(second, 3);
    // A line of 1 Mbit/s and 200 ms to `far`, where 10.8.0.1 is this machine.
    const tests::Process slowLine({RELIABILITY_SLOWLINK, far.pid(), "1000000", "200"});
    ASSERT_TRUE(slowLine.says("ready")) << slowLine.output();
    const Command up = {"ip", "link", "set", "slow", "up"};
    runToEnd({"ip", "addr", "add", "10.8.0.1/24", "dev", "slow"});
    runToEnd(up);
    far.run({"ip", "addr", "add", "10.8.0.2/24", "dev", "slow"});
    far.run(up);

    Sender sender("Load", 1920, 1080, kSanitized ? 5 : 30);
    ASSERT_NE(sender.instance(), nullptr);
    Crowd overIPv4(first, "10.7.0.1", {"watch:3"});
    Crowd overIPv6(second, "fd07::1", {"watch:2"});
    const auto good = [&] { return sumOf(both(overIPv4.soFar(), overIPv6.soFar()), "watch"); };
    const auto watch = [&](std::chrono::seconds time) {
        const Report before = good();
        const Footprint machine = Footprint::of();
        (void)sender.takeCallTimes();
        tests::sleepFor(time);
        const Report after = good();
        const std::uint64_t lost = after.lost - before.lost;
        const std::uint64_t excused = 5 * framesMissedWaiting(machine, Footprint::of());
        return Phase{sender.takeCallTimes(), after.frames - before.frames,
                     lost - std::min(lost, excused)};
    };
    ASSERT_TRUE(eventually([&] { return good().frames > 30; }));
    const Phase calm = watch(scaled(6s, 60s));

    const Footprint before = Footprint::of();
    Crowd bad(second, "10.7.0.1", {"stop:1", "return:1"});
    Crowd slow(far, "10.8.0.1", {"watch:1"});
    const auto disturbed = scaled(8s, 300s);
    const Phase loaded = watch(disturbed);
    EXPECT_TRUE(eventually([&] { return sumOf(slow.soFar(), "watch").frames > 0; }))
        << "even the slow line carries frames";
    EXPECT_TRUE(eventually([&] { return sumOf(bad.soFar(), "return").frames > 0; }));
    const Footprint after = Footprint::of();
    const Report returning = sumOf(bad.end(), "return");
    const Report overSlowLine = sumOf(slow.end(), "watch");
    fmt::print("undisturbed: {}\ndisturbed:   {}\nbefore: {}\nafter:  {}\n", calm.describe(),
               loaded.describe(), before.describe(), after.describe());
    fmt::print("slow line: {} frames, {} lost; returning: {} connections, {} frames\n",
               overSlowLine.frames, overSlowLine.lost, returning.connections, returning.frames);
    for (const Report& one : both(overIPv4.end(), overIPv6.end())) {
        EXPECT_EQ(one.connections, 1U);
        EXPECT_EQ(one.dropped, 0U);
        EXPECT_GT(one.frames, 0U);
    }
    EXPECT_EQ(overSlowLine.dropped, 0U);
    EXPECT_GT(returning.connections, static_cast<unsigned>(disturbed / 2s));
    if (!kSanitized) {
        // Waiting for a bad receiver would cost far more than another load of the machine does.
        const double usual = calm.calls.percentile(0.99);
        EXPECT_LE(loaded.calls.percentile(0.99), usual + scaled(2 + usual, 2.0));
        EXPECT_LE(loaded.lostShare(), scaled(0.02 + 2 * calm.lostShare(), 0.0));
        EXPECT_LE(after.residentKiB, before.residentKiB + 16 * 1024);
    }
    // One connection more than before for each of the three.
    EXPECT_LE(after.files, before.files + 4);
    EXPECT_EQ(after.threads, before.threads);
}

}  // namespace
}  // namespace reliability
