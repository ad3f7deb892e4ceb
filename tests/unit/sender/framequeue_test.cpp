#include "sender/framequeue.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>

namespace {

using namespace std::chrono_literals;

sender::FramePtr numbered(std::int64_t number) {
    sender::FramePtr frame(av_frame_alloc());
    frame->pts = number;
    return frame;
}

TEST(FrameQueue, FullItHoldsTheProducerUpUntilItIsClosed) {
    FrameQueue queue(4);
    queue.push(numbered(1));
    EXPECT_EQ(queue.pop(), nullptr) << "a new queue is closed, and drops what is pushed";
    queue.open();
    std::atomic<int> pushed{0};
    auto producer = std::async(std::launch::async, [&] {
        for (int i = 0; i < 6; ++i) {
            queue.push(numbered(i));
            ++pushed;
        }
    });
    EXPECT_EQ(producer.wait_for(100ms), std::future_status::timeout);
    EXPECT_EQ(pushed, 4);
    EXPECT_EQ(queue.pop()->pts, 0);
    EXPECT_EQ(producer.wait_for(100ms), std::future_status::timeout);
    EXPECT_EQ(pushed, 5);
    queue.close();
    ASSERT_EQ(producer.wait_for(10s), std::future_status::ready);
    for (int i = 1; i < 5; ++i) {
        EXPECT_EQ(queue.pop()->pts, i) << "what is inside is kept";
    }
    EXPECT_EQ(queue.pop(), nullptr) << "the frame that waited is freed";
}

TEST(FrameQueue, ClearedItHoldsTheConsumerUpUntilItIsClosed) {
    FrameQueue queue(4);
    queue.open();
    queue.push(numbered(1));
    queue.clear();
    auto consumer = std::async(std::launch::async, [&] { return queue.pop() == nullptr; });
    EXPECT_EQ(consumer.wait_for(50ms), std::future_status::timeout);
    queue.close();
    ASSERT_EQ(consumer.wait_for(10s), std::future_status::ready);
    EXPECT_TRUE(consumer.get());
}

/// One frame at a time, there and back, so that both sides wait for nearly each of them.
TEST(FrameQueue, WakesWhoeverWaitsForEveryFrame) {
    FrameQueue there(4);
    FrameQueue back(4);
    there.open();
    back.open();
    constexpr int kFrames = 20000;
    auto echo = std::async(std::launch::async, [&] {
        for (int i = 0; i < kFrames; ++i) {
            back.push(there.pop());
        }
    });
    for (int i = 0; i < kFrames; ++i) {
        there.push(numbered(i));
        ASSERT_EQ(back.pop()->pts, i);
    }
}

}  // namespace
