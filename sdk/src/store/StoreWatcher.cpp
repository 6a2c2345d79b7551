// SPDX-License-Identifier: MIT
#include "store/StoreWatcher.h"

#include <array>
#include <climits>
#include <cstring>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace mtpsdk {

namespace {

constexpr std::uint32_t watchedChanges =
    IN_CREATE | IN_CLOSE_WRITE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE | IN_ONLYDIR | IN_EXCL_UNLINK;
/// Gathers a burst of changes; what the store does itself is mostly taken by its own thread meanwhile.
constexpr int gatherMilliseconds = 40;
constexpr int laterMilliseconds = 250;
constexpr std::size_t bufferSize = 64 * 1024;
constexpr std::size_t longestNotice = sizeof(inotify_event) + NAME_MAX + 1;

void waitFor(std::array<pollfd, 2>& descriptors, nfds_t count, int milliseconds) {
    for (pollfd& each : descriptors) {
        each.revents = 0;
    }
    (void) ::poll(descriptors.data(), count, milliseconds);
}

} // namespace

StoreWatcher::StoreWatcher()
    : _notices(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
    , _interrupt(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {}

StoreWatcher::~StoreWatcher() {
    stop();
    if (_notices >= 0) {
        ::close(_notices);
    }
    if (_interrupt >= 0) {
        ::close(_interrupt);
    }
}

void StoreWatcher::start(Wake wake) {
    if (_interrupt < 0) {
        return; // out of descriptors: no news between operations, and what is gathered is saved at closing
    }
    _wake = std::move(wake);
    _thread = std::thread([this] { run(); });
}

void StoreWatcher::stop() {
    _stopping = true;
    if (_thread.joinable()) {
        interrupt();
        _thread.join();
    }
}

void StoreWatcher::interrupt() {
    const std::uint64_t one = 1;
    (void) !::write(_interrupt, &one, sizeof one);
}

void StoreWatcher::callLater() {
    if (!_calling.exchange(true)) {
        interrupt();
    }
}

void StoreWatcher::run() {
    // The interrupt comes first, so that the wait while gathering can leave the notices out.
    std::array<pollfd, 2> descriptors{pollfd{_interrupt, POLLIN, 0}, pollfd{_notices, POLLIN, 0}};
    while (!_stopping) {
        waitFor(descriptors, 2, _calling ? laterMilliseconds : -1);
        if ((descriptors[0].revents & POLLIN) != 0) {
            std::uint64_t count = 0;
            (void) !::read(_interrupt, &count, sizeof count);
            continue;
        }
        if ((descriptors[1].revents & POLLIN) != 0) {
            waitFor(descriptors, 1, gatherMilliseconds);
        }
        if (_stopping) {
            break;
        }
        _calling = false;
        if (_wake()) {
            _calling = true;
        }
    }
}

int StoreWatcher::watch(int folderDescriptor) {
    // By the descriptor's own name: no path to be too long, no link to be followed on the way.
    const std::string path = "/proc/self/fd/" + std::to_string(folderDescriptor);
    return _notices >= 0 ? ::inotify_add_watch(_notices, path.c_str(), watchedChanges) : -1;
}

void StoreWatcher::unwatch(int watch) {
    if (watch >= 0) {
        ::inotify_rm_watch(_notices, watch);
    }
}

std::vector<StoreWatcher::Notice> StoreWatcher::take() {
    std::vector<Notice> notices;
    if (_notices < 0) {
        return notices;
    }
    alignas(inotify_event) std::array<char, bufferSize> buffer;
    for (;;) {
        const ssize_t size = ::read(_notices, buffer.data(), buffer.size());
        if (size <= 0) {
            return notices;
        }
        for (std::size_t offset = 0; offset < static_cast<std::size_t>(size);) {
            inotify_event event{};
            std::memcpy(&event, buffer.data() + offset, sizeof event);
            const char* const name = buffer.data() + offset + sizeof event;
            offset += sizeof event + event.len;
            if ((event.mask & IN_Q_OVERFLOW) != 0) {
                notices.push_back({-1, false, {}});
            } else if (event.len != 0) {
                notices.push_back({event.wd, (event.mask & IN_CREATE) != 0, name});
            }
        }
        // As many as fit are given: where one more would have fitted, there was none.
        if (static_cast<std::size_t>(size) <= buffer.size() - longestNotice) {
            return notices;
        }
    }
}

} // namespace mtpsdk
