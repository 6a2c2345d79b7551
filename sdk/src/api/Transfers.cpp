// SPDX-License-Identifier: MIT
#include "api/Guard.h"
#include "platform/Strings.h"
#include "tree/DeviceCall.h"
#include "tree/MediaRecord.h"
#include "tree/RecordMemory.h"
#include "tree/RecordTexts.h"
#include "vemomtpsdk/Functions.h"

using namespace mtpsdk;

namespace {

std::u16string lastComponent(const std::u16string& path) {
    const std::size_t slash = path.rfind(u'/');
    return slash == std::u16string::npos ? path : path.substr(slash + 1);
}

struct Metadata {
    std::uint16_t format = 0; ///< 0: by the file's name
    MediaProperties properties;
};

/// false: the pointer names no metadata record.
bool readMetadata(const _MTP_MEDIA_FILE_INFO* record, Metadata& metadata) {
    if (record == nullptr) {
        return true;
    }
    _MTP_MEDIA_FILE_INFO copy{};
    if (!copyRecord(record, &copy, sizeof copy)) {
        return false;
    }
    metadata = {copy.format, readMediaRecord(copy)};
    return true;
}

DGSTATUS send(const std::uint16_t* path, std::uint32_t pathLength, _MTP_COMMON_NODE* parent,
              const _MTP_MEDIA_FILE_INFO* media, _MTP_FILE_NODE** file, MtpProgressCallback callback, void* context) {
    if (file != nullptr) {
        *file = nullptr;
    }
    if (path == nullptr) {
        return DGSTATUS_INVALID_PARAMETER;
    }
    return guarded([&]() -> DGSTATUS {
        const DeviceCall call(parent, {NodeKind::storage, NodeKind::folder});
        Metadata metadata;
        if (!call) {
            return call.status();
        }
        if (!readMetadata(media, metadata)) {
            return DGSTATUS_INVALID_PARAMETER;
        }
        const std::u16string local = readText(path, pathLength);
        NodeIndex node = 0;
        const DGSTATUS status = call.device().sendFile(platform::toUtf8(local), lastComponent(local), call.node(),
                                                       metadata.format, metadata.properties, node, callback, context);
        if (file != nullptr) {
            *file = call.tree().record<_MTP_FILE_NODE>(node);
        }
        return status;
    });
}

DGSTATUS receive(_MTP_FILE_NODE* file, const std::uint16_t* path, std::uint32_t pathLength,
                 MtpProgressCallback callback, void* context) {
    if (path == nullptr) {
        return DGSTATUS_INVALID_PARAMETER;
    }
    return guarded([&]() -> DGSTATUS {
        const DeviceCall call(file, {NodeKind::file}, DeviceCall::Records::left);
        const std::u16string local = readText(path, pathLength);
        return call ? call.device().receiveFile(call.node(), platform::toUtf8(local), callback, context)
                    : call.status();
    });
}

} // namespace

DGSTATUS mtpSendFile(const std::uint16_t* path, std::uint32_t pathLength, _MTP_COMMON_NODE* parent,
                     _MTP_FILE_NODE** file, MtpProgressCallback callback, void* context) {
    return send(path, pathLength, parent, nullptr, file, callback, context);
}

DGSTATUS mtpSendFileEx(const std::uint16_t* path, std::uint32_t pathLength, _MTP_COMMON_NODE* parent,
                       _MTP_FILE_NODE** file, MtpProgressCallback callback, void* context) {
    return send(path, pathLength, parent, nullptr, file, callback, context);
}

DGSTATUS mtpSendMediaFile(const std::uint16_t* path, std::uint32_t pathLength, _MTP_COMMON_NODE* parent,
                          _MTP_MEDIA_FILE_INFO* media, _MTP_FILE_NODE** file, MtpProgressCallback callback,
                          void* context) {
    return send(path, pathLength, parent, media, file, callback, context);
}

DGSTATUS mtpSendMediaFileEx(const std::uint16_t* path, std::uint32_t pathLength, _MTP_COMMON_NODE* parent,
                            _MTP_MEDIA_FILE_INFO* media, _MTP_FILE_NODE** file, MtpProgressCallback callback,
                            void* context) {
    return send(path, pathLength, parent, media, file, callback, context);
}

DGSTATUS mtpGetFile(_MTP_FILE_NODE* file, const std::uint16_t* path, std::uint32_t pathLength,
                    MtpProgressCallback callback, void* context) {
    return receive(file, path, pathLength, callback, context);
}

DGSTATUS mtpGetFileEx(_MTP_FILE_NODE* file, const std::uint16_t* path, std::uint32_t pathLength,
                      MtpProgressCallback callback, void* context) {
    return receive(file, path, pathLength, callback, context);
}
