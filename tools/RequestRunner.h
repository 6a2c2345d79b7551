// SPDX-License-Identifier: MIT
#pragma once

#include "device/MTPService/MTPService.h"
#include "tools/Interrupt.h"

#include <cstdint>
#include <functional>

namespace tool {

/// Queues one request at a time and stays until its job is over, so that a command reads as if it did the work itself.
///
/// The service may lose a request (its queue was busy) or a wake-up of its worker, and says so to nobody; both are
/// noticed here and the request is queued again.
class RequestRunner {
public:
    struct Request {
        std::uint32_t serviceID = 0;
        std::function<void()> enqueue;    ///< calls the service's method
        std::function<bool()> hasStarted; ///< the service has posted something of it
        std::function<void()> restart;    ///< about to be queued again: what was heard does not count
        std::function<void()> tick;       ///< every now and then while waiting
        std::function<bool()> isHopeless; ///< the device is gone: cancel the rest
    };
    enum class End {
        finished,
        cancelled, ///< by the person
        lost,      ///< it could not be queued, after many tries
    };

    RequestRunner(MTPService& service, Interrupt& interrupt)
        : _service(service)
        , _interrupt(interrupt) {}

    End run(const Request& request);

private:
    void cancel(std::uint32_t serviceID);

    MTPService& _service;
    Interrupt& _interrupt;
};

} // namespace tool
