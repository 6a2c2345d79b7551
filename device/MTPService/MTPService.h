// SPDX-License-Identifier: MIT
#pragma once

#include "device/MTPService/MediaType.h"
#include "platform/Export.h"
#include "platform/Value.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class MTPServicePrivate;
class QDMtpDeviceNotifier;
class VXDeviceConfirmDelegate;
struct _MTP_COMMON_NODE;
struct _MTP_STORAGE_NODE;

/// The file service of one portable device. The application creates one per device, selects the device by its location
/// ID ("%X" of the 32-bit USB location) and calls it from its own threads.
///
/// Queries run at once on the calling thread. Content operations are queued and run one by one on the service's worker
/// thread; every one takes a service ID of the caller's choice, answers true whatever happens, and reports through
/// notifications on the default centre: "VXLUMO_NOTI_TRANSFER_PROGRESS" and "VXLUMO_NOTI_MEDIA_TRASFER_RESULT"
/// (docs/notifications.md has their keys). A request that cannot be queued is reported as a progress notification with
/// transfer status 3. Device events arrive as "VXLUMO_NOTI_MTP_NOTIFY_EVENT".
///
/// All methods may be called from any thread unless they say otherwise; none throws except cancelFileAction and
/// emptyQueue. Device paths are "/friendly name/storage label/folders…/name"; sizes are bytes.
///
/// Destroying the object cancels what is queued, waits for the running job and ends the worker. Destroyed by that job
/// itself (in a notification handler), it does not wait: the worker keeps what it needs and ends after the job.
class MTPSERVICE_EXPORT MTPService {
public:
    using Text = std::optional<std::string>;

    /// A service with all its caches; select a device with setLocationID.
    MTPService();
    /// A service for one device at once, without the caches of the storage queries: prefer the default constructor.
    explicit MTPService(const Text& locationID);
    ~MTPService();
    MTPService(const MTPService&) = delete;
    MTPService& operator=(const MTPService&) = delete;

    // The device
    /// Selects the attached device with this location ID and loads its storages. A missing ID selects none.
    void setLocationID(const Text& locationID);
    [[nodiscard]] Text locationID() const;
    [[nodiscard]] Text getCurrentLocationId() const;
    [[nodiscard]] Text modelName() const;
    /// 1 once the service is being torn down or its device is gone, else 0.
    [[nodiscard]] std::uint8_t getReleaseState() const;
    /// Looks for devices again; false without a device list or when the library fails.
    bool refreshDeviceList();
    /// Marks the device list to be given back when the service is destroyed.
    void releaseDeviceHeadNode();
    [[nodiscard]] bool deviceNodeHeadExist();
    /// The device is gone: refuses further requests (when it is this service's device) and waits for a running job,
    /// also for another device's ID. In a notification of a job it does not wait.
    void disconnectDevice(const Text& locationID);
    /// Asks the library for this device's events; false when neither kind of callback could be registered. Not to be
    /// called by an observer once the device is another one: the former one's callback under way is waited for.
    bool registerNotifyEvent();
    /// The delegate is not kept alive; null is ignored.
    void setConfirmDelegate(const std::shared_ptr<VXDeviceConfirmDelegate>& delegate);
    /// Handles one device event (MTP event code) and answers the library's status.
    std::int32_t processCallbackEvent(std::uint32_t eventCode, _MTP_COMMON_NODE* targetNode, void* handle);

