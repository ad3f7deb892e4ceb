// The sender without a window: what receivers get, its commands, and its life under a service
// manager.

#include <sys/stat.h>

#include <csignal>
#include <fstream>

#include "receiving.h"
#include "support/notifysocket.h"
#include "support/virtualdisplay.h"

namespace e2e {
namespace {

class Ndisend : public Receiving {
protected:
    Ndisend() { qputenv("XDG_DATA_HOME", m_folder.path().toLocal8Bit()); }

    [[nodiscard]] std::unique_ptr<tests::Process> start(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), TARSIN_NDISEND);
        return std::make_unique<tests::Process>(arguments);
    }
    [[nodiscard]] std::string log() const {
        std::ifstream file(path("Halvark/TarsinNDI/log/TarsinNDI"));
        return {std::istreambuf_iterator<char>(file), {}};
    }
    [[nodiscard]] static int count(const std::string& text, const std::string& part) {
        return QString::fromStdString(text).count(QString::fromStdString(part));
    }
};

TEST_F(Ndisend, SendsARegionMovesItWithoutARestartAndSaysGoodbye) {
    const std::string commands = path("commands");
    ASSERT_EQ(::mkfifo(commands.c_str(), 0600), 0);
    tests::Process sender({"sh", "-c",
                           "exec " TARSIN_NDISEND
                           " --name E2E-console --region 320x128+64+500 --control --json < " +
                               commands});
    std::ofstream input(commands);
    const auto explain = [&] { return sender.output() + log(); };
    ASSERT_TRUE(sender.says("\"event\":\"started\"")) << explain();
    expectFrame("E2E-console", {64, 500, 320, 128}, explain);
    input << "region 320x128+80+516\nregion 320x128+300+300\nregion 9000x1+0+0\n" << std::flush;
    ASSERT_TRUE(sender.says("\"ok\":false")) << explain();
    expectFrame("E2E-console", {300, 300, 320, 128}, explain);
    EXPECT_EQ(count(log(), "initParmeter x "), 1) << "the capture was restarted";

    sender.signal(SIGTERM);
    EXPECT_EQ(sender.waitFor(20s), 0) << explain();
    EXPECT_TRUE(sender.says("\"event\":\"ended\""));
    EXPECT_TRUE(QString::fromStdString(log()).endsWith("# \n //main:stopCallback()#21.\n"))
        << log();
    expectListed("E2E-console", false);
}

TEST_F(Ndisend, FollowsTheModeOfItsScreenAndWaitsForOneThatIsGone) {
    const auto display = tests::VirtualDisplay::xorg();
    const tests::DisplayVariable variable(display.name());
    const auto set = [&](std::vector<std::string> words) {
        words.insert(words.begin(), {"xrandr", "--output", "DUMMY1"});
        display.run(words);
    };
    display.run({"xrandr", "--addmode", "DUMMY1", "800x600"});
    display.run({"xrandr", "--addmode", "DUMMY1", "640x480"});
    set({"--mode", "800x600", "--pos", "1024x0"});
    const auto whole = start({"--screen", "DUMMY1", "--json", "--name", "E2E-whole"});
    const auto part = start({"--screen", "DUMMY1", "--json", "--name", "E2E-part", "--region",
                             "500x400+1224+100", "--grab"});
    const auto expectSent = [&](const char* all, const char* region, const QSize& size) {
        EXPECT_TRUE(whole->says(all)) << whole->output() << log();
        EXPECT_TRUE(part->says(region)) << part->output() << log();
        const std::string file = path("received.png");
        EXPECT_TRUE(tests::eventually(
            [&] {
                const auto monitor =
                    startMonitor({"E2E-whole", "--wait", "20", "--seconds", "1", "--save", file},
                                 path("monitor.out"));
                (void)monitor->waitFor(60s);
                return QImage(QString::fromStdString(file)).size() == size;
            },
            60s))
            << log();
    };
    expectSent("800x600+1024+0", "500x400+1224+100", {800, 600});
    set({"--mode", "640x480"});
    expectSent("640x480+1024+0", "440x380+1224+100", {640, 480});
    set({"--off"});
    EXPECT_TRUE(whole->says("is gone, switched off")) << whole->output() << log();
    EXPECT_TRUE(part->says("is gone, switched off")) << part->output() << log();
    set({"--mode", "800x600", "--pos", "0x768"});
    expectSent("800x600+0+768", "500x400+200+868", {800, 600});
}

TEST_F(Ndisend, RefusesANameThatIsTakenAndLeavesTheOtherSourceAlone) {
    const auto first = start({"--name", "E2E-taken", "--grab"});
    expectFrame("E2E-taken", m_desktop.rect(), [&] { return first->output() + log(); });
    const auto second = start({"--name", "E2E-taken"});
    EXPECT_EQ(second->waitFor(20s), 1);
    EXPECT_EQ(count(second->output(), "\n"), 1) << second->output();
    EXPECT_TRUE(second->says("(E2E-taken)\" can be created: another source")) << second->output();
    expectListed("E2E-taken", true);
    expectListed("E2E-taken1", false);
}

TEST_F(Ndisend, IsBackUnderItsNameAfterItWasKilled) {
    const tests::NotifySocket manager(path("notify"), 1500ms);
    const std::vector<std::string> command = {"--name", "E2E-service"};
    auto service = start(command);
    ASSERT_TRUE(manager.hears("READY=1")) << service->output();
    EXPECT_TRUE(manager.hears("WATCHDOG=1") && manager.hears("WATCHDOG=1")) << service->output();
    service->signal(SIGKILL);
    (void)service->waitFor(20s);
    service = start(command);
    ASSERT_TRUE(manager.hears("READY=1")) << service->output() << log();
    expectFrame("E2E-service", m_desktop.rect(), [&] { return service->output() + log(); });
    service->signal(SIGINT);
    EXPECT_TRUE(manager.hears("STOPPING=1"));
    EXPECT_EQ(service->waitFor(20s), 0);
}

}  // namespace
}  // namespace e2e
