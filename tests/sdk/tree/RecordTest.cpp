// SPDX-License-Identifier: MIT
// When the records that an application holds change: by its own calls, whatever the device does meanwhile.
#include "VirtualDeviceTest.h"
#include "responder/FaultPlan.h"

#include <array>
#include <atomic>
#include <thread>

using namespace mtpsdk;

namespace {

class RecordTest : public VirtualDeviceTest {
protected:
    RecordTest() {
        EXPECT_EQ(createFolder(root(), "Lists", &_lists), DGSTATUS_SUCCESS);
        _goes = sent("goes.mp3", "1234");
        _grows = sent("grows.mp3", "12");
        std::array<_MTP_FILE_NODE*, 2> files = {_goes, _grows};
        const auto name = units("Mix");
        EXPECT_EQ(mtpSetNewPlaylist(&_lists->header, name.data(), bytes(name), files.data(), files.size(), &_mix),
                  DGSTATUS_SUCCESS);
        EXPECT_EQ(mtpGetFileListHead(&_lists->header, &_mixFile, nullptr, nullptr), DGSTATUS_SUCCESS);
        EXPECT_EQ(mtpRequestEventNotify(device(), onEvent, this), DGSTATUS_SUCCESS);
    }
    ~RecordTest() override { EXPECT_EQ(mtpRequestEventNotify(device(), nullptr, nullptr), DGSTATUS_SUCCESS); }

    static std::uint32_t onEvent(std::uint32_t code, void* context) {
        auto& test = *static_cast<RecordTest*>(context);
        ++(code == raw(EventCode::DevicePropChanged)   ? test._markers
           : code == raw(EventCode::ObjectInfoChanged) ? test._changes
                                                       : test._others);
        return 0;
    }
    /// Someone removes one file behind the application's back and makes another one longer; waits until the library
    /// has taken both in, which it does in order and each after its callback.
    void changeBehindTheBack() {
        std::filesystem::remove(onDevice("Internal/goes.mp3"));
        ASSERT_TRUE(eventually([this] { return libIsExist(&_goes->header, MTP_SIGNATURE_FILE) == 0; }));
        _folder.write("device/Internal/grows.mp3", "123456789");
        ASSERT_TRUE(eventually([this] { return _changes > 0; }));
        faults().raise(EventCode::DevicePropChanged, {0xD402});
        ASSERT_TRUE(eventually([this] { return _markers > 0; }));
    }
    /// What the application reads without calling anything.
    [[nodiscard]] std::array<std::uint64_t, 4> read() const {
        return {_mix->fileCount, _grows->size, _goes->size, _root->UsedSize};
    }

    _MTP_STORAGE_NODE* _root = storage();
    _MTP_FOLDER_NODE* _lists = nullptr;
    _MTP_FILE_NODE* _goes = nullptr;
    _MTP_FILE_NODE* _grows = nullptr;
    _MTP_FILE_NODE* _mixFile = nullptr;
    _MTP_PLAYLIST_NODE* _mix = nullptr;
    std::atomic<int> _changes = 0;
    std::atomic<int> _markers = 0;
    std::atomic<int> _others = 0;
};

TEST_F(RecordTest, changeByTheApplicationsOwnCallsOnly) {
    const auto before = read();
    std::atomic<bool> done = false;
    std::atomic<int> surprises = 0;
    std::thread reader([&] {
        while (!done) {
            surprises += read() == before && text(_grows->name) == "grows.mp3" ? 0 : 1;
        }
    });
    changeBehindTheBack();
    // Another thread that fetches meanwhile changes no record either, though it learns of a file's new size.
    std::thread fetcher([&] {
        EXPECT_EQ(receive(_mixFile, _folder.path("Mix.pla")), DGSTATUS_SUCCESS);
        _MTP_MEDIA_FILE_INFO* media = nullptr;
        EXPECT_EQ(mtpGetMediaFileInfo(_grows, &media), DGSTATUS_SUCCESS);
        EXPECT_EQ(+media->file.size, 9U) << "a new record says what is known by now";
        EXPECT_EQ(mtpReleaseMediaFileInfo(&media), DGSTATUS_SUCCESS);
    });
    fetcher.join();
    done = true;
    reader.join();
    EXPECT_EQ(surprises, 0);
    EXPECT_EQ(_folder.read("Mix.pla"), "/Internal/grows.mp3\n");

    EXPECT_EQ(fileNames(), Names{"grows.mp3"});
    EXPECT_EQ(+_mix->fileCount, 1U);
    EXPECT_EQ(+_grows->size, 9U);
    EXPECT_NE(+_root->UsedSize, before[3]);
    EXPECT_EQ(+_mixFile->size, _folder.read("Mix.pla").size());
}

/// What goes by a name is decided by what the device has now, not by what a record still says.
TEST_F(RecordTest, namesAreThoseThatTheDeviceHasNow) {
    faults().alterData({OperationCode::GetObjectPropList, 1, 1}, [](std::vector<std::byte>& data) {
        const std::u16string from = u"grows";
        const auto* bytes = reinterpret_cast<const std::byte*>(from.data());
        const auto place = std::search(data.begin(), data.end(), bytes, bytes + from.size() * 2);
        ASSERT_NE(place, data.end());
        place[0] = std::byte{'b'};
    });
    faults().raise(EventCode::ObjectInfoChanged, {_grows->header.Id});
    ASSERT_TRUE(eventually([this] { return _changes > 0; }));
    faults().raise(EventCode::DevicePropChanged, {0xD402});
    ASSERT_TRUE(eventually([this] { return _markers > 0; }));
    EXPECT_EQ(text(_grows->name), "grows.mp3");
    _MTP_FILE_NODE* file = nullptr;
    EXPECT_EQ(send(_folder.write("BROWS.mp3", "1"), root(), &file), DGSTATUS_NODE_FILE_DUPNAME_EXISTED);
    EXPECT_EQ(file, _grows);
    EXPECT_EQ(text(_grows->name), "brows.mp3");
}

} // namespace
