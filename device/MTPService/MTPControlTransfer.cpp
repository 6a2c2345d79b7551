// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPControl.h"
#include "device/MTPService/MTPControlPath.h"
#include "device/MTPService/MTPControlRecords.h"
#include "platform/Paths.h"
#include "platform/Strings.h"
#include "vemomtpsdk/Functions.h"

using mtpcontrol::CallText;
using mtpcontrol::invalidReceiveInput;
using mtpcontrol::invalidSendInput;
using mtpcontrol::setError;

namespace {

// What sets the members of each family apart: the library's function and their messages.
struct MediaSend {
    decltype(&mtpSendMediaFile) call;
    const char* started;
    const char* failure;
};
constexpr MediaSend sendMediaEx{mtpSendMediaFileEx, "Send Media File Name = %S, TO = %@",
                                "mtpSendMediaFileEx is failed. status = %@"};
constexpr MediaSend sendMediaPlain{mtpSendMediaFile, "Send Media File Name = %S",
                                   "mtpSendMediaFile is failed. status = %@"};
constexpr MediaSend sendMediaInStorage{mtpSendMediaFileEx, "Send Media File Name = %S",
                                       "mtpSendMediaFileEx is failed. status = %@"};

struct FileSend {
    decltype(&mtpSendFile) call;
    const char* failure;
};
constexpr FileSend sendFileEx{mtpSendFileEx, "mtpSendFileEx is failed. Common Node = (%p) status = %@"};
constexpr FileSend sendFilePlain{mtpSendFile, "mtpSendFile is failed. Common Node = (%p) status = %@"};

struct FileReceive {
    decltype(&mtpGetFile) call;
    const char* started;
    const char* failure;
};
constexpr FileReceive receiveEx{mtpGetFileEx, "File Upload %@ to %@",
                                "mtpGetFileEx is failed. File Node = (%p), status = %@"};
constexpr FileReceive receivePlain{mtpGetFile, "File Upload %@ to %@",
                                   "mtpGetFile is failed. File Node = (%p), status = %@"};
constexpr FileReceive receiveInStorage{mtpGetFileEx, "Transfer %@ to %@",
                                       "mtpGetFileEx is failed. File Node = (%p), status = %@"};

/// What a transfer hands through to the library.
struct Progress {
    MtpProgressCallback callback;
    void* context;
};

/// Where a send reports: the new file's node (or the one that holds its name already), and the library's status.
struct SendResult {
    MtpControl::NodeID* fileNode;
    std::uint32_t* error;

