// SPDX-License-Identifier: MIT
#include "device/MTPService/FileSender.h"
#include "device/MTPService/MTPService.h"
#include "device/MTPService/MediaTypeTable.h"
#include "device/MTPService/MethodTrace.h"
#include "device/MTPService/SyncFolders.h"
#include "device/MTPService/TransferJob.h"
#include "platform/Files.h"
#include "platform/Log.h"
#include "platform/Paths.h"

#include <unordered_set>

using platform::Dictionary;

namespace {

using Text = std::optional<std::string>;

/// One entry of the list.
struct File {
    std::string source; ///< local path
    std::string name;   ///< the local file's: the library gives the new file that one
    std::string title;  ///< as the entry calls it
};

/// The job: makes the default folders of a media type hold the files given. What is there already stays, what has
/// changed is replaced, what is missing is sent; what the list does not name is left alone.
class SyncToDevice {
public:
    SyncToDevice(MTPServicePrivate& service, const _serviceinfo& request, const platform::Array& contents,
                 std::vector<SyncFolder> folders)
        : _service(service)
        , _request(request)
        , _contents(contents)
        , _folders(std::move(folders))
        , _present(service, _folders, request.mediaType)
        , _job(service, request, contents.size(), service.totalMediaFileSize(contents)) {}

    /// Answers whether the last file is as the list wants it.
    bool run() {
        for (std::size_t i = 0; i < _contents.size(); ++i) {
            if (sync(i) == Next::stop) {
                break;
            }
        }
        return _lastResult;
    }

private:
    Next sync(std::size_t index);
    [[nodiscard]] std::optional<File> fileAt(std::size_t index) const;
    void leave(const PresentFile& present, const std::string& name);
    Next send(const File& file, const SyncFolder& folder, std::size_t index);
    void finishFile(const File& file, const Text& node);

    MTPServicePrivate& _service;
    const _serviceinfo& _request;
    const platform::Array& _contents;
    std::vector<SyncFolder> _folders;
    PresentFiles _present;
    TransferJob _job;
    std::unordered_set<std::string> _settled; ///< names that entries before this one have settled
    bool _lastResult = true;
};

Next SyncToDevice::sync(std::size_t index) {
    if (_job.stopsForCancel()) {
        return Next::stop;
    }
    const std::optional<File> file = fileAt(index);
    const SyncFolder* folder = &_folders.front();
    _job.beginFile(file ? Text(folder->fileNamed(file->name)) : std::nullopt);
    _job.notifier().setStorageIndex(folder->diskIndex);
    if (!file) {
        _job.fileFailed(SERVICE_SYNC_FAILED);
        return Next::goOn;
    }
    const auto size = platform::fileSize(file->source);
    const PresentFile* present = _present.find(file->name, size);
    const std::string key = PresentFiles::key(file->name);
    const bool isSettled = _settled.contains(key);
    if (present != nullptr) {
        _settled.insert(key); // whether it can be replaced or not: it is this entry's
    }
    if (present != nullptr && size == present->size) {
        leave(*present, file->name);
        return Next::goOn;
    }
    if (isSettled) { // one folder cannot hold both; each would replace the other, again and again
        _lastResult = false;
        _job.fileFailed(DGSTATUS_NODE_FILE_DUPNAME_EXISTED);
        return Next::goOn;
    }
    if (present != nullptr) {
        folder = present->folder;
    }
    return send(*file, *folder, index);
}

std::optional<File> SyncToDevice::fileAt(std::size_t index) const {
    const Dictionary* content = _contents[index].dictionary();
    if (content == nullptr) {
        QD_LOG(1, "Contents data is nil. Next data search");
        return std::nullopt;
    }
    const std::optional<NamedFile> named = namedFile(*content);
    if (!named) {
        return std::nullopt;
    }
    return File{.source = named->path, .name = platform::lastPathComponent(named->path), .title = named->name};
}

/// The file counts as done, and its bytes as passed: the bar ends full.
void SyncToDevice::leave(const PresentFile& present, const std::string& name) {
    const std::string path = present.folder->fileNamed(name);
    _job.beginFile(path);
    _job.notifier().setStorageIndex(present.folder->diskIndex);
    _service.indexNode(path, present.nodeID);
    _service.transferProgressInfoEx(_job.sharedNotifier(), present.size, present.size);
    _lastResult = true;
    _job.fileSucceeded();
}

Next SyncToDevice::send(const File& file, const SyncFolder& folder, std::size_t index) {
    const std::optional<Dictionary> data = FileSender::describe(*_contents[index].dictionary(), file.source);
    if (_job.stopsForRelease()) {
        return Next::stop;
    }
    Text node;
    std::uint32_t status = SERVICE_SYNC_FAILED;
    _lastResult = false;
    if (data) {
        _lastResult = _service.syncFile(file.source, folder.path, folder.diskIndex, _request.mediaType, *data,
                                        _job.sharedNotifier(), &node);
        status = _job.notifier().transferResult();
    }
    if (_job.stopsForStatus(status)) {
        return Next::stop;
    }
    if (_lastResult && status == DGSTATUS_SUCCESS) {
        finishFile(file, node);
        return Next::goOn;
    }
    if (_job.stopsForRelease()) {
        return Next::stop;
    }
    if (TransferJob::isStorageFull(status)) {
        _job.remainingFilesFailed(status, _contents.size() - index);
        return Next::stop;
    }
    QD_LOG(1, "Download %@ to %@ failed.", file.source, _job.notifier().filePath());
    _job.fileFailed(status);
    return Next::goOn;
}

void SyncToDevice::finishFile(const File& file, const Text& node) {
    const std::string target = _job.notifier().filePath().value_or("");
    _service.copyMediaFileToLocalTempPath(file.source, target, _request.mediaType);
    _settled.insert(PresentFiles::key(file.name));
    _present.add(file.name, _job.notifier().storageIndex(), platform::fileSize(file.source).value_or(0),
                 node.value_or(""));
    _job.fileSucceeded();
}

} // namespace

