#include "sender/framequeue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>

namespace {

using namespace std::chrono_literals;

support::FramePtr numbered(std::int64_t number) {
    support::FramePtr frame(av_frame_alloc());
    frame->pts = number;
    return frame;
}

TEST(FrameQueue, FullItHoldsTheProducerUpUntilItIsClosed) {
    FrameQueue queue(4);
    queue.push(numbered(9));
    EXPECT_EQ(queue.pop(), nullptr) << "a new queue is closed, and drops what is pushed";
    queue.open();
    queue.push(numbered(9));
    queue.clear();
    std::atomic<int> pushed{0};
    const auto pushedBecomes = [&pushed](int count) {
        while (pushed < count) {
            std::this_thread::sleep_for(1ms);
        }
        std::this_thread::sleep_for(50ms);
        return pushed == count;
    };
    auto producer = std::async(std::launch::async, [&] {
        for (int i = 0; i < 6; ++i) {
            queue.push(numbered(i));
            ++pushed;
        }
    });
    EXPECT_TRUE(pushedBecomes(4));
    EXPECT_EQ(queue.pop()->pts, 0);
    EXPECT_TRUE(pushedBecomes(5));
    queue.close();
    producer.get();
    for (int i = 1; i < 5; ++i) {
        EXPECT_EQ(queue.pop()->pts, i) << "what is inside is kept";
    }
    EXPECT_EQ(queue.pop(), nullptr) << "the frame that waited is freed";
}

TEST(FrameQueue, NewestFreesTheFramesBeforeIt) {
    FrameQueue queue(4);
    queue.open();
    for (int i = 0; i < 3; ++i) {
        queue.push(numbered(i));
    }
    EXPECT_EQ(queue.popNewest()->pts, 2);
    queue.close();
    EXPECT_EQ(queue.popNewest(), nullptr);
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
