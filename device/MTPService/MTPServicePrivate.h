// SPDX-License-Identifier: MIT
#pragma once

#include "device/MTPService/EventRegistration.h"
#include "device/MTPService/Guarded.h"
#include "device/MTPService/MTPControl.h"
#include "device/MTPService/QDMtpDeviceNotifier.h"
#include "device/MTPService/ServiceRequest.h"
#include "device/MTPService/ServiceStatus.h"
#include "platform/Monitor.h"
#include "platform/ThreadAnnotations.h"
#include "platform/Value.h"

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

class MTPService;
class VXDeviceConfirmDelegate;
namespace platform {
class XmlDocument;
}

/// The inside of MTPService: all instance variables and operations. Shared between the public object, the worker
/// thread and callbacks under way, so that none of them outlives what it uses. MTPService.h documents the public
/// operations; here stand the private ones. One source file per responsibility; jobs have files of their own.
///
/// Locks, outermost first: classMonitor() (storage table changes, cancelling), MtpControl::classMonitor() (the library
/// and the node pointers), _queueLock (the queue). Guarded fields and atomics are read under none of them.
class MTPServicePrivate : public std::enable_shared_from_this<MTPServicePrivate> {
public:
    using Text = std::optional<std::string>;
    using StorageTable = std::optional<std::vector<platform::Dictionary>>;
    /// Upper-cased device path to node handle text.
    using ContentIndex = std::optional<std::unordered_map<std::string, std::string>>;

    /// The process-wide monitor around the storage table and the cancelling.
    static platform::Monitor& classMonitor();

    MTPServicePrivate();
    ~MTPServicePrivate();
    MTPServicePrivate(const MTPServicePrivate&) = delete;
    MTPServicePrivate& operator=(const MTPServicePrivate&) = delete;

    // Life (MTPServiceLifecycle.cpp)
    void init();
    void initWithLocationID(const Text& locationID);
    /// The end of the public object. Cancels what is queued, waits for the running job and gives everything back; on a
    /// thread that the job may be waiting for, a thread of its own does that.
    void tearDown();

    // The device and its events (MTPServiceDevice.cpp)
    void setLocationID(const Text& locationID);
    [[nodiscard]] Text locationID() const;
    [[nodiscard]] Text modelName() const;
    [[nodiscard]] std::uint8_t getReleaseState() const;
    /// Whether the service is released or its public object is gone: nothing new may be done on its behalf.
    [[nodiscard]] bool isEnding() const;
    bool refreshDeviceList();
    void releaseDeviceHeadNode();
    [[nodiscard]] bool deviceNodeHeadExist();
    void disconnectDevice(const Text& locationID);
    /// `service` is the context of NotifyCallbackEx.
    bool registerNotifyEvent(MTPService* service);
    void setConfirmDelegate(const std::shared_ptr<VXDeviceConfirmDelegate>& delegate);
    std::int32_t processCallbackEvent(std::uint32_t eventCode, _MTP_COMMON_NODE* targetNode, void* handle);

    // Requests (MTPServiceRequests.cpp)
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
    Text copyContentToPlay(std::uint32_t serviceID, std::uint32_t diskIndex, std::uint32_t mediaType,
                           const platform::Dictionary& fileInformation);

    /// A record with what every request holds; null when memory runs out, which is told by the cancel notification.
    std::unique_ptr<_serviceinfo> newRequest(std::uint32_t serviceID, ServiceCommand command, std::uint32_t mediaType,
                                             const std::optional<platform::Array>& contents, const Text& locationID);

    // Queue, worker, cancelling (MTPServiceQueue.cpp)
    void cancelFileAction(std::uint32_t serviceID);
    void emptyQueue();
    bool emptyQueue(std::uint32_t serviceID);
    [[nodiscard]] bool isCancelServiceId(std::uint32_t serviceID) const;
    bool removeCancelServiceId(std::uint32_t serviceID);
    bool exitServiceThread();
    [[nodiscard]] bool isIdle() const;
    /// The worker's body.
    void mtpFileServiceQueueThread();
    enum class QueueLocking {
        tryOnce, ///< a request that finds the queue busy is lost
        wait,    ///< a request waits for its place
    };
    enum class Refusal { told, silent };
    /// Appends the request and wakes the worker. A service that is released refuses it; unless the refusal is silent,
    /// with a cancel notification that carries `locationID`.
    void enqueue(std::unique_ptr<_serviceinfo> request, QueueLocking locking, Refusal refusal, const Text& locationID);
    /// Takes all requests out; one cancel notification for each run of equal service IDs.
    void cancelQueuedRequests();

