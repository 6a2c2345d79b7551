// SPDX-License-Identifier: MIT
// What a device of 100,000 objects costs: opening it, reading its whole tree (against a plain walk of its folder that
// asks for every file's status), finding a path ten folders deep, memory and wire transactions per object.

#include "bench/Measure.h"
#include "device/MTPService/MTPControl.h"
#include "tree/DeviceList.h"
#include "vemomtpsdk/Devices.h"
#include "vemomtpsdk/Functions.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <sys/stat.h>

namespace {

constexpr int folderCount = 1000;
constexpr int filesPerFolder = 99;
constexpr const char* deepFolders = "a/b/c/d/e/f/g/h/i/j";

void fill(const std::filesystem::path& storage) {
    for (int folder = 0; folder < folderCount; ++folder) {
        const auto path = storage / "Sounds" / ("album" + std::to_string(folder));
        std::filesystem::create_directories(path);
        for (int file = 0; file < filesPerFolder; ++file) {
            std::ofstream(path / ("a song of usual length " + std::to_string(file) + ".mp3"));
        }
    }
    std::filesystem::create_directories(storage / deepFolders);
    std::ofstream(storage / deepFolders / "deep.mp3");
}

/// Reads everything below a folder into the tree; answers how many objects there are.
std::size_t readTree(_MTP_STORAGE_NODE* storage, _MTP_FOLDER_NODE* folder) {
    std::size_t count = 0;
    _MTP_FILE_NODE* file = nullptr;
    mtpGetFileListHead(folder == nullptr ? &storage->header : &folder->header, &file, nullptr, nullptr);
    while (file != nullptr) {
        ++count;
        mtpGetNextFileNode(file, &file);
    }
    _MTP_FOLDER_NODE* child = nullptr;
    mtpGetFolderListHead(storage, folder, &child, nullptr, nullptr);
    while (child != nullptr) {
        count += 1 + readTree(storage, child);
        mtpGetNextSiblingFolderNode(child, &child);
    }
    return count;
}

std::size_t walk(const std::filesystem::path& folder) {
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        struct stat status {};
        count += stat(entry.path().c_str(), &status) == 0 ? 1 : 0;
    }
    return count;
}

_MTP_STORAGE_NODE* open(_MTP_DEVICE_NODE*& device) {
    _MTP_STORAGE_NODE* storage = nullptr;
    if (mtpGetConnectedDeviceListHead(&device) != DGSTATUS_SUCCESS ||
        mtpGetStorageListHead(device, &storage) != DGSTATUS_SUCCESS) {
        std::fprintf(stderr, "the device does not open\n");
        std::exit(1);
    }
    return storage;
}

std::uint64_t transactions(const _MTP_DEVICE_NODE* device) {
    return mtpsdk::DeviceList::shared().deviceOf(device)->session().transactionCount();
}

void resolve(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storage) {
    MtpControl control;
    const std::string path = std::string("/Bench/Phone/") + deepFolders + "/deep.mp3";
    bool isDirectory = false;
    constexpr int rounds = 10000;
    bool found = true;
    const double time = bench::seconds([&] {
        for (int i = 0; i < rounds; ++i) {
            found = found && control.fileNodeAtPath(device, storage, path, &isDirectory) != nullptr;
        }
    });
    std::printf("finding a path ten folders deep: %.2f us (%s)\n", time / rounds * 1e6, found ? "found" : "NOT FOUND");
}

} // namespace

int main() {
    const bench::Folder work("bench-tree");
    const std::string directory = (work.path() / "device").string();
    vemomtpsdk::VirtualDeviceDescription description;
    description.friendlyName = "Bench";
    description.storages = {{.label = "Phone", .capacity = 1ULL << 34, .description = "Phone"}};
    std::string error;
    if (!vemomtpsdk::createVirtualDevice(directory, description, error)) {
        std::fprintf(stderr, "%s\n", error.c_str());
        return 1;
    }
    fill(std::filesystem::path(directory) / "Phone");
    if (vemomtpsdk::addVirtualDevice(directory) != DGSTATUS_SUCCESS) {
        return 1;
    }

    _MTP_DEVICE_NODE* device = nullptr;
    _MTP_STORAGE_NODE* storage = nullptr;
    std::size_t objects = 0;
    const double walking = bench::seconds([&] { objects = walk(std::filesystem::path(directory) / "Phone"); });
    std::printf("plain walk with a status each: %.3f s, %zu objects\n", walking, objects);
    // The first reading gives every object its handle; the device knows them from then on.
    for (const char* title : {"first", "second"}) {
        const double opening = bench::seconds([&] { storage = open(device); });
        const std::size_t before = mtpRecordBytesInUse();
        const std::uint64_t wireBefore = transactions(device);
        const double reading = bench::seconds([&] { objects = readTree(storage, nullptr); });
        std::printf("%s time: opening %.3f s, reading the tree %.3f s (%.2f x the walk), %zu objects, "
                    "%.0f bytes of records each, %llu transactions for %d folders\n",
                    title, opening, reading, reading / walking, objects,
                    static_cast<double>(mtpRecordBytesInUse() - before) / static_cast<double>(objects),
                    static_cast<unsigned long long>(transactions(device) - wireBefore), folderCount + 12);
        resolve(device, storage);
        mtpReleaseStorageList(storage);
        mtpReleaseDeviceList(device);
    }
    return 0;
}
