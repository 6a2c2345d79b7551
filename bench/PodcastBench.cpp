// SPDX-License-Identifier: MIT
// What `mtpservice podcast put` of a channel with many small episodes costs, against a plain copy (cp) of the same
// files in the same run.

#include "bench/Measure.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

constexpr std::uint64_t episodeBytes = 64 << 10;

/// The episodes' files and, beside their folder, a feed with the usual length of texts.
void writeChannel(const std::filesystem::path& folder, std::size_t count) {
    std::filesystem::create_directories(folder / "media");
    std::ofstream feed(folder / "feed.rss");
    feed << "<rss version='2.0'><channel><title>Many</title>";
    const std::string text(400, 'x');
    for (std::size_t i = 0; i < count; ++i) {
        const std::string name = "episode" + std::to_string(i) + ".mp3";
        bench::writeFile(folder / "media" / name, episodeBytes, i);
        feed << "<item><title>Episode " << i << "</title><description>" << text
             << "</description><enclosure url='http://example.org/" << name << "'/></item>";
    }
    feed << "</channel></rss>";
}

double plainCopy(const std::filesystem::path& source, const std::filesystem::path& work) {
    std::filesystem::create_directories(work);
    sync();
    const bench::Run run = bench::runProgram({"cp", "-r", (source / "media").string(), (work / "copy").string()});
    bench::require(run, "cp");
    return run.seconds;
}

double put(const std::filesystem::path& source, const std::filesystem::path& work) {
    const bench::Device device(MTPSERVICE_BINARY, work);
    sync();
    const bench::Run run = device.run(
        {"podcast", "put", "--no-metadata", "--media", (source / "media").string(), (source / "feed.rss").string()});
    bench::require(run, "podcast put");
    return run.seconds;
}

/// What a round leaves is deleted after the last one: file systems are slow to give new files a place freed just
/// before.
void compare(std::size_t count, int rounds) {
    const bench::Folder folder("bench-podcast");
    writeChannel(folder.path() / "source", count);
    std::vector<double> ratios;
    for (int round = 0; round < rounds; ++round) {
        const std::filesystem::path work = folder.path() / ("round" + std::to_string(round));
        const double baseline = plainCopy(folder.path() / "source", work);
        const double seconds = put(folder.path() / "source", work);
        ratios.push_back(seconds / baseline);
        std::printf("%zu episodes, round %d: plain copy %.2f s, podcast put %.2f s, ratio %.2f\n", count, round + 1,
                    baseline, seconds, ratios.back());
        std::fflush(stdout);
    }
    std::printf("%zu episodes: median ratio %.2f\n", count, bench::median(ratios));
}

} // namespace

int main(int argc, char** argv) {
    // PodcastBench [ROUNDS [EPISODES]]
    const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 3;
    compare(argc > 2 ? static_cast<std::size_t>(std::max(1, std::atoi(argv[2]))) : 1000, rounds);
    return 0;
}