    // Dispatcher (MTPServiceDispatch.cpp)
    bool doMTPFileService(const _serviceinfo* request);
    bool renameFile(const _serviceinfo& request);
    /// Runs the job that the request's command and media type select; false when there is none.
    bool runJob(const _serviceinfo& request, const char* name);

    // Jobs: each takes one request and answers whether it succeeded.
    bool doCopyMediaContentsToDevice(const _serviceinfo& request);
    bool doCopyMediaContentsFromDevice(const _serviceinfo& request);
    bool doCopyMediaFileFromDevice(const _serviceinfo& request);
    bool doDeleteMediaContents(const _serviceinfo& request);
    bool doCopyMediaContentsDeviceToDevice(const _serviceinfo& request);
    bool doSyncMediaContentsToDevice(const _serviceinfo& request);
    /// The inside of the service of the device with this location ID: this one for its own and for none, another one
    /// from the delegate; null when that knows none.
    std::shared_ptr<MTPServicePrivate> serviceOfDevice(const Text& locationID);
    bool doCopyMediaContentsToPlaylist(const _serviceinfo& request);
    bool doDeletePlaylistContents(const _serviceinfo& request);
    /// The same one file at a time, for callers who run a request themselves: no duplicate check, no announcement.
    bool doCopyMediaContentsToPlaylist2(const _serviceinfo& request);
    bool doDeletePlaylistContents2(const _serviceinfo& request);

    bool doCopyPodcastContentsToDevice(const _serviceinfo& request);
    bool doSyncPodcastContentsToDevice(const _serviceinfo& request);
    bool doDeletePodcastContents(const _serviceinfo& request);

    // Podcasts: documents (MTPServicePodcastDocuments.cpp), sizes and places (MTPServicePodcasts.cpp). A channel has a
    // folder, and in it a document "<folder's name>.xml" that lists its episodes.
    /// The channel's document on the device without the episodes whose files are gone, their "FilePath" being names;
    /// nothing when there is none that can be read. podcastName is the channel folder's path, channelName its name.
    std::optional<platform::Dictionary> checkMtpXmlData(const Text& podcastName, const Text& channelName,
                                                        const Text& fileNode);
    /// Writes a channel's document in place of the one there; answers the new one's node. filePath is the channel
    /// folder's path, podcastName its name, folderNode its node.
    Text sendMtpXmlData(std::uint32_t serviceID, const platform::XmlDocument* xmlDocument, const Text& filePath,
                        const Text& podcastName, const Text& folderNode);
    /// Any channel document, received from `path` to the local file toPath: each "FilePath" is a full device path.
    std::optional<platform::Dictionary> mtpPodcastXmlData(const Text& path, const Text& toPath, const Text& fileNode);
    /// Completes the episodes' "FilePath" to paths in the channel's folder.
    void makeEpisodeFullPath(platform::Dictionary& podcast, const std::string& podcastChannelName) const;
    bool checkPodcastEpisodeSize(const Text& storageName, const std::optional<platform::Array>& episodeData);
    /// The folder of that name in the folder defaultNode of the storage; nothing when there is none.
    Text podcastEpisodeNodeWithDefaultNode(const Text& defaultNode, const Text& storagePath, const Text& channelName);
    [[nodiscard]] std::uint64_t totalPodcastEpisodeDataSize(const std::optional<platform::Array>& episodeData) const;
    [[nodiscard]] std::uint32_t mtpTotalPodcastCount(const std::optional<platform::Array>& contents) const;
    /// sendCount (may be null) takes the number of episodes.
    std::uint64_t totalPodcastFileSize(const std::optional<platform::Array>& contents, std::uint32_t* sendCount) const;
    /// The node of a file at exactly this path.
    Text podcastFileNode(const std::string& path);

