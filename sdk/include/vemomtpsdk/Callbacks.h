// SPDX-License-Identifier: MIT
#pragma once

#include "vemomtpsdk/Records.h"

#include <cstdint>

extern "C" {

/// Bytes of the file moved so far and its total. Called on the calling thread at the start of the transfer's first
/// block, after every block, and exactly once with current == total at the end (also for an empty file). A non-zero
/// answer stops the transfer: the call then ends with DGSTATUS_IO_CANCEL_SUCCESS when the device took the cancel (the
/// session goes on) or DGSTATUS_IO_CANCEL_FAILED when it did not.
typedef std::uint32_t (*MtpProgressCallback)(std::uint64_t current, std::uint64_t total, void* context);
/// A device event: MTP event code. Runs on the library's event thread of the device.
typedef std::uint32_t (*MtpEventCallback)(std::uint32_t eventCode, void* context);
/// A device event with the node that it concerns (parent folder or storage of an added object, the removed object
/// itself; null when the tree does not hold it) and a handle for mtpApplyOperationNotification, valid during the call.
typedef std::uint32_t (*MtpEventCallbackEx)(std::uint32_t eventCode, _MTP_COMMON_NODE* target, void* handle,
                                            void* context);
}
