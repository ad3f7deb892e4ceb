// ndisend's command line, its plan, and what it makes of commands, with senders that record calls.

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "cli/publisher.h"
#include "cli/report.h"
#include "gui/fakecollaborators.h"

namespace {

using namespace cli;
using testing::HasSubstr;
using tests::FakeCollaborators;

FakeCollaborators twoScreens() {
    return FakeCollaborators({{-1280, 0, 1280, 720}, {0, 0, 1920, 1080}});
}

/// "SCREEN REGION RATE NAME", or the exit code and what is wrong.
std::string planOf(const std::vector<std::string>& arguments) {
    auto fakes = twoScreens();
    const auto list = session::listScreens(fakes.collaborators());
    const auto parsed = parseOptions(arguments);
    if (const auto* error = std::get_if<UsageError>(&parsed)) {
        return "2 " + error->message;
    }
    const auto& options = std::get<Options>(parsed);
    const auto config = readConfig(options.configFile);
    if (const auto* failure = std::get_if<Failure>(&config)) {
        return std::to_string(failure->code) + " " + failure->message;
    }
    const auto plan = makePlan(options, std::get<Config>(config), list);
    if (const auto* failure = std::get_if<Failure>(&plan)) {
        return std::to_string(failure->code) + " " + failure->message;
    }
    const auto& target = std::get<Plan>(plan).target;
    return std::to_string(target.screenIndex) + " " + geometry(target.region) + " " +
           std::to_string(target.frameRate) + " " + target.senderName;
}

TEST(Plan, TakesScreenRegionRateAndNameFromOptionsThenFromTheFile) {
    const std::string file = testing::TempDir() + "cli-test.ini";
    std::ofstream(file) << "[SystemSet]\nname=Stored\nscreenIndex=1\nframeRate=50\n";
    const std::pair<std::vector<std::string>, std::string> kCases[] = {
        {{"--name", "A"}, "0 1280x720+-1280+0 30 A"},
        {{"--name", "A", "--screen", "out-1", "--fps", "60"}, "1 1920x1080+0+0 60 A"},
        {{"--name", "A", "--screen", "0", "--region", "9x720+-1280+0"}, "0 9x720+-1280+0 30 A"},
        {{"--config", file}, "1 1920x1080+0+0 50 Stored"},
        {{"--config", file, "--name", "B", "--screen", "OUT-0"}, "0 1280x720+-1280+0 50 B"},
    };
    for (const auto& [arguments, plan] : kCases) {
        EXPECT_EQ(planOf(arguments), plan);
    }
    std::filesystem::remove(file);
}

TEST(Plan, SaysWhatIsWrongAndWhatIsPossible) {
    const std::string file = testing::TempDir() + "cli-test.txt";
    std::ofstream(file) << "hello\n";
    const std::pair<std::vector<std::string>, std::string> kCases[] = {
        {{"word"}, "2 unexpected word \"word\""},
        {{"--fps", "0"}, "2 --fps: expected a whole number from 1 to 120, not \"0\""},
        {{"--fps", "1000"}, "from 1 to 120"},
        {{"--fps", "29.97"}, "from 1 to 120"},
        {{"--region", "100x100"}, "2 --region: expected WIDTHxHEIGHT+X+Y"},
        {{"--region", "100x-1+0+0"}, "expected WIDTHxHEIGHT+X+Y"},
        {{"--region", "99999999999x1+0+0"}, "expected WIDTHxHEIGHT+X+Y"},
        {{"--region", "1280x720+0+0"},
         "1 the region 1280x720+0+0 is not possible; screen 0 has "
         "1280x720+-1280+0, and the least size is 9x9"},
        {{"--region", "8x9+-1280+0"}, "the least size is 9x9"},
        {{"--screen", "2"}, "1 no screen \"2\"; there is 0 (OUT-0, 1280x720 at -1280,0), 1 (OUT-1"},
        {{"--screen", ""}, "no screen \"\""},
        {{"--name", " "}, "2 --name: must not be empty"},
        {{"--name", "a\nb"}, "2 --name: expected UTF-8"},
        {{"--name", std::string(64, 'x')}, "has 64 bytes"},
        {{"--allow", "10.1"}, "2 --allow: expected an address such as 10.0.0.7"},
        {{"--interface", "eth99"}, "1 no network interface \"eth99\""},
        {{"--config", "/nowhere"}, "2 the settings file /nowhere can't be read"},
        {{"--config", file}, "is no settings file"},
    };
    for (const auto& [arguments, wrong] : kCases) {
        EXPECT_THAT(planOf(arguments), HasSubstr(wrong)) << testing::PrintToString(arguments);
    }
    std::filesystem::remove(file);
}

class Publishing : public testing::Test {
protected:
    Publisher publisher() {
        session::ScreenList list = session::listScreens(m_fakes.collaborators());
        Plan plan;
        std::string ignored;
        EXPECT_TRUE(chooseScreen(list, "1", plan.target, ignored));
        plan.target.senderName = "N";
        return {m_fakes.collaborators(), list, plan};
    }