    using Notifier = std::shared_ptr<QDMtpDeviceNotifier>;
    /// The context that DeviceProgressCallbackEx takes for a transfer of this service's.
    platform::Dictionary callbackContext(const Notifier& notifier);
    /// Receives one device file, found by fileNode or else by its path, under the library's monitor; makes the local
    /// folder where it is missing. `context` counts the progress. `error` (may be null) takes the library's status.
    bool copyFileFromDevice(const Text& sourcePath, const Text& destPath, const Text& fileNode, const Notifier& context,
                            std::uint32_t* error);
    /// Sends one local file into the default folder `path` of the storage with disk index `index`, or of the next
    /// storage that has room; a file of that name there is replaced. `mediaData` describes the file to the library.
    /// The context's file path, storage index and transfer result tell where it went and what became of it.
    bool syncFile(const std::string& file, const std::string& path, std::uint32_t index, std::uint32_t mediaType,
                  const platform::Dictionary& mediaData, const Notifier& context, Text* retFileNode);
    /// Bytes that the device files take together: the entries' "FileSize", or what the device says.
    std::uint64_t mtpTotalMediaFileSize(const std::optional<platform::Array>& contents);

    // Progress (MTPServiceProgress.cpp)
    bool transferProgressInfoEx(const std::shared_ptr<QDMtpDeviceNotifier>& notifier, std::uint64_t maxTransferSize,
                                std::uint64_t currentTransferSize);
    bool transferProgressInfo(const std::shared_ptr<QDMtpDeviceNotifier>& notifier, std::uint32_t maxTransferSize,
                              std::uint32_t currentTransferSize);
    void sendMtpTransferEvent(std::uint32_t serviceID, const Text& locationId, std::uint32_t mediaType,
                              std::uint32_t currentTransfer, std::uint32_t maxTransfer, std::uint32_t failTransfer,
                              const Text& fileName, const Text& deviceName, std::uint32_t currentProgress,
                              std::uint32_t maxProgress, std::uint32_t transferStatus);
    static void sendMtpTransferEventThread(const platform::Dictionary& info);
    void sendCancelProgressEvent(std::uint32_t serviceID, const Text& locationId, std::uint32_t mediaType,
                                 std::uint32_t currentFile, std::uint32_t maxFile, std::uint32_t transferStatus);
    /// The cancel notification of a request that does not run: no files, status 3. Always false, as a job's answer.
    bool refuse(std::uint32_t serviceID, std::uint32_t mediaType, const Text& locationId);
    bool refuse(const _serviceinfo& request);

    // Storages (MTPServiceStorage.cpp, MTPServiceCapacity.cpp)
    void setDeviceInformation(const std::optional<platform::Dictionary>& information);
    std::optional<platform::Array> storageInfoLists();
    std::optional<platform::Array> diskInformation();
    [[nodiscard]] std::optional<platform::Array> storageInformation() const;
    void addDiskInformation(const std::optional<platform::Dictionary>& information);
    void removeDiskInformation(const std::optional<platform::Dictionary>& information);
    std::uint64_t totalSpace(std::uint32_t diskIndex);
    std::uint64_t freeSpace(std::uint32_t diskIndex);
    [[nodiscard]] std::uint64_t storageTotalSpace(const Text& volumePath) const;
    [[nodiscard]] std::uint64_t storageUsedSpace(const Text& volumePath) const;
    void setStorageTotalSpace(const Text& volumePath, std::uint64_t totalSize);
    void setStorageUsedSpace(const Text& volumePath, std::uint64_t usedSize);
    [[nodiscard]] Text storagePath(unsigned long diskIndex) const;
    Text storagePathWithOption(bool isInternal, std::uint32_t* index) const;
    [[nodiscard]] std::uint64_t volumeFreeSpace(const Text& path) const;
    [[nodiscard]] std::optional<platform::Dictionary> storageInfoFromIndex(std::uint32_t diskIndex) const;
    [[nodiscard]] Text storageNameFromIndex(std::uint32_t diskIndex) const;
    [[nodiscard]] std::optional<platform::Dictionary> diskInfoFromDiskInfoList(const platform::Array& list,
                                                                               std::uint32_t index) const;
    _MTP_STORAGE_NODE* currentStorageNode(const Text& path);
    using StorageMatch = std::function<bool(const platform::Dictionary&)>;
    /// A copy of the first entry of the storage table that matches.
    [[nodiscard]] std::optional<platform::Dictionary> firstStorage(const StorageMatch& match) const;
    /// Sets a key of the first entry that matches; nothing when none does.
    void setInFirstStorage(const StorageMatch& match, std::string_view key, const platform::Value& value);
    /// The device's friendly name, or nothing (logged).
    Text friendlyName();