    // Queued content operations. `contents` are content dictionaries ("FilePath", "FileName", …).
    bool copyContentsMacToDevice(std::uint32_t serviceID, const std::optional<platform::Array>& contents,
                                 std::uint32_t mediaType, std::uint32_t storageIndex);
    bool copyContentsMacToDevice(std::uint32_t serviceID, const std::optional<platform::Array>& contents,
                                 std::uint32_t mediaType, std::uint32_t storageIndex, const Text& playlistName);
    bool copyContentsDeviceToMac(std::uint32_t serviceID, const std::optional<platform::Array>& contents,
                                 const Text& destinationPath, std::uint32_t mediaType, const Text& playlistName);
    bool copyContentsDeviceToDevice(std::uint32_t serviceID, const std::optional<platform::Array>& contents,
                                    const Text& srcLocationId, const Text& destLocationId, std::uint32_t mediaType,
                                    std::uint32_t destStorageIndex);
    bool deleteContents(std::uint32_t serviceID, const std::optional<platform::Array>& contents,
                        std::uint32_t mediaType, std::uint32_t diskIndex);
    bool syncContents(std::uint32_t serviceID, const std::optional<platform::Array>& contents, std::uint32_t mediaType,
                      bool isStartInternal);
    bool addContentsToPlaylist(std::uint32_t serviceID, const std::optional<platform::Array>& contents,
                               std::uint32_t mediaType, const Text& playlistName);
    bool deleteContentsAtPlaylist(std::uint32_t serviceID, const std::optional<platform::Array>& contents,
                                  std::uint32_t mediaType, const Text& playlistName);
    /// The local path when an up-to-date copy is there already; otherwise queues the copy and answers nothing.
    Text copyContentToPlay(std::uint32_t serviceID, std::uint32_t diskIndex, std::uint32_t mediaType,
                           const platform::Dictionary& fileInformation);

    // Cancelling
    /// Takes the ID's queued requests out (one cancel notification each); a running job of that ID stops by itself.
    /// May throw std::out_of_range when several IDs are pending; the cancellation has taken effect even so.
    void cancelFileAction(std::uint32_t serviceID);
    void emptyQueue();
    bool emptyQueue(std::uint32_t serviceID);
    [[nodiscard]] bool isCancelServiceId(std::uint32_t serviceID) const;
    bool removeCancelServiceId(std::uint32_t serviceID);
    /// Tells the worker to end after the job that it runs. Always true.
    bool exitServiceThread();
    /// Whether no request is queued or running and the worker waits for the next one (or has ended), so that a request
    /// made after this answered true wakes it; one made while the worker is on its way to wait may lie in the queue
    /// until the next. An application that must be sure waits for true first, also after creating the service.
    /// A request counts from the moment it is queued until its job has posted
    /// its last notification, without a gap in between; the transfer status of a notification is no such signal, since
    /// a failing next-to-last file reports the end of its job early. A request that was lost (the queue was busy)
    /// leaves the service idle without a notification.
    [[nodiscard]] bool isIdle() const;

    // Storages (dictionaries: docs/storages.md)
    /// "MN" the model name, "HVID" the hidden volumes as NAME:ID pairs joined by ",".
    void setDeviceInformation(const std::optional<platform::Dictionary>& information);
    /// Asks the device for its storages, makes their default folders and rebuilds the service's list; nothing on
    /// failure.
    std::optional<platform::Array> storageInfoLists();
    /// The service's list with default folders, or storageInfoLists() while it is empty.
    std::optional<platform::Array> diskInformation();
    [[nodiscard]] std::optional<platform::Array> storageInformation() const;
    void addDiskInformation(const std::optional<platform::Dictionary>& information);
    void removeDiskInformation(const std::optional<platform::Dictionary>& information);
    /// Bytes; answered from memory while a transfer runs. The first argument is not used.
    std::uint64_t totalSpace(unsigned long unused, std::uint32_t diskIndex);
    std::uint64_t freeSpace(unsigned long unused, std::uint32_t diskIndex);
    [[nodiscard]] std::uint64_t storageTotalSpace(const Text& volumePath) const;
    [[nodiscard]] std::uint64_t storageUsedSpace(const Text& volumePath) const;
    void setStorageTotalSpace(const Text& volumePath, std::uint64_t totalSize);
    void setStorageUsedSpace(const Text& volumePath, std::uint64_t usedSize);
    [[nodiscard]] Text storagePath(unsigned long diskIndex) const;
    Text storagePathWithOption(bool isInternal, std::uint32_t* index) const;
    bool hiddenVolumeInfo(const Text& volumeID);
    _MTP_STORAGE_NODE* hiddenStorageInfo(std::uint32_t storageID);
    void releaseHiddenStorage();
    /// Free bytes of the local volume that holds a local path.
    [[nodiscard]] std::uint64_t volumeFreeSpace(const Text& path) const;