bool MTPServicePrivate::doSyncMediaContentsToDevice(const _serviceinfo& request) {
    const MethodTrace trace(6);
    const platform::Array* contents = mediaEntries(*this, request, NeedsFolder::no);
    if (contents == nullptr) {
        return false;
    }
    std::uint32_t start = 0;
    storagePathWithOption(request.isStartInternal != 0, &start); // 0 when there is none of that kind
    std::vector<SyncFolder> folders = syncFolders(*this, request.mediaType, start);
    if (folders.empty()) {
        QD_LOG(3, "Get Default Path is failed. Current Location ID = 0x%08x", locationNumber());
        return refuse(request);
    }
    return SyncToDevice(*this, request, *contents, std::move(folders)).run();
}

bool MTPServicePrivate::syncFile(const std::string& file, const std::string& path, std::uint32_t index,
                                 std::uint32_t mediaType, const Dictionary& mediaData, const Notifier& context,
                                 Text* retFileNode) {
    const MethodTrace trace(6);
    Dictionary progress = callbackContext(context);
    FileSender sender(*this, {&DeviceProgressCallbackEx, &progress},
                      {.mayOverwrite = [](const std::string&) { return true; },
                       .mustStop = [this] { return getReleaseState() == 1; },
                       .isCancelled = [&] { return isCancelServiceId(context->serviceID()); }});
    OutgoingFile outgoing{
        .source = file, .name = platform::lastPathComponent(file), .target = {}, .folder = {}, .data = mediaData};
    const std::uint64_t sentBefore = context->currentTransferSize();
    for (const SyncFolder& folder : syncFolders(*this, mediaType, index)) {
        const std::string place = folder.diskIndex == index ? path : folder.path;
        outgoing.target = platform::formatText("%@/%@", place, outgoing.name);
        outgoing.folder = mediaDefaultNode(place, mediaType);
        context->setFilePath(outgoing.target);
        context->setStorageIndex(folder.diskIndex);
        const SendOutcome outcome = sender.send(outgoing);
        context->setTransferResult(outcome.status);
        if (!TransferJob::isStorageFull(outcome.status)) {
            if (outcome.sent) {
                sender.takeIn(outgoing, outcome, *context);
            }
            if (retFileNode != nullptr) {
                *retFileNode = outcome.node;
            }
            return outcome.sent;
        }
        QD_LOG(5, "%@ storage not enought memory. Send Next Storage", folder.volumePath);
        context->setCurrentTransferSize(sentBefore); // what passed of it before the storage was full does not count
        context->setPrevTransferFileSize(sentBefore);
        context->setMaxSendBytes(0);
        context->setPrevSendBytes(0);
    }
    context->setTransferResult(DGSTATUS_STORAGE_FULL);
    return false;
}