    // Hidden volumes (MTPServiceHiddenVolumes.cpp)
    bool hiddenVolumeInfo(const Text& volumeID);
    _MTP_STORAGE_NODE* hiddenStorageInfo(std::uint32_t storageID);
    void releaseHiddenStorage();
    /// The path within the hidden volume that "NAME:path" or "~NAME:path" addresses, and the volume's node (null when
    /// the device does not have it). Nothing for a path of another kind.
    Text checkHiddenVolume(const Text& path, _MTP_STORAGE_NODE** storageNode);
    /// The same as a full device path.
    Text convertHiddenVolumePathToFullPath(const Text& path, _MTP_STORAGE_NODE** storageNode);

    // Default folders and classification (MTPServiceDefaultFolders.cpp, MTPServiceMediaTypes.cpp)
    void setDefaultMediaInfo(const platform::Array& storages);
    [[nodiscard]] Text defaultMediaPath(std::uint32_t diskIndex, std::uint32_t mediaType) const;
    [[nodiscard]] Text defaultMediaID(const Text& path, std::uint32_t mediaType) const;
    void setDefaultMediaID(const Text& path, std::uint32_t mediaType, const Text& defaultID);
    Text mediaDefaultNode(const Text& path, std::uint32_t mediaType);
    Text createDefaultMediaFolder(const Text& path);
    [[nodiscard]] Text defaultMediaContentsPath(const platform::Array& list, std::uint32_t index,
                                                std::uint32_t mediaType) const;
    [[nodiscard]] Text defaultMediaContentsPath(const Text& volumePath, std::uint32_t diskType,
                                                std::uint32_t mediaType) const;
    [[nodiscard]] bool checkContentExtensions(const Text& extension,
                                              const std::optional<std::vector<std::string>>& extLists) const;
    [[nodiscard]] std::uint32_t checkMediaType(const Text& name) const;
    [[nodiscard]] bool checkMediaContent(const Text& volumePath, const Text& filePath, std::uint32_t diskType,
                                         std::uint32_t mediaType) const;
    [[nodiscard]] bool checkMediaContent(std::uint32_t diskIndex, const Text& filePath, std::uint32_t mediaType) const;

    // Files (MTPServiceFiles.cpp, MTPServiceNames.cpp, MTPServiceLocalCopies.cpp)
    std::optional<platform::Dictionary> mediaFileInfoFromDevice(const Text& destinationPath);
    void mediaFileInfo(const Text& path, const Text& fileNode, std::optional<platform::Dictionary>& info);
    bool isExistContentFromMac(const platform::Dictionary& fileInformation, Text* returnNode);
    [[nodiscard]] std::string convertAvailableFileName(const std::string& name) const;
    [[nodiscard]] std::string convertAvailableString(const std::string& path) const;
    [[nodiscard]] std::uint64_t getLocalFileSize(const Text& path) const;
    [[nodiscard]] std::uint64_t totalMediaFileSize(const std::optional<platform::Array>& contents) const;
    /// Where a device file's local copy lies: the temporary folder followed by the device path. Nothing for a path that
    /// would lead out of that folder: device paths hold names that a device chose.
    [[nodiscard]] Text localCopyPath(const std::string& devicePath) const;
    /// Keeps a copy of a file that was sent, whatever its media type, as the local copy of its device path; false when
    /// there is none afterwards.
    bool copyMediaFileToLocalTempPath(const std::string& sourcePath, const std::string& targetPath,
                                      std::uint32_t mediaType) const;
    /// The node handle that the content index holds for a device path.
    [[nodiscard]] Text indexedNode(const std::string& devicePath) const;
    void indexNode(const std::string& devicePath, const std::string& nodeID);
    /// The nodes of a listing ("FilePath", "NodeID").
    void indexNodes(const platform::Array& files);
    void unindexNode(const std::string& devicePath);
    /// An object got a new name: its entry, and those of what lies in it, move to their new paths.
    void renameIndexed(const std::string& devicePath, const std::string& newName);

