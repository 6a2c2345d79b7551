// SPDX-License-Identifier: MIT
// The helper process that reads videos and images, kept apart from the program that copies: what comes here may be
// broken on purpose. Without arguments it answers paths from its standard input (see MediaProbe.h); with a file as
// argument it prints that file's object, for a person to look at.

#include "host/defaults/MediaFileReader.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <string>
#include <sys/resource.h>
#include <unistd.h>

namespace {

constexpr rlim_t kMaxMemoryBytes = rlim_t{1} << 30;
constexpr rlim_t kMaxCpuSecondsPerFile = 20;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kLimitsMemory = false; // the sanitizers reserve terabytes of address space
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr bool kLimitsMemory = false;
#else
constexpr bool kLimitsMemory = true;
#endif
#else
constexpr bool kLimitsMemory = true;
#endif

void limitMemory() {
    if (kLimitsMemory) {
        const rlimit limit{kMaxMemoryBytes, kMaxMemoryBytes};
        setrlimit(RLIMIT_AS, &limit);
    }
    const rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
}

/// The host kills a helper that overruns; this ends one whose host is gone.
void limitCpuForNextFile() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    rlimit limit{};
    getrlimit(RLIMIT_CPU, &limit);
    limit.rlim_cur = static_cast<rlim_t>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) + kMaxCpuSecondsPerFile;
    setrlimit(RLIMIT_CPU, &limit);
}

bool writeAll(const std::string& text) {
    for (std::size_t written = 0; written < text.size();) {
        const ssize_t count = write(STDOUT_FILENO, text.data() + written, text.size() - written);
        if (count < 0 && errno != EINTR) {
            return false;
        }
        written += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    return true;
}

bool answer(const std::string& path) {
    limitCpuForNextFile();
    return writeAll(host::mediaFileInformation(path) + "\n");
}

void serve() {
    std::string path;
    std::array<char, 4096> block{};
    for (;;) {
        const ssize_t count = read(STDIN_FILENO, block.data(), block.size());
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return;
        }
        for (const char character : std::string_view(block.data(), static_cast<std::size_t>(count))) {
            if (character != '\0') {
                path += character;
                continue;
            }
            if (!answer(path)) {
                return;
            }
            path.clear();
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    limitMemory();
    if (argc > 2) {
        std::fputs("Usage: mtpservice-mediaprobe [FILE]\n", stderr);
        return 2;
    }
    if (argc == 2) {
        return answer(argv[1]) ? 0 : 1;
    }
    serve();
    return 0;
}
