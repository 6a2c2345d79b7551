// SPDX-License-Identifier: MIT
// Device paths and node IDs of any shape, walked over a small tree. Beside coming back at all, an ID that names nothing
// must never make anything but the path's own object be deleted.
#include "device/MTPService/MTPControl.h"
#include "platform/Paths.h"
#include "platform/Strings.h"
#include "tests/device/control/FakeLibrary.h"

#include <cstdlib>
#include <fuzzer/FuzzedDataProvider.h>

namespace {

using Text = MtpControl::Text;

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

/// A path of the tree's own names and some others, in any order; or just bytes.
std::string anyPath(FuzzedDataProvider& input) {
    static constexpr const char* names[] = {"/",     "My Phone", "Card",     "Phone", "Music", "Rock",
                                            "a.mp3", "Missing",  "my phone", "CARD",  "",      ".."};
    if (input.ConsumeProbability<float>() < 0.2F) {
        return input.ConsumeRandomLengthString(80);
    }
    std::string path;
    const int count = input.ConsumeIntegralInRange(0, 7);
    for (int i = 0; i < count; ++i) {
        path.append("/").append(input.PickValueInArray(names));
    }
    return path;
}

/// A device as the walks meet it, with the same names on several levels.
struct World {
    World() {
        fake.properties["mtpGetFriendlyName"] = "My Phone";
        device = fake.addDevice(1);
        head = fake.addStorage("Phone");
        card = fake.addStorage("Card");
        for (void* storage : {static_cast<void*>(head), static_cast<void*>(card)}) {
            _MTP_FOLDER_NODE* music = fake.addFolder(storage, "Music");
            _MTP_FOLDER_NODE* rock = fake.addFolder(music, "Rock");
            fake.addFolder(storage, "My Phone");
            fake.addFolder(storage, "Rock");
            for (void* folder : {storage, static_cast<void*>(music), static_cast<void*>(rock)}) {
                fake.addFile(folder, "a.mp3");
                fake.addFile(folder, "Music");
            }
        }
    }

    FakeLibrary fake;
    _MTP_DEVICE_NODE* device;
    _MTP_STORAGE_NODE* head;
    _MTP_STORAGE_NODE* card;
};

void look(MtpControl& control, World& world, const Text& path) {
    _MTP_STORAGE_NODE* storage = nullptr;
    _MTP_STORAGE_NODE* head = world.head;
    (void) control.searchFolder(world.device, &head, &storage, path);
    (void) control.getStorageNode(world.device, &head, path);
    (void) control.lastFolderNode(world.device, world.card, path);
    (void) control.folderNodeHead(world.device, world.card, path);
    bool directory = false;
    const _MTP_COMMON_NODE* node = control.fileNodeAtPath(world.device, world.head, path, &directory);
    require((node != nullptr) == control.fileExistsAtPath(path, std::nullopt, world.device, world.head, nullptr));
    require(!directory || node->Signature == MTP_SIGNATURE_FOLDER);
    (void) control.fileSize(world.device, world.head, path, path, nullptr);
    (void) control.fileIsExists(path, nullptr);
}

void change(MtpControl& control, World& world, const Text& path, std::uint32_t& error) {
    MtpControl::NodeID made;
    const platform::Dictionary data{{"FilePath", "/tmp/new.mp3"}, {"MediaType", 0x1000001U}};
    (void) control.createFolder(world.device, world.head, path, &made, &error);
    (void) control.createFolderInStorage(world.device, world.card, path, &made, &error);
    (void) control.sendMediaFileToMTPEx(world.device, world.head, made, &data, path, nullptr, nullptr, &made, &error);
    (void) control.transferFileToDevice(world.device, world.card, path, &data, path, nullptr, nullptr, &made, &error);
    (void) control.uploadFileFromMTPEx(world.device, world.head, path, path, "/tmp/x", nullptr, nullptr, &error);
    (void) control.renameItemAtPath(world.device, world.head, made, path, path, &error);
}

/// Deletes by path after a stale ID; what goes must be called what the path ends in.
void deleteAfterStaleID(MtpControl& control, World& world, const std::string& path, std::uint32_t& error) {
    const bool within = path.size() % 2 == 0;
    world.fake.takeCalls();
    if (within) {
        (void) control.deleteNode(world.device, world.card, "FFFFFFF0", path, &error);
    } else {
        (void) control.deleteItemAtPath(world.device, world.head, "FFFFFFF0", path, &error);
    }
    for (const std::string& call : world.fake.takeChanges()) {
        const std::string name = call.substr(call.find('(') + 1, call.size() - call.find('(') - 2);
        require(platform::equalIgnoringCase(name, platform::lastPathComponent(path)));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t length) {
    FuzzedDataProvider input(data, length);
    {
        World world;
        MtpControl control;
        std::uint32_t error = 0;
        for (int i = 0; i < 4 && input.remaining_bytes() > 0; ++i) {
            const std::string path = anyPath(input);
            look(control, world, path);
            deleteAfterStaleID(control, world, path, error);
            change(control, world, path, error);
            (void) control.deleteItemAtPath(world.device, world.head, std::nullopt, path, &error);
        }
    }
    require(mtpRecordBytesInUse() == 0);
    return 0;
}
