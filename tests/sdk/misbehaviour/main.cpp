// SPDX-License-Identifier: MIT
// misbehave [--seed N] [--rounds N | --seconds N] [--usb]: plugs a device in again and again over a line that drops,
// cuts, delays, repeats and alters what passes, or goes away, each time on a plan of its own. Whatever happens, calls
// end within their bound, no file is left half done on either side, and the next plug-in works. A round that fails
// names its seed: `misbehave --seed THAT --rounds 1` does the same again. --usb takes the first device that is plugged
// in; it works in a folder "misbehaviour" there.
#include "CleanLine.h"
#include "FaultySource.h"
#include "Round.h"
#include "vemomtpsdk/Devices.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fmt/format.h>
#include <string_view>
#include <thread>
#include <unistd.h>

namespace {

using namespace mtpsdk;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

struct Options {
    std::uint32_t seed = 1;
    unsigned rounds = 100;
    std::chrono::seconds time{0}; ///< 0: as many rounds as said
    bool usb = false;
};

/// Ends the program where a call has not ended within its bound.
class Watchdog {
public:
    explicit Watchdog(std::chrono::seconds bound)
        : _bound(bound)
        , _thread([this](const std::stop_token& stop) { watch(stop); }) {}

    void enter(std::uint32_t seed) { _seed = seed; }
    void beginCall() { _began = Clock::now(); }

private:
    void watch(const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            std::this_thread::sleep_for(200ms);
            if (Clock::now() - _began.load() > _bound) {
                std::fputs(
                    fmt::format("seed {}: a call has not ended within {} seconds\n", _seed.load(), _bound.count())
                        .c_str(),
                    stderr);
                std::abort();
            }
        }
    }

    const std::chrono::seconds _bound;
    std::atomic<std::uint32_t> _seed{0};
    std::atomic<Clock::time_point> _began{Clock::now()};
    std::jthread _thread;
};

class LocalFolder {
public:
    LocalFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "misbehave-XXXXXX").string();
        _path = ::mkdtemp(name.data()) == nullptr ? std::string() : name;
    }
    ~LocalFolder() { std::filesystem::remove_all(_path); }
    LocalFolder(const LocalFolder&) = delete;
    LocalFolder& operator=(const LocalFolder&) = delete;
    [[nodiscard]] const std::filesystem::path& path() const { return _path; }

private:
    std::filesystem::path _path;
};

bool attachVirtual(const std::filesystem::path& directory) {
    constexpr std::uint64_t capacity = std::uint64_t{64} << 20;
    vemomtpsdk::VirtualDeviceDescription description;
    description.friendlyName = "Player";
    description.storages = {{"Phone", capacity, "", 0, false}};
    std::string error;
    return vemomtpsdk::createVirtualDevice(directory, description, error) &&
           vemomtpsdk::addVirtualDevice(directory) == DGSTATUS_SUCCESS;
}

struct Tally {
    unsigned rounds = 0;
    unsigned transfers = 0;
    unsigned failed = 0;
};

/// What a round came to; empty when all held.
std::string runRound(test::FaultySource& source, const vemomtpsdk::AttachedDevice& device, std::uint32_t seed,
                     Watchdog& watchdog, Tally& tally) {
    const LocalFolder local;
    const auto beginCall = [&] { watchdog.beginCall(); };
    watchdog.enter(seed);
    {
        test::Round round(source, seed, device.kind == "virtual", local.path(), beginCall);
        std::string problem = round.run();
        tally.transfers += round.transfers();
        tally.failed += round.failedTransfers();
        if (!problem.empty()) {
            return problem;
        }
    }
    beginCall();
    std::string problem;
    const auto line = test::CleanLine::open(device.locationId, problem);
    if (line != nullptr && line->check(problem)) {
        (void) line->tidy(problem);
    }
    return problem;
}

int run(const Options& options) {
    const LocalFolder folder;
    if (!options.usb && !attachVirtual(folder.path() / "device")) {
        std::fputs("The virtual device cannot be made.\n", stderr);
        return 1;
    }
    const auto attached = vemomtpsdk::attachedDevices();
    const auto device = std::ranges::find(attached, options.usb ? "usb" : "virtual", &vemomtpsdk::AttachedDevice::kind);
    if (device == attached.end()) {
        std::fputs("No device is attached.\n", stderr);
        return 1;
    }
    Watchdog watchdog(options.usb ? 240s : 30s);
    const auto source = std::make_shared<test::FaultySource>(*device);
    DeviceRegistry::shared().addSource(source);

    std::string problem;
    if (const auto line = test::CleanLine::open(device->locationId, problem); line == nullptr || !line->tidy(problem)) {
        std::fputs((problem + "\n").c_str(), stderr);
        return 1;
    }
    const auto end = Clock::now() + options.time;
    Tally tally;
    while (options.time > 0s ? Clock::now() < end : tally.rounds < options.rounds) {
        const std::uint32_t seed = options.seed + tally.rounds++;
        problem = runRound(*source, *device, seed, watchdog, tally);
        if (!problem.empty()) {
            std::fputs(fmt::format("seed {}: {}\n", seed, problem).c_str(), stderr);
            return 1;
        }
    }
    std::fputs(fmt::format("{} rounds from seed {}, {} transfers, {} of them failed: all held\n", tally.rounds,
                           options.seed, tally.transfers, tally.failed)
                   .c_str(),
               stdout);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string_view option = argv[i];
        const char* const value = i + 1 < argc ? argv[i + 1] : "";
        if (option == "--usb") {
            options.usb = true;
            continue;
        }
        const unsigned long number = std::strtoul(value, nullptr, 10);
        if (option == "--seed") {
            options.seed = static_cast<std::uint32_t>(number);
        } else if (option == "--rounds") {
            options.rounds = static_cast<unsigned>(number);
        } else if (option == "--seconds") {
            options.time = std::chrono::seconds(number);
        } else {
            std::fputs("misbehave [--seed N] [--rounds N | --seconds N] [--usb]\n", stderr);
            return 2;
        }
        ++i;
    }
    return run(options);
}