    // File service (MTPServiceFileTransfer.cpp, MTPServiceFileData.cpp, MTPServiceFolders.cpp, MTPServiceBackup.cpp)
    using FileInformation = std::optional<platform::Dictionary>;
    using Bytes = std::optional<std::vector<std::byte>>;
    bool readFileFromDevice(const FileInformation& fileInformation, const Text& destinationPath, bool isOverWrite,
                            const platform::Value& callbackObject, const platform::Value& context,
                            std::uint32_t* error);
    bool writeFileToDevice(const FileInformation& fileInformation, const Text& destinationPath, bool isOverWrite,
                           const platform::Value& callbackObject, const platform::Value& context, std::uint32_t* error);
    bool syncWriteFileToDevice(const FileInformation& fileInformation, const Text& subFolderName,
                               std::uint32_t diskIndex, std::uint32_t mediaType, bool isOverWrite,
                               const platform::Value& callbackObject, const platform::Value& context,
                               std::uint32_t* error);
    bool deletefileAtDevice(const Text& path, std::uint32_t* error);
    bool createFolder(const Text& folderPath);
    bool fileExistsAtPath(const Text& path, bool* isDirectory);
    Bytes readFileData(const Text& path);
    bool writeFileData(const Text& path, const Bytes& data);
    std::uint64_t fileSizeAtDevice(const Text& path);
    std::optional<platform::Array> fileLists(const Text& path);
    std::optional<platform::Array> folderLists(const Text& path);
    std::optional<platform::Array> subpathsAtDisk(std::uint32_t diskIndex);
    bool fileBackup(const std::optional<platform::Array>& files, const Text& destinationFolder,
                    std::function<bool()> isStopped);
    bool fileRestore(const std::optional<platform::Array>& files, std::function<bool()> isStopped);
    bool renameContent(std::uint32_t serviceID, const Text& path, const Text& newName);
    /// The node of what a device path spells: the indexed one while it bears that name, else the one that lies just
    /// there; never a namesake. Under the library's monitor.
    Text exactNodeAtDevice(const std::string& path);
    /// Deletes it; a path that spells nothing answers false with DGSTATUS_UNSUCCESSFUL.
    bool deleteAtDevice(const std::string& path, std::uint32_t* error);
    /// The indexed node of a path, or the one in a hidden volume.
    Text knownNode(const std::string& path);
    /// The path of the last storage that is internal memory.
    [[nodiscard]] Text internalVolumePath() const;

