// SPDX-License-Identifier: MIT
#include "device/MTPService/MethodTrace.h"
#include "device/MTPService/TransferJob.h"
#include "platform/Log.h"

using platform::Dictionary;
using platform::Synchronized;

namespace {

using Text = std::optional<std::string>;

/// The job: deletes a request's files one by one. It counts files, not bytes, and its first notification is that of the
/// first file.
class DeleteContents {
public:
    DeleteContents(MTPServicePrivate& service, const _serviceinfo& request, const platform::Array& contents)
        : _service(service)
        , _contents(contents)
        , _job(service, request, contents.size(), 0, {.announcesStart = false}) {}

    /// Answers whether the last deletion that was tried succeeded.
    bool run() {
        for (const platform::Value& entry : _contents) {
            if (deleteEntry(entry.dictionary()) == Next::stop) {
                break;
            }
        }
        return _lastResult;
    }

private:
    Next deleteEntry(const Dictionary* content);
    Next deleteFile(const std::string& path);

    MTPServicePrivate& _service;
    const platform::Array& _contents;
    TransferJob _job;
    /// One word for all files: a deletion that leaves it alone is told with the status of the one before.
    std::uint32_t _status = 0;
    bool _lastResult = false;
};

Next DeleteContents::deleteEntry(const Dictionary* content) {
    if (_job.stopsForCancel()) {
        return Next::stop;
    }
    if (content == nullptr) {
        QD_LOG(1, "Contents data is nil. Next data search");
        _job.entryFailed();
        return Next::goOn;
    }
    const Text path = content->string("FilePath");
    _job.beginFile(path);
    if (!path) {
        QD_LOG(1, "Get Contents information is failed. filePath = %@", path);
        _job.fileFailed(SERVICE_DELETE_FAILED);
        return Next::goOn;
    }
    return deleteFile(*path);
}

Next DeleteContents::deleteFile(const std::string& path) {
    const Text nodeID = _service.indexedNode(path);
    QD_LOG(6, "Contents File Path = %@, nodeID = %@", path, nodeID);
    if (_job.stopsForRelease()) {
        return Next::stop;
    }
    {
        const Synchronized library(MtpControl::classMonitor());
        _lastResult = _service._mtpControl->deleteItemAtPath(_service._currentDeviceNode, _service._storageHeadNode,
                                                             nodeID, path, &_status);
    }
    if (!_lastResult) {
        QD_LOG(1, "Delete %@ File at %@ failed.", path, nodeID);
        _job.fileFailed(_status);
        return Next::goOn;
    }
    _job.notifier().fileCountTransfer();
    _job.fileSucceeded();
    _service.unindexNode(path);
    return Next::goOn;
}

} // namespace

bool MTPServicePrivate::doDeleteMediaContents(const _serviceinfo& request) {
    const MethodTrace trace(6);
    const platform::Array* contents = mediaEntries(*this, request, NeedsFolder::no);
    if (contents == nullptr) {
        return false;
    }
    return DeleteContents(*this, request, *contents).run();
}
