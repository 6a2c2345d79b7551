// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPService.h"
#include "device/MTPService/MethodTrace.h"
#include "device/MTPService/TransferJob.h"
#include "platform/Files.h"
#include "platform/Log.h"
#include "platform/Paths.h"

#include <algorithm>

using platform::Dictionary;
using platform::Synchronized;

namespace {

using Text = std::optional<std::string>;

/// One file to fetch.
struct File {
    std::string source; ///< device path
    std::string target; ///< local path
};

/// Whether a name, which may hold folders, stays below the folder that it is put in. Names may come from a device.
bool staysInside(const std::string& name) {
    return !name.empty() && name.find('\0') == std::string::npos &&
           std::ranges::count(platform::pathComponents(name), "..") == 0;
}

/// The job: receives a request's files one by one into one local folder.
class CopyFromDevice {
public:
    CopyFromDevice(MTPServicePrivate& service, const _serviceinfo& request, const platform::Array& contents)
        : _service(service)
        , _request(request)
        , _contents(contents)
        , _job(service, request, contents.size(), service.mtpTotalMediaFileSize(contents)) {}

    /// Answers whether the last receive succeeded; failures before it do not count.
    bool run() {
        for (const platform::Value& entry : _contents) {
            if (copy(entry.dictionary()) == Next::stop) {
                break;
            }
        }
        return _lastResult;
    }

private:
    Next copy(const Dictionary* content);
    [[nodiscard]] std::optional<File> fileOf(const Dictionary* content) const;
    std::uint32_t receive(const File& file, const Text& nodeID);

    MTPServicePrivate& _service;
    const _serviceinfo& _request;
    const platform::Array& _contents;
    TransferJob _job;
    bool _lastResult = false;
};

Next CopyFromDevice::copy(const Dictionary* content) {
    if (_job.stopsForCancel()) {
        return Next::stop;
    }
    const std::optional<File> file = fileOf(content);
    _job.beginFile(file ? Text(file->target) : std::nullopt);
    if (!file) {
        _job.fileFailed(SERVICE_COPY_TO_MAC_FAILED);
        return Next::goOn;
    }
    const Text nodeID = _service.indexedNode(file->source);
    if (_job.stopsForRelease()) {
        return Next::stop;
    }
    const std::uint32_t status = receive(*file, nodeID);
    if (_job.stopsForStatus(status)) {
        return Next::stop;
    }
    if (_lastResult && status == DGSTATUS_SUCCESS) {
        _job.fileSucceeded();
    } else {
        QD_LOG(1, "Upload %@ to %@ failed.", file->source, file->target);
        _job.fileFailed(status);
    }
    return Next::goOn;
}

std::optional<File> CopyFromDevice::fileOf(const Dictionary* content) const {
    if (content == nullptr) {
        return std::nullopt;
    }
    const std::optional<NamedFile> named = namedFile(*content);
    if (!named) {
        return std::nullopt;
    }
    QD_LOG(6, "Contents File Path = %@, Name = %@", named->path, named->name);
    if (!staysInside(named->name)) {
        QD_LOG(1, "Consist of Target Path Name is failed");
        return std::nullopt;
    }
    return File{.source = named->path, .target = platform::formatText("%@/%@", *_request.destinationPath, named->name)};
}

std::uint32_t CopyFromDevice::receive(const File& file, const Text& nodeID) {
    const Synchronized library(MtpControl::classMonitor());
    std::uint32_t status = DGSTATUS_SUCCESS;
    _lastResult = _service._mtpControl->uploadFileFromMTPEx(_service._currentDeviceNode, _service._storageHeadNode,
                                                            nodeID, file.source, file.target, &DeviceProgressCallbackEx,
                                                            _job.callbackContext(), &status);
    return status;
}

} // namespace

bool MTPServicePrivate::doCopyMediaContentsFromDevice(const _serviceinfo& request) {
    const MethodTrace trace(6);
    const platform::Array* contents = request.contents.array();
    if (contents == nullptr || !request.destinationPath) {
        QD_LOG(3, "Input Data is invalid");
        return refuse(request);
    }
    return CopyFromDevice(*this, request, *contents).run();
}

std::uint64_t MTPServicePrivate::mtpTotalMediaFileSize(const std::optional<platform::Array>& contents) {
    std::uint64_t total = 0;
    const auto add = [&total](std::uint64_t size) {
        total += size;
        QD_LOG(7, "Total File Size = 0x%08x, current File Size = 0x%08x", total, size);
    };
    for (const platform::Value& entry : contents.value_or(platform::Array())) {
        const Dictionary* content = entry.dictionary();
        if (content == nullptr) {
            QD_LOG(1, "Contents data is nil. Next data search");
            continue;
        }
        if (const auto size = content->uint64("FileSize")) {
            add(*size);
            continue;
        }
        QD_LOG(1, "File Size Value is not exist");
        if (const Text path = content->string("FilePath")) {
            const Synchronized library(MtpControl::classMonitor());
            add(_mtpControl->fileSize(_currentDeviceNode, _storageHeadNode, path, std::nullopt, nullptr));
        }
    }
    return total;
}

bool MTPServicePrivate::copyFileFromDevice(const Text& sourcePath, const Text& destPath, const Text& fileNode,
                                           const Notifier& context, std::uint32_t* error) {
    const MethodTrace trace(6);
    if (!sourcePath || !destPath) {
        QD_LOG(3, "File Path is invalid.");
        return false;
    }
    if (!platform::fileExists(*destPath)) {
        if (const std::error_code failure = platform::createFolders(platform::deletingLastPathComponent(*destPath))) {
            QD_LOG(3, "Create download folder is filed. Error = %@", failure.message());
            return false;
        }
    }
    Dictionary progress = callbackContext(context);
    const Synchronized library(MtpControl::classMonitor());
    const bool received = _mtpControl->uploadFileFromMTPEx(_currentDeviceNode, _storageHeadNode, fileNode, sourcePath,
                                                           destPath, &DeviceProgressCallbackEx, &progress, error);
    if (!received) {
        QD_LOG(1, "upload %@ to %@ failed.", sourcePath, destPath);
    }
    return received;
}