    // Lists by kind (MTPServiceFileLists.cpp, MTPServiceBackupScan.cpp)
    std::optional<platform::Array> fileInformationList(std::uint32_t mediaType, std::uint32_t diskIndex);
    std::optional<platform::Array> fileNameList(std::uint32_t mediaType, std::uint32_t diskIndex);
    std::optional<platform::Array> fileInformationListForAllMediaType();
    std::optional<platform::Dictionary>
    backupRestoreMediaFileScan(const std::optional<platform::Dictionary>& fileExtensions, bool includeOtherMedia,
                               const Text& otherMediaExceptionFolder);
    /// Four content groups (music, images, video, podcasts) of a storage's files; nothing once the service is released.
    /// The entries' nodes go into the index. Storage path and disk type are not used. (The name is spelled so.)
    std::optional<platform::Array> seperateMediaFiles(std::uint32_t diskIndex, const Text& storagePath,
                                                      std::uint32_t diskType,
                                                      std::optional<platform::Array> mediaLists);
    /// The files of one kind with their "diskIndex", or the podcasts that they describe; nothing for an empty list and
    /// once the service is released. The entries' nodes go into the index. Source path and disk type are not used.
    std::optional<platform::Array> consistOfMediaContents(std::uint32_t diskIndex, const Text& sourcePath,
                                                          std::uint32_t diskType, std::uint32_t mediaType,
                                                          std::optional<platform::Array> mediaLists);
    /// The files sorted into the four lists of a backup scan; nothing for an empty list. The exception folder is not
    /// used.
    [[nodiscard]] std::optional<platform::Dictionary>
    makeBackupFileDictionary(const std::optional<platform::Array>& files,
                             const std::optional<platform::Dictionary>& fileExtensions, bool includeOtherMedia,
                             const Text& otherMediaExceptionFolder) const;

    // Playlists (MTPServicePlaylists.cpp, MTPServicePlaylistEdits.cpp, MTPServicePlaylistSync.cpp)
    bool createPlaylist(const Text& name, std::uint32_t mediaType, const std::optional<platform::Array>& contents);
    bool deletePlaylist(const Text& name, std::uint32_t mediaType);
    bool renamePlaylist(const Text& name, const Text& destPlaylistName, std::uint32_t mediaType);
    std::optional<platform::Array> playlistNameInformation(std::uint32_t mediaType);
    std::optional<platform::Array> playlistInformationList(std::uint32_t mediaType, const Text& playlistName);
    bool readPlaylistFromDevice(const Text& name, const Text& destFolder, std::uint32_t mediaType);
    bool syncPlaylistContents(const std::optional<platform::Array>& contents, std::uint32_t mediaType, bool isDelete);
    /// Appends one file, or some, behind what the playlist refers to now, also when it refers to them already. `error`
    /// (may be null) takes the library's status, or SERVICE_PLAYLIST_SEND_FAILED for what is missing.
    bool sendMediaFileToPlaylist(const Text& playlistName, const Text& nodeID, const Text& filePath,
                                 std::uint32_t* error);
    bool sendMediaFileToPlaylist(const Text& playlistName, MtpControl::NodeList nodeLists, std::uint32_t* error);
    /// Whether an object is among the nodes, which may be null. Under the library's monitor.
    [[nodiscard]] bool checkMediaFileAtPlaylist(MtpControl::NodeList nodeLists, std::uint32_t objectID) const;
    /// The first file of that name in the storages' default folders of the media type; null when there is none. Under
    /// the library's monitor.
    _MTP_FILE_NODE* mediaFileNodeForSyncPlaylist(const Text& fileName, std::uint32_t mediaType);
    /// Completes the "children" of playlist dictionaries in place: "FilePath" becomes the upper-cased device path that
    /// the content index holds for the child's "NodeID".
    void addMediaFullPathToPlaylistInfo(std::optional<platform::Array>& playlists) const;

    /// Where the playlists are: always on the internal memory that is listed first.
    struct PlaylistStorage {
        std::string volumePath;
        std::uint32_t index = 0;
        _MTP_STORAGE_NODE* node = nullptr; ///< see playlistStorageNode
    };
    /// Nothing (logged) without internal memory.
    std::optional<PlaylistStorage> playlistStorage();
    /// The storage's node now: lists may have been fetched anew since it was asked for. Under the library's monitor.
    _MTP_STORAGE_NODE* playlistStorageNode(PlaylistStorage& storage);
    /// The node ID of the playlist of that name; nothing (logged) when there is none. Under the library's monitor.
    MtpControl::NodeID playlistNodeID(const std::string& name);
    /// The folder in which playlists (or files of another media type) lie on that storage; nothing (logged) when it is
    /// not known.
    [[nodiscard]] Text playlistFolderPath(const PlaylistStorage& storage, std::uint32_t mediaType) const;
    _MTP_COMMON_NODE* playlistFolderNode(const PlaylistStorage& storage, const std::string& folderPath,
                                         std::uint32_t mediaType);
    /// The live file that the content index holds for a device path, or else the one to which the path leads; null for
    /// none. Under the library's monitor.
    _MTP_FILE_NODE* mediaFileNode(const std::string& devicePath);

