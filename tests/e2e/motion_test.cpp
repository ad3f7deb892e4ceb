// A moving image.

#include <gtest/gtest.h>

#include <set>

#include "receiving.h"
#include "support/testreceiver.h"
#include "testpattern.h"

namespace e2e {
namespace {

/// The frame numbers received within `time`; -1 for an unreadable one.
std::set<int> numbers(tests::TestReceiver& receiver, std::chrono::milliseconds time) {
    std::set<int> seen;
    for (const auto& received : receiver.frames(time)) {
        const auto frame = tests::decode(received);
        if (!frame) {
            seen.insert(-1);
            continue;
        }
        const QImage luma(frame->y.data(), frame->width, frame->height, frame->width,
                          QImage::Format_Grayscale8);
        seen.insert(testpattern::readCounter(luma));
    }
    return seen;
}

TEST(MovingFrame, StopsForAPauseOnly) {
    QTemporaryDir folder;
    const auto frame = showTestPattern(30, folder.filePath("frame.out").toStdString());
    ProgramRun program;
    program.click("start");
    tests::TestReceiver receiver(kPort);
    receiver.sayHello();
    const auto moves = [&receiver] {
        (void)receiver.frames(500ms);  // Still in flight.
        return tests::eventually([&] { return numbers(receiver, 1s).size() > 5; }, 20s);
    };
    EXPECT_TRUE(moves());
    program.click("start");
    EXPECT_TRUE(tests::eventually([&] { return numbers(receiver, 1500ms).size() == 1; }, 20s))
        << "the image moves on, or no frames arrive";
    program.click("start");
    EXPECT_TRUE(moves());

    program.click("language");
    EXPECT_TRUE(moves()) << "behind an open list";
    xdotool({"key", "Escape"});
    program.click("title");
    xdotool({"mousedown", "1", "mousemove_relative", "60", "40"});
    EXPECT_TRUE(moves()) << "while the window is held";
    xdotool({"mouseup", "1"});
}

}  // namespace
}  // namespace e2e
