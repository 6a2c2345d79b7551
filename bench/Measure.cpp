// SPDX-License-Identifier: MIT
#include "bench/Measure.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

extern char** environ;

namespace bench {

namespace {

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    result.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        result.push_back(text.data());
    }
    result.push_back(nullptr);
    return result;
}

std::vector<std::string> environmentWith(const std::vector<std::string>& added) {
    std::vector<std::string> result = added;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        const std::string name = text.substr(0, text.find('=') + 1);
        if (std::none_of(added.begin(), added.end(), [&](const std::string& a) { return a.rfind(name, 0) == 0; })) {
            result.push_back(text);
        }
    }
    return result;
}

void readLines(int descriptor, const std::function<void(const std::string&)>& onLine) {
    std::FILE* stream = fdopen(descriptor, "r");
    char* line = nullptr;
    std::size_t capacity = 0;
    while (getline(&line, &capacity, stream) >= 0) {
        if (onLine) {
            onLine(line);
        }
    }
    std::free(line);
    std::fclose(stream);
}

} // namespace

Run runProgram(const std::vector<std::string>& command, const std::vector<std::string>& environment,
               const std::function<void(const std::string&)>& onLine) {
    int pipeEnds[2];
    if (pipe(pipeEnds) != 0) {
        std::perror("pipe");
        std::exit(1);
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipeEnds[1], 1);
    posix_spawn_file_actions_addclose(&actions, pipeEnds[0]);
    posix_spawn_file_actions_addclose(&actions, pipeEnds[1]);

    std::vector<std::string> arguments = command;
    std::vector<std::string> variables = environmentWith(environment);
    Run run;
    const auto start = Clock::now();
    pid_t child = 0;
    if (posix_spawnp(&child, command[0].c_str(), &actions, nullptr, pointers(arguments).data(),
                     pointers(variables).data()) != 0) {
        std::perror(command[0].c_str());
        std::exit(1);
    }
    posix_spawn_file_actions_destroy(&actions);
    close(pipeEnds[1]);
    readLines(pipeEnds[0], onLine);
    int status = 0;
    rusage usage{};
    wait4(child, &status, 0, &usage);
    run.seconds = std::chrono::duration<double>(Clock::now() - start).count();
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    run.peakKiB = usage.ru_maxrss;
    return run;
}

void require(const Run& run, const char* what) {
    if (run.status != 0) {
        std::fprintf(stderr, "%s ended with status %d\n", what, run.status);
        std::exit(1);
    }
}

double seconds(const std::function<void()>& work) {
    const auto start = Clock::now();
    work();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values[values.size() / 2];
}

Folder::Folder(const std::string& name)
    : _path(std::filesystem::absolute(name)) {
    std::filesystem::remove_all(_path);
    std::filesystem::create_directories(_path);
}

Folder::~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(_path, ignored);
}

Device::Device(std::string program, const std::filesystem::path& work)
    : _program(std::move(program))
    , _folder(work / "device")
    , _environment{"HOME=" + (work / "home").string(), "XDG_CONFIG_HOME=" + (work / "home/.config").string()} {
    std::filesystem::create_directories(work / "home");
    require(runProgram({_program, "virtual", "create", _folder.string(), "--name", "Bench", "--storage", "Phone:16G"},
                       _environment),
            "virtual create");
}

Run Device::run(std::vector<std::string> arguments, const std::function<void(const std::string&)>& onLine) const {
    arguments.insert(arguments.begin(), {_program, "--virtual", _folder.string()});
    return runProgram(arguments, _environment, onLine);
}

Run Device::run(const std::vector<std::string>& arguments, std::vector<double>& resultSeconds) const {
    std::vector<std::string> all = {"--json"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    const auto start = Clock::now();
    return run(all, [&](const std::string& line) {
        if (line.find("TRASFER_RESULT") != std::string::npos) {
            resultSeconds.push_back(std::chrono::duration<double>(Clock::now() - start).count());
        }
    });
}

void printQuarters(const char* title, const std::vector<std::vector<double>>& runs) {
    constexpr std::size_t quarters = 4;
    constexpr double millisecondsPerSecond = 1000;
    std::printf("%s: ms a file, medians of the four quarters:", title);
    for (std::size_t quarter = 0; quarter < quarters; ++quarter) {
        std::vector<double> values;
        for (const std::vector<double>& moments : runs) {
            const std::size_t length = moments.size() / quarters;
            const std::size_t first = quarter * length;
            values.push_back((moments[first + length - 1] - moments[first]) * millisecondsPerSecond /
                             static_cast<double>(length - 1));
        }
        std::printf(" %.3f", median(values));
    }
    std::printf("\n");
}

void writeFile(const std::filesystem::path& path, std::uint64_t size, std::uint64_t seed) {
    std::filesystem::create_directories(path.parent_path());
    std::mt19937_64 random(seed);
    std::vector<std::uint64_t> block(std::min<std::uint64_t>(size / 8 + 1, 1 << 17));
    for (std::uint64_t& word : block) {
        word = random();
    }
    std::ofstream out(path, std::ios::binary);
    while (size > 0) {
        const std::uint64_t part = std::min<std::uint64_t>(size, block.size() * 8);
        out.write(reinterpret_cast<const char*>(block.data()), static_cast<std::streamsize>(part));
        size -= part;
        block[0] += 1; // no two blocks are the same
    }
}

} // namespace bench
