// SPDX-License-Identifier: MIT
#include "tools/RequestRunner.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <thread>

namespace tool {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr int kMaxTries = 20;
/// A request that the idle worker has not begun by then has missed its wake-up.
constexpr milliseconds kStartLimit{300};
constexpr milliseconds kLongestWait{50};

/// Short waits at first, so that a small job does not wait for its own end.
milliseconds nextWait(Clock::time_point start) {
    const auto waited = std::chrono::duration_cast<milliseconds>(Clock::now() - start);
    return std::clamp(waited / 8, milliseconds(1), kLongestWait);
}

} // namespace

RequestRunner::End RequestRunner::run(const Request& request) {
    const auto start = Clock::now();
    auto queued = start;
    bool isCancelled = false;
    request.enqueue();
    for (int tries = 1;;) {
        const bool isStopping = _interrupt.isRequested();
        if (!isCancelled && (isStopping || request.isHopeless())) {
            isCancelled = true;
            cancel(request.serviceID);
        }
        request.tick();
        // Asked in this order: a job that ends in between has started by then.
        const bool isIdle = _service.isIdle();
        const bool hasStarted = request.hasStarted();
        if (isIdle && (hasStarted || isCancelled)) {
            return isStopping ? End::cancelled : End::finished;
        }
        const bool isStuck = !isIdle && !hasStarted && Clock::now() - queued > kStartLimit;
        if (isStuck) {
            queued = Clock::now();
        }
        if (isIdle || (isStuck && _service.emptyQueue(request.serviceID))) {
            if (++tries > kMaxTries) {
                return End::lost;
            }
            request.restart();
            request.enqueue();
            queued = Clock::now();
        }
        // A pending stop keeps the interrupt's descriptor readable, so it cannot be what is waited on any more.
        isStopping ? std::this_thread::sleep_for(nextWait(start)) : _interrupt.wait(nextWait(start));
    }
}

void RequestRunner::cancel(std::uint32_t serviceID) {
    try {
        _service.cancelFileAction(serviceID);
    } catch (const std::out_of_range&) {
        // The service reads past its list of cancelled requests when it has several; the cancellation has taken effect.
    }
}

} // namespace tool
