// SPDX-License-Identifier: MIT
// Waiting on a USB system without transfers, by several threads and beside the thread that has the events otherwise.
#include "transport/usb/UsbContext.h"

#include <atomic>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace mtpsdk {
namespace {

using namespace std::chrono_literals;

TEST(UsbContext, WaitsEndWhenTheirTimeIsOverOrAllIsDoneWhoeverHasTheEvents) {
    const std::shared_ptr<UsbContext> context = UsbContext::make();
    if (!context) {
        GTEST_SKIP() << "there is no USB system here";
    }
    const auto never = [] { return false; };
    EXPECT_FALSE(context->wait(never, 1ms)) << "without the thread";
    EXPECT_TRUE(context->wait([] { return true; }, 0ms));
    context->startEvents();
    std::vector<std::thread> threads;
    std::atomic<int> turn = 0;
    constexpr int count = 4;
    constexpr int rounds = 80;
    for (int i = 0; i < count; ++i) {
        threads.emplace_back([&, i] {
            // Each goes on when the one before it has: nothing but the end of its time tells it so here.
            for (int round = i; round < rounds; round += count) {
                while (!context->wait([&] { return turn == round; }, 1ms)) {
                }
                ++turn;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(turn, rounds);
    // Now the thread is about to take the events back, which must not keep it from ending.
    EXPECT_FALSE(context->wait(never, 60ms));
}

} // namespace
} // namespace mtpsdk
