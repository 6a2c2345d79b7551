// SPDX-License-Identifier: MIT
#include "ScriptedDevice.h"

#include <gtest/gtest.h>

#include <future>

namespace mtpsdk::test {
namespace {

using namespace std::chrono_literals;
constexpr auto patience = 10s;

/// What arrived, for a test to wait on.
class Received {
public:
    void take(const Session::Event& event) {
        const std::lock_guard lock(_mutex);
        _handles.push_back(event.parameters[0]);
        _changed.notify_all();
    }
    [[nodiscard]] std::vector<std::uint32_t> waitFor(std::size_t count) {
        std::unique_lock lock(_mutex);
        _changed.wait_for(lock, patience, [&] { return _handles.size() >= count; });
        return _handles;
    }

private:
    std::mutex _mutex;
    std::condition_variable _changed;
    std::vector<std::uint32_t> _handles;
};

TEST(Events, ThoseBeforeTheHandlerAreKeptAndDeliveredInOrder) {
    Script script;
    const auto session = script.open();
    Received received;
    script.raise(EventCode::ObjectAdded, {1});
    script.raise(EventCode::ObjectRemoved, {2, 7, 8});
    session->setEventHandler([&](const Session::Event& event) { received.take(event); });
    script.raise(EventCode::StoreAdded, {3});
    EXPECT_EQ(received.waitFor(3), (std::vector<std::uint32_t>{1, 2, 3}));
}

TEST(Events, DamagedOnesAreDroppedAndTheRestGoesOn) {
    Script script;
    const auto session = script.open();
    Received received;
    session->setEventHandler([&](const Session::Event& event) { received.take(event); });
    script.raiseRaw(bytesOf({1, 2, 3}));
    script.raiseRaw(encodeContainer(ContainerType::Response, 0x2001, 0, {9}));
    script.raise(EventCode::ObjectAdded, {4});
    EXPECT_EQ(received.waitFor(1), (std::vector<std::uint32_t>{4}));
}

TEST(Events, WithoutAHandlerDeliveryPausesOnceTheOneUnderWayIsDone) {
    Script script;
    const auto session = script.open();
    std::promise<void> entered;
    std::promise<void> leave;
    std::atomic<bool> done = false;
    session->setEventHandler([&](const Session::Event&) {
        entered.set_value();
        leave.get_future().wait();
        done = true;
    });
    script.raise(EventCode::ObjectAdded, {1});
    entered.get_future().wait();
    auto paused = std::async(std::launch::async, [&] {
        session->setEventHandler({});
        return done.load();
    });
    leave.set_value();
    EXPECT_TRUE(paused.get());

    script.raise(EventCode::ObjectAdded, {2});
    Received received;
    session->setEventHandler([&](const Session::Event& event) { received.take(event); });
    EXPECT_EQ(received.waitFor(1), (std::vector<std::uint32_t>{2}));
}

TEST(Events, AHandlerMayReplaceItselfAndCallTheDevice) {
    Script script;
    const auto session = script.open();
    Received received;
    std::atomic<DGSTATUS> status = DGSTATUS_UNSUCCESSFUL;
    session->setEventHandler([&](const Session::Event&) {
        status = session->deleteObject(1);
        session->setEventHandler([&](const Session::Event& event) { received.take(event); });
    });
    script.raise(EventCode::ObjectAdded, {1});
    script.raise(EventCode::ObjectAdded, {2});
    EXPECT_EQ(received.waitFor(1), (std::vector<std::uint32_t>{2}));
    EXPECT_EQ(status, DGSTATUS_SUCCESS);
}

TEST(Events, AHandlerMayEndTheSession) {
    Script script;
    auto session = script.open();
    std::promise<void> ended;
    session->setEventHandler([&](const Session::Event&) {
        session.reset();
        ended.set_value();
    });
    script.raise(EventCode::DeviceReset, {});
    EXPECT_EQ(ended.get_future().wait_for(patience), std::future_status::ready);
}

TEST(Events, WhatCameBeforeTheDeviceWentIsStillDelivered) {
    Script script;
    const auto session = script.open();
    session->setEventHandler({});
    script.raise(EventCode::ObjectAdded, {1});
    Received first;
    session->setEventHandler([&](const Session::Event& event) {
        first.take(event);
        session->setEventHandler({});
    });
    (void) first.waitFor(1);
    session->disconnect();
    Received received;
    session->setEventHandler([&](const Session::Event& event) { received.take(event); });
    EXPECT_EQ(first.waitFor(1), (std::vector<std::uint32_t>{1}));
    EXPECT_TRUE(received.waitFor(0).empty());
}

} // namespace
} // namespace mtpsdk::test
