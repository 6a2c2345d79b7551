// SPDX-License-Identifier: MIT
#include "device/MTPService/ApplicationCall.h"
#include "device/MTPService/FileSender.h"
#include "device/MTPService/MTPControlPath.h"
#include "device/MTPService/MTPControlRecords.h"
#include "device/MTPService/MTPService.h"
#include "device/MTPService/MethodTrace.h"
#include "device/MTPService/TransferJob.h"
#include "host/VXDeviceConfirmDelegate.h"
#include "platform/Files.h"
#include "platform/Log.h"
#include "platform/Paths.h"
#include "platform/ScratchFolder.h"
#include "platform/Strings.h"

using platform::Dictionary;
using platform::Synchronized;

namespace {

using Text = std::optional<std::string>;
using Side = std::shared_ptr<MTPServicePrivate>;

/// A local file that goes away with this.
class PassingFile {
public:
    explicit PassingFile(std::string path)
        : _path(std::move(path)) {}
    ~PassingFile() { static_cast<void>(platform::removeFile(_path)); }
    PassingFile(const PassingFile&) = delete;
    PassingFile& operator=(const PassingFile&) = delete;

    [[nodiscard]] const std::string& path() const { return _path; }

private:
    std::string _path;
};

/// Whether a path's last component can be a file of its own in the passage.
bool isFileName(const std::string& name) {
    return !name.empty() && name != "/" && name != "." && name != "..";
}

/// The job: takes each file from the source's device into a local folder and sends it on to the destination's device.
/// The services of the two devices are two, but it is this job that runs, on the worker of one of them (`runner`, which
/// is mostly one of the two); it shares their insides, and each call tests under the library's monitor whether they are
/// still there. A cancellation asked of any of them counts.
class CopyBetweenDevices {
public:
    CopyBetweenDevices(MTPServicePrivate& runner, const _serviceinfo& request, const platform::Array& contents,
                       Side source, Side destination)
        : _runner(runner)
        , _request(request)
        , _contents(contents)
        , _source(std::move(source))
        , _destination(std::move(destination))
        , _job(runner, request, contents.size(), 2 * _source->mtpTotalMediaFileSize(contents)) // there and on
        , _sender(
              *_destination, {&CopyBetweenDevices::progress, this},
              {.mayOverwrite = [this](const std::string& name) { return FileSender::asksToOverwrite(_runner, name); },
               .mustStop = [this] { return stopsForRelease(); },
               .isCancelled = [this] { return isCancelled(); }}) {}

    /// Answers whether the last file operation succeeded.
    bool run();

private:
    static std::uint32_t progress(std::uint64_t current, std::uint64_t total, void* context);

    /// In the local temporary folder. Without it every file fails.
    void makePassage();
    Next copy(std::size_t index);
    Next copyFile(const Dictionary& content, const std::string& source, std::size_t index);
    Next failed(const OutgoingFile& file, const std::string& source, std::uint32_t status, std::size_t index);
    std::uint32_t receive(const std::string& source, const Text& node, const std::string& local);
    [[nodiscard]] Dictionary dataOf(const Dictionary& content, const std::string& source, const Text& node,
                                    const OutgoingFile& file);
    [[nodiscard]] bool isAtItsPlace(const std::string& source, const Text& node, const std::string& name) const;

    [[nodiscard]] bool isGone(const MTPServicePrivate& side) const;
    [[nodiscard]] const MTPServicePrivate* goneSide() const;
    [[nodiscard]] bool isCancelled() const;
    bool stopsForCancel();
    bool stopsForRelease();
    void cancelled();

