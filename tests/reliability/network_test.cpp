// A source among receivers on other machines: good ones, one behind a slow line, one that stops
// reading, one that comes and goes.

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <sstream>

#include "reliability/crowd.h"
#include "reliability/hosts.h"
#include "reliability/sending.h"
#include "support/logfile.h"

namespace reliability {
namespace {

using namespace std::chrono_literals;
using tests::runToEnd;
using tests::sleepFor;

/// A line of 1 Mbit/s and 200 ms to `host`, where 10.8.0.1 is this machine.
class SlowLine {
public:
    explicit SlowLine(const Host& host)
        : m_link({RELIABILITY_SLOWLINK, host.pid(), "1000000", "200"}) {
        EXPECT_TRUE(m_link.says("ready")) << m_link.output();
        const Command up = {"ip", "link", "set", "slow", "up"};
        runToEnd({"ip", "addr", "add", "10.8.0.1/24", "dev", "slow"});
        runToEnd(up);
        host.run({"ip", "addr", "add", "10.8.0.2/24", "dev", "slow"});
        host.run(up);
    }

private:
    Program m_link;
};

/// Five good receivers on two machines, over IPv4 and IPv6, and what they report.
class GoodReceivers {
public:
    GoodReceivers(const Host& first, const Host& second)
        : m_first(first, "10.7.0.1", {"watch:3"}), m_second(second, "fd07::1", {"watch:2"}) {}

    [[nodiscard]] std::vector<ViewerReport> soFar() {
        return both(m_first.soFar(), m_second.soFar());
    }
    [[nodiscard]] std::vector<ViewerReport> end() { return both(m_first.end(), m_second.end()); }

private:
    static std::vector<ViewerReport> both(std::vector<ViewerReport> one,
                                          const std::vector<ViewerReport>& other) {
        one.insert(one.end(), other.begin(), other.end());
        return one;
    }

    CrowdProgram m_first;
    CrowdProgram m_second;
};

/// A stretch of time: the calls, and what all good receivers together got.
struct Phase {
    CallTimes calls;
    std::uint64_t taken = 0;
    std::uint64_t lost = 0;

    void add(const Phase& more) {
        calls.add(more.calls);
        taken += more.taken;
        lost += more.lost;
    }
    [[nodiscard]] double lostShare() const {
        return static_cast<double>(lost) / static_cast<double>(std::max<std::uint64_t>(1, taken));
    }
    [[nodiscard]] std::string describe() const {
        return fmt::format("{}; good receivers: {} taken, {} lost", calls.describe(), taken, lost);
    }
};

Phase watch(Sender& sender, GoodReceivers& good, std::chrono::seconds time) {
    const ViewerReport before = sumOf(good.soFar(), Role::Watch);
    (void)sender.takeCallTimes();
    sleepFor(time);
    Phase phase;
    phase.calls = sender.takeCallTimes();
    const ViewerReport after = sumOf(good.soFar(), Role::Watch);
    phase.taken = after.pictures - before.pictures;
    phase.lost = after.lost - before.lost;
    return phase;
}

/// What the source says in the log about receivers that left.
void printAccounts(const std::string& log) {
    std::istringstream lines(log);
    for (std::string line; std::getline(lines, line);) {
        const auto account = line.find("it was sent");
        if (account != std::string::npos && line.find("CROWD (return)") == std::string::npos) {
            fmt::print("  {}\n", line.substr(line.find("CROWD")));
        }
    }
}

/// The long form takes five minutes, has the strict bounds, and wants the machine for itself.
TEST(Network, BadReceiversTouchNeitherTheSenderNorTheGoodOnes) {
    const auto quiet = scaled(4s, 30s);
    const auto disturbed = scaled(8s, 300s);
    const testsupport::LogFile log;
    Wire wire;
    const Host first;
    const Host second;
    const Host far;
    wire.plug(first, 2);
    wire.plug(second, 3);
    const SlowLine slowLine(far);

    Sender sender("Load", 1920, 1080, kSanitized ? 5 : 30);
    ASSERT_NE(sender.instance(), nullptr);
    GoodReceivers good(first, second);
    sleepFor(2s);
    Phase calm = watch(sender, good, quiet);

    const Footprint before = Footprint::now();
    CrowdProgram bad(second, "10.7.0.1", {"stop:1", "return:1"});
    CrowdProgram slow(far, "10.8.0.1", {"watch:1"});
    const Phase loaded = watch(sender, good, disturbed);
    const Footprint after = Footprint::now();
    const auto badReports = bad.end();
    const ViewerReport overSlowLine = sumOf(slow.end(), Role::Watch);
    calm.add(watch(sender, good, quiet));

    sender.stop();
    sleepFor(500ms);
    const auto reports = good.end();
    sleepFor(500ms);
    printAccounts(log.text());
    fmt::print("undisturbed: {}\ndisturbed:   {}\nbefore: {}\nafter:  {}\n", calm.describe(),
               loaded.describe(), before.describe(), after.describe());
    ASSERT_EQ(reports.size(), 5U);
    for (const ViewerReport& one : reports) {
        EXPECT_EQ(one.connections, 1U);
        EXPECT_EQ(one.dropped, 0U);
        EXPECT_GT(one.pictures, 0U);
    }
    const ViewerReport returning = sumOf(badReports, Role::Return);
    fmt::print("slow line: {} pictures, {} lost; returning: {} connections, {} pictures\n",
               overSlowLine.pictures, overSlowLine.lost, returning.connections, returning.pictures);
    EXPECT_GT(overSlowLine.pictures, 0U) << "even the slow line carries pictures";
    EXPECT_EQ(overSlowLine.dropped, 0U);
    EXPECT_GT(returning.connections, static_cast<unsigned>(disturbed / 2s));
    EXPECT_GT(returning.pictures, 0U);
    EXPECT_EQ(sumOf(badReports, Role::Stop).pictures, 0U);

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
