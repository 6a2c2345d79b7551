// SPDX-License-Identifier: MIT
#include "tools/Interrupt.h"

#include <csignal>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

namespace {

bool isReadable(int descriptor) {
    pollfd wait{descriptor, POLLIN, 0};
    return poll(&wait, 1, 0) == 1;
}

TEST(Interrupt, TheFirstSignalAsksTheSecondEnds) {
    EXPECT_EXIT(
        {
            const tool::Interrupt interrupt;
            if (interrupt.isRequested() || isReadable(interrupt.descriptor())) {
                _exit(1);
            }
            raise(SIGINT);
            if (!interrupt.isRequested() || !isReadable(interrupt.descriptor())) {
                _exit(2);
            }
            raise(SIGTERM);
            _exit(3);
        },
        testing::ExitedWithCode(130), "");
}

TEST(Interrupt, ARequestFromWithinCountsAsTheFirst) {
    tool::Interrupt interrupt;
    interrupt.request();
    interrupt.request();
    EXPECT_TRUE(interrupt.isRequested());
    interrupt.wait(std::chrono::hours(1)); // returns at once
    EXPECT_EXIT(raise(SIGINT), testing::ExitedWithCode(130), "");
}

} // namespace