    MTPServicePrivate& _runner;
    const _serviceinfo& _request;
    const platform::Array& _contents;
    Side _source;
    Side _destination;
    TransferJob _job;
    platform::ScratchFolder _passage; ///< for the files on their way
    FileSender _sender;
    Text _folderNode;
    bool _lastResult = true;
};

bool CopyBetweenDevices::run() {
    makePassage();
    _folderNode = _destination->mediaDefaultNode(_request.destinationPath, _request.mediaType);
    for (std::size_t i = 0; i < _contents.size(); ++i) {
        if (copy(i) == Next::stop) {
            break;
        }
    }
    return _lastResult;
}

void CopyBetweenDevices::makePassage() {
    const std::string parent = _runner.localCopyPath("").value_or("");
    std::error_code error = platform::createFolders(parent);
    error = error ? error : _passage.create(parent, "Between-");
    if (error) {
        QD_LOG(3, "Create %@ folder is fail. Error = %@", parent, error.message());
    }
}

Next CopyBetweenDevices::copy(std::size_t index) {
    if (stopsForCancel()) {
        return Next::stop;
    }
    const Dictionary* content = _contents[index].dictionary();
    const Text source = content != nullptr ? content->string("FilePath") : std::nullopt;
    if (!source || !isFileName(platform::lastPathComponent(*source)) || _passage.path().empty()) {
        QD_LOG(1, "Get contents information is failed. filePath = %@", source);
        _job.beginFile(std::nullopt);
        _job.fileFailed(SERVICE_COPY_TO_DEVICE_FAILED);
        return Next::goOn;
    }
    return copyFile(*content, *source, index);
}

// The new file is named by the last component of the local path, so the local copy has the name that the file has on
// the source.
Next CopyBetweenDevices::copyFile(const Dictionary& content, const std::string& source, std::size_t index) {
    const std::string name = platform::lastPathComponent(source);
    const PassingFile local(_passage.path() + "/" + name);
    OutgoingFile file{.source = local.path(),
                      .name = name,
                      .target = platform::formatText("%@/%@", *_request.destinationPath, name),
                      .folder = _folderNode,
                      .data = {}};
    _job.beginFile(file.target);
    if (stopsForRelease()) {
        return Next::stop;
    }
    const Text node = _source->indexedNode(source);
    if (isAtItsPlace(source, node, name)) {
        _job.fileFailed(DGSTATUS_NODE_FILE_DUPNAME_EXISTED);
        return Next::goOn;
    }
    SendOutcome outcome;
    outcome.status = receive(source, node, local.path());
    if (outcome.status == DGSTATUS_SUCCESS) {
        file.data = dataOf(content, source, node, file);
        const Synchronized library(MtpControl::classMonitor()); // neither side goes between the test and the send
        if (stopsForRelease()) {
            return Next::stop;
        }
        outcome = _sender.send(file);
    }
    _lastResult = outcome.sent;
    if (outcome.isStopped) {
        return Next::stop;
    }
    if (!outcome.sent || outcome.status != DGSTATUS_SUCCESS) {
        return failed(file, source, outcome.status, index);
    }
    _sender.takeIn(file, outcome, _job.notifier());
    _job.fileSucceeded();
    return Next::goOn;
}

Next CopyBetweenDevices::failed(const OutgoingFile& file, const std::string& source, std::uint32_t status,
                                std::size_t index) {
    if (TransferJob::isCancelStatus(status)) {
        cancelled();
        return Next::stop;
    }
    if (TransferJob::isStorageFull(status)) {
        _job.remainingFilesFailed(status, _contents.size() - index);
        return Next::stop;
    }
    QD_LOG(1, "Download %@ to %@ failed.", source, file.target);
    _job.fileFailed(status);
    return Next::goOn;
}

std::uint32_t CopyBetweenDevices::receive(const std::string& source, const Text& node, const std::string& local) {
    const Synchronized library(MtpControl::classMonitor());
    std::uint32_t status = DGSTATUS_IO_CANCEL_SUCCESS;
    if (goneSide() == nullptr) {
        _source->_mtpControl->uploadFileFromMTPEx(_source->_currentDeviceNode, _source->_storageHeadNode, node, source,
                                                  local, &CopyBetweenDevices::progress, this, &status);
    }
    return status;
}

/// What the source's device knows of the file; when that is no title, what the host finds in the local copy.
Dictionary CopyBetweenDevices::dataOf(const Dictionary& content, const std::string& source, const Text& node,
                                      const OutgoingFile& file) {
    std::optional<Dictionary> data;
    _source->mediaFileInfo(source, node, data);
    if (!data || !data->contains("Title")) {
        Dictionary entry = content;
        entry.set("FilePath", file.source);
        std::optional<Dictionary> known = FileSender::describe(entry, file.source);
        if (known && (!data || known->contains("Title"))) {
            data = std::move(known);
        }
    }
    Dictionary described = data.value_or(Dictionary());
    described.set("FilePath", file.source);
    return described;
}

/// Whether the file is the very one that it would replace: overwriting deletes first. Two services may have one device.
bool CopyBetweenDevices::isAtItsPlace(const std::string& source, const Text& node, const std::string& name) const {
    if (_source->locationNumber() != _destination->locationNumber()) {
        return false;
    }
    const Synchronized library(MtpControl::classMonitor());
    _MTP_COMMON_NODE* folder = goneSide() == nullptr ? MtpControl::nodeFromText(_folderNode) : nullptr;
    if (folder == nullptr) {
        return false;
    }
    MtpControl& control = *_source->_mtpControl;
    mtpcontrol::StorageHead head(control, _source->_storageHeadNode);
    const _MTP_COMMON_NODE* file =
        mtpcontrol::fileNode(control, _source->_currentDeviceNode, head.address(), node, source);
    const _MTP_FILE_NODE* present = _destination->_mtpControl->getFileNode(folder, name);
    return present != nullptr && &present->header == file;
}

// Progress and the reasons to stop

std::uint32_t CopyBetweenDevices::progress(std::uint64_t current, std::uint64_t total, void* context) {
    auto& copying = *static_cast<CopyBetweenDevices*>(context);
    if (copying.isCancelled() || copying.goneSide() != nullptr) {
        return DGSTATUS_IO_CANCEL;
    }
    return DeviceProgressCallbackEx(current, total, copying._job.callbackContext());
}

/// The runner's end waits for this job; that of the others does not.
bool CopyBetweenDevices::isGone(const MTPServicePrivate& side) const {
    return &side == &_runner ? side.getReleaseState() == 1 : side.isEnding();
}

const MTPServicePrivate* CopyBetweenDevices::goneSide() const {
    const std::initializer_list<const MTPServicePrivate*> sides{&_runner, _source.get(), _destination.get()};
    for (const MTPServicePrivate* side : sides) {
        if (isGone(*side)) {
            return side;
        }
    }
    return nullptr;
}

bool CopyBetweenDevices::isCancelled() const {
    return _runner.isCancelServiceId(_request.serviceID) || _source->isCancelServiceId(_request.serviceID) ||
           _destination->isCancelServiceId(_request.serviceID);
}

bool CopyBetweenDevices::stopsForCancel() {
    if (!isCancelled()) {
        return false;
    }
    cancelled();
    return true;
}

bool CopyBetweenDevices::stopsForRelease() {
    const MTPServicePrivate* side = goneSide();
    if (side == nullptr) {
        return false;
    }
    QD_LOG(5, "Device Disconnected - %@", side->locationID());
    _job.notifier().cancelFileTransfer();
    return true;
}

/// The job itself takes the ID off the runner's list.
void CopyBetweenDevices::cancelled() {
    for (const Side& side : {_source, _destination}) {
        if (side.get() != &_runner) {
            side->removeCancelServiceId(_request.serviceID);
        }
    }
    _job.cancelled();
}

} // namespace

