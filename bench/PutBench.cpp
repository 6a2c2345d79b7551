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
    double seconds = 0;
    long peakKiB = 0;
    std::vector<double> fileSeconds; ///< arrival of each file's result, from the start
};

void require(const bench::Run& run, const char* what) {
    if (run.status != 0) {
        std::fprintf(stderr, "%s ended with status %d\n", what, run.status);
        std::exit(1);
    }
}

double plainCopies(const std::filesystem::path& source, const std::filesystem::path& work) {
    std::filesystem::create_directories(work);
    double total = 0;
    for (const char* name : {"copy1", "copy2"}) {
        sync();
        const bench::Run run = bench::runProgram({"cp", "-r", source.string(), (work / name).string()});
        require(run, "cp");
        total += run.seconds;
    }
    return total;
}

Put put(const std::filesystem::path& source, const std::filesystem::path& work) {
    const std::string device = (work / "device").string();
    const std::vector<std::string> home = {"HOME=" + (work / "home").string(),
                                           "XDG_CONFIG_HOME=" + (work / "home/.config").string()};
    std::filesystem::create_directories(work / "home");
    require(bench::runProgram(
                {MTPSERVICE_BINARY, "virtual", "create", device, "--name", "Bench", "--storage", "Phone:16G"}, home),
            "virtual create");
    sync();
    Put result;
    const auto start = bench::Clock::now();
    const bench::Run run = bench::runProgram(
        {MTPSERVICE_BINARY, "--virtual", device, "--json", "put", "--no-metadata", source.string()}, home,
        [&](const std::string& line) {
            if (line.find("TRASFER_RESULT") != std::string::npos) {
                result.fileSeconds.push_back(std::chrono::duration<double>(bench::Clock::now() - start).count());
            }
        });
    require(run, "put");
    result.seconds = run.seconds;
    result.peakKiB = run.peakKiB;
    return result;
}

/// Milliseconds a file took in one quarter of the run.
double quarterOf(const Put& put, std::size_t quarter) {
    const std::size_t length = put.fileSeconds.size() / 4;
    const std::size_t first = quarter * length;
    const double seconds = put.fileSeconds[first + length - 1] - put.fileSeconds[first];
    return seconds * 1000 / static_cast<double>(length - 1);
}

void printQuarters(const char* title, const std::vector<Put>& puts) {
    std::printf("%s: ms a file, medians of the four quarters:", title);
    for (std::size_t quarter = 0; quarter < 4; ++quarter) {
        std::vector<double> values;
        for (const Put& put : puts) {
            values.push_back(quarterOf(put, quarter));
        }
        std::printf(" %.3f", bench::median(values));
    }
    std::printf("\n");
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
        ratios.push_back(one.seconds / baseline);
        std::printf("%s, round %d: plain copies %.2f s, put %.2f s, ratio %.2f, peak memory %.1f MiB\n", title,
                    round + 1, baseline, one.seconds, ratios.back(), static_cast<double>(one.peakKiB) / 1024);
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
    for (const Put& each : puts) {
        if (each.fileSeconds.size() != count) {
            std::fprintf(stderr, "%zu results of %zu files\n", each.fileSeconds.size(), count);
            std::exit(1);
        }
    }
    printQuarters(title, puts);
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
