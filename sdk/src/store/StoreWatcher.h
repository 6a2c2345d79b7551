// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace mtpsdk {

/// Notices what others do in watched folders, and a thread that says so while nobody asks. Where the system has no such
/// service, watch() answers -1 and the thread still keeps time.
class StoreWatcher {
public:
    struct Notice {
        int watch = -1;       ///< -1: notices were lost, look everywhere
        bool created = false; ///< the name is new, and a file of it may still be growing
        std::string name;
    };
    /// Called on the watcher's thread when there are notices, or when the time asked for is over. true: call again
    /// after a while, even if nothing happens.
    using Wake = std::function<bool()>;

    StoreWatcher();
    ~StoreWatcher();
    StoreWatcher(const StoreWatcher&) = delete;
    StoreWatcher& operator=(const StoreWatcher&) = delete;

    void start(Wake wake);
    /// Ends the thread; a call under way finishes first.
    void stop();

    [[nodiscard]] int watch(int folderDescriptor);
    void unwatch(int watch);
    /// What happened since the last call. Never waits.
    [[nodiscard]] std::vector<Notice> take();
    /// Has the thread call a while from now.
    void callLater();

private:
    void run();
    void interrupt();

    int _notices = -1;   ///< inotify
    int _interrupt = -1; ///< eventfd
    std::atomic<bool> _stopping = false;
    std::atomic<bool> _calling = false; ///< a call is due already
    Wake _wake;
    std::thread _thread;
};

} // namespace mtpsdk
