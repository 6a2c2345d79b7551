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

struct Result {
    double ratio = 0;
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

Result put(const std::filesystem::path& source, const std::filesystem::path& work) {
    const std::string device = (work / "device").string();
    const std::vector<std::string> home = {"HOME=" + (work / "home").string(),
                                           "XDG_CONFIG_HOME=" + (work / "home/.config").string()};
    std::filesystem::create_directories(work / "home");
    require(bench::runProgram(
                {MTPSERVICE_BINARY, "virtual", "create", device, "--name", "Bench", "--storage", "Phone:16G"}, home),
            "virtual create");
    sync();
    Result result;
    const auto start = bench::Clock::now();
    const bench::Run run = bench::runProgram(
        {MTPSERVICE_BINARY, "--virtual", device, "--json", "put", "--no-metadata", source.string()}, home,
        [&](const std::string& line) {
            if (line.find("TRASFER_RESULT") != std::string::npos) {
                result.fileSeconds.push_back(std::chrono::duration<double>(bench::Clock::now() - start).count());
            }
        });
    require(run, "put");
    result.ratio = run.seconds;
    result.peakKiB = run.peakKiB;
    return result;
}

/// What the rounds leave is deleted after the last one: file systems are slow to give new files a place that was freed
/// just before, which would count against whoever writes next.
Result compare(const char* title, const std::filesystem::path& source, const std::filesystem::path& folder,
               int rounds) {
    std::vector<double> ratios;
    Result last;
    for (int round = 0; round < rounds; ++round) {
        const std::filesystem::path work = folder / ("round" + std::to_string(round));
        const double baseline = plainCopies(source, work);
        last = put(source, work);
        std::printf("%s, round %d: plain copies %.2f s, put %.2f s, ratio %.2f, peak memory %.1f MiB\n", title,
                    round + 1, baseline, last.ratio, last.ratio / baseline, static_cast<double>(last.peakKiB) / 1024);
        std::fflush(stdout);
        ratios.push_back(last.ratio / baseline);
    }
    last.ratio = bench::median(ratios);
    std::printf("%s: median ratio %.2f\n", title, last.ratio);
    return last;
}

void bigFiles(int rounds) {
    const bench::Folder work("bench-put");
    for (std::uint64_t i = 0; i < 4; ++i) {
        bench::writeFile(work.path() / "big" / ("film" + std::to_string(i) + ".mp4"), 512ULL << 20, i);
    }
    compare("4 x 512 MiB", work.path() / "big", work.path(), rounds);
}

void smallFiles(int rounds) {
    const bench::Folder work("bench-put");
    const std::size_t count = 2000;
    for (std::uint64_t i = 0; i < count; ++i) {
        bench::writeFile(work.path() / "small" / ("song" + std::to_string(i) + ".mp3"), 64 << 10, i);
    }
    const Result result = compare("2,000 x 64 KiB", work.path() / "small", work.path(), rounds);
    if (result.fileSeconds.size() == count) {
        const double first = result.fileSeconds[count / 4] - result.fileSeconds[0];
        const double fourth = result.fileSeconds[count - 1] - result.fileSeconds[count * 3 / 4];
        std::printf("2,000 x 64 KiB: first quarter %.3f ms a file, last quarter %.3f ms a file\n",
                    first * 1000 / (count / 4), fourth * 1000 / (count / 4 - 1));
    }
}

} // namespace

int main(int argc, char** argv) {
    const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 3;
    smallFiles(rounds);
    bigFiles(rounds);
    return 0;
}
