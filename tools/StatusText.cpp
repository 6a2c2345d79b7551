// SPDX-License-Identifier: MIT
#include "tools/StatusText.h"

#include "vemomtpsdk/Status.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>

namespace tool {
namespace {

struct Meaning {
    std::uint32_t status;
    const char* text;
};

constexpr std::array kMeanings = {
    Meaning{DGSTATUS_SUCCESS, "done"},
    Meaning{DGSTATUS_UNSUCCESSFUL, "the device refused it"},
    Meaning{DGSTATUS_INVALID_PARAMETER, "the request was not valid"},
    Meaning{DGSTATUS_NODE_IS_NOT_EXISTED, "it is not there any more"},
    Meaning{DGSTATUS_NODE_FILE_DUPNAME_EXISTED, "exists already"},
    Meaning{DGSTATUS_NODE_FOLDER_DUPNAME_EXISTED, "a folder of that name exists already"},
    Meaning{DGSTATUS_IO_CANCEL, "cancelled"},
    Meaning{DGSTATUS_IO_CANCEL_SUCCESS, "cancelled"},
    Meaning{DGSTATUS_IO_CANCEL_FAILED, "cancelled"},
    Meaning{DGSTATUS_STORAGE_FULL, "the storage is full"},
    Meaning{DGSTATUS_FILE_OPEN_FAILED, "the file cannot be opened"},
    Meaning{DGSTATUS_FILE_ACCESS_DENIED, "no permission to read the file"},
    Meaning{DGSTATUS_FILE_WRITE_FAILED, "the file cannot be written"},
    Meaning{DGSTATUS_FILE_READ_FAILED, "the file cannot be read"},
    Meaning{DGSTATUS_FILE_INVALID_CHAR,
            "the device does not allow this name (too long, or characters such as : and ?)"},
    Meaning{DGSTATUS_NO_DEVICE_ATTACHED, "the device is gone"},
    Meaning{DGSTATUS_NO_STORAGE_ATTACHED, "the storage is gone"},
    Meaning{DGSTATUS_DEVICE_OPEN_FAILED, "the device cannot be opened"},
    Meaning{DGSTATUS_INSUFFICIENT_RESOURCE, "out of memory"},
    Meaning{DGSTATUS_INTERNAL_DEVICE_NOT_RESPONSE, "the device does not answer"},
    Meaning{DGSTATUS_INTERNAL_INCOMPLETETRANSFER, "the transfer was cut short"},
    Meaning{DGSTATUS_INTERNAL_SIZE_MISMATCH, "the device kept another size than was sent"},
    Meaning{DGSTATUS_INTERNAL_STOREFULL, "the storage is full"},
    Meaning{DGSTATUS_INTERNAL_OBJECTWRITEPROTECTED, "it is write-protected"},
    Meaning{DGSTATUS_INTERNAL_STOREWRITEPROTECTED, "the storage is write-protected"},
    Meaning{DGSTATUS_INTERNAL_ACCESSDENIED, "the device denies access"},
    Meaning{DGSTATUS_INTERNAL_STORENOTAVAILABLE, "the storage is not available"},
    Meaning{DGSTATUS_INTERNAL_DEVICEBUSY, "the device is busy"},
    Meaning{DGSTATUS_INTERNAL_TRANSACTIONCANCELLED, "cancelled by the device"},
    Meaning{DGSTATUS_INTERNAL_OBJECTTOOLARGE, "too large for the device"},
    Meaning{DGSTATUS_NOT_SUPPORT_OP, "the device cannot do that"},
    // The service's own codes.
    Meaning{0x20000002, "the folder on the device cannot be made"},
    Meaning{0x23000001, "the copy to the device was not valid"},
    Meaning{0x23000002, "the copy to the computer was not valid"},
    Meaning{0x23000003, "the deletion was not valid"},
    Meaning{0x23000004, "the synchronisation was not valid"},
    Meaning{0x26000004, "the request lacks something"},
    Meaning{0x26000006, "the playlist could not be sent"},
};

} // namespace

std::string statusText(std::uint32_t status) {
    const auto* found =
        std::find_if(kMeanings.begin(), kMeanings.end(), [&](const Meaning& row) { return row.status == status; });
    return found == kMeanings.end() ? fmt::format("failed with status 0x{:08X}", status) : found->text;
}

bool meansDeviceGone(std::uint32_t status) {
    return status == DGSTATUS_NO_DEVICE_ATTACHED;
}

bool meansStorageFull(std::uint32_t status) {
    return status == DGSTATUS_STORAGE_FULL || status == DGSTATUS_INTERNAL_STOREFULL;
}

} // namespace tool