std::shared_ptr<MTPServicePrivate> MTPServicePrivate::serviceOfDevice(const Text& locationID) {
    if (!locationID || platform::hexValue(*locationID) == locationNumber()) {
        return shared_from_this();
    }
    const auto delegate = _confirmDelegate.get().lock();
    std::shared_ptr<MTPService> other;
    if (delegate != nullptr) {
        callApplication([&] { other = delegate->getFileServiceObject(*locationID); });
    }
    return other == nullptr ? nullptr : other->callbackObject().object<MTPServicePrivate>();
}

bool MTPServicePrivate::doCopyMediaContentsDeviceToDevice(const _serviceinfo& request) {
    const MethodTrace trace(6);
    const platform::Array* contents = request.contents.array();
    if (contents == nullptr || !request.destinationPath) {
        QD_LOG(3, "Input Data is invalid");
        return refuse(request.serviceID, request.mediaType, request.srcLocationID);
    }
    Side source = serviceOfDevice(request.srcLocationID);
    Side destination = serviceOfDevice(request.destLocationID);
    if (source == nullptr || destination == nullptr) {
        QD_LOG(3, "Get Target File Service Object is fail");
        return refuse(request.serviceID, request.mediaType, request.srcLocationID);
    }
    return CopyBetweenDevices(*this, request, *contents, std::move(source), std::move(destination)).run();
}
