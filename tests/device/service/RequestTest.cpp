// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPServicePrivate.h"
#include "host/VXDeviceConfirmDelegate.h"
#include "tests/device/service/World.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

using platform::Array;
using platform::Dictionary;
using tests::numbers;
using Numbers = std::vector<std::int64_t>;
using Text = std::optional<std::string>;

// Requests, queue and cancelling of a service without a device. Its jobs fail at once, which is enough here.

namespace {

const Array someContents{Dictionary{{"FilePath", "/nowhere/a.mp3"}, {"FileName", "a.mp3"}}};
const Dictionary storage{{"diskIndex", 0},
                         {"diskType", 1},
                         {"volumePath", "/Player/Phone"},
                         {"DefaultMusicPath", "/Player/Phone/Sounds"},
                         {"DefaultMusicID", "1A2B"},
                         {"DefaultPodcastPath", "/Player/Phone/Podcast"}};

class RequestTest : public ::testing::Test {
protected:
    RequestTest() {
        service->setLocationID("C0FFEE");
        service->addDiskInformation(storage);
        EXPECT_TRUE(tests::waitUntil([this] { return service->isIdle(); })) << "the worker waits for requests";
    }

    /// Keeps the worker inside the first notification of a request of its own until released.
    class BusyWorker {
    public:
        explicit BusyWorker(RequestTest& test)
            : _test(test) {
            _test.recorder.onEach([this](const platform::Notification& notification) {
                if (notification.userInfo.uint32("ServiceID") == busyID && !_entered.exchange(true)) {
                    tests::waitUntil([this] { return _released.load(); });
                }
            });
            _test.service->copyContentsMacToDevice(busyID, someContents, 1, 0);
            EXPECT_TRUE(tests::waitUntil([this] { return _entered.load(); }));
        }
        ~BusyWorker() {
            release();
            tests::waitUntil([this] { return _test.service == nullptr || _test.service->isIdle(); });
            _test.recorder.onEach({});
        }
        BusyWorker(const BusyWorker&) = delete;
        BusyWorker& operator=(const BusyWorker&) = delete;
        void release() { _released = true; }
        static constexpr std::uint32_t busyID = 999;

    private:
        RequestTest& _test;
        std::atomic<bool> _entered{false};
        std::atomic<bool> _released{false};
    };

    [[nodiscard]] Numbers statuses(std::uint32_t id) const { return numbers(recorder.progress(id), "TransferStatus"); }

    tests::Recorder recorder;
    std::unique_ptr<MTPService> service = std::make_unique<MTPService>();
};

class Delegate : public VXDeviceConfirmDelegate {
public:
    bool confirmOverwrite(const std::string& /*fileName*/, bool& /*isNotAsk*/) override { return false; }
    std::shared_ptr<MTPService> getFileServiceObject(const std::string& locationID) override {
        asked = locationID;
        if (raises) {
            throw std::runtime_error("no");
        }
        return other;
    }
    std::shared_ptr<MTPService> other;
    std::string asked;
    bool raises = false;
};

} // namespace

TEST_F(RequestTest, EveryRefusalAnswersYesAndPostsOneCancelEvent) {
    const Array none;
    const std::vector<std::function<bool(std::uint32_t)>> refused{
        [&](auto id) { return service->copyContentsMacToDevice(id, none, 1, 0); },
        [&](auto id) { return service->copyContentsMacToDevice(id, std::nullopt, 1, 0, "List"); },
        [&](auto id) { return service->copyContentsMacToDevice(id, someContents, 5, 0); },
        [&](auto id) { return service->copyContentsMacToDevice(id, someContents, 1, 9); },
        [&](auto id) { return service->copyContentsDeviceToMac(id, none, "/tmp", 1, std::nullopt); },
        [&](auto id) { return service->deleteContents(id, none, 1, 0); },
        [&](auto id) { return service->deleteContents(id, someContents, 4, 9); },
        [&](auto id) { return service->syncContents(id, std::nullopt, 1, true); },
        [&](auto id) { return service->addContentsToPlaylist(id, none, 10, "List"); },
        [&](auto id) { return service->addContentsToPlaylist(id, someContents, 1, "List"); },
        [&](auto id) { return service->deleteContentsAtPlaylist(id, someContents, 1, "List"); },
        [&](auto id) { return service->deleteContentsAtPlaylist(id, someContents, 10, std::nullopt); },
    };
    const BusyWorker busy(*this); // whatever were queued would post nothing now
    for (std::uint32_t id = 0; id < refused.size(); ++id) {
        EXPECT_TRUE(refused[id](id)) << id;
        const auto sent = recorder.progress(id);
        ASSERT_EQ(sent.size(), 1U) << id;
        EXPECT_EQ(sent[0].uint32("TransferStatus"), 3U);
        EXPECT_EQ(sent[0].uint32("Current"), 0U);
        EXPECT_EQ(sent[0].uint32("Max"), 0U);
        EXPECT_EQ(sent[0].string("LocationId"), "C0FFEE");
        EXPECT_FALSE(sent[0].contains("Fail"));
    }
}