    bool report(DGSTATUS status, const _MTP_FILE_NODE* file) const {
        const bool named = status == DGSTATUS_SUCCESS || mtpcontrol::isDuplicateName(status);
        if (named && file != nullptr && fileNode != nullptr) {
            *fileNode = MtpControl::nodeIDText(file);
        }
        setError(error, status);
        return status == DGSTATUS_SUCCESS;
    }
    bool fail(const char* message) const {
        QD_LOG(3, message);
        setError(error, DGSTATUS_UNSUCCESSFUL);
        return false;
    }
};

bool sendMedia(MtpControl& control, const MediaSend& how, _MTP_COMMON_NODE* parent, const platform::Dictionary& data,
               const std::string& destination, Progress progress, SendResult result) {
    if (parent == nullptr) {
        return result.fail("Get Current Node is NULL");
    }
    const auto path = CallText::makePrecomposed(data.string("FilePath").value_or(""));
    if (!path) {
        return result.fail("Memory alloc for send is failed.");
    }
    QD_LOG(5, how.started, path->text(), destination);
    const mtpcontrol::MediaRecord media(control, data);
    _MTP_FILE_NODE* file = nullptr;
    const DGSTATUS status = how.call(path->data(), path->unitsWithTerminator(), parent, media.get(), &file,
                                     progress.callback, progress.context);
    if (status != DGSTATUS_SUCCESS && !mtpcontrol::isDuplicateName(status)) {
        QD_LOG(3, how.failure, control.statusString(status));
    }
    return result.report(status, file);
}

/// The node of the text if it can still take files. A handle that an application kept may have died meanwhile, or name
/// anything: nothing but a live folder or storage is sent into.
_MTP_COMMON_NODE* parentFromText(MtpControl& control, const MtpControl::NodeID& text) {
    _MTP_COMMON_NODE* node = MtpControl::nodeFromText(text);
    const bool usable = node != nullptr && control.checkNodeExist(node) &&
                        (node->Signature == MTP_SIGNATURE_FOLDER || node->Signature == MTP_SIGNATURE_STORAGE);
    return usable ? node : nullptr;
}

/// The folder that a send goes into: the node given, else the folder of the destination, made where it is missing.
_MTP_COMMON_NODE* sendParent(MtpControl& control, _MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead,
                             const MtpControl::NodeID& folderNode, const MtpControl::Text& destination,
                             std::uint32_t* error) {
    _MTP_COMMON_NODE* parent = parentFromText(control, folderNode);
    return parent != nullptr ? parent : control.checkCreateFolder(device, &storageHead, destination, error);
}

bool sendMediaByPath(MtpControl& control, const MediaSend& how, _MTP_DEVICE_NODE* device,
                     _MTP_STORAGE_NODE* storageHead, const MtpControl::NodeID& folderNode,
                     const platform::Dictionary* data, const MtpControl::Text& destination, Progress progress,
                     SendResult result) {
    if (device == nullptr || data == nullptr || !destination) {
        QD_LOG(3, "Input parameter is error. device = %p, data = %p, destPath = %@", device, data, destination);
        setError(result.error, invalidSendInput);
        return false;
    }
    _MTP_COMMON_NODE* parent = sendParent(control, device, storageHead, folderNode, destination, result.error);
    return sendMedia(control, how, parent, *data, *destination, progress, result);
}

bool sendFile(MtpControl& control, const FileSend& how, _MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead,
              const MtpControl::NodeID& folderNode, const MtpControl::Text& source, const MtpControl::Text& destination,
              Progress progress, SendResult result) {
    if (device == nullptr || !source || !destination) {
        QD_LOG(3, "Input parameter is error. device = %p, srcPath = %@, destPath = %@", device, source, destination);
        setError(result.error, invalidSendInput);
        return false;
    }
    _MTP_COMMON_NODE* parent = sendParent(control, device, storageHead, folderNode, destination, result.error);
    if (parent == nullptr) {
        return result.fail("Get Current Node is NULL");
    }
    const auto path = CallText::makePrecomposed(*source);
    if (!path) {
        return result.fail("Memory alloc for send is failed.");
    }
    QD_LOG(5, "Download %@ to %@", source, destination);
    _MTP_FILE_NODE* file = nullptr;
    const DGSTATUS status =
        how.call(path->data(), path->unitsWithTerminator(), parent, &file, progress.callback, progress.context);
    if (status != DGSTATUS_SUCCESS && !mtpcontrol::isDuplicateName(status)) {
        QD_LOG(3, how.failure, parent, control.statusString(status));
    }
    return result.report(status, file);
}

/// Whether the library still holds the node. A caller without the monitor may hear of a deletion only now, so the
/// record is read after its handle was looked up and inside the monitor.
bool isLive(const _MTP_COMMON_NODE* node) {
    const platform::Synchronized library(MtpControl::classMonitor());
    return mtpNodeFromHandle(mtpNodeHandle(node)) == node && libIsExist(node, node->Signature) != 0;
}

/// Receives the node, which is asked for even when the library says that it is gone: its answer is the error then.
bool receiveFile(MtpControl& control, const FileReceive& how, _MTP_COMMON_NODE* node, const std::string& source,
                 const std::string& destination, Progress progress, std::uint32_t* error) {
    if (node == nullptr) {
        QD_LOG(3, "Do not exist File node for upload to local.");
        setError(error, DGSTATUS_UNSUCCESSFUL);
        return false;
    }
    const auto path = CallText::make(destination); // as it was given: it names a local file
    if (!path) {
        QD_LOG(3, "Memory alloc for get is failed.");
        setError(error, DGSTATUS_UNSUCCESSFUL);
        return false;
    }
    QD_LOG(7, how.started, source, destination);
    if (!isLive(node)) {
        QD_LOG(6, "File node is not exist. node = (%p)", node);
    }
    const DGSTATUS status = how.call(reinterpret_cast<_MTP_FILE_NODE*>(node), path->data(), path->unitsWithTerminator(),
                                     progress.callback, progress.context);
    if (status != DGSTATUS_SUCCESS) {
        QD_LOG(3, how.failure, node, control.statusString(status));
    }
    setError(error, status);
    return status == DGSTATUS_SUCCESS;
}

bool receiveByPath(MtpControl& control, const FileReceive& how, _MTP_DEVICE_NODE* device,
                   _MTP_STORAGE_NODE* storageHead, const MtpControl::NodeID& fileNode, const MtpControl::Text& source,
                   const MtpControl::Text& destination, Progress progress, std::uint32_t* error) {
    if (device == nullptr || !source || !destination) {
        QD_LOG(3, "Input parameter is error. device = %p, srcPath = %@, destPath = %@", device, source, destination);
        setError(error, invalidReceiveInput);
        return false;
    }
    std::optional<mtpcontrol::StorageHead> head;
    _MTP_COMMON_NODE* node = nullptr;
    {
        // One section also for the caller that receives without the monitor: the walk goes through the library's lists.
        const platform::Synchronized library(MtpControl::classMonitor());
        head.emplace(control, storageHead);
        node = mtpcontrol::fileNode(control, device, head->address(), fileNode, source);
    }
    const bool received = receiveFile(control, how, node, *source, *destination, progress, error);
    // A list that was fetched for this call goes back after it, as its nodes end with it.
    const platform::Synchronized library(MtpControl::classMonitor());
    head.reset();
    return received;
}

} // namespace

bool MtpControl::sendMediaFileToMTPEx(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead,
                                      const NodeID& folderNode, const platform::Dictionary* data,
                                      const Text& destination, MtpProgressCallback callback, void* context,
                                      NodeID* retFileNode, std::uint32_t* error) {
    return sendMediaByPath(*this, sendMediaEx, device, storageHead, folderNode, data, destination, {callback, context},
                           {retFileNode, error});
}

