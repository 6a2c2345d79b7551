// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

class MTPService;
class MTPServicePrivate;

/// The services that exist, so that a callback that comes late finds out that its service is gone. Thread-safe. Keeps
/// gMtpService as well.
namespace liveServices {

/// The newest service becomes gMtpService.
void add(MTPService* service, const std::shared_ptr<MTPServicePrivate>& inside);
void remove(MTPService* service);
/// The inside of the service at this address, or null when there is none (any more).
std::shared_ptr<MTPServicePrivate> find(const void* service);

} // namespace liveServices
