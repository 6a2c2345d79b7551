// SPDX-License-Identifier: MIT
#include "device/MTPService/LocalCopy.h"

LocalCopier::LocalCopier(const MTPServicePrivate& service)
    : _service(service)
    , _thread([this] { run(); }) {}

LocalCopier::~LocalCopier() {
    _stop.request_stop();
    {
        const std::lock_guard lock(_mutex);
        _isEnding = true;
    }
    _changed.notify_all();
    _thread.join();
}

void LocalCopier::begin(const std::string& source, const std::string& target) {
    _stop.request_stop();
    {
        std::unique_lock lock(_mutex);
        waitUntilDone(lock);
        _stop = std::stop_source();
        _copy.emplace();
        _work = Work{.source = source, .target = target, .stop = _stop.get_token()};
    }
    _changed.notify_all();
}

bool LocalCopier::keep() {
    std::unique_lock lock(_mutex);
    waitUntilDone(lock);
    const bool isKept = _isPrepared && _copy && _copy->keep();
    _copy.reset();
    return isKept;
}

void LocalCopier::waitUntilDone(std::unique_lock<std::mutex>& lock) {
    _changed.wait(lock, [this] { return !_work; });
}

void LocalCopier::run() {
    std::unique_lock lock(_mutex);
    for (;;) {
        _changed.wait(lock, [this] { return _work || _isEnding; });
        if (!_work) {
            return;
        }
        const Work work = *_work;
        lock.unlock();
        const bool isPrepared = _copy->prepare(_service, _folders, work.source, work.target, work.stop);
        lock.lock();
        _isPrepared = isPrepared;
        _work.reset();
        _changed.notify_all();
    }
}
