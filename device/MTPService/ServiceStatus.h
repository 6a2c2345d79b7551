// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

/// Statuses of the service's own, beside the library's (vemomtpsdk/Status.h).
enum ServiceStatus : std::uint32_t {
    SERVICE_PODCAST_DOCUMENT_FAILED = 0x20000001, ///< its local file cannot be written
    SERVICE_PODCAST_FOLDER_FAILED = 0x22000001,   ///< its local folder cannot be made
    SERVICE_COPY_TO_DEVICE_FAILED = 0x23000001,
    SERVICE_COPY_TO_MAC_FAILED = 0x23000002,
    SERVICE_DELETE_FAILED = 0x23000003,
    SERVICE_SYNC_FAILED = 0x23000004,
    SERVICE_PLAYLIST_ENTRY_INVALID = 0x26000004,
    SERVICE_PLAYLIST_SEND_FAILED = 0x26000006,
};

/// What "TransferStatus" of a progress notification and a notifier's status say.
enum TransferStatus : std::int32_t {
    TransferStatusNone = 0,
    TransferStatusRunning = 2,
    TransferStatusCancelled = 3,
    TransferStatusDone = 4,
};