    // Instance variables. The node pointers are guarded by MtpControl's monitor.
    Guarded<std::weak_ptr<VXDeviceConfirmDelegate>> _confirmDelegate;
    std::unique_ptr<MtpControl> _mtpControl;
    std::condition_variable _syncCondition;
    /// Used without recursion: it tells whether the calling thread holds it already.
    platform::Monitor _queueLock;
    std::deque<std::unique_ptr<_serviceinfo>> _serviceItem PLATFORM_GUARDED_BY(_queueLock);
    std::atomic<std::uint8_t> _releaseState{0};
    _MTP_DEVICE_NODE* _currentDeviceNode = nullptr;
    Guarded<Text> _currentLocationID;
    Guarded<std::vector<std::uint32_t>> _cancelServiceId;
    _MTP_STORAGE_NODE* _storageHeadNode = nullptr;
    Guarded<StorageTable> _storageLists;
    Guarded<Text> _modelName;
    std::atomic<std::int32_t> _FileTransferStatus{TransferStatusNone};
    /// Upper-cased NAME to storage ID; "NAME_ID" to node handle text.
    Guarded<std::optional<platform::Dictionary>> _hiddenVolumeLists;
    /// Changed under MtpControl's monitor only, asked about without.
    std::atomic<_MTP_DEVICE_NODE*> _deviceHeadNode{nullptr};
    Guarded<ContentIndex> _mediaContentInfoLists;
    std::atomic<std::uint8_t> _bReleaseDeviceList{0};

    /// Marks a job or a long walk as running, for capacity queries and for those who wait for its end.
    void beginTransfer();
    void endTransfer();
    /// Marks the time between two points of a method.
    class Transferring {
    public:
        explicit Transferring(MTPServicePrivate& service)
            : _service(service) {
            _service.beginTransfer();
        }
        ~Transferring() { _service.endTransfer(); }
        Transferring(const Transferring&) = delete;
        Transferring& operator=(const Transferring&) = delete;

    private:
        MTPServicePrivate& _service;
    };
    [[nodiscard]] bool isTransferring() const;
    /// Waits until no job or long walk runs.
    void waitWhileTransferring();

    /// Fetches the device list when there is none; false when the library fails.
    bool fetchDeviceList();
    /// Fetches the current device's storages in place of those held, which go back to the library.
    DGSTATUS fetchStorageList();
    /// The current location ID as a number.
    [[nodiscard]] std::uint32_t locationNumber() const;

private:
    std::optional<platform::Dictionary> receivePodcastDocument(const std::string& path, const std::string& toPath,
                                                               const Text& fileNode);
    platform::Array presentEpisodes(const platform::Array& episodes, const std::string& channelPath);
    Text replacePodcastDocument(const std::string& localPath, const std::string& path, const Text& folderNode,
                                std::uint32_t* error);
    /// A storage's dictionary with its default folders, which are made where they are missing.
    platform::Dictionary withDefaultFolders(const platform::Dictionary& storage, const std::string& volumePath,
                                            bool external);
    /// Makes or rewrites one playlist of a synchronisation. The result changes when one that is there was rewritten, or
    /// when either failed.
    void syncPlaylist(const platform::Value& entry, _MTP_COMMON_NODE* parent, PlaylistStorage& storage, bool& result);
    /// The folder of this name below the parent, or the storage's root when that is null; made when missing.
    _MTP_FOLDER_NODE* folderInside(_MTP_STORAGE_NODE* storage, _MTP_FOLDER_NODE* parent, const std::string& name);
    platform::Array listedStorages(const std::string& device);
    /// The storage ID of a hidden volume's name; 0 (logged) when there is none.
    [[nodiscard]] std::uint32_t hiddenStorageID(const std::string& name) const;
    _MTP_STORAGE_NODE* cachedHiddenStorage(const std::string& cacheKey, std::uint32_t storageID);

