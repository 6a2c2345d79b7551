// SPDX-License-Identifier: MIT
#include "platform/NotificationCenter.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using platform::Notification;
using platform::NotificationCenter;
using namespace std::chrono_literals;

/// Something that happens once, awaited with a deadline.
class Event {
public:
    void happen() { _promise.set_value(); }
    [[nodiscard]] bool wait() { return _future.wait_for(60s) == std::future_status::ready; }

private:
    std::promise<void> _promise;
    std::shared_future<void> _future = _promise.get_future().share();
};

TEST(NotificationCenter, observersAreCalledInOrderByName) {
    NotificationCenter center;
    std::string calls;
    center.addObserver("a", [&](const Notification& n) { calls += "1" + n.name; });
    center.addObserver("", [&](const Notification& n) { calls += "2" + n.name; });
    const auto third = center.addObserver("a", [&](const Notification& n) { calls += "3" + n.name; });
    center.addObserver("b", [&](const Notification& n) { calls += "4" + *n.userInfo.string("key"); });
    center.post({"a", {}});
    center.post({"b", {{"key", "value"}}});
    center.post({"c", {}});
    center.removeObserver(third);
    center.removeObserver(third);
    center.removeObserver(999);
    center.post({"a", {}});
    EXPECT_EQ(calls, "1a2a3a2b4value2c1a2a");
}

TEST(NotificationCenter, changesInsideHandlers) {
    NotificationCenter center;
    std::string calls;
    std::uint64_t own = 0;
    std::uint64_t later = 0;
    bool added = false;
    center.addObserver("n", [&](const Notification&) {
        calls += "a";
        if (!added) {
            added = true;
            center.addObserver("n", [&](const Notification&) { calls += "new"; });
            center.removeObserver(later);
        }
    });
    own = center.addObserver("n", [&](const Notification&) {
        center.removeObserver(own);
        center.post({"nested", {}});
        calls += "own"; // still whole after its own removal
    });
    later = center.addObserver("n", [&](const Notification&) { calls += "later"; });
    center.addObserver("nested", [&](const Notification&) { calls += "nested"; });
    center.post({"n", {}});
    EXPECT_EQ(calls, "anestedown");
    center.post({"n", {}});
    EXPECT_EQ(calls, "anestedownanew");
}

TEST(NotificationCenter, aHandlerThatThrowsHarmsNobody) {
    NotificationCenter center;
    int calls = 0;
    center.addObserver("n", [](const Notification&) { throw std::runtime_error("no"); });
    const auto odd = center.addObserver("n", [](const Notification&) { throw 5; });
    center.addObserver("n", [&](const Notification&) { ++calls; });
    center.post({"n", {}});
    center.removeObserver(odd); // would hang had the call not been counted out
    EXPECT_EQ(calls, 1);
}

TEST(NotificationCenter, removalDestroysTheHandler) {
    NotificationCenter center;
    auto captured = std::make_shared<int>(1);
    const std::weak_ptr<int> watched = captured;
    const auto quiet = center.addObserver("n", [captured](const Notification&) {});
    center.removeObserver(quiet);
    EXPECT_EQ(captured.use_count(), 1);

    std::uint64_t own = 0;
    own = center.addObserver("n", [&center, &own, captured](const Notification&) { center.removeObserver(own); });
    captured.reset();
    center.post({"n", {}});
    EXPECT_TRUE(watched.expired());
}

TEST(NotificationCenter, removalWaitsForACallUnderWay) {
    NotificationCenter center;
    Event entered;
    Event go;
    bool returned = false; // not atomic: the removal itself must order the accesses
    const auto observer = center.addObserver("n", [&](const Notification&) {
        entered.happen();
        EXPECT_TRUE(go.wait());
        returned = true;
    });
    std::jthread poster([&] { center.post({"n", {}}); });
    ASSERT_TRUE(entered.wait());
    auto seen = std::async(std::launch::async, [&] {
        center.removeObserver(observer);
        return returned;
    });
    // Can only ever end early when the removal does not wait.
    EXPECT_EQ(seen.wait_for(50ms), std::future_status::timeout);
    go.happen();
    ASSERT_EQ(seen.wait_for(60s), std::future_status::ready);
    EXPECT_TRUE(seen.get());
}

TEST(NotificationCenter, handlersThatRemoveEachOtherDoNotWaitForEver) {
    for (int round = 0; round < 200; ++round) {
        NotificationCenter center;
        std::array<std::uint64_t, 2> observers{};
        std::array<std::atomic<int>, 2> calls{};
        std::atomic<int> inside = 0;
        for (std::size_t i = 0; i < 2; ++i) {
            observers[i] = center.addObserver(std::to_string(i), [&, i](const Notification&) {
                ++calls[i];
                ++inside;
                while (inside.load() < 2) {
                    std::this_thread::yield();
                }
                center.removeObserver(observers[1 - i]);
            });
        }
        std::array<std::future<void>, 2> posts;
        for (std::size_t i = 0; i < 2; ++i) {
            posts[i] = std::async(std::launch::async, [&, i] { center.post({std::to_string(i), {}}); });
        }
        for (auto& post : posts) {
            ASSERT_EQ(post.wait_for(60s), std::future_status::ready);
        }
        center.post({"0", {}});
        center.post({"1", {}});
        EXPECT_EQ(calls[0] + calls[1], 2) << "removed observers are not called again";
    }
}

TEST(NotificationCenter, observersThatComeAndGoWhileOthersPost) {
    NotificationCenter center;
    std::atomic<bool> stop = false;
    std::atomic<std::uint64_t> steady = 0;
    center.addObserver("", [&](const Notification&) { ++steady; });
    std::vector<std::jthread> posters;
    posters.reserve(4);
    for (int i = 0; i < 3; ++i) {
        posters.emplace_back([&] {
            while (!stop) {
                center.post({"n", {}});
            }
        });
    }
    std::vector<std::jthread> changers;
    changers.reserve(4);
    for (int i = 0; i < 2; ++i) {
        changers.emplace_back([&] {
            for (int n = 0; n < 500; ++n) {
                // Dies right after the removal: any later call is a use after free, any unordered one a race.
                auto alive = std::make_unique<std::atomic<int>>(0);
                const auto observer = center.addObserver("n", [state = alive.get()](const Notification&) { ++*state; });
                while (n % 50 == 0 && *alive == 0) {
                    std::this_thread::yield();
                }
                center.removeObserver(observer);
                const int calls = *alive;
                std::this_thread::yield();
                EXPECT_EQ(calls, *alive);
            }
        });
    }
    changers.clear();
    stop = true;
    posters.clear();
    EXPECT_GT(steady, 0U);
}

TEST(NotificationCenter, anObservationEndsWithItsLife) {
    int calls = 0;
    {
        const platform::Observation observation("tests.observation", [&](const Notification&) { ++calls; });
        NotificationCenter::defaultCenter().post({"tests.observation", {}});
    }
    NotificationCenter::defaultCenter().post({"tests.observation", {}});
    EXPECT_EQ(calls, 1);
}

} // namespace
