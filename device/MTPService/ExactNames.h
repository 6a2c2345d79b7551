// SPDX-License-Identifier: MIT
#pragma once

#include "device/MTPService/MTPControl.h"

namespace mtpcontrol {

/// While it lives, names of new folders and files go to the device as they are (see the library's mtpSetVerbatimNames),
/// so that what came from a device goes back as it was. Under the library's monitor.
class VerbatimNames {
public:
    VerbatimNames(const MtpControl& control, _MTP_DEVICE_NODE* device);
    ~VerbatimNames();
    VerbatimNames(const VerbatimNames&) = delete;
    VerbatimNames& operator=(const VerbatimNames&) = delete;

private:
    _MTP_DEVICE_NODE* _device;
};

/// The folder of a full device path, each folder on the way spelled exactly; what is missing is made. Where the device
/// does not tell a name from one that differs in case only, that folder is taken. Nothing when one cannot be made.
[[nodiscard]] MtpControl::NodeID exactFolder(MtpControl& control, _MTP_DEVICE_NODE* device,
                                             _MTP_STORAGE_NODE* storageHead, const MtpControl::Text& path);

} // namespace mtpcontrol
