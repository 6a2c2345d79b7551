// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPService.h"

#include "device/MTPService/LiveServices.h"
#include "device/MTPService/MTPServicePrivate.h"
#include "device/MTPService/MethodTrace.h"
#include "device/MTPService/Notifications.h"
#include "platform/Log.h"
#include "platform/Strings.h"

// The library calls these, on threads of its own or in the middle of a transfer.

std::uint32_t NotifyCallback(std::uint32_t eventCode, void* context) {
    const MethodTrace trace(7);
    if (context == nullptr) {
        QD_LOG(3, "Input Context is invalid parameters. Location ID = %@", std::optional<std::string>());
        return DGSTATUS_INVALID_PARAMETER;
    }
    // A copy: an observer may withdraw the registration, and the context's text goes with it.
    const std::string location = static_cast<const char*>(context);
    QD_LOG(7, "Event Code = 0x%04x, Location ID = 0x%08x", eventCode, platform::hexValue(location));
    platform::Dictionary info;
    info.set("EventCode", eventCode);
    info.set("LocationId", location);
    notifications::post(notifications::mtpNotifyEvent, info);
    return DGSTATUS_SUCCESS;
}

std::uint32_t NotifyCallbackEx(std::uint32_t eventCode, _MTP_COMMON_NODE* targetNode, void* handle, void* context) {
    const MethodTrace trace(7);
    const std::shared_ptr<MTPServicePrivate> service = liveServices::find(context);
    if (service == nullptr) {
        QD_LOG(3, "Data Information is invalid. callbackObject = %p", static_cast<const void*>(context));
        return DGSTATUS_INVALID_PARAMETER;
    }
    return static_cast<std::uint32_t>(service->processCallbackEvent(eventCode, targetNode, handle));
}

std::uint32_t DeviceProgressCallbackEx(std::uint64_t current, std::uint64_t total, void* context) {
    if (context == nullptr) {
        QD_LOG(3, "Input Parameter is invalid.");
        return DGSTATUS_INVALID_PARAMETER;
    }
    const auto& data = *static_cast<const platform::Dictionary*>(context);
    const auto service = data.object<MTPServicePrivate>("CallbackObject");
    const auto notifier = data.object<QDMtpDeviceNotifier>("CallbackContext");
    if (service == nullptr || notifier == nullptr) {
        QD_LOG(3, "Data Information is invalid. callbackObject = %p, deviceNotifier = %p",
               static_cast<const void*>(service.get()), static_cast<const void*>(notifier.get()));
        return DGSTATUS_INVALID_PARAMETER;
    }
    if (service->getReleaseState() == 1) {
        QD_LOG(3, "Device Disconnected - %@", service->locationID());
        return DGSTATUS_IO_CANCEL;
    }
    if (service->isCancelServiceId(notifier->serviceID())) {
        return DGSTATUS_IO_CANCEL;
    }
    if (!service->transferProgressInfoEx(notifier, total, current)) {
        QD_LOG(3, "File Transfer is fail");
        return DGSTATUS_UNSUCCESSFUL;
    }
    return DGSTATUS_SUCCESS;
}
