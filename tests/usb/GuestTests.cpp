// SPDX-License-Identifier: MIT
// The session over real USB, against a responder that is not ours, and ours. Runs as root in the guest machine, where
// the device's storages are folders in sight, in GUEST_STORAGES, and its cable is a file of the gadget GUEST_GADGET.
#include "devices/DeviceRegistry.h"
#include "mtp/Session.h"
#include "platform/Strings.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <mutex>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace mtpsdk {
namespace {

using namespace std::chrono_literals;

constexpr auto patience = 60s;

std::string fromEnvironment(const char* name, const char* otherwise) {
    const char* const value = std::getenv(name);
    return value != nullptr ? value : otherwise;
}
const std::string storageFolder = fromEnvironment("GUEST_STORAGES", "/storages");
const std::string phone = storageFolder + "/Phone/";
const std::string card = storageFolder + "/Card/";
const std::string cable = "/sys/kernel/config/usb_gadget/" + fromEnvironment("GUEST_GADGET", "player") + "/UDC";

/// Waits without resting on luck: what is waited for is asked again until it is there, or the patience ends.
bool comesTrue(const std::function<bool()>& what) {
    const auto end = std::chrono::steady_clock::now() + patience;
    while (!what()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(50ms);
    }
    return true;
}

bool writeCable(const std::string& text) {
    std::ofstream file(cable);
    file << text << "\n" << std::flush;
    return file.good();
}
void pullOut() {
    (void) writeCable("");
}
bool isPluggedIn() {
    std::string port;
    std::ifstream file(cable);
    return std::getline(file, port) && !port.empty();
}
/// A responder that has to begin anew after the cable was pulled is waited for.
void plugIn() {
    const std::string port = std::filesystem::directory_iterator("/sys/class/udc")->path().filename().string();
    EXPECT_TRUE(comesTrue([&port] { return isPluggedIn() || writeCable(port); }));
}

/// Bytes that tell their place, whatever packets or blocks are lost, repeated or changed places: a piece as long as a
/// prime number, over and over. Made quickly, as the machine that runs this is an emulated one.
std::string patterned(std::size_t size) {
    constexpr std::size_t prime = 65'521;
    std::string bytes(std::min(size, prime), '\0');
    std::uint32_t state = 12345;
    for (char& byte : bytes) {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<char>(state >> 24);
    }
    while (bytes.size() < size) {
        bytes.append(bytes, 0, std::min(bytes.size(), size - bytes.size()));
    }
    return bytes;
}

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::error_code error;
    std::string bytes(file ? std::filesystem::file_size(path, error) : 0, '\0');
    file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return bytes;
}