    // Default folders
    void setDefaultMediaInfo(const platform::Array& storages);
    [[nodiscard]] Text defaultMediaPath(std::uint32_t diskIndex, std::uint32_t mediaType) const;
    [[nodiscard]] Text defaultMediaID(const Text& path, std::uint32_t mediaType) const;
    void setDefaultMediaID(const Text& path, std::uint32_t mediaType, const Text& defaultID);
    Text mediaDefaultNode(const Text& path, std::uint32_t mediaType);
    Text createDefaultMediaFolder(const Text& path);

    // Files
    /// Media information of a device file by its path; nothing when there is none. The first argument is not used.
    std::optional<platform::Dictionary> mediaFileInfoFromDevice(const Text& unused, const Text& destinationPath);
    void mediaFileInfo(const Text& path, const Text& fileNode, std::optional<platform::Dictionary>& info);
    /// Whether the local copy of a device file ("FilePath") exists with the device file's size; the file's node in
    /// returnNode. The first three arguments are not used.
    bool isExistContentFromMac(std::uint32_t serviceID, std::uint32_t diskIndex, std::uint32_t mediaType,
                               const platform::Dictionary& fileInformation, Text* returnNode);
    // The operations on files and folders below run at once on the calling thread and wait for a transfer under way to
    // end. They take device paths, also of hidden volumes ("NAME:path within it", "~" in front allowed), and keep the
    // nodes that they meet in the index of known objects. A file information dictionary has "FilePath" and, where it
    // differs from that path's last component, "FileName". `error` (may be null) takes the library's status, 0x10000002
    // for invalid arguments. Progress is told when callback object (callbackObject()) and context (a shared
    // QDMtpDeviceNotifier) are both given.
    using FileInformation = std::optional<platform::Dictionary>;
    using Bytes = std::optional<std::vector<std::byte>>;
    /// Copies the device file "FilePath" to a local path, whose folders are made. A local file that is in its place is
    /// replaced when isOverWrite says so, else it is left alone and the status is 0x10000005. Disk index and media type
    /// are not used.
    bool readFileFromDevice(const FileInformation& fileInformation, const Text& destinationPath,
                            std::uint32_t diskIndex, std::uint32_t mediaType, bool isOverWrite,
                            const platform::Value& callbackObject, const platform::Value& context,
                            std::uint32_t* error);
    /// Copies the local file "FilePath" into the folder of a device path, under its local name; what the path names is
    /// deleted before when isOverWrite says so. Disk index and media type are not used.
    bool writeFileToDevice(const FileInformation& fileInformation, const Text& destinationPath, std::uint32_t diskIndex,
                           std::uint32_t mediaType, bool isOverWrite, const platform::Value& callbackObject,
                           const platform::Value& context, std::uint32_t* error);
    /// Copies the local file "FilePath" into the default folder of a media type, or a folder of this name in it. When
    /// the file in its place cannot be deleted it answers true all the same: the status tells.
    bool syncWriteFileToDevice(const FileInformation& fileInformation, const Text& subFolderName,
                               std::uint32_t diskIndex, std::uint32_t mediaType, bool isOverWrite,
                               const platform::Value& callbackObject, const platform::Value& context,
                               std::uint32_t* error);
    /// Deletes a file, or a folder with all that is in it.
    bool deletefileAtDevice(const Text& path, std::uint32_t* error);
    /// Makes a folder and all that is missing above it.
    bool createFolder(const Text& folderPath);
    /// isDirectory may be null. Hidden volumes are not looked into.
    bool fileExistsAtPath(const Text& path, bool* isDirectory);
    /// A device file's bytes, through a local copy in the temporary folder; nothing on failure.
    Bytes readFileData(const Text& path);
    /// Writes a device file with these bytes, in place of the one that is there.
    bool writeFileData(const Text& path, const Bytes& data);
    /// Bytes; 0 when unknown.
    std::uint64_t fileSizeAtDevice(const Text& path);
    /// The files, or the folders, directly in a device folder: dictionaries with media-information keys
    /// (docs/browsing.md) but no "NodeID". Nothing when the folder is not there.
    std::optional<platform::Array> fileLists(const Text& path);
    std::optional<platform::Array> folderLists(const Text& path);
    /// Every file of a storage ("FilePath", "NodeID", …). The first argument is not used.
    std::optional<platform::Array> subpathsAtDisk(const Text& unused, std::uint32_t diskIndex);
    /// Asked on the calling thread before a file's first block and after every block; true stops the file there, and
    /// nothing of it stays. It must not throw, nor call the service.
    using StopTest = std::function<bool()>;
    /// Copies device files ("FilePath", "NodeID": the entries of subpathsAtDisk) below a local folder, in the place
    /// that they have on the internal storage. Stops at the first that fails; one whose path would lead out of the
    /// folder is left out. True when all are copied.
    bool fileBackup(const std::optional<platform::Array>& files, const Text& destinationFolder,
                    const StopTest& isStopped = {});
    /// Copies local files ("FilePath") back to their place on the internal storage ("subFilePath"), in place of what is
    /// there, which is deleted first. Stops at the first that fails.
    bool fileRestore(const std::optional<platform::Array>& files, const StopTest& isStopped = {});
    /// Queues the renaming of a device file or folder. Posts no notification unless it is refused; newName is a name,
    /// not a path.
    bool renameContent(std::uint32_t serviceID, const Text& path, const Text& newName);
    [[nodiscard]] std::string convertAvailableFileName(const std::string& name) const;
    [[nodiscard]] std::string convertAvailableString(const std::string& path) const;
    [[nodiscard]] std::uint64_t getLocalFileSize(const Text& path) const;
    [[nodiscard]] std::uint64_t totalMediaFileSize(const std::optional<platform::Array>& contents) const;
    /// The media type of a file by its name's extension; MediaTypeNone for an unknown one.
    [[nodiscard]] std::uint32_t checkMediaType(const Text& name) const;

