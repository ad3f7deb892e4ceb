// A source among receivers on other machines: good ones, one behind a slow line, one that stops
// reading, one that comes and goes.

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <cstdlib>
#include <map>
#include <sstream>

#include "reliability/hosts.h"
#include "reliability/sending.h"

namespace reliability {
namespace {

using namespace std::chrono_literals;
using tests::runToEnd;
using tests::sleepFor;

constexpr char kPort[] = "5961";  // the first one: the network is our own

/// The lines of a crowd's output, one map of figures for each receiver, under its role.
std::multimap<std::string, std::map<std::string, long>> readReports(const std::string& output) {
    std::multimap<std::string, std::map<std::string, long>> reports;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string role;
        words >> role;
        std::map<std::string, long> figures;
        for (std::string word; words >> word;) {
            const auto equals = word.find('=');
            figures[word.substr(0, equals)] = std::atol(word.c_str() + equals + 1);
        }
        reports.emplace(role, figures);
    }
    return reports;
}

/// Receivers on `host`. They are other machines' programs: what else runs on this one must not
/// hold them up.
std::unique_ptr<Program> crowd(const Host& host, const std::string& address, const Command& roles) {
    return std::make_unique<Program>(host.exec(
        Command{"nice", "-n", "-20", RELIABILITY_CROWD, address, kPort, "7200"} + roles));
}

std::multimap<std::string, std::map<std::string, long>> end(Program& program) {
    program.signal(SIGTERM);
    EXPECT_EQ(program.waitFor(10s).value_or(-1), 0) << program.output();
    return readReports(program.output());
}

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

void expectNothingLost(const std::multimap<std::string, std::map<std::string, long>>& reports,
                       const std::string& role, std::uint64_t sent, std::size_t expected) {
    EXPECT_EQ(reports.count(role), expected);
    for (auto [at, last] = reports.equal_range(role); at != last; ++at) {
        auto figures = at->second;
        fmt::print("  {}: {} pictures of {}, {} lost, {} connections\n", role, figures["pictures"],
                   sent, figures["lost"], figures["connections"]);
        EXPECT_EQ(figures["connections"], 1);
        EXPECT_EQ(figures["dropped"], 0);
        if (kSanitized) {
            EXPECT_GT(figures["pictures"], 0);
        } else {
            EXPECT_EQ(figures["lost"], 0);
            EXPECT_GE(figures["pictures"], static_cast<long>(sent) - 30) << "joined at once";
        }
    }
}

/// Short: the pictures of a few seconds. Long: five minutes, and the strict bound.
TEST(Network, BadReceiversTouchNeitherTheSenderNorTheGoodOnes) {
    const auto quiet = scaled(4s, 30s);
    const auto disturbed = scaled(8s, 300s);
    Wire wire;
    const Host first;
    const Host second;
    const Host far;
    wire.plug(first, 2);
    wire.plug(second, 3);
    const SlowLine line(far);

    Sender sender("Load", 1920, 1080, kSanitized ? 5 : 30);
    ASSERT_NE(sender.instance(), nullptr);
    const auto good = crowd(first, "10.7.0.1", {"watch:3"});
    const auto good6 = crowd(second, "fd07::1", {"watch:2"});
    sleepFor(2s);
    (void)sender.takeCallTimes();
    sleepFor(quiet);
    CallTimes undisturbed = sender.takeCallTimes();

    const Footprint before = Footprint::now();
    const auto bad = crowd(second, "10.7.0.1", {"stop:1", "return:1"});
    const auto slow = crowd(far, "10.8.0.1", {"watch:1"});
    sleepFor(disturbed);
    const CallTimes loaded = sender.takeCallTimes();
    const Footprint after = Footprint::now();
    const auto badReports = end(*bad);
    const auto slowReports = end(*slow);
    sleepFor(quiet);
    undisturbed.add(sender.takeCallTimes());

    const std::uint64_t sent = sender.sent();
    sender.stop();
    sleepFor(500ms);
    const auto goodReports = end(*good);
    const auto good6Reports = end(*good6);
    fmt::print("undisturbed: {}\ndisturbed:   {}\nbefore: {}\nafter:  {}\n", undisturbed.describe(),
               loaded.describe(), before.describe(), after.describe());
    expectNothingLost(goodReports, "watch", sent, 3);
    expectNothingLost(good6Reports, "watch", sent, 2);

    auto slowFigures = slowReports.find("watch")->second;
    fmt::print("  slow line: {} pictures, {} lost\n", slowFigures["pictures"], slowFigures["lost"]);
    EXPECT_GT(slowFigures["pictures"], 0) << "even the slow line carries pictures";
    EXPECT_EQ(slowFigures["dropped"], 0);
    EXPECT_GT(badReports.find("return")->second.at("connections"), disturbed / 2s);
    EXPECT_GT(badReports.find("return")->second.at("pictures"), 0);
    EXPECT_EQ(badReports.find("stop")->second.at("pictures"), 0);

    if (!kSanitized) {
        const double calm = undisturbed.percentile(0.99);
        // A few hundred calls on a busy machine have no 99th percentile to two milliseconds; who
        // waits for a receiver waits much longer than this.
        const double allowed = scaled(2 + calm, 2.0);
        EXPECT_LE(loaded.percentile(0.99), calm + allowed);
        EXPECT_LE(after.residentKiB, before.residentKiB + 16 * 1024);
    }
    // One connection more than before for each of the three.
    EXPECT_LE(after.files, before.files + 4);
    EXPECT_EQ(after.threads, before.threads);
}

}  // namespace
}  // namespace reliability