bool MtpControl::sendMediaFileToMTP(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead, const NodeID& folderNode,
                                    const platform::Dictionary* data, const Text& destination,
                                    MtpProgressCallback callback, void* context, NodeID* retFileNode,
                                    std::uint32_t* error) {
    return sendMediaByPath(*this, sendMediaPlain, device, storageHead, folderNode, data, destination,
                           {callback, context}, {retFileNode, error});
}

bool MtpControl::downloadFileToMTPEx(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead, const NodeID& folderNode,
                                     const Text& source, const Text& destination, MtpProgressCallback callback,
                                     void* context, NodeID* retFileNode, std::uint32_t* error) {
    return sendFile(*this, sendFileEx, device, storageHead, folderNode, source, destination, {callback, context},
                    {retFileNode, error});
}

bool MtpControl::downloadFileToMTP(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead, const NodeID& folderNode,
                                   const Text& source, const Text& destination, MtpProgressCallback callback,
                                   void* context, NodeID* retFileNode, std::uint32_t* error) {
    return sendFile(*this, sendFilePlain, device, storageHead, folderNode, source, destination, {callback, context},
                    {retFileNode, error});
}

bool MtpControl::uploadFileFromMTPEx(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead, const NodeID& fileNode,
                                     const Text& source, const Text& destination, MtpProgressCallback callback,
                                     void* context, std::uint32_t* error) {
    return receiveByPath(*this, receiveEx, device, storageHead, fileNode, source, destination, {callback, context},
                         error);
}

bool MtpControl::uploadFileFromMTP(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead, const NodeID& fileNode,
                                   const Text& source, const Text& destination, MtpProgressCallback callback,
                                   void* context, std::uint32_t* error) {
    return receiveByPath(*this, receivePlain, device, storageHead, fileNode, source, destination, {callback, context},
                         error);
}

std::string MtpControl::folderKey(const _MTP_STORAGE_NODE* storage, const std::string& path) {
    return nodeIDText(storage) + platform::upperCased(platform::deletingLastPathComponent(path));
}

_MTP_COMMON_NODE* MtpControl::cachedFolder(const _MTP_STORAGE_NODE* storage, const std::string& path) {
    const auto cached = _folderNode.find(folderKey(storage, path));
    if (cached == _folderNode.end()) {
        return nullptr;
    }
    _MTP_COMMON_NODE* folder = nodeFromText(cached->second);
    // A file may have taken the folder's name, and with it its place in the cache.
    const bool usable = folder != nullptr && checkNodeExist(folder) && folder->Signature == MTP_SIGNATURE_FOLDER;
    return usable ? folder : nullptr;
}

_MTP_COMMON_NODE* MtpControl::parentInStorage(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* currentStorage,
                                              const NodeID& parentNode, const std::string& destination,
                                              std::uint32_t* error) {
    if (_MTP_COMMON_NODE* given = parentFromText(*this, parentNode)) {
        return given;
    }
    if (_MTP_COMMON_NODE* cached = cachedFolder(currentStorage, destination)) {
        return cached;
    }
    const std::string parentPath = platform::deletingLastPathComponent(destination);
    QD_LOG(3, "Parent Folder [%@] is not exist in m_folderNode Dictionary.", parentPath);
    NodeID created;
    if (!createFolderInStorage(device, currentStorage, parentPath, &created, error)) {
        return nullptr;
    }
    _folderNode[folderKey(currentStorage, destination)] = *created;
    return nodeFromText(created);
}

bool MtpControl::transferFileToDevice(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* currentStorage,
                                      const NodeID& parentNode, const platform::Dictionary* data,
                                      const Text& destination, MtpProgressCallback callback, void* context,
                                      NodeID* retFileNode, std::uint32_t* error) {
    if (device == nullptr || currentStorage == nullptr || data == nullptr || !destination) {
        QD_LOG(3, "Input parameter is error. device = %p, storage = %p, data = %p, destPath = %@", device,
               currentStorage, data, destination);
        setError(error, invalidSendInput);
        return false;
    }
    _MTP_COMMON_NODE* parent = parentInStorage(device, currentStorage, parentNode, *destination, error);
    return sendMedia(*this, sendMediaInStorage, parent, *data, *destination, {callback, context}, {retFileNode, error});
}

bool MtpControl::transferFileFromDevice(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* currentStorage,
                                        const NodeID& nodeID, const Text& source, const Text& destination,
                                        MtpProgressCallback callback, void* context, std::uint32_t* error) {
    if (device == nullptr || currentStorage == nullptr || !source || !destination) {
        QD_LOG(3, "Input parameter is error. device = %p, storage = %p, srcPath = %@, destPath = %@", device,
               currentStorage, source, destination);
        setError(error, invalidReceiveInput);
        return false;
    }
    _MTP_COMMON_NODE* node = mtpcontrol::fileNodeInStorage(*this, device, currentStorage, nodeID, source);
    return receiveFile(*this, receiveInStorage, node, *source, *destination, {callback, context}, error);
}
