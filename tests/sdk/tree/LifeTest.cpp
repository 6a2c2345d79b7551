// SPDX-License-Identifier: MIT
// Events, threads, and devices that go away.
#include "VirtualDeviceTest.h"

#include "mtp/Codes.h"
#include "mtp/Datasets.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

using mtpsdk::EventCode;

namespace {

using namespace std::chrono_literals;

class LifeTest : public VirtualDeviceTest {
protected:
    struct Heard {
        std::uint32_t code = 0;
        _MTP_COMMON_NODE* target = nullptr;
        _MTP_COMMON_NODE* parent = nullptr;
        _MTP_COMMON_NODE* updated = nullptr;
        DGSTATUS status = 0;
    };
    /// What an application's event callbacks saw.
    struct Ear {
        std::mutex mutex;
        std::condition_variable heard;
        std::vector<Heard> events;
        std::vector<std::uint32_t> plain;
        bool applies = true;
        std::function<void()> during;

        template <typename Predicate>
        bool waitUntil(const Predicate& predicate) {
            std::unique_lock lock(mutex);
            return heard.wait_for(lock, 20s, predicate);
        }
        bool waitFor(std::size_t count) {
            return waitUntil([&] { return events.size() >= count; });
        }
    };
    static std::uint32_t onEvent(std::uint32_t code, void* context) {
        auto& ear = *static_cast<Ear*>(context);
        const std::lock_guard lock(ear.mutex);
        ear.plain.push_back(code);
        return 0;
    }
    static std::uint32_t onEventEx(std::uint32_t code, _MTP_COMMON_NODE* target, void* handle, void* context) {
        auto& ear = *static_cast<Ear*>(context);
        Heard event{code, target};
        if (ear.during) {
            ear.during();
        }
        if (ear.applies) {
            event.status = mtpApplyOperationNotification(handle, &event.parent, &event.updated);
        }
        const std::lock_guard lock(ear.mutex);
        ear.events.push_back(event);
        ear.heard.notify_all();
        return 0;
    }
    void listen(Ear& ear) {
        ASSERT_EQ(mtpRequestEventNotify(device(), onEvent, &ear), DGSTATUS_SUCCESS);
        ASSERT_EQ(mtpRequestEventNotifyEx(device(), onEventEx, &ear), DGSTATUS_SUCCESS);
    }
    void stopListening() {
        EXPECT_EQ(mtpRequestEventNotify(device(), nullptr, nullptr), DGSTATUS_SUCCESS);
        EXPECT_EQ(mtpRequestEventNotifyEx(device(), nullptr, nullptr), DGSTATUS_SUCCESS);
    }
};

TEST_F(LifeTest, appliesWhatSomeoneElseAddsAndRemoves) {
    Ear ear;
    EXPECT_TRUE(fileNames().empty());
    listen(ear);
    const std::uint64_t used = storage()->UsedSize;
    _folder.write("device/Internal/new.txt", "12345");
    ASSERT_TRUE(ear.waitFor(1));
    EXPECT_EQ(ear.events[0].code, raw(EventCode::ObjectAdded));
    EXPECT_EQ(ear.events[0].target, root());
    EXPECT_EQ(ear.events[0].parent, root());
    ASSERT_NE(ear.events[0].updated, nullptr);
    EXPECT_EQ(ear.events[0].updated->Signature, MTP_SIGNATURE_FILE);
    EXPECT_EQ(fileNames(), (Names{"new.txt"}));
    std::filesystem::remove(onDevice("Internal/new.txt"));
    ASSERT_TRUE(ear.waitUntil([&] { return ear.events.back().code == raw(EventCode::ObjectRemoved); }));
    stopListening();
    const Heard& removal = ear.events.back();
    EXPECT_EQ(removal.target, ear.events[0].updated);
    EXPECT_EQ(removal.parent, root());
    EXPECT_EQ(removal.updated, nullptr);
    EXPECT_EQ(libIsExist(removal.target, MTP_SIGNATURE_FILE), 0);
    EXPECT_TRUE(fileNames().empty());
    EXPECT_EQ(+storage()->UsedSize, used);
    EXPECT_EQ(ear.plain.size(), ear.events.size());
}

TEST_F(LifeTest, appliesEventsItselfWhenNobodyDoes) {
    Ear ear;
    ear.applies = false;
    listen(ear);
    EXPECT_TRUE(folderNames().empty());
    std::filesystem::create_directory(onDevice("Internal/Music"));
    EXPECT_TRUE(eventually([&] { return folderNames() == Names{"Music"}; }));
    stopListening();
    std::filesystem::create_directory(onDevice("Internal/Films"));
    EXPECT_TRUE(eventually([&] { return folderNames().size() == 2; }));
}

TEST_F(LifeTest, doesNotReportItsOwnChanges) {
    Ear ear;
    listen(ear);
    _MTP_FILE_NODE* file = sent("own.txt", "abc");
    const std::uint32_t handle = file->header.Id;
    // Some devices report to the one that made the change, too.
    faults().raise(EventCode::ObjectAdded, {handle});
    EXPECT_EQ(mtpDeleteNode(&file->header), DGSTATUS_SUCCESS);
    faults().raise(EventCode::ObjectRemoved, {handle});
    faults().raise(EventCode::DevicePropChanged, {0xD402});
    ASSERT_TRUE(ear.waitUntil(
        [&] { return !ear.events.empty() && ear.events.back().code == raw(EventCode::DevicePropChanged); }));
    stopListening();
    EXPECT_EQ(ear.events.size(), 1U);
    EXPECT_TRUE(fileNames().empty());
}

TEST_F(LifeTest, dropsItsTreeAfterAReset) {
    Ear ear;
    _folder.write("device/Internal/a.txt", "1");
    ASSERT_EQ(fileNames().size(), 1U);
    _MTP_FILE_NODE* file = nullptr;
    ASSERT_EQ(mtpGetFileListHead(root(), &file, nullptr, nullptr), DGSTATUS_SUCCESS);
    listen(ear);
    faults().raise(EventCode::DeviceReset, {});
    ASSERT_TRUE(ear.waitFor(1));
    EXPECT_EQ(libIsExist(&file->header, MTP_SIGNATURE_FILE), 0);
    EXPECT_EQ(libIsExist(root(), MTP_SIGNATURE_STORAGE), 1);
    EXPECT_EQ(fileNames(), (Names{"a.txt"}));
    _MTP_STORAGE_NODE* gone = card();
    faults().raise(EventCode::StoreRemoved, {gone->header.Id});
    ASSERT_TRUE(ear.waitFor(2));
    stopListening();
    EXPECT_EQ(ear.events[1].target, &gone->header);
    EXPECT_EQ(libIsExist(&gone->header, MTP_SIGNATURE_STORAGE), 0);
    _MTP_STORAGE_NODE* head = nullptr;
    ASSERT_EQ(mtpGetStorageListHead(device(), &head), DGSTATUS_SUCCESS);
    EXPECT_EQ(head, storage());
    EXPECT_EQ(text(card()->Label), "Card") << "the device lists it still";
}

TEST_F(LifeTest, givesAStorageListBackWhoseHeadIsGone) {
    Ear ear;
    _MTP_STORAGE_NODE* head = storage();
    _MTP_STORAGE_NODE* second = card();
    listen(ear);
    faults().raise(EventCode::StoreRemoved, {head->header.Id});
    ASSERT_TRUE(ear.waitFor(1));
    stopListening();
    EXPECT_EQ(libIsExist(&head->header, MTP_SIGNATURE_STORAGE), 0);
    faults().alterData({mtpsdk::OperationCode::GetStorageIDs, 1, 0},
                       [&](auto& bytes) { bytes = mtpsdk::encode(std::vector<std::uint32_t>{second->header.Id}); });
    _MTP_STORAGE_NODE* again = nullptr;
    ASSERT_EQ(mtpGetStorageListHead(device(), &again), DGSTATUS_SUCCESS);
    EXPECT_EQ(again, second);
    EXPECT_EQ(mtpReleaseStorageList(head), DGSTATUS_SUCCESS);
    EXPECT_EQ(libIsExist(&second->header, MTP_SIGNATURE_STORAGE), 1) << "one reference is left";
    EXPECT_EQ(mtpReleaseStorageList(again), DGSTATUS_SUCCESS);
    EXPECT_EQ(libIsExist(&second->header, MTP_SIGNATURE_STORAGE), 0) << "none is left";
    EXPECT_EQ(mtpReleaseStorageList(head), DGSTATUS_NODE_IS_NOT_EXISTED);
}

TEST_F(LifeTest, waitsForACallbackUnderWayWhenItIsWithdrawn) {
    Ear ear;
    std::atomic<bool> inside = false;
    std::atomic<bool> letGo = false;
    std::atomic<bool> left = false;
    ear.during = [&] {
        inside = true;
        EXPECT_TRUE(eventually([&] { return letGo.load(); }));
        left = true;
    };
    ear.applies = false;
    listen(ear);
    faults().raise(EventCode::DevicePropChanged, {0xD402});
    ASSERT_TRUE(eventually([&] { return inside.load(); }));
    std::thread withdrawer([&] {
        stopListening();
        EXPECT_TRUE(left);
    });
    letGo = true;
    withdrawer.join();
    // From within the callback itself there is nothing to wait for.
    Ear other;
    other.during = [&] { stopListening(); };
    other.applies = false;
    listen(other);
    faults().raise(EventCode::DevicePropChanged, {0xD402});
    EXPECT_TRUE(other.waitFor(1));
}

TEST_F(LifeTest, replacesACallbackUnderWayWithoutAWait) {
    Ear ear;
    Ear next;
    std::mutex monitor; // what an application may hold while it registers, and need while it is called
    std::atomic<bool> inside = false;
    ear.applies = next.applies = false;
    ear.during = [&] {
        inside = true;
        const bool taken = eventually([&] { return monitor.try_lock(); });
        EXPECT_TRUE(taken) << "registering waited for this call";
        if (taken) {
            monitor.unlock();
        }
    };
    listen(ear);
    {
        const std::lock_guard lock(monitor);
        faults().raise(EventCode::DevicePropChanged, {0xD402});
        ASSERT_TRUE(eventually([&] { return inside.load(); }));
        listen(next);
    }
    faults().raise(EventCode::DevicePropChanged, {0xD402});
    EXPECT_TRUE(next.waitFor(1));
    EXPECT_EQ(ear.events.size(), 1U);
    stopListening();
}

TEST_F(LifeTest, refusesHandlesOutsideTheirCallback) {
    _MTP_COMMON_NODE* parent = root();
    _MTP_COMMON_NODE* updated = root();
    EXPECT_EQ(mtpApplyOperationNotification(nullptr, &parent, &updated), DGSTATUS_INVALID_PARAMETER);
    EXPECT_EQ(parent, nullptr);
    EXPECT_EQ(mtpApplyOperationNotification(this, &parent, &updated), DGSTATUS_INVALID_PARAMETER);
    EXPECT_EQ(mtpRequestEventNotify(nullptr, onEvent, nullptr), DGSTATUS_INVALID_PARAMETER);
}

TEST_F(LifeTest, servesTwoThreadsAtOnce) {
    storage();
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 2; ++thread) {
        threads.emplace_back([this, thread] {
            _MTP_FOLDER_NODE* folder = nullptr;
            ASSERT_EQ(createFolder(root(), "Folder " + std::to_string(thread), &folder), DGSTATUS_SUCCESS);
            for (int i = 0; i < 20; ++i) {
                const std::string name = std::to_string(thread) + "-" + std::to_string(i) + ".txt";
                _MTP_FILE_NODE* file = sent(name, name, &folder->header);
                ASSERT_NE(file, nullptr);
                EXPECT_EQ(receive(file, _folder.path("back-" + name)), DGSTATUS_SUCCESS);
                EXPECT_EQ(_folder.read("back-" + name), name);
                if (i % 2 == 0) {
                    EXPECT_EQ(mtpDeleteNode(&file->header), DGSTATUS_SUCCESS);
                }
            }
            EXPECT_EQ(fileNames(&folder->header).size(), 10U);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(folderNames().size(), 2U);
}

TEST_F(LifeTest, survivesADeviceThatIsPulledOut) {
    _MTP_FILE_NODE* file = sent("a.txt", "abc");
    const std::string content(2 << 20, 'x');
    std::string directory = this->directory();
    const auto pull = [](std::uint64_t current, std::uint64_t, void* context) -> std::uint32_t {
        if (current >= 1 << 20) {
            vemomtpsdk::removeVirtualDevice(*static_cast<std::string*>(context));
        }
        return 0;
    };
    _MTP_FILE_NODE* none = nullptr;
    EXPECT_EQ(send(_folder.write("big.bin", content), root(), &none, pull, &directory), DGSTATUS_NO_DEVICE_ATTACHED);
    EXPECT_EQ(none, nullptr);
    EXPECT_EQ(libIsExist(&file->header, MTP_SIGNATURE_FILE), 1) << "nodes stay until they are released";
    _MTP_STORAGE_NODE* head = nullptr;
    std::uint32_t size = 0;
    EXPECT_EQ(mtpGetStorageListHead(device(), &head), DGSTATUS_NO_DEVICE_ATTACHED);
    EXPECT_EQ(mtpGetFriendlyName(device(), nullptr, &size), DGSTATUS_NO_DEVICE_ATTACHED);
    EXPECT_EQ(mtpGetFileListHead(root(), &none, nullptr, nullptr), DGSTATUS_NO_DEVICE_ATTACHED);
    EXPECT_EQ(mtpDeleteNode(&file->header), DGSTATUS_NO_DEVICE_ATTACHED);
    EXPECT_EQ(receive(file, _folder.path("back")), DGSTATUS_NO_DEVICE_ATTACHED);
    EXPECT_FALSE(std::filesystem::exists(_folder.path("back")));
    // Plugged in again it is another device, with a node of its own; the old one stays dead.
    _MTP_DEVICE_NODE* old = device();
    ASSERT_EQ(vemomtpsdk::addVirtualDevice(directory), DGSTATUS_SUCCESS);
    EXPECT_EQ(mtpRefreshDeviceList(), DGSTATUS_SUCCESS);
    _MTP_DEVICE_NODE* fresh = nullptr;
    ASSERT_EQ(mtpGetConnectedDeviceListHead(&fresh), DGSTATUS_SUCCESS);
    EXPECT_NE(fresh, old);
    EXPECT_EQ(mtpGetStorageListHead(old, &head), DGSTATUS_NO_DEVICE_ATTACHED);
    ASSERT_EQ(mtpGetStorageListHead(fresh, &head), DGSTATUS_SUCCESS);
    EXPECT_EQ(fileNames(&head->header), (Names{"a.txt"})) << "no part of the file that broke off is left";
    EXPECT_EQ(mtpReleaseDeviceList(fresh), DGSTATUS_SUCCESS);
}

TEST_F(LifeTest, keepsACallAliveWhoseListIsReleased) {
    const std::string path = _folder.write("big.bin", std::string(2 << 20, 'x'));
    const auto release = [](std::uint64_t current, std::uint64_t, void* context) -> std::uint32_t {
        if (current == 1 << 20) {
            EXPECT_EQ(mtpReleaseDeviceList(static_cast<_MTP_DEVICE_NODE*>(context)), DGSTATUS_SUCCESS);
        }
        return 0;
    };
    _MTP_FILE_NODE* file = nullptr;
    EXPECT_EQ(send(path, root(), &file, release, device()), DGSTATUS_SUCCESS);
    EXPECT_EQ(contentOnDevice("Internal/big.bin").size(), std::size_t{2} << 20);
}

TEST_F(LifeTest, tellsADeviceFromTheOneThatWasPulledOutBeforeIt) {
    const auto attached = vemomtpsdk::attachedDevices();
    const auto found = std::ranges::find(attached, location, &vemomtpsdk::AttachedDevice::locationId);
    ASSERT_NE(found, attached.end());
    ASSERT_NE(device(), nullptr);
    const auto known = mtpsdk::DeviceList::shared().at(location);
    EXPECT_TRUE(known->is(*found));
    vemomtpsdk::AttachedDevice again = *found;
    ++again.plugging;
    EXPECT_FALSE(known->is(again)) << "its line may not have noticed yet";
}

TEST(EventThreadTest, leavesTheOldestOutWhenVeryManyWait) {
    constexpr std::uint32_t kept = 65536;
    constexpr std::uint32_t extra = 10;
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::uint32_t> handled;
    bool letGo = false;
    const auto number = [](std::uint32_t code) {
        mtpsdk::Session::Event event;
        event.parameters[0] = code;
        return event;
    };
    mtpsdk::EventThread thread([&](const mtpsdk::Session::Event& event) {
        std::unique_lock lock(mutex);
        handled.push_back(event.parameters[0]);
        changed.notify_all();
        changed.wait_for(lock, 20s, [&] { return letGo; });
    });
    std::unique_lock lock(mutex);
    thread.post(number(0));
    ASSERT_TRUE(changed.wait_for(lock, 20s, [&] { return handled.size() == 1; }));
    for (std::uint32_t i = 1; i <= kept + extra; ++i) {
        thread.post(number(i));
    }
    letGo = true;
    changed.notify_all();
    ASSERT_TRUE(changed.wait_for(lock, 20s, [&] { return handled.back() == kept + extra; }));
    EXPECT_EQ(handled.size(), 1 + kept);
    EXPECT_EQ(handled[1], 1 + extra);
}

} // namespace
