// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Export.h"

#include <memory>
#include <string>

class MTPService;

/// Questions that the service asks the application.
class MTPSERVICE_EXPORT VXDeviceConfirmDelegate {
public:
    virtual ~VXDeviceConfirmDelegate();

    /// Whether the device's file of this name may be overwritten; sets isNotAsk when the answer is to hold from now on.
    /// Asked on the worker thread while the service holds the MTP library's lock: the answer must not wait for another
    /// thread that uses the service.
    virtual bool confirmOverwrite(const std::string& fileName, bool& isNotAsk) = 0;
    /// The service of the device with this location ID ("%X"), or null.
    virtual std::shared_ptr<MTPService> getFileServiceObject(const std::string& locationID) = 0;
};
