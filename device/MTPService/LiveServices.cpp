// SPDX-License-Identifier: MIT
#include "device/MTPService/LiveServices.h"

#include "device/MTPService/Guarded.h"
#include "device/MTPService/MTPService.h"

#include <atomic>
#include <unordered_map>

MTPService* gMtpService = nullptr;

namespace liveServices {

namespace {

using Services = std::unordered_map<const void*, std::weak_ptr<MTPServicePrivate>>;

Guarded<Services>& services() {
    static auto& table = *new Guarded<Services>(); // outlives threads that still run at the process's end
    return table;
}

} // namespace

void add(MTPService* service, const std::shared_ptr<MTPServicePrivate>& inside) {
    services().with([&](Services& table) {
        table[service] = inside;
        std::atomic_ref(gMtpService).store(service);
    });
}

void remove(MTPService* service) {
    services().with([&](Services& table) {
        table.erase(service);
        MTPService* expected = service;
        std::atomic_ref(gMtpService).compare_exchange_strong(expected, nullptr);
    });
}

std::shared_ptr<MTPServicePrivate> find(const void* service) {
    return services().with([&](Services& table) {
        const auto found = table.find(service);
        return found == table.end() ? nullptr : found->second.lock();
    });
}

} // namespace liveServices
