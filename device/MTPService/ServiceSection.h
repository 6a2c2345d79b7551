// SPDX-License-Identifier: MIT
#pragma once

#include "device/MTPService/MTPControl.h"
#include "device/MTPService/MTPServicePrivate.h"
#include "device/MTPService/Notifications.h"
#include "platform/ThreadAnnotations.h"

/// A scope inside the service's monitor. That one comes before MtpControl's and the notifiers'; but an observer of a
/// job's progress, or the delegate, runs inside those already, and may well cancel the job or ask for the storages.
/// Waiting here would then break the order, so such a thread goes on without the monitor when it is not free at once:
/// what it reaches is guarded by itself, the monitor only keeps longer passes apart.
class ServiceSection {
public:
    ServiceSection()
        : _entered(enter()) {}
    ~ServiceSection() PLATFORM_ANNOTATION(no_thread_safety_analysis) {
        if (_entered) {
            MTPServicePrivate::classMonitor().unlock();
        }
    }
    ServiceSection(const ServiceSection&) = delete;
    ServiceSection& operator=(const ServiceSection&) = delete;

private:
    PLATFORM_ANNOTATION(no_thread_safety_analysis)
    static bool enter() {
        platform::Monitor& monitor = MTPServicePrivate::classMonitor();
        const bool isInsideOthers = MtpControl::classMonitor().heldByCurrentThread() || notifications::isPosting();
        if (isInsideOthers && !monitor.heldByCurrentThread()) {
            return monitor.try_lock();
        }
        monitor.lock();
        return true;
    }

    bool _entered;
};
