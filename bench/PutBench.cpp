// SPDX-License-Identifier: MIT
// What `mtpservice put` onto a virtual device costs, against plain copies (cp) of the same files in the same run. The
// service keeps a second, local copy of what it sends, so the baseline copies everything twice.

#include "bench/Measure.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

struct Put {
    bench::Run run;
    std::vector<double> fileSeconds; ///< arrival of each file's result, from the start
};

double plainCopies(const std::filesystem::path& source, const std::filesystem::path& work) {
    std::filesystem::create_directories(work);
    double total = 0;
    for (const char* name : {"copy1", "copy2"}) {
        sync();
        const bench::Run run = bench::runProgram({"cp", "-r", source.string(), (work / name).string()});
        bench::require(run, "cp");
        total += run.seconds;
    }
    return total;
}

Put put(const std::filesystem::path& source, const std::filesystem::path& work) {
    const bench::Device device(MTPSERVICE_BINARY, work);
    sync();
    Put result;
    result.run = device.run({"put", "--no-metadata", source.string()}, result.fileSeconds);
    bench::require(result.run, "put");
    return result;
}

/// Each round measures both, one after the other, so that a busy moment of the machine counts for both. What the rounds
/// leave is deleted after the last one: file systems are slow to give new files a place that was freed just before,
/// which would count against whoever writes next. (For the same reason let some minutes pass between two runs.)
std::vector<Put> compare(const char* title, const std::filesystem::path& source, const std::filesystem::path& folder,
                         int rounds) {
    std::vector<double> ratios;
    std::vector<Put> puts;
    for (int round = 0; round < rounds; ++round) {
        const std::filesystem::path work = folder / ("round" + std::to_string(round));
        const double baseline = plainCopies(source, work);
        const Put& one = puts.emplace_back(put(source, work));
        ratios.push_back(one.run.seconds / baseline);
        std::printf("%s, round %d: plain copies %.2f s, put %.2f s, ratio %.2f, peak memory %.1f MiB\n", title,
                    round + 1, baseline, one.run.seconds, ratios.back(), static_cast<double>(one.run.peakKiB) / 1024);
        std::fflush(stdout);
    }
    std::printf("%s: median ratio %.2f\n", title, bench::median(ratios));
    return puts;
}

void bigFiles(int rounds) {
    const bench::Folder work("bench-put");
    for (std::uint64_t i = 0; i < 4; ++i) {
        bench::writeFile(work.path() / "big" / ("film" + std::to_string(i) + ".mp4"), 512ULL << 20, i);
    }
    (void) compare("4 x 512 MiB", work.path() / "big", work.path(), rounds);
}

void smallFiles(int rounds) {
    const bench::Folder work("bench-put");
    const std::size_t count = 2000;
    for (std::uint64_t i = 0; i < count; ++i) {
        bench::writeFile(work.path() / "small" / ("song" + std::to_string(i) + ".mp3"), 64 << 10, i);
    }
    const char* const title = "2,000 x 64 KiB";
    const std::vector<Put> puts = compare(title, work.path() / "small", work.path(), rounds);
    std::vector<std::vector<double>> moments;
    for (const Put& each : puts) {
        if (each.fileSeconds.size() != count) {
            std::fprintf(stderr, "%zu results of %zu files\n", each.fileSeconds.size(), count);
            std::exit(1);
        }
        moments.push_back(each.fileSeconds);
    }
    bench::printQuarters(title, moments);
}

} // namespace

int main(int argc, char** argv) {
    // PutBench [ROUNDS [small|big]]
    const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 3;
    const std::string which = argc > 2 ? argv[2] : "";
    if (which != "big") {
        smallFiles(rounds);
    }
    if (which != "small") {
        bigFiles(rounds);
    }
    return 0;
}