    // The device's media by kind (docs/browsing.md). A file is of a kind by its extension; audio and video in the
    // podcast folder belong to their podcasts and are left out. The lists run at once and keep every node that they
    // meet in the index of known objects. They end with nothing when the service is released meanwhile.
    /// The files of one kind on a storage with their metadata and "diskIndex"; for MediaTypePodcast the podcasts.
    /// Nothing when there is none, and for other media types (playlists have lists of their own, below). The first
    /// argument is not used.
    std::optional<platform::Array> fileInformationList(const Text& unused, std::uint32_t mediaType,
                                                       std::uint32_t diskIndex);
    /// The same files without their metadata, which costs a slow device far less.
    std::optional<platform::Array> fileNameList(const Text& unused, std::uint32_t mediaType, std::uint32_t diskIndex);
    /// All kinds on all storages, from an index begun anew: content groups "DiskIndex", "ContentMediaType" and, unless
    /// the group is empty, "ContentMediaTag" (the files, podcasts or playlists). Per storage music, images, video,
    /// podcasts, and playlists where it has some. Nothing when no storage could be listed. The argument is not used.
    std::optional<platform::Array> fileInformationListForAllMediaType(const Text& unused);
    /// What a backup of the internal storage finds: "musicList", "photoList", "videoList", "otherList". The kinds are
    /// the application's ("musicExtension", "photoExtension", "videoExtension": extensions without their dot); a file
    /// of both music and video is in both lists. Other files are listed when includeOtherMedia says so; those without
    /// an extension never are. Nothing when the storage has no file. The exception folder is not used.
    std::optional<platform::Dictionary>
    backupRestoreMediaFileScan(const std::optional<platform::Dictionary>& fileExtensions, bool includeOtherMedia,
                               const Text& otherMediaExceptionFolder);

