// A source among receivers on other machines: good ones, one behind a slow line, one that stops
// reading, one that comes and goes.

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <sstream>

#include "reliability/hosts.h"
#include "reliability/sending.h"
#include "support/footprint.h"
#include "support/logcapture.h"

namespace reliability {
namespace {

using namespace std::chrono_literals;
using tests::eventually;
using tests::Footprint;
using tests::runToEnd;
using tests::sleepFor;

/// Five good receivers on two machines, over IPv4 and IPv6.
class GoodReceivers {
public:
    GoodReceivers(const Host& first, const Host& second)
        : m_first(first, "10.7.0.1", {"watch:3"}), m_second(second, "fd07::1", {"watch:2"}) {}

    [[nodiscard]] Reports soFar() { return both(m_first.soFar(), m_second.soFar()); }
    [[nodiscard]] Reports end() { return both(m_first.end(), m_second.end()); }

private:
    static Reports both(Reports one, const Reports& other) {
        one.insert(one.end(), other.begin(), other.end());
        return one;
    }

    Crowd m_first;
    Crowd m_second;
};

/// A stretch of time: the calls, and what all good receivers together got.
struct Phase {
    CallTimes calls;
    Report good;
    std::uint64_t excused = 0;  ///< Of those that were lost.

    void add(const Phase& more) {
        calls.add(more.calls);
        good.frames += more.good.frames;
        good.lost += more.good.lost;
        excused += more.excused;
    }
    [[nodiscard]] double lostShare() const {
        const auto taken = std::max<std::uint64_t>(1, good.frames);
        return static_cast<double>(good.lost - std::min(good.lost, excused)) /
               static_cast<double>(taken);
    }
    [[nodiscard]] std::string describe() const {
        return fmt::format("{}; good receivers: {} taken, {} lost", calls.describe(), good.frames,
                           good.lost);
    }
};

Phase watch(Sender& sender, GoodReceivers& good, std::chrono::seconds time) {
    const Report before = sumOf(good.soFar(), "watch");
    const Footprint machineBefore = Footprint::of();
    (void)sender.takeCallTimes();
    sleepFor(time);
    Phase phase{sender.takeCallTimes(), sumOf(good.soFar(), "watch"), 0};
    phase.good.frames -= before.frames;
    phase.good.lost -= before.lost;
    phase.excused = 5 * framesMissedWaiting(machineBefore, Footprint::of());
    return phase;
}

/// What the source says in the log about receivers that left.
void printAccounts(const std::string& log) {
    std::istringstream lines(log);
    for (std::string line; std::getline(lines, line);) {
        if (line.find("dropped: ") != std::string::npos &&
            line.find("CROWD (return)") == std::string::npos) {
            fmt::print("  {}\n", line);
        }
    }
}

/// The long form takes five minutes, has the strict bounds, and wants the machine for itself.
TEST(Network, BadReceiversTouchNeitherTheSenderNorTheGoodOnes) {
    const tests::LogCapture log;
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
    GoodReceivers good(first, second);
    ASSERT_TRUE(eventually([&] { return sumOf(good.soFar(), "watch").frames > 30; }));
    const auto quiet = scaled(4s, 30s);
    Phase calm = watch(sender, good, quiet);

    const Footprint before = Footprint::of();
    Crowd bad(second, "10.7.0.1", {"stop:1", "return:1"});
    Crowd slow(far, "10.8.0.1", {"watch:1"});
    const auto disturbed = scaled(8s, 300s);
    const Phase loaded = watch(sender, good, disturbed);
    EXPECT_TRUE(eventually([&] { return sumOf(slow.soFar(), "watch").frames > 0; }))
        << "even the slow line carries frames";
    EXPECT_TRUE(eventually([&] { return sumOf(bad.soFar(), "return").frames > 0; }));
    const Footprint after = Footprint::of();
    const Report returning = sumOf(bad.end(), "return");
    const Report overSlowLine = sumOf(slow.end(), "watch");
    calm.add(watch(sender, good, quiet));
    sender.stop();
    const Reports reports = good.end();
    EXPECT_TRUE(log.says("receivers now: 0"));
    printAccounts(log.text());
    fmt::print("undisturbed: {}\ndisturbed:   {}\nbefore: {}\nafter:  {}\n", calm.describe(),
               loaded.describe(), before.describe(), after.describe());
    fmt::print("slow line: {} frames, {} lost; returning: {} connections, {} frames\n",
               overSlowLine.frames, overSlowLine.lost, returning.connections, returning.frames);
    ASSERT_EQ(reports.size(), 5U);
    for (const Report& one : reports) {
        EXPECT_EQ(one.connections, 1U);
        EXPECT_EQ(one.dropped, 0U);
        EXPECT_GT(one.frames, 0U);
    }
    EXPECT_EQ(overSlowLine.dropped, 0U);
    EXPECT_GT(returning.connections, static_cast<unsigned>(disturbed / 2s));
    if (!kSanitized) {
        // Whoever waits for a bad receiver waits much longer, and loses much more, than what a
        // machine that is busy with something else adds.
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
