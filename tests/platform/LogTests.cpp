// SPDX-License-Identifier: MIT
#include "platform/Log.h"
#include "platform/Monitor.h"

#include <gtest/gtest.h>

#include <future>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

int currentLevel = 0;

class Log : public testing::Test {
protected:
    Log() {
        currentLevel = 5;
        platform::setLogLevelSource([] { return currentLevel; });
        platform::setLogSink([this](const std::string& line) { lines.push_back(line); });
    }
    ~Log() override {
        platform::setLogSink({});
        platform::setLogLevelSource(nullptr);
    }
    std::vector<std::string> lines;
};

TEST_F(Log, levelsDecideWhatIsEmittedAndEvaluated) {
    int evaluated = 0;
    for (const int level : {0, 1, 5, 6, 7}) {
        QD_LOG(level, "level %d", (++evaluated, level));
    }
    EXPECT_EQ(evaluated, 3);
    EXPECT_EQ(lines.size(), 3U);

    platform::setLogLevelSource(nullptr);
    QD_LOG(1, "not without a source");
    QD_LOG(0, "always");
    EXPECT_EQ(lines.size(), 4U);
}

TEST_F(Log, lineForm) {
    platform::writeLog("/any/where/MTPService.cpp", "setLocationID", 42, "100%@ d\xC3\xA9j\xC3\xA0");
    platform::writeLog("a.cpp", "f", 1, "evil\nname\x1B[2J\ttab");
    EXPECT_EQ(lines, (std::vector<std::string>{"[MTPService.cpp:setLocationID-(42)] 100%@ déjà",
                                               "[a.cpp:f-(1)] evil\\x0aname\\x1b[2J\ttab"}));
}

TEST_F(Log, aSinkThatThrowsHarmsNobodyAndLinesComeOneAtATime) {
    platform::setLogSink([](const std::string&) { throw std::runtime_error("full"); });
    testing::internal::CaptureStderr();
    QD_LOG(0, "kept");
    EXPECT_NE(testing::internal::GetCapturedStderr().find("kept\n"), std::string::npos);

    int unguarded = 0; // a race here is what the thread sanitizer would see
    platform::setLogSink([&](const std::string&) { ++unguarded; });
    std::vector<std::jthread> threads;
    threads.reserve(4);
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            for (int n = 0; n < 100; ++n) {
                QD_LOG(3, "%d", n);
            }
        });
    }
    threads.clear();
    platform::setLogSink({});
    EXPECT_EQ(unguarded, 400);
}

TEST(Monitor, isRecursiveAndKnowsItsHolder) {
    platform::Monitor monitor;
    const auto tryElsewhere = [&monitor] {
        return std::async(std::launch::async,
                          [&monitor] {
                              const bool entered = monitor.try_lock();
                              const bool held = monitor.heldByCurrentThread();
                              EXPECT_EQ(entered, held);
                              if (entered) {
                                  monitor.unlock();
                              }
                              return entered;
                          })
            .get();
    };
    EXPECT_FALSE(monitor.heldByCurrentThread());
    {
        const platform::Synchronized outer(monitor);
        [&monitor] { // a function of its own: the static analysis knows no recursive locks
            const platform::Synchronized inner(monitor);
            EXPECT_TRUE(monitor.heldByCurrentThread());
        }();
        EXPECT_TRUE(monitor.heldByCurrentThread());
        EXPECT_FALSE(tryElsewhere());
    }
    EXPECT_FALSE(monitor.heldByCurrentThread());
    EXPECT_TRUE(tryElsewhere());
}

} // namespace
