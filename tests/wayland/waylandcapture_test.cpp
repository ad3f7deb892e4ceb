// The capturer against sway, PipeWire and the desktop portal. What sway itself says it shows
// (grim's screenshot) is the measure.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <QImage>
#include <cstdlib>
#include <filesystem>

#include "capture.h"
#include "support/footprint.h"
#include "support/framecompare.h"
#include "support/logcapture.h"
#include "support/process.h"
#include "support/utf8.h"
#include "waylandsession.h"

namespace {

using namespace std::chrono_literals;
using tests::eventually;
using tests::pick;
using tests::screenshot;
using tests::sessionPart;
using tests::showColour;
using tests::showPattern;
using tests::sway;
using tests::timesAsked;

constexpr char kFirst[] = "HEADLESS-1";
constexpr char kSecond[] = "HEADLESS-2";

class Capture : public tests::Capture {
public:
    using tests::Capture::Capture;

    /// Reads until the buffer is what the output shows.
    [[nodiscard]] bool shows(const std::string& output) {
        return eventually([&] {
            const QImage wanted = screenshot(output).copy(area());
            for (int i = 0; i < 10; ++i) {
                read();
            }
            return image() == wanted;
        });
    }
};

std::string tokenFile(const std::string& output) {
    return std::string(std::getenv("XDG_DATA_HOME")) + "/Halvark/TarsinNDI/screencast-" + output +
           ".token";
}

/// Each test begins with both screens dark, no permission stored and a portal that grants the first
/// screen.
class Session : public testing::Test {
protected:
    Session() {
        for (const char* output : {kFirst, kSecond}) {
            std::filesystem::remove(tokenFile(output));
        }
        pick(kFirst);
    }
    tests::LogCapture m_log;
};

using Frames = Session;
using Permission = Session;
using Release = Session;
using Recovery = Session;

TEST_F(Frames, AreWhatTheOutputShows) {
    showPattern(kFirst, 1);
    Capture capture(kFirst);
    EXPECT_TRUE(capture.shows(kFirst)) << m_log.text();
    EXPECT_EQ(capture.status().reason, "");
    const int whole = capture.partialReads();
    // A terminal in which one character at a time changes: the rest of the frame is told to be as
    // it was.
    const tests::Process drawing({"foot", "sh", "-c", "while sleep 0.05; do printf x; done"});
    EXPECT_TRUE(eventually(
        [&] {
            capture.read();
            return capture.partialReads() > whole + 5;
        },
        20s))
        << m_log.text();
    // One line a capture says what there is, with versions.
    EXPECT_EQ(m_log.count("portal: ScreenCast version 4"), 1) << m_log.text();
    EXPECT_EQ(m_log.count("server 0.3"), 1) << m_log.text();
}

TEST_F(Frames, OfTwoOutputsGoToTwoCapturersAndRegionsAreCut) {
    showPattern(kFirst, 2);
    showPattern(kSecond, 3);
    Capture first(kFirst, {100, 50, 640, 333});
    ASSERT_TRUE(first.readsAtAll()) << m_log.text();
    pick(kSecond);
    Capture second(kSecond, {800, 600, 800, 600});
    showPattern(kSecond, 4);
    EXPECT_TRUE(first.shows(kFirst));
    EXPECT_TRUE(second.shows(kSecond)) << m_log.text();
    EXPECT_EQ(second.status().output, "");

    // A region of another place in the same cast, at once although nothing changes.
    const auto name = support::wideFromUtf8(kFirst);
    ASSERT_TRUE(first.capturer().InitCapture(name.c_str()));
    std::vector<unsigned char> pixels(16 * 16 * 4);
    EXPECT_TRUE(first.capturer().ReadScreenData(1270, 710, 10, 10, pixels.data()));
    EXPECT_EQ(m_log.count("is captured through PipeWire"), 2) << m_log.text();
}

TEST_F(Frames, BeginWithTheLastImageOfAStillScreen) {
    showPattern(kFirst, 12);
    {
        Capture before(kFirst);
        ASSERT_TRUE(before.shows(kFirst)) << m_log.text();
    }
    const QByteArray display = qgetenv("DISPLAY");
    qunsetenv("DISPLAY");  // Without Xwayland nothing makes this portal send a first frame.
    Capture capture(kFirst);
    EXPECT_TRUE(capture.shows(kFirst)) << m_log.text();
    EXPECT_EQ(capture.status().state, CaptureState::LastImage);
    EXPECT_EQ(capture.capturer().Still(kFirst).width, 1280);
    EXPECT_EQ(capture.capturer().Still("nowhere").width, 0);
    showPattern(kFirst, 13);
    EXPECT_TRUE(capture.shows(kFirst)) << m_log.text();
    EXPECT_EQ(capture.status().state, CaptureState::Running);
    qputenv("DISPLAY", display);
}

TEST_F(Frames, StandUprightHoweverTheOutputIsTurned) {
    showPattern(kFirst, 5);
    int seed = 6;
    // framebox_test turns by all eight; here it is whether sway means the same by them.
    for (const char* transform : {"90", "flipped", "flipped-270", "normal"}) {
        sway(std::string("output HEADLESS-1 transform ") + transform);
        showPattern(kFirst, static_cast<unsigned>(seed++));
        const QImage shown = screenshot(kFirst);
        Capture capture(kFirst, shown.rect());
        showPattern(kFirst, static_cast<unsigned>(seed++));
        EXPECT_TRUE(capture.shows(kFirst)) << transform << m_log.text();
    }
}

TEST_F(Frames, ShowThePointerWhereItComesWithThem) {
    showColour(kFirst, "#305070");
    Capture capture(kFirst, {0, 0, 1280, 720}, true);
    ASSERT_TRUE(capture.shows(kFirst)) << m_log.text();
    EXPECT_TRUE(m_log.says("cursor modes: hidden, embedded;"));
    const QImage bare = capture.image().copy();
    for (const QPoint place : {QPoint(200, 100), QPoint(900, 500)}) {
        const tests::Process pointer({TARSIN_VIRTUALPOINTER, "2080", "720",
                                      std::to_string(place.x()) + "," + std::to_string(place.y()),
                                      "stay"});
        EXPECT_TRUE(eventually([&] {
            capture.read();
            const QRect changed = tests::differingPart(capture.image(), bare);
            return changed.contains(place) && changed.width() < 64 && changed.height() < 64;
        })) << place.x()
            << m_log.text();
    }
}

TEST_F(Frames, FollowAModeAndScaleChange) {
    showPattern(kFirst, 20);
    Capture capture(kFirst, {0, 0, 800, 600});
    EXPECT_TRUE(capture.shows(kFirst)) << m_log.text();
    sway("output HEADLESS-1 mode --custom 800x600@60Hz");
    showPattern(kFirst, 21);
    EXPECT_EQ(screenshot(kFirst).size(), QSize(800, 600));
    EXPECT_TRUE(capture.shows(kFirst)) << m_log.text();
    EXPECT_TRUE(m_log.says("800x600"));
    sway("output HEADLESS-1 scale 2");
    showPattern(kFirst, 22);
    EXPECT_TRUE(capture.shows(kFirst));
    sway("output HEADLESS-1 scale 1");
    sway("output HEADLESS-1 mode --custom 1280x720@60Hz");
}

TEST_F(Release, LeavesNothingBehindAfterAHundredCaptures) {
    const auto once = [] {
        Capture capture(kFirst);
        const bool granted = eventually([&] {
            const std::string text = capture.status().reason;
            return text.empty() || text.find("first change") != std::string::npos;
        });
        const std::string last = capture.status().reason;
        capture.capturer().ReleaseAll();
        return granted ? "" : last;
    };
    ASSERT_EQ(once(), "");  // Brings the libraries' own threads up.
    const auto before = tests::Footprint::of();
    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(once(), "") << "capture " << i << m_log.text();
    }
    const auto after = tests::Footprint::of();
    EXPECT_LE(after.files, before.files);
    EXPECT_LE(after.threads, before.threads);
}