TEST_F(RequestTest, DeviceToDeviceAsksForTheOtherServiceAndItsFolder) {
    auto delegate = std::make_shared<Delegate>();
    std::uint32_t id = 20;
    const auto copy = [&](const Text& source, const Text& destination, std::uint32_t mediaType, std::uint32_t index) {
        EXPECT_TRUE(service->copyContentsDeviceToDevice(++id, someContents, source, destination, mediaType, index));
        const auto sent = recorder.progress(id);
        return sent.empty() ? Text() : sent.front().string("LocationId");
    };
    const BusyWorker busy(*this);
    EXPECT_EQ(copy("A1", std::nullopt, 1, 0), "A1");
    EXPECT_EQ(copy(std::nullopt, "B2", 1, 0), "C0FFEE");
    EXPECT_EQ(copy("A1", "B2", 1, 0), "A1"); // no delegate
    service->setConfirmDelegate(delegate);
    EXPECT_EQ(copy("A1", "B2", 1, 0), "A1"); // no such service
    EXPECT_EQ(delegate->asked, "B2");
    delegate->raises = true;
    EXPECT_EQ(copy("A1", "B2", 1, 0), "A1");
    delegate->raises = false;
    delegate->other = std::make_shared<MTPService>();
    EXPECT_EQ(copy("A1", "B2", 1, 0), "A1"); // which lists no storages
    delegate->other->addDiskInformation(storage);
    EXPECT_EQ(copy("A1", "B2", 1, 9), "A1"); // no such storage
    EXPECT_EQ(copy("A1", "B2", 5, 0), "A1"); // no such media type
    EXPECT_EQ(copy("A1", "B2", 1, 0), std::nullopt);
    EXPECT_EQ(copy("A1", "B2", 2, 0), std::nullopt); // by the profile, as the entry has no folder for it
    service->setConfirmDelegate(nullptr);            // keeps the one set before
    EXPECT_EQ(copy("A1", "B2", 1, 0), std::nullopt);
    for (const std::uint32_t queued : {id - 2, id - 1, id}) {
        EXPECT_TRUE(service->emptyQueue(queued));
    }
}

TEST_F(RequestTest, CancellingTakesQueuedRequestsOutAndForgetsTheID) {
    const BusyWorker busy(*this);
    service->copyContentsMacToDevice(1, someContents, 1, 0);
    service->copyContentsMacToDevice(2, someContents, 1, 0);
    service->copyContentsMacToDevice(1, someContents, 2, 0); // refused: the entry has no such folder
    service->deleteContents(1, someContents, 1, 0);
    recorder.clear();
    service->cancelFileAction(1);
    EXPECT_EQ(statuses(1), (Numbers{3, 3}));
    EXPECT_EQ(statuses(2), Numbers{});
    EXPECT_FALSE(service->isCancelServiceId(1));
    EXPECT_FALSE(service->emptyQueue(1));
    EXPECT_TRUE(service->emptyQueue(2));
    EXPECT_EQ(statuses(2), (Numbers{3}));
}

