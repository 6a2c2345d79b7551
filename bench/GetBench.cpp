// SPDX-License-Identifier: MIT
// What getting, deleting and listing in playlists costs on a virtual device: large files against a plain copy (cp) of
// the same files in the same run; small ones by the file, which must not grow with the number of files.

#include "bench/Measure.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

constexpr std::size_t smallFiles = 2000;
constexpr std::size_t listedFiles = 1000;

/// What becomes of each copy: kept, so that the disk has its part in what is measured; or removed at once, so that all
/// happens in memory.
enum class Copies { kept, removed };

void bigFiles(int rounds, Copies copies) {
    const bench::Folder work("bench-get");
    const bench::Device device(MTPSERVICE_BINARY, work.path());
    for (std::uint64_t i = 0; i < 4; ++i) {
        bench::writeFile(device.storage() / "Videos" / ("film" + std::to_string(i) + ".mp4"), 512ULL << 20, i);
    }
    const auto settle = [&](const std::filesystem::path& made) {
        copies == Copies::kept ? sync() : static_cast<void>(std::filesystem::remove_all(made));
    };
    const char* const title = copies == Copies::kept ? "4 x 512 MiB" : "4 x 512 MiB in memory";
    std::vector<double> ratios;
    sync();
    for (int round = 0; round < rounds; ++round) {
        const auto copied = work.path() / ("copy" + std::to_string(round));
        const auto got = work.path() / ("got" + std::to_string(round));
        const bench::Run copy =
            bench::runProgram({"cp", "-r", (device.storage() / "Videos").string(), copied.string()});
        bench::require(copy, "cp");
        settle(copied);
        const bench::Run get = device.run({"get", "-r", "Videos", "-o", got.string()});
        bench::require(get, "get");
        settle(got);
        ratios.push_back(get.seconds / copy.seconds);
        std::printf("%s, round %d: plain copy %.2f s, get %.2f s, ratio %.2f, peak memory %.1f MiB\n", title, round + 1,
                    copy.seconds, get.seconds, ratios.back(), static_cast<double>(get.peakKiB) / 1024);
        std::fflush(stdout);
    }
    std::printf("%s: median ratio %.2f\n", title, bench::median(ratios));
}

/// Runs the command, whose files' results are timed.
void timed(const bench::Device& device, const char* title, const std::vector<std::string>& arguments,
           std::size_t count) {
    sync();
    std::vector<double> moments;
    const bench::Run run = device.run(arguments, moments);
    bench::require(run, title);
    if (moments.size() != count) {
        std::fprintf(stderr, "%s: %zu results of %zu files\n", title, moments.size(), count);
        std::exit(1);
    }
    std::printf("%s: %.2f s, peak memory %.1f MiB\n", title, run.seconds, static_cast<double>(run.peakKiB) / 1024);
    bench::printQuarters(title, {moments});
    std::fflush(stdout);
}

void manyFiles() {
    const bench::Folder work("bench-get");
    const bench::Device device(MTPSERVICE_BINARY, work.path());
    for (std::uint64_t i = 0; i < smallFiles; ++i) {
        bench::writeFile(device.storage() / "Sounds" / ("song" + std::to_string(i) + ".mp3"), 64 << 10, i);
    }
    timed(device, "get 2,000 x 64 KiB", {"get", "-r", "Sounds", "-o", (work.path() / "got").string()}, smallFiles);
    bench::require(device.run({"playlist", "create", "Mix"}), "playlist create");
    std::vector<std::string> add = {"playlist", "add", "Mix"};
    for (std::size_t i = 0; i < listedFiles; ++i) {
        add.push_back("Sounds/song" + std::to_string(i) + ".mp3");
    }
    timed(device, "playlist add, 1,000 files", add, listedFiles);
    timed(device, "rm 2,000 files", {"rm", "--yes", "Sounds/*.mp3"}, smallFiles);
}

} // namespace

int main(int argc, char** argv) {
    // GetBench [ROUNDS [small|big|memory]]
    const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 3;
    const std::string which = argc > 2 ? argv[2] : "";
    if (which.empty() || which == "small") {
        for (int round = 0; round < rounds; ++round) {
            manyFiles();
        }
    }
    if (which.empty() || which == "big") {
        bigFiles(rounds, Copies::kept);
    }
    if (which.empty() || which == "memory") {
        bigFiles(rounds, Copies::removed);
    }
    return 0;
}
