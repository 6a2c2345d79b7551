// SPDX-License-Identifier: MIT
#include "tests/device/service/VirtualService.h"

#include "device/MTPService/MTPServicePrivate.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <new>
#include <stdexcept>
#include <thread>
#include <tuple>

using platform::Array;
using platform::Dictionary;
using tests::content;
using tests::mebibyte;
using tests::numbers;
using Numbers = std::vector<std::int64_t>;

// Device events, and services and devices that go away at the worst moment.

namespace {

class EventTest : public tests::VirtualService {
protected:
    [[nodiscard]] std::weak_ptr<MTPServicePrivate> inside() const {
        return service->callbackObject().object<MTPServicePrivate>();
    }
    [[nodiscard]] bool waitForEvent(std::uint32_t code) const {
        return recorder.waitFor([&](const platform::Notification& notification) {
            return notification.name == "VXLUMO_NOTI_MTP_NOTIFY_EVENT" &&
                   notification.userInfo == Dictionary{{"EventCode", code}, {"LocationId", device->locationID()}};
        });
    }
    Array bigFiles(int count) {
        Array contents;
        for (int i = 0; i < count; ++i) {
            contents.push_back(content(local("big" + std::to_string(i) + ".mp3", 4 * mebibyte, i)));
        }
        return contents;
    }
    /// Cancelling reads past the cancelled requests when another thread takes one of them off meanwhile.
    void cancelAndForget(std::uint32_t serviceID) const {
        try {
            service->cancelFileAction(serviceID);
        } catch (const std::out_of_range&) {
        }
        service->removeCancelServiceId(serviceID);
    }
    /// Runs `act` once, on the worker thread, in the middle of the first file of request 1.
    void inTheMiddle(std::function<void()> act) {
        recorder.onEach([act = std::move(act), done = std::make_shared<std::atomic<bool>>(false)](
                            const platform::Notification& notification) {
            const auto percent = notification.userInfo.uint32("CurrentProgress");
            if (notification.userInfo.uint32("ServiceID") == 1U && percent > 0U && percent < 100U &&
                !done->exchange(true)) {
                act();
            }
        });
    }
};

} // namespace

TEST_F(EventTest, CallbacksWithoutAContext) {
    EXPECT_EQ(NotifyCallback(0x4002, nullptr), 0x10000002U);
    EXPECT_EQ(NotifyCallbackEx(0x4002, nullptr, nullptr, nullptr), 0x10000002U);
    // A late callback's context is an address that nobody may look behind. Here the storage outlives the service in it.
    alignas(MTPService) std::byte place[sizeof(MTPService)];
    auto* other = new (place) MTPService;
    EXPECT_EQ(NotifyCallbackEx(0x4004, nullptr, nullptr, place), 0U);
    other->~MTPService();
    EXPECT_EQ(NotifyCallbackEx(0x4004, nullptr, nullptr, place), 0x10000002U);
    // An event without a handle changes nothing in the tree, and is none to refuse.
    for (const std::uint32_t code : {0x4002U, 0x4003U, 0x4004U, 0x4005U, 0x400BU, 0x1234U}) {
        EXPECT_EQ(service->processCallbackEvent(code, nullptr, nullptr), 0) << code;
    }
    int noHandle = 0;
    for (const std::uint32_t code : {0x4002U, 0x4005U, 0x400BU}) {
        EXPECT_NE(service->processCallbackEvent(code, nullptr, &noHandle), 0) << code;
    }
}

TEST_F(EventTest, WhatSomeoneElseDoesOnTheDeviceIsTold) {
    ASSERT_TRUE(service->registerNotifyEvent());
    tests::makeFile(device->path("Phone/Sounds/dropped.mp3"), 500);
    EXPECT_TRUE(waitForEvent(0x4002));
    EXPECT_TRUE(tests::waitUntil([&] {
        return service->mediaFileInfoFromDevice(std::nullopt, "/Player/Phone/Sounds/dropped.mp3").has_value();
    }));
    std::filesystem::remove(device->path("Phone/Sounds/dropped.mp3"));
    EXPECT_TRUE(waitForEvent(0x4003));
    // The context outlives a change of the location ID; and registering again adds to nothing.
    service->setLocationID("1");
    service->setLocationID(device->locationID());
    EXPECT_TRUE(service->registerNotifyEvent());
    EXPECT_TRUE(service->registerNotifyEvent());
    recorder.clear();
    tests::makeFile(device->path("Phone/Sounds/again.mp3"), 500);
    EXPECT_TRUE(waitForEvent(0x4002));
}

TEST_F(EventTest, AResetOrALostStoreForgetsTheIndex) {
    ASSERT_TRUE(service->registerNotifyEvent());
    const std::string path = "/Player/Phone/Sounds/a.mp3";
    int round = 0;
    for (const auto code : {mtpsdk::EventCode::DeviceReset, mtpsdk::EventCode::StoreRemoved}) {
        inside().lock()->indexNode(path, "1A2B");
        device->faults().raise(mtpsdk::EventCode::StoreAdded, {0x00020001});
        EXPECT_TRUE(waitForEvent(0x4004)) << round;
        EXPECT_TRUE(inside().lock()->indexedNode(path)) << round;
        device->faults().raise(code, {0x00030001});
        EXPECT_TRUE(tests::waitUntil([&] { return !inside().lock()->indexedNode(path); })) << round;
        ++round;
    }
    EXPECT_TRUE(service->storageInfoLists());
}

