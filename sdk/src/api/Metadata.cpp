// SPDX-License-Identifier: MIT
#include "api/Guard.h"
#include "tree/DeviceCall.h"
#include "tree/MediaRecord.h"
#include "tree/RecordMemory.h"
#include "vemomtpsdk/Functions.h"

using namespace mtpsdk;

DGSTATUS mtpGetMediaFileInfo(_MTP_FILE_NODE* file, _MTP_MEDIA_FILE_INFO** media) {
    if (!clear(media)) {
        return DGSTATUS_INVALID_PARAMETER;
    }
    return guarded([&]() -> DGSTATUS {
        const DeviceCall call(file, {NodeKind::file}, DeviceCall::Records::left);
        MediaProperties properties;
        const DGSTATUS status = call ? call.device().media(call.node(), properties) : call.status();
        if (status != DGSTATUS_SUCCESS) {
            return status;
        }
        *media = newMediaRecord(call.tree(), call.node(), properties);
        return *media == nullptr ? DGSTATUS_INSUFFICIENT_RESOURCE : DGSTATUS_SUCCESS;
    });
}

DGSTATUS mtpSetMediaFileInfo(_MTP_FILE_NODE* file, _MTP_MEDIA_FILE_INFO* media) {
    return guarded([&]() -> DGSTATUS {
        _MTP_MEDIA_FILE_INFO copy{};
        if (!copyRecord(media, &copy, sizeof copy)) {
            return DGSTATUS_INVALID_PARAMETER;
        }
        const DeviceCall call(file, {NodeKind::file}, DeviceCall::Records::left);
        return call ? call.device().setMedia(call.node(), readMediaRecord(copy)) : call.status();
    });
}

DGSTATUS mtpReleaseMediaFileInfo(_MTP_MEDIA_FILE_INFO** media) {
    if (media == nullptr) {
        return DGSTATUS_INVALID_PARAMETER;
    }
    _MTP_MEDIA_FILE_INFO copy{};
    const bool live = copyRecord(*media, &copy, sizeof copy);
    if (live) {
        freeMediaRecord(*media);
    }
    *media = nullptr;
    return live ? DGSTATUS_SUCCESS : DGSTATUS_INVALID_PARAMETER;
}
