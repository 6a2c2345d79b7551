// SPDX-License-Identifier: MIT
#include "tools/TransferProgress.h"

#include "platform/Paths.h"
#include "tools/StatusText.h"
#include "vemomtpsdk/Status.h"

#include <algorithm>
#include <utility>

namespace tool {
namespace {

constexpr const char* kProgressName = "VXLUMO_NOTI_TRANSFER_PROGRESS";
constexpr const char* kResultName = "VXLUMO_NOTI_MEDIA_TRASFER_RESULT"; // spelt as the service spells it

} // namespace

TransferProgress::TransferProgress(std::vector<LocalFile> files, TransferListener& listener)
    : _files(std::move(files))
    , _listener(listener)
    , _states(_files.size(), FileState::waiting) {
    _counts.filesTotal = _files.size();
    for (const LocalFile& file : _files) {
        _counts.bytesTotal += file.size;
    }
}

void TransferProgress::beginRequest(std::uint32_t serviceID, std::vector<std::size_t> files) {
    const std::lock_guard lock(_mutex);
    _serviceID = serviceID;
    _request = std::move(files);
    _nextPosition = 0;
    _requestBytes = 0;
    for (const std::size_t file : _request) {
        _requestBytes += _files[file].size;
    }
    _requestBytesSettled = 0;
    _requestBytesCopied = 0;
    _percent = 0;
    _currentName.clear();
    _hasStarted = false;
    _isRefused = false;
}

void TransferProgress::restartRequest() {
    const std::lock_guard lock(_mutex);
    _hasStarted = false;
    _isRefused = false;
}

bool TransferProgress::hasRequestStarted() const {
    const std::lock_guard lock(_mutex);
    return _hasStarted;
}

void TransferProgress::endRequest() {
    const std::lock_guard lock(_mutex);
    settleUnheard(_request.size());
    _currentName.clear();
}

void TransferProgress::settleRest() {
    const std::lock_guard lock(_mutex);
    for (std::size_t file = 0; file < _files.size(); ++file) {
        settle(file, FileState::cancelled, _isDeviceGone ? "not sent, the device is gone" : "not sent");
    }
}

void TransferProgress::keep(std::size_t file, const std::string& reason) {
    const std::lock_guard lock(_mutex);
    settle(file, FileState::kept, reason);
}

void TransferProgress::handle(const platform::Notification& notification) {
    const std::lock_guard lock(_mutex);
    _listener.notified(notification);
    if (notification.userInfo.uint32("ServiceID") != _serviceID) {
        return;
    }
    if (notification.name == kProgressName) {
        handleProgress(notification.userInfo);
    } else if (notification.name == kResultName) {
        handleResult(notification.userInfo);
    }
}

void TransferProgress::handleProgress(const platform::Dictionary& userInfo) {
    _hasStarted = true;
    if (!userInfo.contains("CurrentProgress")) {
        _isRefused = true; // refused, or cancelled before it ran
        return;
    }
    _percent = std::min<std::uint32_t>(userInfo.uint32("CurrentProgress").value_or(0), 100);
    _currentName = userInfo.string("FileName").value_or("");
    _listener.progressed(currentSnapshot());
}

void TransferProgress::handleResult(const platform::Dictionary& userInfo) {
    _hasStarted = true;
    const std::size_t position = positionOf(platform::lastPathComponent(userInfo.string("FilePath").value_or("")));
    if (position == _request.size()) {
        return;
    }
    const auto status = userInfo.uint32("ResultStatus").value_or(DGSTATUS_UNSUCCESSFUL);
    settleUnheard(position);
    _isFull = _isFull || meansStorageFull(status);
    _isDeviceGone = _isDeviceGone || meansDeviceGone(status);
    const std::size_t file = _request[position];
    if (status == DGSTATUS_SUCCESS && userInfo.find("IsKept") != nullptr) {
        settle(file, FileState::kept, "is there already");
    } else if (status == DGSTATUS_SUCCESS) {
        settle(file, FileState::copied, "");
    } else if (status == DGSTATUS_NODE_FILE_DUPNAME_EXISTED) {
        settle(file, FileState::kept, statusText(status));
    } else {
        settle(file, FileState::failed, statusText(status));
    }
    _nextPosition = position + 1;
    _currentName.clear();
}

void TransferProgress::noteKept(const std::string& fileName) {
    const std::lock_guard lock(_mutex);
    if (const std::size_t position = positionOf(fileName); position < _request.size()) {
        settle(_request[position], FileState::kept, statusText(DGSTATUS_NODE_FILE_DUPNAME_EXISTED));
    }
}

void TransferProgress::noteCancelled() {
    const std::lock_guard lock(_mutex);
    _isCancelled = true;
}

void TransferProgress::tick() {
    const std::lock_guard lock(_mutex);
    _listener.progressed(currentSnapshot());
}

TransferSnapshot TransferProgress::snapshot() const {
    const std::lock_guard lock(_mutex);
    return currentSnapshot();
}

std::vector<std::size_t> TransferProgress::keptFiles() const {
    const std::lock_guard lock(_mutex);
    std::vector<std::size_t> kept;
    for (std::size_t file = 0; file < _files.size(); ++file) {
        if (_states[file] == FileState::kept) {
            kept.push_back(file);
        }
    }
    return kept;
}

bool TransferProgress::isDeviceGone() const {
    const std::lock_guard lock(_mutex);
    return _isDeviceGone;
}

/// Files before `endPosition` that the service went past without a result.
void TransferProgress::settleUnheard(std::size_t endPosition) {
    for (; _nextPosition < endPosition; ++_nextPosition) {
        if (_isCancelled) {
            settle(_request[_nextPosition], FileState::cancelled, "cancelled");
        } else if (_isDeviceGone) {
            settle(_request[_nextPosition], FileState::failed, statusText(DGSTATUS_NO_DEVICE_ATTACHED));
        } else if (_isFull) {
            settle(_request[_nextPosition], FileState::failed, statusText(DGSTATUS_STORAGE_FULL));
        } else {
            settle(_request[_nextPosition], FileState::failed,
                   _isRefused ? "the service refused the request" : "the device did not take it");
        }
    }
}

void TransferProgress::settle(std::size_t file, FileState state, std::string reason) {
    if (_states[file] != FileState::waiting) {
        return;
    }
    _states[file] = state;
    const std::uint64_t size = _files[file].size;
    ++_counts.filesDone;
    _counts.bytesDone += size;
    _requestBytesSettled += size;
    if (state == FileState::copied) {
        ++_counts.copied;
        _counts.bytesCopied += size;
        _requestBytesCopied += size;
    } else {
        ++(state == FileState::kept ? _counts.kept : _counts.failed);
    }
    _listener.settled({_files[file], state, std::move(reason)}, currentSnapshot());
}

/// The position in the request of the next file of that name; the request's size when there is none.
std::size_t TransferProgress::positionOf(std::string_view name) const {
    const auto found = std::find_if(_request.begin() + static_cast<std::ptrdiff_t>(_nextPosition), _request.end(),
                                    [&](std::size_t file) { return _files[file].name == name; });
    return static_cast<std::size_t>(found - _request.begin());
}

TransferSnapshot TransferProgress::currentSnapshot() const {
    TransferSnapshot snapshot = _counts;
    // The service tells the request's bytes in whole per cent, of which the copied files are a part; what is beyond
    // them belongs to the file under way.
    const std::uint64_t told = static_cast<std::uint64_t>(static_cast<double>(_requestBytes) * _percent / 100);
    const std::uint64_t underWay = told > _requestBytesCopied ? told - _requestBytesCopied : 0;
    snapshot.bytesDone += std::min(underWay, _requestBytes - std::min(_requestBytesSettled, _requestBytes));
    snapshot.currentName = _currentName;
    return snapshot;
}

} // namespace tool