TEST_F(EventTest, DestroyedInsideADeviceEvent) {
    ASSERT_TRUE(service->registerNotifyEvent());
    const auto rest = inside();
    recorder.onEach([&](const platform::Notification& notification) {
        if (notification.name == "VXLUMO_NOTI_MTP_NOTIFY_EVENT") {
            service.reset();
        }
    });
    device->faults().raise(mtpsdk::EventCode::DeviceReset, {});
    EXPECT_TRUE(tests::waitUntil([&] { return rest.expired(); }));
    recorder.onEach({});
    device->faults().raise(mtpsdk::EventCode::DeviceReset, {}); // too late for anybody
}

TEST_F(EventTest, DestroyedInTheMiddleOfAFile) {
    const auto rest = inside();
    inTheMiddle([&] { service.reset(); });
    service->copyContentsMacToDevice(1, bigFiles(2), 1, 0);
    EXPECT_TRUE(recorder.waitForStatus(1, 4)) << "the running job goes on";
    EXPECT_TRUE(tests::waitUntil([&] { return rest.expired(); }));
    EXPECT_TRUE(arrived("Phone/Sounds/big1.mp3", files.path("big1.mp3")));
}

TEST_F(EventTest, DestroyedByAnotherThreadInTheMiddleOfAFile) {
    const auto rest = inside();
    std::thread destroyer;
    inTheMiddle([&] { destroyer = std::thread([&] { service.reset(); }); });
    service->copyContentsMacToDevice(1, bigFiles(2), 1, 0);
    ASSERT_TRUE(recorder.waitForStatus(1, 4));
    destroyer.join();
    EXPECT_TRUE(rest.expired()) << "it waited for the job";
}

TEST_F(EventTest, DisconnectedInTheMiddleOfAFile) {
    std::thread other;
    inTheMiddle([&] {
        service->disconnectDevice("1234"); // another device; on the worker it does not wait
        EXPECT_EQ(service->getReleaseState(), 0);
        other = std::thread([&] { service->disconnectDevice(device->locationID()); });
        EXPECT_TRUE(tests::waitUntil([&] { return service->getReleaseState() == 1; }));
    });
    service->copyContentsMacToDevice(1, bigFiles(3), 1, 0);
    ASSERT_TRUE(recorder.waitForStatus(1, 3));
    other.join();
    EXPECT_TRUE(recorder.results(1).empty());
    service->copyContentsMacToDevice(2, bigFiles(1), 1, 0);
    EXPECT_EQ(numbers(recorder.progress(2), "TransferStatus"), (Numbers{3}));
}

TEST_F(EventTest, TheCableIsPulledInTheMiddleOfAFile) {
    device->faults().vanish({mtpsdk::OperationCode::SendObject, 2, 1}, 2 * mebibyte);
    copy(1, bigFiles(3));
    const Numbers statuses = resultStatuses(1);
    ASSERT_EQ(statuses.size(), 3U);
    EXPECT_EQ(statuses[0], 0);
    EXPECT_NE(statuses[1], 0);
    EXPECT_EQ(recorder.progress(1).back().uint32("TransferStatus"), 4U);
    device->pullOut();
    copy(2, bigFiles(1));
    EXPECT_NE(resultStatuses(2), (Numbers{0}));
    EXPECT_FALSE(service->storageInfoLists());
}

TEST_F(EventTest, TwoServicesCopyAtOnceAndOneEndsInTheOthersJob) {
    const tests::Device second(64 * mebibyte, 0xF1000002);
    auto other = std::make_unique<MTPService>();
    other->setLocationID(second.locationID());
    ASSERT_TRUE(other->storageInfoLists());
    ASSERT_TRUE(tests::waitUntil([&] { return other->isIdle(); }));
    std::weak_ptr<MTPServicePrivate> rest = other->callbackObject().object<MTPServicePrivate>();
    const Array same = bigFiles(2);
    other->copyContentsMacToDevice(2, same, 1, 1);
    ASSERT_TRUE(recorder.waitForStatus(2, 2)); // a request that has not begun ends with its service
    inTheMiddle([&] { other.reset(); });
    service->copyContentsMacToDevice(1, same, 1, 0);
    EXPECT_TRUE(recorder.waitForStatus(1, 4));
    EXPECT_TRUE(recorder.waitForStatus(2, 4));
    EXPECT_TRUE(tests::waitUntil([&] { return rest.expired(); }));
    waitUntilIdle();
    EXPECT_TRUE(arrived("Phone/Sounds/big1.mp3", files.path("big1.mp3")));
    EXPECT_EQ(tests::readFile(second.path("Card/Sounds/big0.mp3")), tests::readFile(files.path("big0.mp3")));
}

TEST_F(EventTest, QuestionsFromOtherThreadsDuringATransfer) {
    std::atomic<bool> begun{false}; // the request would be lost if they held the queue just then
    const auto begin = [&] {
        begun = true;
        begun.notify_all();
    };
    std::atomic<bool> done{false};
    std::array<std::thread, 2> threads;
    for (std::thread& thread : threads) {
        thread = std::thread([&] {
            begun.wait(false);
            while (!done) {
                service->freeSpace(0, 0);
                service->diskInformation();
                std::ignore = service->defaultMediaID("/Player/Phone/Sounds/x", 1);
                cancelAndForget(50);
                service->refreshDeviceList();
            }
        });
    }
    recorder.onEach([&](const platform::Notification&) {
        begin();
        service->diskInformation(); // an observer inside the library's monitor
        EXPECT_FALSE(service->isCancelServiceId(1));
    });
    service->copyContentsMacToDevice(1, bigFiles(3), 1, 0);
    EXPECT_TRUE(recorder.waitForStatus(1, 4));
    done = true;
    begin();
    for (auto& thread : threads) {
        thread.join();
    }
    waitUntilIdle();
    EXPECT_EQ(resultStatuses(1), (Numbers{0, 0, 0}));
}
