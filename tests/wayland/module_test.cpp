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
    EXPECT_NE(status.text.find("is of another build (0.9-0123456789ab)"), std::string::npos);
    EXPECT_EQ(log.count(status.text), 1) << log.text();
}

}  // namespace