    FakeCollaborators m_fakes = twoScreens();
};

TEST_F(Publishing, ObeysCommandsWithoutNeedlessRestarts) {
    Publisher sending = publisher();
    EXPECT_EQ(sending.begin(), "");
    EXPECT_EQ(m_fakes.takeCalls(), "source N, dx new N, dx init 0 0 1920 1080 30 OUT-1, dx start");

    m_fakes.movable = true;
    EXPECT_EQ(sending.setRegion({10, 20, 640, 480}), "");
    EXPECT_EQ(m_fakes.takeCalls(), "dx reset, dx init 10 20 640 480 30 OUT-1, dx start");
    EXPECT_EQ(sending.setRegion({10, 20, 640, 480}), "");
    EXPECT_EQ(m_fakes.takeCalls(), "");
    EXPECT_EQ(sending.setRegion({1280, 600, 640, 480}), "");
    EXPECT_EQ(m_fakes.takeCalls(), "dx move 1280 600");
    EXPECT_THAT(sending.setRegion({1281, 600, 640, 480}), HasSubstr("is not possible"));
    EXPECT_THAT(sending.setScreen("3"), HasSubstr("no screen"));
    EXPECT_EQ(m_fakes.takeCalls(), "") << "what was in force remains";

    sending.pause();
    sending.pause();
    EXPECT_EQ(sending.setScreen("OUT-0"), "");
    EXPECT_THAT(statusJson("status", sending.state()), HasSubstr("\"state\":\"paused\""));
    EXPECT_EQ(m_fakes.takeCalls(), "dx pause");
    sending.resume();
    sending.resume();
    EXPECT_EQ(m_fakes.takeCalls(), "dx reset, dx init 0 0 1280 720 30 OUT-0, dx start");
    sending.end();
    EXPECT_EQ(m_fakes.takeCalls(), "dx gone, source gone");
}

TEST_F(Publishing, LeavesNothingOfAFailedStart) {
    m_fakes.seenAs = "N1";
    EXPECT_THAT(publisher().begin(), HasSubstr("another source on the network has this name"));
    EXPECT_EQ(m_fakes.takeCalls(), "source N, source gone");
    m_fakes.seenAs.clear();
    m_fakes.sourceFails = true;
    EXPECT_THAT(publisher().begin(), HasSubstr("another source on the network has this name"));
    EXPECT_EQ(m_fakes.takeCalls(), "source N");
}

TEST_F(Publishing, PausesWhenTheCaptureHasEndedAndSaysHowItIsAskedForAgain) {
    Publisher sending = publisher();
    EXPECT_EQ(sending.begin(), "");
    m_fakes.capture = {CaptureState::Unable, "it is gone; no answer", true, "restart it"};
    sending.followCapture();
    const auto state = sending.state();
    EXPECT_TRUE(state.paused);
    EXPECT_EQ(state.problem,
              "it is gone; no answer; restart it; the command continue, or a restart, asks again");
}

TEST_F(Publishing, WaitsForAScreenThatIsGone) {
    Publisher sending = publisher();
    EXPECT_EQ(sending.begin(), "");
    m_fakes.takeCalls();
    m_fakes.arrange({{-1280, 0, 1280, 720}});
    sending.followScreens();
    EXPECT_EQ(m_fakes.takeCalls(), "dx gone, dx new N");
    EXPECT_THAT(sending.state().problem, HasSubstr("\"OUT-1\" is gone"));
    EXPECT_TRUE(sending.isAlive() && sending.isAlive()) << "no thread is expected to run";
    EXPECT_EQ(sending.setRegion({8, 8, 640, 480}), "");
    sending.pause();
    sending.resume();
    EXPECT_EQ(m_fakes.takeCalls(), "dx pause, dx start") << "what changed is kept for later";
    m_fakes.arrange({{-1280, 0, 1280, 720}, {100, 0, 800, 600}});
    sending.followScreens();
    sending.followScreens();
    EXPECT_EQ(m_fakes.takeCalls(), "dx reset, dx init 8 8 640 480 30 OUT-1, dx start");
    EXPECT_EQ(sending.state().problem, "");

    m_fakes.arrange({{-1280, 0, 1280, 720}});
    sending.followScreens();
    m_fakes.takeCalls();
    EXPECT_EQ(sending.setScreen("0"), "");
    EXPECT_EQ(m_fakes.takeCalls(), "dx reset, dx init 0 0 1280 720 30 OUT-0, dx start");
}

TEST_F(Publishing, IsAliveAsLongAsTheSendingThreadRuns) {
    Publisher sending = publisher();
    EXPECT_EQ(sending.begin(), "");
    m_fakes.passes = 7;
    EXPECT_TRUE(sending.isAlive());
    EXPECT_FALSE(sending.isAlive());
    sending.pause();
    EXPECT_TRUE(sending.isAlive()) << "paused, no thread is expected to run";
}

}  // namespace
