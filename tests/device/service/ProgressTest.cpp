// SPDX-License-Identifier: MIT
#include "device/MTPService/QDMtpDeviceNotifier.h"
#include "tests/device/service/World.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

using platform::Dictionary;
using tests::keys;
using tests::numbers;
using Numbers = std::vector<std::int64_t>;
using Names = std::vector<std::string>;

namespace {

constexpr std::uint32_t id = 4;

class ProgressTest : public ::testing::Test {
protected:
    std::uint32_t call(std::uint64_t current, std::uint64_t total) {
        Dictionary context{{"CallbackObject", service.callbackObject()}, {"CallbackContext", notifier}};
        return DeviceProgressCallbackEx(current, total, &context);
    }

    MTPService service;
    std::shared_ptr<QDMtpDeviceNotifier> notifier =
        std::make_shared<QDMtpDeviceNotifier>("A1", "A1", id, 1, std::nullopt, 0, 2, 30);
    tests::Recorder recorder;
};

} // namespace

TEST_F(ProgressTest, AContextThatLeadsNowhereIsRefused) {
    EXPECT_EQ(DeviceProgressCallbackEx(0, 1, nullptr), 0x10000002U);
    Dictionary empty;
    EXPECT_EQ(DeviceProgressCallbackEx(0, 1, &empty), 0x10000002U);
    Dictionary serviceOnly{{"CallbackObject", service.callbackObject()}};
    EXPECT_EQ(DeviceProgressCallbackEx(0, 1, &serviceOnly), 0x10000002U);
    Dictionary exchanged{{"CallbackObject", notifier}, {"CallbackContext", service.callbackObject()}};
    EXPECT_EQ(DeviceProgressCallbackEx(0, 1, &exchanged), 0x10000002U);
}

TEST_F(ProgressTest, TheFileSizeIsKnownFromItsFirstBlockToItsLast) {
    EXPECT_EQ(call(4, 10), 0U);
    EXPECT_EQ(notifier->maxSendBytes(), 10U);
    EXPECT_EQ(call(10, 10), 0U);
    EXPECT_EQ(notifier->maxSendBytes(), 0U);
    EXPECT_EQ(call(0, 20), 0U);
    EXPECT_EQ(call(20, 20), 0U);
    EXPECT_EQ(numbers(recorder.progress(id), "CurrentProgress"), (Numbers{33, 100}));
}

TEST_F(ProgressTest, ACancelledRequestAndAReleasedServiceStopTheTransfer) {
    service.cancelFileAction(id + 1);
    EXPECT_EQ(call(1, 10), 0U);
    EXPECT_TRUE(service.removeCancelServiceId(id + 1));
    service.cancelFileAction(id);
    EXPECT_TRUE(service.isCancelServiceId(id));
    EXPECT_EQ(call(2, 10), 0x10000007U);
    EXPECT_TRUE(service.removeCancelServiceId(id));
    EXPECT_FALSE(service.removeCancelServiceId(id));
    EXPECT_EQ(call(3, 10), 0U);
    service.exitServiceThread();
    EXPECT_EQ(service.getReleaseState(), 1);
    EXPECT_EQ(call(4, 10), 0x10000007U);
}

TEST_F(ProgressTest, ANotifierThatWasCancelledFailsTheTransfer) {
    notifier->cancelFileTransfer();
    EXPECT_EQ(call(1, 10), 0x10000001U);
    EXPECT_FALSE(service.transferProgressInfoEx(nullptr, 10, 1));
    notifier->setCurrentTransferStatus(2);
    EXPECT_TRUE(service.transferProgressInfo(notifier, 4'000'000'000U, 1));
    EXPECT_EQ(notifier->maxSendBytes(), 4'000'000'000U);
}

TEST_F(ProgressTest, EventsOfTheServiceItself) {
    service.sendCancelProgressEvent(id, std::nullopt, 2, 3, 4, 3);
    service.setLocationID("ABC123");
    service.setDeviceInformation(Dictionary{{"MN", "Model"}});
    service.sendCancelProgressEvent(id, std::nullopt, 2, 3, 4, 3);
    service.sendCancelProgressEvent(id, "77", 2, 3, 4, 3);
    const auto sent = recorder.progress(id);
    ASSERT_EQ(sent.size(), 3U);
    EXPECT_EQ(keys(sent[0]), (Names{"Current", "Max", "MediaNotiType", "ServiceID", "TransferStatus"}));
    EXPECT_EQ(sent[1], (Dictionary{{"ServiceID", id},
                                   {"MediaNotiType", 2},
                                   {"Current", 3},
                                   {"Max", 4},
                                   {"TransferStatus", 3},
                                   {"LocationId", "ABC123"},
                                   {"MN", "Model"}}));
    EXPECT_EQ(sent[2].string("LocationId"), "77");
}

TEST_F(ProgressTest, ATransferEventIsPostedFromAThreadOfItsOwn) {
    std::atomic<std::thread::id> poster;
    recorder.onEach([&](const platform::Notification&) { poster = std::this_thread::get_id(); });
    service.sendMtpTransferEvent(id, "A1", 1, 2, 3, 4, "a.mp3", std::nullopt, 50, 100, 2);
    ASSERT_TRUE(recorder.waitForStatus(id, 2));
    EXPECT_EQ(recorder.progress(id).front(), (Dictionary{{"ServiceID", id},
                                                         {"MediaNotiType", 1},
                                                         {"Current", 2},
                                                         {"Max", 3},
                                                         {"Fail", 4},
                                                         {"CurrentProgress", 50},
                                                         {"MaxProgress", 100},
                                                         {"TransferStatus", 2},
                                                         {"LocationId", "A1"},
                                                         {"FileName", "a.mp3"}}));
    EXPECT_TRUE(tests::waitUntil([&] { return poster.load() != std::thread::id(); }));
    EXPECT_NE(poster.load(), std::this_thread::get_id());
}
