// SPDX-License-Identifier: MIT
#include "tools/Interrupt.h"

#include <csignal>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;

void send(int signal) {
    kill(getpid(), signal);
}

/// The signal that has to end this process.
[[noreturn]] void sendTheLast(int signal) {
    send(signal);
    sleep(60);
    _exit(3);
}

bool isReadable(int descriptor) {
    pollfd wait{descriptor, POLLIN, 0};
    return poll(&wait, 1, 0) == 1;
}

// In processes of their own, which end by it.
TEST(Interrupt, TheFirstSignalAsksTheSecondEnds) {
    EXPECT_EXIT(
        {
            const tool::Interrupt interrupt;
            if (interrupt.isRequested() || isReadable(interrupt.descriptor())) {
                _exit(1);
            }
            send(SIGINT);
            interrupt.wait(1h);
            if (!interrupt.isRequested()) {
                _exit(2);
            }
            sendTheLast(SIGTERM);
        },
        testing::ExitedWithCode(130), "");
}

TEST(Interrupt, ARequestFromWithinCountsAsTheFirst) {
    EXPECT_EXIT(
        {
            tool::Interrupt interrupt;
            interrupt.request();
            interrupt.request();
            interrupt.wait(1h); // returns at once
            if (!interrupt.isRequested()) {
                _exit(1);
            }
            sendTheLast(SIGINT);
        },
        testing::ExitedWithCode(130), "");
}

TEST(Interrupt, WhatWasIgnoredStaysIgnored) {
    EXPECT_EXIT(
        {
            std::signal(SIGHUP, SIG_IGN);
            const tool::Interrupt interrupt;
            send(SIGHUP);
            interrupt.wait(50ms);
            _exit(interrupt.isRequested() ? 1 : 0);
        },
        testing::ExitedWithCode(0), "");
}

TEST(Interrupt, AfterwardsSignalsDoWhatTheyDidBefore) {
    EXPECT_EXIT(
        {
            { const tool::Interrupt interrupt; }
            sendTheLast(SIGINT);
        },
        testing::KilledBySignal(SIGINT), "");
}

} // namespace
