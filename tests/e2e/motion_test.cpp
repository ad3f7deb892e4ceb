// What happens on the way of a picture that moves.

#include <gtest/gtest.h>
#include <signal.h>

#include <QRegularExpression>
#include <thread>

#include "programrun.h"
#include "support/testreceiver.h"
#include "testpattern.h"

namespace e2e {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr std::uint16_t kPort = 5961;  ///< Of the first source on a machine.

class MovingPicture : public testing::Test {
protected:
    QTemporaryDir m_folder;
    std::unique_ptr<tests::Process> m_picture =
        showTestPicture(30, m_folder.filePath("picture.out").toStdString());
    ProgramRun m_program;
};

/// The picture number that a received picture shows; -1 when it can't be read.
int numberOf(const testsupport::ReceivedPicture& received) {
    const auto picture = testsupport::decode(received);
    if (!picture) {
        return -1;
    }
    QImage luma(picture->width, picture->height, QImage::Format_Grayscale8);
    for (int y = 0; y < picture->height; ++y) {
        std::copy_n(picture->luma.data() + static_cast<std::ptrdiff_t>(y) * picture->width,
                    picture->width, luma.scanLine(y));
    }
    return testpattern::readCounter(luma);
}

TEST_F(MovingPicture, AStoppedReceiverCostsTheOtherOneNothing) {
    m_program.click(control::kStart);
    const auto good = startMonitor({"E2E", "--seconds", "10"}, m_program.path("good.out"));
    const auto bad = startMonitor({"E2E", "--seconds", "10"}, m_program.path("bad.out"));
    tests::sleepFor(3s);
    const long memoryBefore = m_program.process().residentKiB();
    bad->signal(SIGSTOP);
    tests::sleepFor(3s);
    bad->signal(SIGCONT);
    ASSERT_EQ(good->waitFor(30s), 0) << good->output();
    ASSERT_EQ(bad->waitFor(30s), 0) << bad->output();
    tests::sleepFor(500ms);

    const QRegularExpression report("(\\d+) frames in");
    const int received = report.match(QString::fromStdString(good->output())).captured(1).toInt();
    const QRegularExpression account(
        "was sent (\\d+) pictures \\([^)]*\\), lost (\\d+) by reading too slowly, (\\d+) to our");
    bool found = false;
    auto lines = account.globalMatch(m_program.log());
    while (lines.hasNext()) {
        const auto line = lines.next();
        // Whoever was sent what the good one received is the good one; the last may be on its way.
        if (line.captured(1).toInt() - received <= 1 && line.captured(1).toInt() >= received) {
            found = true;
            EXPECT_EQ(line.captured(2), "0");
            EXPECT_EQ(line.captured(3), "0");
        }
    }
    EXPECT_TRUE(found) << good->output() << m_program.log().toStdString();
    EXPECT_GT(received, 240) << "of about 300 in ten seconds";
    EXPECT_LT(m_program.process().residentKiB() - memoryBefore, 16 * 1024);
}

TEST_F(MovingPicture, PauseAndContinueTakeEffectAtOnce) {
    m_program.click(control::kStart);
    testsupport::TestReceiver receiver(kPort);
    receiver.sayHello();
    const auto before = receiver.pictures(2s);
    ASSERT_GT(before.size(), 20U);
    ASSERT_NE(numberOf(before[before.size() - 10]), numberOf(before.back())) << "it moves";

    m_program.click(control::kStart);
    const auto paused = steady_clock::now();
    const auto meanwhile = receiver.pictures(1800ms);
    ASSERT_FALSE(meanwhile.empty());
    const int last = numberOf(meanwhile.back());
    int repeats = 0;
    for (const auto& picture : meanwhile) {
        if (picture.arrival > paused + 200ms) {
            EXPECT_EQ(numberOf(picture), last) << "it moves on";
            ++repeats;
        }
    }
    EXPECT_GT(repeats, 0) << "a paused source keeps its receivers";

    m_program.click(control::kStart);
    const auto continued = steady_clock::now();
    for (const auto& picture : receiver.pictures(400ms)) {
        if (numberOf(picture) != last) {
            EXPECT_LT(picture.arrival - continued, 200ms);
            return;
        }
    }
    ADD_FAILURE() << "it does not move on";
}

TEST_F(MovingPicture, OperatingTheWindowCostsNoPicture) {
    m_program.click(control::kStart);
    testsupport::TestReceiver receiver(kPort);
    receiver.sayHello();
    (void)receiver.pictures(2s);
    const std::size_t undisturbed = receiver.pictures(4s).size();

    std::vector<testsupport::ReceivedPicture> meanwhile;
    std::thread reader([&] { meanwhile = receiver.pictures(4s); });
    for (int i = 0; i < 3; ++i) {
        m_program.click(control::kLanguage);
        tests::runToEnd({"xdotool", "key", "Down", "Return"});
        m_program.moveBy({60, 40});
        m_program.moveBy({-60, -40});
    }
    reader.join();
    EXPECT_GE(meanwhile.size() + 3, undisturbed) << "3 of 120: what two clocks may differ by";
    RecordProperty("undisturbed", static_cast<int>(undisturbed));
    RecordProperty("meanwhile", static_cast<int>(meanwhile.size()));
}

}  // namespace
}  // namespace e2e