    // Playlists lie in the playlist folder of the internal memory that is listed first (docs/playlists.md). Names
    // compare without regard to case. All but createPlaylist take MediaTypePlaylist and refuse other media types.
    // Filling and emptying are queued: addContentsToPlaylist takes contents with "FilePath" (on the device) and leaves
    // out what the playlist has already; deleteContentsAtPlaylist takes "FileName" (the path) and "ObjectID". Each file
    // that a request deletes after its first also drops one entry from the list's end: delete one file per request.
    /// Makes a playlist of device files ("FilePath"), in this order; files that are not found are left out. The media
    /// type says in whose default folder it is made.
    bool createPlaylist(const Text& name, std::uint32_t mediaType, const std::optional<platform::Array>& contents);
    bool deletePlaylist(const Text& name, std::uint32_t mediaType);
    bool renamePlaylist(const Text& name, const Text& destPlaylistName, std::uint32_t mediaType);
    /// A dictionary per playlist: "PlaylistName", "NodeID", "ObjectID", "FileCount", "FilePath". The first argument is
    /// not used.
    std::optional<platform::Array> playlistNameInformation(std::uint32_t unused, std::uint32_t mediaType);
    /// The dictionary of one playlist with its files in order under "children"; nothing when there is no such playlist.
    /// The first argument is not used.
    std::optional<platform::Array> playlistInformationList(std::uint32_t unused, std::uint32_t mediaType,
                                                           const Text& playlistName);
    /// Copies the playlist's file to "name.pla" in a local folder, which is made when it is missing. A file that is
    /// there is removed first.
    bool readPlaylistFromDevice(const Text& name, const Text& destFolder, std::uint32_t mediaType);
    /// Makes the device's playlists those given ("PlaylistName", "children" with "FilePath"): the children are looked
    /// for by name in the storages' music folders. Playlists that are there get the new list, others stay. The answer
    /// tells of the last playlist that was there or failed; it stays false when all were new. With isDelete the
    /// playlists of those names are deleted instead, and the answer is true.
    bool syncPlaylistContents(const std::optional<platform::Array>& contents, std::uint32_t mediaType, bool isDelete);

    // Progress (called by the library's callback and by jobs)
    bool transferProgressInfoEx(const std::shared_ptr<QDMtpDeviceNotifier>& notifier, std::uint64_t maxTransferSize,
                                std::uint64_t currentTransferSize);
    bool transferProgressInfo(const std::shared_ptr<QDMtpDeviceNotifier>& notifier, std::uint32_t maxTransferSize,
                              std::uint32_t currentTransferSize);
    /// Posts a progress notification from a thread of its own.
    void sendMtpTransferEvent(std::uint32_t serviceID, const Text& locationId, std::uint32_t mediaType,
                              std::uint32_t currentTransfer, std::uint32_t maxTransfer, std::uint32_t failTransfer,
                              const Text& fileName, const Text& deviceName, std::uint32_t currentProgress,
                              std::uint32_t maxProgress, std::uint32_t transferStatus);
    void sendCancelProgressEvent(std::uint32_t serviceID, const Text& locationId, std::uint32_t mediaType,
                                 std::uint32_t currentFile, std::uint32_t maxFile, std::uint32_t transferStatus);

    /// What stands under "CallbackObject" in the context of DeviceProgressCallbackEx, for an application that passes
    /// that callback along itself. Keeps the service's inside alive, though not its worker.
    [[nodiscard]] platform::Value callbackObject() const;

private:
    /// Keeps the inside alive through a call: an observer called by it may destroy this object.
    [[nodiscard]] std::shared_ptr<MTPServicePrivate> inside() const { return _private; }

    std::shared_ptr<MTPServicePrivate> _private;
};

/// The service that was created last; null once that one is gone.
extern "C" MTPSERVICE_EXPORT MTPService* gMtpService;

// Called by the MTP library.
extern "C" {
/// A device event; context is the location ID (a zero-terminated text) given at the registration.
MTPSERVICE_EXPORT std::uint32_t NotifyCallback(std::uint32_t eventCode, void* context);
/// A device event for a service; context is the MTPService. One that is gone is answered 0x10000002.
MTPSERVICE_EXPORT std::uint32_t NotifyCallbackEx(std::uint32_t eventCode, _MTP_COMMON_NODE* targetNode, void* handle,
                                                 void* context);
/// Byte progress of the current file; context is a platform::Dictionary with "CallbackObject" and "CallbackContext".
/// Answers 0 to go on, 0x10000007 to stop.
MTPSERVICE_EXPORT std::uint32_t DeviceProgressCallbackEx(std::uint64_t current, std::uint64_t total, void* context);
}