std::size_t filesIn(const std::string& folder) {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

std::vector<vemomtpsdk::AttachedDevice> usbDevices() {
    auto devices = DeviceRegistry::shared().devices();
    std::erase_if(devices, [](const auto& device) { return device.kind != "usb"; });
    return devices;
}

class GuestTest : public ::testing::Test {
protected:
    void SetUp() override { openSession(); }

    void openSession() {
        constexpr int mostTimes = 3;
        session.reset();
        DGSTATUS status = open();
        // Some responders leave the bus a moment after the cable was put back, for what pulling it did to them.
        for (int times = 1; status != DGSTATUS_SUCCESS && !isPluggedIn() && times < mostTimes; ++times) {
            plugIn();
            status = open();
        }
        ASSERT_EQ(status, DGSTATUS_SUCCESS);
        ASSERT_EQ(storages.size(), 2U);
    }

    DGSTATUS open() {
        std::vector<vemomtpsdk::AttachedDevice> devices;
        const auto decided = [&devices] {
            devices = usbDevices();
            return !devices.empty() || !isPluggedIn();
        };
        if (!comesTrue(decided) || devices.empty()) {
            return DGSTATUS_NO_DEVICE_ATTACHED;
        }
        std::unique_ptr<Transport> transport;
        DGSTATUS status = DeviceRegistry::shared().openTransport(devices.front().locationId, transport);
        if (status == DGSTATUS_SUCCESS) {
            status = Session::open(std::move(transport), session);
        }
        return status == DGSTATUS_SUCCESS ? session->storageIds(storages) : status;
    }

    DGSTATUS send(const std::string& name, const std::string& content, std::size_t storage = 0,
                  const TransferProgress& progress = {}) {
        NewObject object;
        object.storageId = storages[storage];
        object.format = raw(FormatCode::Undefined);
        object.size = content.size();
        object.name = platform::toUtf16(name);
        std::size_t offset = 0;
        const BlockSource source = [&](std::span<std::byte> block) {
            const std::size_t size = std::min(block.size(), content.size() - offset);
            std::ranges::copy(std::as_bytes(std::span(content)).subspan(offset, size), block.begin());
            offset += size;
            return static_cast<std::ptrdiff_t>(size);
        };
        MediaProperties media;
        return session->sendObject(object, source, progress, sent, media);
    }

    DGSTATUS receive(const ObjectEntry& entry, std::string& content, const TransferProgress& progress = {}) {
        content.clear();
        const BlockSink sink = [&](std::span<const std::byte> block) {
            content.append(reinterpret_cast<const char*>(block.data()), block.size());
            return true;
        };
        return session->getObject(entry.handle, entry.size, sink, progress);
    }

    void expectWorking(const std::string& name) {
        const std::string content = patterned(70'000);
        ASSERT_EQ(send(name, content), DGSTATUS_SUCCESS);
        std::string back;
        ASSERT_EQ(receive(sent, back), DGSTATUS_SUCCESS);
        EXPECT_TRUE(back == content);
        EXPECT_TRUE(contentOf(phone + name) == content);
        EXPECT_EQ(session->deleteObject(sent.handle), DGSTATUS_SUCCESS);
        EXPECT_FALSE(std::filesystem::exists(phone + name));
    }

    std::unique_ptr<Session> session;
    std::vector<std::uint32_t> storages;
    ObjectEntry sent;
};

TEST_F(GuestTest, TheDeviceIsFoundAndDescribed) {
    const auto devices = usbDevices();
    ASSERT_EQ(devices.size(), 1U);
    EXPECT_EQ(devices.front().locationId, 0x01100000U); // first bus, first port
    EXPECT_EQ(devices.front().location, "1-1");
    EXPECT_EQ(devices.front().model, "Guest Player");
    EXPECT_EQ(devices.front().manufacturer, "Example Works");
    EXPECT_EQ(devices.front().serialNumber, "GUEST0001");
    std::vector<std::u16string> names;
    std::vector<std::uint64_t> capacities;
    for (const std::uint32_t id : storages) {
        StorageInfo info;
        EXPECT_EQ(session->storageInfo(id, info), DGSTATUS_SUCCESS);
        EXPECT_GT(info.freeSpace, 0U);
        EXPECT_GE(info.maxCapacity, info.freeSpace);
        names.push_back(info.description);
        capacities.push_back(info.maxCapacity);
    }
    constexpr std::uint64_t cardSize = std::uint64_t{8} << 20;
    EXPECT_GT(capacities.front(), cardSize);
    EXPECT_EQ(capacities.back(), cardSize);
    EXPECT_EQ(names, (std::vector<std::u16string>{u"Phone", u"Card"}));
}

TEST_F(GuestTest, FilesOfEveryAwkwardLengthGoThereAndBackByteForByte) {
    // Around whole packets with the header in front (512), the first read (16 KiB) and a block (256 KiB).
    for (const std::size_t size : {0UL, 1UL, 499UL, 500UL, 501UL, 512UL, 1012UL, 16371UL, 16372UL, 16373UL, 16384UL,
                                   262131UL, 262132UL, 262133UL, 262144UL, 1'048'564UL, 3'000'001UL}) {
        const std::string content = patterned(size);
        ASSERT_EQ(send("length.bin", content), DGSTATUS_SUCCESS) << size;
        EXPECT_TRUE(contentOf(phone + "length.bin") == content) << size;
        std::string back;
        ASSERT_EQ(receive(sent, back), DGSTATUS_SUCCESS) << size;
        EXPECT_TRUE(back == content) << size;
        ASSERT_EQ(session->deleteObject(sent.handle), DGSTATUS_SUCCESS) << size;
    }
}

/// A file that is far too long to be held in memory: nothing but zeros, and its own offsets at some places.
class LongFile {
public:
    static constexpr std::uint64_t size = (std::uint64_t{1} << 32) + 1'000'003;

    [[nodiscard]] static bool isAt(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        return std::filesystem::file_size(path) == size && std::ranges::all_of(marks, [&](std::uint64_t mark) {
                   std::uint64_t found = 0;
                   file.seekg(static_cast<std::streamoff>(mark));
                   file.read(reinterpret_cast<char*>(&found), sizeof found);
                   return found == mark;
               });
    }
    static void fill(std::uint64_t offset, std::span<std::byte> block) {
        std::memset(block.data(), 0, block.size());
        for (const std::uint64_t mark : marks) {
            const auto bytes = std::as_bytes(std::span(&mark, 1));
            for (std::size_t i = 0; i < bytes.size(); ++i) {
                if (mark + i >= offset && mark + i < offset + block.size()) {
                    block[static_cast<std::size_t>(mark + i - offset)] = bytes[i];
                }
            }
        }
    }

private:
    static constexpr std::array<std::uint64_t, 5> marks = {0, 1'000'000'000, (std::uint64_t{1} << 32) - 5,
                                                           (std::uint64_t{1} << 32) + 500'000, size - 8};
};

/// Needs more memory than the guest usually has, and many minutes.
TEST_F(GuestTest, MoreThanFourGibibytesGoThereAndBack) {
    if (std::getenv("GUEST_LARGE") == nullptr) {
        GTEST_SKIP() << "GUEST_LARGE is not set";
    }
    NewObject object;
    object.storageId = storages[0];
    object.format = raw(FormatCode::Undefined);
    object.size = LongFile::size;
    object.name = u"long.bin";
    std::uint64_t offset = 0;
    const BlockSource source = [&](std::span<std::byte> block) {
        LongFile::fill(offset, block);
        offset += block.size();
        return static_cast<std::ptrdiff_t>(block.size());
    };
    MediaProperties media;
    ASSERT_EQ(session->sendObject(object, source, {}, sent, media), DGSTATUS_SUCCESS);
    EXPECT_EQ(sent.size, LongFile::size);
    EXPECT_TRUE(LongFile::isAt(phone + "long.bin"));

    offset = 0;
    bool same = true;
    std::vector<std::byte> expected;
    const BlockSink sink = [&](std::span<const std::byte> block) {
        expected.resize(block.size());
        LongFile::fill(offset, expected);
        same = same && std::memcmp(block.data(), expected.data(), block.size()) == 0;
        offset += block.size();
        return true;
    };
    EXPECT_EQ(session->getObject(sent.handle, sent.size, sink, {}), DGSTATUS_SUCCESS);
    EXPECT_TRUE(same);
    EXPECT_EQ(offset, LongFile::size);
    EXPECT_EQ(session->deleteObject(sent.handle), DGSTATUS_SUCCESS);
}

TEST_F(GuestTest, NamesAreKeptInEveryScript) {
    for (const char* const name : {"Grüße.mp3", "日本語.bin", "Привет мир.txt", "🎵 ♪.ogg"}) {
        ASSERT_EQ(send(name, "x"), DGSTATUS_SUCCESS) << name;
        EXPECT_EQ(platform::toUtf8(sent.name), name);
        // This responder writes characters beyond the basic plane in a way of its own, but reads them back right.
        const bool beyond = std::string_view(name).substr(0, 1) == "\xF0";
        EXPECT_TRUE(beyond || std::filesystem::exists(phone + name)) << name;
        EXPECT_EQ(session->deleteObject(sent.handle), DGSTATUS_SUCCESS) << name;
    }
}

TEST_F(GuestTest, FoldersAreListedWithAllThatIsInThem) {
    ObjectEntry folder;
    ASSERT_EQ(session->createFolder(storages[0], 0, u"Shelf", folder), DGSTATUS_SUCCESS);
    std::vector<ObjectEntry> entries;
    EXPECT_EQ(session->listFolder(storages[0], folder.handle, entries), DGSTATUS_SUCCESS);
    EXPECT_TRUE(entries.empty());
    std::ofstream(phone + "Shelf/one.txt") << "1";
    std::ofstream(phone + "Shelf/two.txt") << "22";
    std::filesystem::create_directory(phone + "Shelf/three");
    EXPECT_EQ(session->listFolder(storages[0], folder.handle, entries), DGSTATUS_SUCCESS);
    std::ranges::sort(entries, {}, &ObjectEntry::name);
    ASSERT_EQ(entries.size(), 3U);
    EXPECT_EQ(entries[0].name, u"one.txt");
    EXPECT_EQ(entries[1].name, u"three");
    EXPECT_EQ(entries[1].format, raw(FormatCode::Association));
    EXPECT_EQ(entries[2].size, 2U);
    EXPECT_EQ(session->listFolder(storages[0], 0, entries), DGSTATUS_SUCCESS);
    EXPECT_EQ(std::ranges::count(entries, u"Shelf", &ObjectEntry::name), 1);
    EXPECT_EQ(session->listFolder(storages[1], 0, entries), DGSTATUS_SUCCESS);
    EXPECT_EQ(std::ranges::count(entries, u"Shelf", &ObjectEntry::name), 0);
    EXPECT_EQ(session->deleteObject(folder.handle), DGSTATUS_SUCCESS);
    EXPECT_FALSE(std::filesystem::exists(phone + "Shelf"));
}

TEST_F(GuestTest, AFullStorageRefusesAndNothingStays) {
    const std::size_t before = filesIn(card);
    EXPECT_EQ(send("large.bin", patterned(20'000'000), 1), DGSTATUS_INTERNAL_STOREFULL);
    EXPECT_EQ(filesIn(card), before);
    expectWorking("after.bin");
}

TEST_F(GuestTest, ACancelledSendLeavesNothingAndTheSessionGoesOn) {
    const TransferProgress stop = [](std::uint64_t current, std::uint64_t) { return current >= 2'000'000; };
    EXPECT_EQ(send("stopped.bin", patterned(8'000'000), 0, stop), DGSTATUS_IO_CANCEL_SUCCESS);
    EXPECT_FALSE(std::filesystem::exists(phone + "stopped.bin"));
    EXPECT_TRUE(session->connected());
    expectWorking("after.bin");
}

TEST_F(GuestTest, ACancelledReceiveLeavesTheSessionInStep) {
    const std::string content = patterned(8'000'000);
    ASSERT_EQ(send("kept.bin", content), DGSTATUS_SUCCESS);
    const ObjectEntry kept = sent;
    const TransferProgress stop = [](std::uint64_t current, std::uint64_t) { return current >= 1'000'000; };
    std::string back;
    EXPECT_EQ(receive(kept, back, stop), DGSTATUS_IO_CANCEL_SUCCESS);
    EXPECT_EQ(receive(kept, back), DGSTATUS_SUCCESS);
    EXPECT_TRUE(back == content);
    EXPECT_EQ(session->deleteObject(kept.handle), DGSTATUS_SUCCESS);
}

TEST_F(GuestTest, PullingTheCableEndsTheTransferAndPluggingInBringsTheDeviceBack) {
    bool pulled = false;
    const TransferProgress pull = [&](std::uint64_t current, std::uint64_t) {
        if (current >= 1'000'000 && !pulled) {
            pulled = true;
            pullOut();
        }
        return false;
    };
    EXPECT_EQ(send("pulled.bin", patterned(8'000'000), 0, pull), DGSTATUS_NO_DEVICE_ATTACHED);
    EXPECT_FALSE(session->connected());
    EXPECT_TRUE(comesTrue([] { return usbDevices().empty(); }));
    plugIn();
    ASSERT_NO_FATAL_FAILURE(openSession());
    expectWorking("back.bin");
    std::filesystem::remove(phone + "pulled.bin");
}

TEST_F(GuestTest, PullingTheCableIsNoticedWhileNothingMoves) {
    pullOut();
    EXPECT_TRUE(comesTrue([this] { return !session->connected(); }));
    plugIn();
    ASSERT_NO_FATAL_FAILURE(openSession());
    expectWorking("back.bin");
}

TEST_F(GuestTest, ASessionThatAKilledProgramLeftOpenIsTakenOver) {
    session.reset();
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        openSession();
        (void) send("torn.bin", patterned(8'000'000), 0, [&](std::uint64_t current, std::uint64_t) {
            if (current >= 1'000'000) {
                (void) ::write(ready[1], "x", 1);
                ::pause();
            }
            return false;
        });
        ::_exit(1);
    }
    ::close(ready[1]); // a child that ends early is read as an end
    char byte = 0;
    ASSERT_EQ(::read(ready[0], &byte, 1), 1);
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    ASSERT_NO_FATAL_FAILURE(openSession());
    expectWorking("after.bin");
    std::filesystem::remove(phone + "torn.bin");
}

TEST_F(GuestTest, AnObjectThatAppearsOnTheDeviceIsAnnounced) {
    std::mutex mutex;
    std::condition_variable changed;
    std::uint32_t added = 0;
    ObjectEntry folder;
    std::vector<ObjectEntry> entries;
    ASSERT_EQ(session->createFolder(storages[0], 0, u"Watched", folder), DGSTATUS_SUCCESS);
    ASSERT_EQ(session->listFolder(storages[0], folder.handle, entries), DGSTATUS_SUCCESS); // it watches what was listed
    session->setEventHandler([&](const Session::Event& event) {
        const std::lock_guard lock(mutex);
        if (event.code == EventCode::ObjectAdded) {
            added = event.parameters[0];
            changed.notify_all();
        }
    });
    std::ofstream(phone + "Watched/appeared.txt") << "hello";
    {
        std::unique_lock lock(mutex);
        ASSERT_TRUE(changed.wait_for(lock, patience, [&] { return added != 0; }));
    }
    session->setEventHandler({});
    ObjectEntry entry;
    ASSERT_EQ(session->objectEntry(added, entry), DGSTATUS_SUCCESS);
    EXPECT_EQ(entry.name, u"appeared.txt");
    EXPECT_EQ(session->deleteObject(folder.handle), DGSTATUS_SUCCESS);
    EXPECT_FALSE(std::filesystem::exists(phone + "Watched"));
}

} // namespace
} // namespace mtpsdk
