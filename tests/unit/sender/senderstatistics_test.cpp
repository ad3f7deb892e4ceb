#include "sender/senderstatistics.h"

#include <gtest/gtest.h>

namespace {

TEST(FrameTimes, AreReportedEveryHundredFrames) {
    sender::FrameTimes times;
    for (int report = 0; report < 2; ++report) {
        for (int i = 0; i < 99; ++i) {
            ASSERT_EQ(times.add(1000), std::nullopt);
        }
        EXPECT_EQ(times.add(1000), 100000U);
    }
}

TEST(LoopRate, IsReportedJustAfterFiveSeconds) {
    sender::LoopRate rate;
    int reports = 0;
    for (std::int64_t ms = 1; ms <= 10020; ++ms) {  // A pass each millisecond.
        if (const auto sum = rate.pass(ms * 1000)) {
            ++reports;
            // A second ends with the first pass that is more than a second away from its start.
            EXPECT_EQ(*sum, 5 * 1001 + (reports == 1 ? 1 : 0));
            EXPECT_EQ(ms, reports * 5 * 1001 + 1);
        }
    }
    EXPECT_EQ(reports, 2);
}

}  // namespace
