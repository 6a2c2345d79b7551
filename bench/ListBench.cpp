// SPDX-License-Identifier: MIT
// What the lists by kind cost on a device of 100,000 songs in 5,000 folders, and on one twice as large: every list in a
// process of its own, against a plain walk of the device's folder that asks for every file's status. The virtual device
// runs in the same process, so its time and memory count too.

#include "bench/Measure.h"
#include "device/MTPService/MTPService.h"
#include "device/MTPService/MTPServicePrivate.h"
#include "platform/Strings.h"
#include "tree/DeviceList.h"
#include "vemomtpsdk/Devices.h"

#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int filesPerFolder = 20;

void fill(const std::filesystem::path& storage, int folders) {
    for (int folder = 0; folder < folders; ++folder) {
        const auto path = storage / "Sounds" / ("artist" + std::to_string(folder / 50)) /
                          ("an album of usual length " + std::to_string(folder));
        std::filesystem::create_directories(path);
        for (int file = 0; file < filesPerFolder; ++file) {
            std::ofstream(path / ("a song of usual length " + std::to_string(file) + ".mp3"));
        }
    }
}

std::string makeDevice(const std::filesystem::path& folder, int folders) {
    vemomtpsdk::VirtualDeviceDescription description;
    description.friendlyName = "Bench";
    description.storages = {{.label = "Phone", .capacity = 1ULL << 36, .description = "Phone"}};
    std::string error;
    if (!vemomtpsdk::createVirtualDevice(folder.string(), description, error)) {
        std::fprintf(stderr, "%s\n", error.c_str());
        std::exit(1);
    }
    fill(folder / "Phone", folders);
    return folder.string();
}

std::size_t walk(const std::filesystem::path& folder) {
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        struct stat status {};
        count += stat(entry.path().c_str(), &status) == 0 ? 1 : 0;
    }
    return count;
}

std::size_t filesIn(const std::optional<platform::Array>& groups) {
    std::size_t count = 0;
    for (const platform::Value& group : groups.value_or(platform::Array())) {
        const platform::Array* files = group.dictionary()->array("ContentMediaTag");
        count += files == nullptr ? 0 : files->size();
    }
    return count;
}

std::uint64_t transactions(MTPService& service) {
    const auto inside = service.callbackObject().object<MTPServicePrivate>();
    return mtpsdk::DeviceList::shared().deviceOf(inside->_currentDeviceNode)->session().transactionCount();
}

/// Processor time as well, which a busy machine does not stretch.
struct Cost {
    double seconds = 0;
    double processorSeconds = 0;
};

Cost costOf(const std::function<void()>& work) {
    const std::clock_t before = std::clock();
    Cost cost;
    cost.seconds = bench::seconds(work);
    cost.processorSeconds = static_cast<double>(std::clock() - before) / CLOCKS_PER_SEC;
    return cost;
}

/// In a process of its own: opens the device and lists it twice.
int list(const char* what, const std::string& directory) {
    if (vemomtpsdk::addVirtualDevice(directory) != DGSTATUS_SUCCESS) {
        return 1;
    }
    MTPService service;
    const Cost opening = costOf([&] {
        service.setLocationID(platform::upperHex(vemomtpsdk::attachedDevices().front().locationId));
        service.storageInfoLists();
    });
    std::printf("opening %.3f s (processor %.3f s)", opening.seconds, opening.processorSeconds);
    for (const char* title : {"first", "second"}) {
        const std::uint64_t before = transactions(service);
        std::size_t count = 0;
        std::optional<platform::Array> listed;
        const Cost listing = costOf([&] {
            if (std::strcmp(what, "names") == 0) {
                listed = service.fileNameList(std::nullopt, MediaTypeMusic, 0);
                count = listed.value_or(platform::Array()).size();
            } else {
                listed = service.fileInformationListForAllMediaType(std::nullopt);
                count = filesIn(listed);
            }
        });
        std::printf(", %s list %.3f s (%.3f s), %zu files, %llu transactions", title, listing.seconds,
                    listing.processorSeconds, count, static_cast<unsigned long long>(transactions(service) - before));
    }
    std::printf("\n");
    return 0;
}

void measure(const std::filesystem::path& program, const std::string& device, int folders) {
    std::size_t objects = 0;
    const Cost walking = costOf([&] { objects = walk(std::filesystem::path(device) / "Phone"); });
    std::printf("%d files in %d folders; plain walk with a status each: %.3f s (processor %.3f s), %zu objects\n",
                folders * filesPerFolder, folders, walking.seconds, walking.processorSeconds, objects);
    // The first process meets files that were never seen before; the device knows them from then on.
    for (const char* what : {"all", "all", "names"}) {
        const bench::Run run =
            bench::runProgram({program.string(), what, device}, {"HOME=" + device + "/home"},
                              [&](const std::string& line) { std::printf("%-5s %s\n", what, line.c_str()); });
        std::printf("      peak memory %ld MiB, status %d\n", run.peakKiB / 1024, run.status);
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 3) {
        return list(argv[1], argv[2]);
    }
    const bench::Folder work("bench-list");
    const auto program = std::filesystem::canonical("/proc/self/exe");
    for (const int folders : {5000, 10000}) {
        measure(program, makeDevice(work.path() / ("device" + std::to_string(folders)), folders), folders);
    }
    return 0;
}
