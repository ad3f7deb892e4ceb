#include <gtest/gtest.h>

#include "capture/screencapturer.h"
#include "support/logcapture.h"

namespace {

TEST(Module, OfAnotherBuildIsRefused) {
    const tests::LogCapture log;
    const auto capturer = createScreenCapturer();
    EXPECT_TRUE(capturer->InitCapture(L"DP-1"));
    const CaptureStatus status = capturer->Status();
    EXPECT_EQ(status.state, CaptureState::Unable);
    EXPECT_TRUE(status.ended);
    EXPECT_NE(status.reason.find("is of another build (0.9-0123456789ab)"), std::string::npos);
    EXPECT_EQ(status.advice, "install both together");
    EXPECT_EQ(log.count(status.reason + "; install both together"), 1) << log.text();
}

}  // namespace