TEST_F(RequestTest, CancellingTheRunningRequestLeavesItsIDForTheJob) {
    BusyWorker busy(*this);
    service->cancelFileAction(BusyWorker::busyID);
    EXPECT_TRUE(service->isCancelServiceId(BusyWorker::busyID));
    busy.release();
    EXPECT_TRUE(recorder.waitForStatus(BusyWorker::busyID, 3));
    EXPECT_TRUE(tests::waitUntil([&] { return service->isIdle(); }));
    EXPECT_FALSE(service->isCancelServiceId(BusyWorker::busyID)) << "the job has done with it";
}

TEST_F(RequestTest, AQueuedTwinKeepsTheRunningRequestFromBeingStopped) {
    BusyWorker busy(*this);
    service->copyContentsMacToDevice(BusyWorker::busyID, someContents, 1, 0);
    service->cancelFileAction(BusyWorker::busyID);
    EXPECT_FALSE(service->isCancelServiceId(BusyWorker::busyID));
    busy.release();
    EXPECT_TRUE(recorder.waitForStatus(BusyWorker::busyID, 4));
}

TEST_F(RequestTest, CancelPassesOverTheNextIDAndReadsPastTheEnd) {
    const BusyWorker busy(*this);
    service->cancelFileAction(7); // nothing queued: stays
    service->cancelFileAction(8);
    service->copyContentsMacToDevice(7, someContents, 1, 0);
    service->copyContentsMacToDevice(8, someContents, 1, 0);
    EXPECT_THROW(service->emptyQueue(), std::out_of_range);
    EXPECT_EQ(statuses(7), (Numbers{3}));
    EXPECT_EQ(statuses(8), Numbers{}) << "the one that moved up was passed over";
    EXPECT_TRUE(service->isCancelServiceId(8));
    service->emptyQueue();
    EXPECT_EQ(statuses(8), (Numbers{3}));
    EXPECT_FALSE(service->isCancelServiceId(8));
}

TEST_F(RequestTest, AReleasedServiceRefuses) {
    service->exitServiceThread();
    service->copyContentsMacToDevice(1, someContents, 1, 0);
    service->deleteContents(2, someContents, 1, 0);
    EXPECT_EQ(statuses(1), (Numbers{3}));
    EXPECT_EQ(statuses(2), (Numbers{3}));
    EXPECT_EQ(service->copyContentToPlay(3, 0, 1, Dictionary{{"FilePath", "/Player/Phone/a.mp3"}}), std::nullopt);
    EXPECT_EQ(statuses(3), Numbers{}) << "playing is refused in silence";
    EXPECT_EQ(service->copyContentToPlay(4, 0, 1, Dictionary{}), std::nullopt);
    EXPECT_EQ(statuses(4), (Numbers{3}));
    EXPECT_TRUE(tests::waitUntil([&] { return service->isIdle(); }));
}

TEST_F(RequestTest, ARequestMadeInACancelNotificationIsLostButADeletionIsNot) {
    BusyWorker busy(*this);
    service->copyContentsMacToDevice(1, someContents, 1, 0);
    service->copyContentsMacToDevice(2, someContents, 1, 0);
    recorder.onEach([&](const platform::Notification& notification) {
        if (notification.userInfo.uint32("ServiceID") == 1U) {
            service->copyContentsMacToDevice(5, someContents, 1, 0);
            service->deleteContents(6, someContents, 1, 0);
        }
    });
    EXPECT_TRUE(service->emptyQueue(1));
    recorder.onEach({});
    EXPECT_FALSE(service->emptyQueue(5));
    EXPECT_TRUE(service->emptyQueue(6));
    EXPECT_TRUE(service->emptyQueue(2));
    busy.release();
}

TEST_F(RequestTest, AJobThatIsNotThereLeavesTheWorkerRunning) {
    service->deleteContents(1, someContents, 1, 0);
    ASSERT_TRUE(tests::waitUntil([&] { return service->isIdle(); }));
    service->copyContentsMacToDevice(2, someContents, 1, 0);
    EXPECT_TRUE(recorder.waitForStatus(2, 4));
    ASSERT_TRUE(tests::waitUntil([&] { return service->isIdle(); }));
    EXPECT_EQ(numbers(recorder.results(2), "ResultStatus"), (Numbers{0x23000001}));
}