    struct SubFolder {
        std::string name;
        std::string nodeID;
    };
    /// The folder of that name inside another one, made when it is missing; under a name made fit when no folder can
    /// have this one. Nothing, and the library's status, on failure. Under the library's monitor.
    std::optional<SubFolder> subFolder(const Text& parentID, const std::string& name, std::uint32_t* error);
    /// Sends a local file to a device path in place of what is there.
    bool sendLocalCopy(const std::string& localPath, const std::string& path);
    bool restoreFile(const platform::Dictionary& file, const std::string& path, MtpProgressCallback callback,
                     void* context);
    using Enumeration = std::optional<platform::Array> (MtpControl::*)(_MTP_DEVICE_NODE*, _MTP_STORAGE_NODE*,
                                                                       const Text&, const MtpControl::NodeID&);
    /// One folder's entries, with their nodes moved into the index.
    std::optional<platform::Array> listFolder(const Text& path, Enumeration enumeration, const char* message);
    /// Moves the entries' nodes into the index and makes their paths those of the folder as it was named.
    void indexListed(platform::Array& entries, const std::string& folderPath);

    using MediaEnumeration = std::optional<platform::Array> (MtpControl::*)(_MTP_DEVICE_NODE*, _MTP_STORAGE_NODE*,
                                                                            const Text&,
                                                                            const std::vector<std::string>&);
    std::optional<platform::Array> mediaList(std::uint32_t mediaType, std::uint32_t diskIndex,
                                             MediaEnumeration enumeration);
    std::optional<platform::Array> enumerated(MediaEnumeration enumeration, const Text& source,
                                              const std::vector<std::string>& extensions);
    /// Adds a storage's groups. False once the service is released; isListed is set when the storage could be listed.
    bool addContentGroups(const platform::Dictionary& storage, const std::vector<std::string>& extensions,
                          platform::Array& groups, bool& isListed);
    std::optional<platform::Array> storagePlaylists(const platform::Dictionary& storage);
    /// The podcast that a channel document on the device describes.
    std::optional<platform::Dictionary> podcastOfDocument(const platform::Dictionary& file);

    /// The default folder of a storage of another device, whose service the delegate knows.
    Text folderOnOtherDevice(const std::string& locationID, std::uint32_t mediaType, std::uint32_t storageIndex);
    void enqueuePlaylistEdit(ServiceCommand command, QueueLocking locking, std::uint32_t serviceID,
                             const std::optional<platform::Array>& contents, std::uint32_t mediaType,
                             const Text& playlistName);

    void startWorker();
    void runWorker();
    void waitForRequest();
    std::unique_ptr<_serviceinfo> takeRequest();
    bool tryQueueLock() PLATFORM_TRY_ACQUIRE(true, _queueLock);
    bool acquireQueue(QueueLocking locking) PLATFORM_TRY_ACQUIRE(true, _queueLock);
    void signalWorker();
    [[nodiscard]] bool mayWaitForJob() const;
    void stop();
    void releaseLists();
    void forgetTables();

    DGSTATUS objectAdded(void* handle);
    DGSTATUS objectRemoved(const _MTP_COMMON_NODE* target, void* handle);
    DGSTATUS deviceReset(void* handle);

    std::thread _worker;
    std::atomic<std::thread::id> _workerID{};
    /// Guards nothing but the wake-ups; see mtpFileServiceQueueThread.
    mutable std::mutex _syncMutex;
    /// The worker waits in _syncCondition (or has ended), and no wake-up is on its way. Guarded by _syncMutex.
    bool _isWorkerWaiting = false;
    /// The service's own end, apart from the released state that applications see. Set under _syncMutex.
    std::atomic<bool> _endWorker{false};
    /// Requests in the queue: its test for emptiness takes no lock.
    std::atomic<std::size_t> _queuedCount{0};
    /// Requests queued or running.
    std::atomic<std::size_t> _pendingCount{0};
    std::mutex _statusMutex;
    std::condition_variable _statusChanged;
    EventRegistration _eventRegistration;
};