TEST_F(Permission, IsAskedForOnceAndKeptFromOthers) {
    const int before = timesAsked();
    for (unsigned i = 0; i < 3; ++i) {
        Capture capture(kFirst);
        showPattern(kFirst, 30 + i);
        EXPECT_TRUE(capture.shows(kFirst)) << m_log.text();
    }
    EXPECT_EQ(timesAsked(), before + 1);
    struct stat info {};
    ASSERT_EQ(::stat(tokenFile(kFirst).c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600U);
}

TEST_F(Permission, IsAbsentWithoutAPortal) {
    sessionPart("stop", "portal");
    sessionPart("stop", "backend");
    Capture capture(kFirst);
    EXPECT_TRUE(capture.says("no desktop portal offers screen casts")) << m_log.text();
    EXPECT_TRUE(capture.status().ended);
    sessionPart("start", "backend");
    sessionPart("start", "portal");
    capture.capturer().Resume();
    capture.capturer().Resume();
    showPattern(kFirst, 55);
    EXPECT_TRUE(capture.shows(kFirst)) << m_log.text();
}

TEST_F(Recovery, FromAPortalThatDiesNeedsNothing) {
    Capture capture(kFirst);
    showPattern(kFirst, 60);
    EXPECT_TRUE(capture.shows(kFirst));
    sessionPart("kill", "portal");
    EXPECT_TRUE(m_log.says("has left the session bus"));
    showPattern(kFirst, 61);
    EXPECT_TRUE(capture.shows(kFirst)) << m_log.text();
    sessionPart("stop", "portal");
    sessionPart("start", "portal");
}

class RecoveryOf : public Session, public testing::WithParamInterface<std::vector<std::string>> {};

TEST_P(RecoveryOf, ComesByTheStoredPermission) {
    Capture capture(kFirst);
    showPattern(kFirst, 70);
    ASSERT_TRUE(capture.shows(kFirst)) << m_log.text();
    const int asked = timesAsked();
    const auto killed = std::chrono::steady_clock::now();
    for (const std::string& part : GetParam()) {
        sessionPart("kill", part);
        EXPECT_TRUE(m_log.says("was interrupted")) << m_log.text();
    }
    EXPECT_LT(std::chrono::steady_clock::now() - killed, 20s);
    EXPECT_TRUE(
        eventually([&] { return capture.capturer().Status().state == CaptureState::Interrupted; }));
    for (const std::string& part : GetParam()) {
        sessionPart("start", part);
    }
    EXPECT_TRUE(eventually(
        [&] {
            showColour(kFirst, "#306090");
            showPattern(kFirst, 71);
            return capture.status().reason.empty();
        },
        40s))
        << m_log.text() << capture.status().reason;
    EXPECT_TRUE(capture.shows(kFirst)) << m_log.text();
    EXPECT_EQ(m_log.count("was interrupted"), 1) << m_log.text();
    EXPECT_EQ(m_log.count("goes on, "), 1) << m_log.text();
    EXPECT_EQ(timesAsked(), asked);
}

INSTANTIATE_TEST_SUITE_P(Parts, RecoveryOf,
                         testing::Values(std::vector<std::string>{"backend"},
                                         std::vector<std::string>{"pipewire", "wireplumber",
                                                                  "backend"},
                                         std::vector<std::string>{"sway", "backend"}),
                         [](const auto& part) { return part.param.front(); });

}  // namespace