TEST_F(RequestTest, ARequestMadeWhenIdleIsNeverMissed) {
    // Without a pause in between, so that the request meets the worker just as it goes back to waiting.
    for (std::uint32_t round = 0; round < 2000; ++round) {
        service->deleteContents(1, someContents, 1, 0);
        if (round % 3 == 0) {
            service->emptyQueue(1); // leaves a wake-up that finds nothing
        }
        const auto deadline = std::chrono::steady_clock::now() + tests::longTime;
        while (!service->isIdle()) {
            ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "lost in round " << round;
            std::this_thread::yield();
        }
    }
}

TEST_F(RequestTest, DestroyingCancelsWhatIsQueuedOncePerRun) {
    {
        BusyWorker busy(*this);
        for (const std::uint32_t id : {1U, 1U, 2U, 1U}) {
            service->copyContentsMacToDevice(id, someContents, 1, 0);
        }
        std::thread destroyer([&] { service.reset(); });
        EXPECT_TRUE(recorder.waitFor([](const auto& event) { return event.userInfo.uint32("ServiceID") == 2U; }));
        busy.release();
        destroyer.join();
    }
    EXPECT_EQ(statuses(1), (Numbers{3, 3}));
    EXPECT_EQ(statuses(2), (Numbers{3}));
    EXPECT_EQ(statuses(BusyWorker::busyID).back(), 4) << "the running job went on to its end";
}

TEST_F(RequestTest, DestroyedInsideItsOwnJob) {
    recorder.onEach([&](const platform::Notification& notification) {
        if (notification.userInfo.uint32("ServiceID") == 1U) {
            service.reset();
        }
    });
    const std::weak_ptr inside = service->callbackObject().object<MTPServicePrivate>();
    service->copyContentsMacToDevice(1, someContents, 1, 0);
    EXPECT_TRUE(recorder.waitForStatus(1, 4));
    EXPECT_TRUE(tests::waitUntil([&] { return inside.expired(); })) << "all is given back after the job";
    EXPECT_EQ(gMtpService, nullptr);
}

TEST_F(RequestTest, DestroyedInsideACancelNotification) {
    BusyWorker busy(*this);
    service->copyContentsMacToDevice(1, someContents, 1, 0);
    service->copyContentsMacToDevice(2, someContents, 1, 0);
    recorder.onEach([&](const platform::Notification& notification) {
        if (notification.userInfo.uint32("ServiceID") == 1U) {
            service.reset();
        }
    });
    const std::weak_ptr inside = service->callbackObject().object<MTPServicePrivate>();
    service->cancelFileAction(1);
    EXPECT_TRUE(service == nullptr);
    busy.release();
    EXPECT_TRUE(recorder.waitForStatus(2, 3)) << "what was queued is told as cancelled";
    EXPECT_TRUE(tests::waitUntil([&] { return inside.expired(); }));
}

TEST_F(RequestTest, TheNewestServiceIsTheGlobalOne) {
    EXPECT_EQ(gMtpService, service.get());
    auto second = std::make_unique<MTPService>(Text("1234"));
    EXPECT_EQ(gMtpService, second.get());
    EXPECT_EQ(second->locationID(), "1234");
    EXPECT_EQ(second->storageInformation(), std::nullopt);
    MTPService third;
    second.reset();
    EXPECT_EQ(gMtpService, &third);
}

TEST_F(RequestTest, RequestsFromSeveralThreadsAllEnd) {
    std::vector<std::thread> threads;
    for (std::uint32_t thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&, thread] {
            for (std::uint32_t n = 0; n < 50; ++n) {
                const std::uint32_t id = 1000 * (thread + 1) + n;
                service->deleteContents(id, someContents, 1, 0);
                service->copyContentsMacToDevice(id, someContents, 1, 0);
                if (n % 5 == 0) {
                    service->emptyQueue(id);
                }
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    service.reset(); // a lost wake-up may leave requests waiting; the end finds them all
}
