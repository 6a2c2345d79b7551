// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Dates.h"
#include "platform/Monitor.h"
#include "platform/Value.h"
#include "vemomtpsdk/Callbacks.h"
#include "vemomtpsdk/Records.h"
#include "vemomtpsdk/Status.h"

#include <atomic>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

/// The only caller of the MTP library: reads its records, walks its trees by path, moves files and changes nodes.
///
/// Results are library statuses (0 success), nodes (null when not found) or flags; nothing raises. Failures are logged
/// at level 3. `error` arguments may be null; they receive the library's status or one of the codes below. All nodes
/// belong to the library. A node ID is a node's handle written with "%X"; text that names no live node counts as "not
/// there". Device paths are "/friendly name/storage label/folders…/name"; names compare without regard to case. Storage
/// names are a label or a volume path ("/friendly name/label").
///
/// Methods that take a storage head by value fetch the device's list themselves when it is null and give it back before
/// they return; those that hand out a node or its ID (fileNodeAtPath, createFolder, the sends) leave it fetched, since
/// the nodes live only as long as it does. Callers with a list of their own avoid both.
///
/// Threads: the library serialises itself, but sequences of calls belong together, so callers hold classMonitor()
/// around each call or short group of calls. The folder cache is guarded by it too.
class MtpControl {
public:
    using NodeID = std::optional<std::string>;
    using Text = std::optional<std::string>;
    /// The files of a playlist in order. Null entries are passed on as they are; the library ignores them.
    using NodeList = std::span<_MTP_FILE_NODE* const>;

    /// The process-wide lock around all use of the library. Taken after MTPService's own monitor, never before it.
    static platform::Monitor& classMonitor();

    /// The node ID text of a node ("0" for null), and the live node that a text names; null when there is none.
    [[nodiscard]] static std::string nodeIDText(const void* node);
    [[nodiscard]] static _MTP_COMMON_NODE* nodeFromText(const NodeID& nodeID);

    MtpControl();
    ~MtpControl();
    MtpControl(const MtpControl&) = delete;
    MtpControl& operator=(const MtpControl&) = delete;

    [[nodiscard]] bool deviceConnected() const;
    void setDeviceConnected(bool connected);
    /// Forgets all cached folder nodes: the device's tree may have changed.
    void InitializeNodeDic();

    // Names and conversions (MTPControlConversions.cpp)
    [[nodiscard]] std::string statusString(DGSTATUS status) const;
    [[nodiscard]] std::optional<platform::Date> convertMtpToSystemDate(std::string_view text) const;
    [[nodiscard]] Text convertSystemToMtpDate(std::string_view text) const;
    /// A new zero-terminated copy in record memory, owned by the caller; retSize counts the terminator, modulo 256. An
    /// empty text leaves both untouched.
    void convertStringToMtpString(std::string_view text, std::uint16_t** retBuffer, std::uint8_t* retSize) const;
    [[nodiscard]] std::uint32_t wildcharLength(const std::uint16_t* buffer, std::uint32_t dataSize) const;
    [[nodiscard]] std::uint32_t convertStringToInt(std::string_view text) const;
    void printBuffer(const char* title, const void* buffer, std::size_t bufferSize) const;

    // Lists (MTPControlLists.cpp): each passes its arguments to one library function, logs, and returns its status.
    DGSTATUS getMTPDeviceHead(_MTP_DEVICE_NODE** device);
    DGSTATUS getMTPNextDevice(_MTP_DEVICE_NODE* device, _MTP_DEVICE_NODE** next);
    /// A null device means the first device of the list.
    DGSTATUS getMTPStorageListHead(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE** storage);
    DGSTATUS getMTPNextStorage(_MTP_STORAGE_NODE* storage, _MTP_STORAGE_NODE** next);
    DGSTATUS getMTPFolderListHead(_MTP_FOLDER_NODE* parent, _MTP_STORAGE_NODE* atStorage, _MTP_FOLDER_NODE** child,
                                  MtpProgressCallback callback, void* context);
    DGSTATUS getMTPNextFolder(_MTP_FOLDER_NODE* folder, _MTP_FOLDER_NODE** next);
    DGSTATUS getMTPFileListHead(_MTP_COMMON_NODE* parent, _MTP_FILE_NODE** head, MtpProgressCallback callback,
                                void* context);
    DGSTATUS getMTPNextFile(_MTP_FILE_NODE* file, _MTP_FILE_NODE** next);
    DGSTATUS getMTPMediaFileInfo(_MTP_FILE_NODE* file, _MTP_MEDIA_FILE_INFO** media);
    DGSTATUS setMTPMediaFileInfo(_MTP_FILE_NODE* file, _MTP_MEDIA_FILE_INFO* media);
    DGSTATUS getMTPHiddenStorage(_MTP_DEVICE_NODE* device, std::uint32_t storageID, _MTP_STORAGE_NODE** storageNode);
    void releaseMTPDeviceList(_MTP_DEVICE_NODE* head);
    void releaseMTPStorageList(_MTP_STORAGE_NODE* head);
    void releaseMTPFolderList(_MTP_FOLDER_NODE* head);
    void releaseMTPFileList(_MTP_FILE_NODE* head);
    /// Sets the caller's pointer to null through the library.
    void releaseMTPMediaFileInfo(_MTP_MEDIA_FILE_INFO*& media);

    // Device properties (MTPControlProperties.cpp). The out text is untouched unless the read succeeds.
    DGSTATUS getMTPFriendlyName(_MTP_DEVICE_NODE* device, std::string& name);
    DGSTATUS getMTPModelName(_MTP_DEVICE_NODE* device, std::string& name);
    DGSTATUS getMTPManufactureName(_MTP_DEVICE_NODE* device, std::string& name);
    DGSTATUS getMTPSerialNumber(_MTP_DEVICE_NODE* device, std::string& number);
    DGSTATUS getMTPSyncPartner(_MTP_DEVICE_NODE* device, std::string& name);
    DGSTATUS setMTPFriendlyName(_MTP_DEVICE_NODE* device, std::string_view name);
    DGSTATUS setMTPSyncPartner(_MTP_DEVICE_NODE* device, std::string_view name);

    // Storage figures in bytes (MTPControlProperties.cpp); 0 when there is no such storage.
    std::uint64_t maxCapacity(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead, const Text& name);
    std::uint64_t freeSpace(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead, const Text& name);
    /// Used bytes; the capacity in totalSpace, untouched when there is no such storage.
    std::uint64_t storageSpace(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead, const Text& name,
                               std::uint64_t* totalSpace);

    // Devices and events (MTPControl.cpp)
    /// Looks in the given list, or in a list fetched for it (which stays the library's) when the head is null.
    _MTP_DEVICE_NODE* deviceWithLocationId(_MTP_DEVICE_NODE* deviceHead, std::uint32_t locationId);
    DGSTATUS refreshMtpDeviceList();
    /// A null callback withdraws the registration and waits for a call of it that is under way; do not hold a monitor
    /// then that the callback takes.
    DGSTATUS registerMtpRequestEventNotify(_MTP_DEVICE_NODE* device, MtpEventCallback callback, void* context);
    DGSTATUS registerMtpRequestEventNotifyEx(_MTP_DEVICE_NODE* device, MtpEventCallbackEx callback, void* context);
    DGSTATUS getMTPOperationNotify(void* handle, _MTP_COMMON_NODE** parent, _MTP_COMMON_NODE** updated);

    // Dumps of nodes, called with every node obtained; they do nothing.
    void logMTPDeviceNode(const _MTP_DEVICE_NODE* node) const;
    void logMTPStorageNode(const _MTP_STORAGE_NODE* node) const;
    void logMTPFolderNode(const _MTP_FOLDER_NODE* node) const;
    void logMTPFileNode(const _MTP_FILE_NODE* node) const;
    void logMTPMediaFileInfoNode(const _MTP_MEDIA_FILE_INFO* node) const;
    void logMTPPlaylistNode(const _MTP_PLAYLIST_NODE* node) const;

    // The tree by name and path (MTPControlTree.cpp)
    /// By label or volume path. Fetches the storage list into *storageHead when that is null; the caller then owns it.
    _MTP_STORAGE_NODE* getStorageNode(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE** storageHead, const Text& name);
    _MTP_FOLDER_NODE* getFolderNode(std::string_view name, _MTP_STORAGE_NODE* atStorage, _MTP_FOLDER_NODE* parent);
    _MTP_FILE_NODE* getFileNode(_MTP_COMMON_NODE* parent, std::string_view name);
    _MTP_FOLDER_NODE* folderNodeHead(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* currentStorage,
                                     const Text& folderPath);
    _MTP_FOLDER_NODE* lastFolderNode(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* currentStorage,
                                     const Text& folderPath);
    _MTP_FOLDER_NODE* searchFolder(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE** storageHead,
                                   _MTP_STORAGE_NODE** retStorage, const Text& filePath);
    _MTP_COMMON_NODE* fileNodeAtPath(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead, const Text& path,
                                     bool* isDirectory);
    bool fileExistsAtPath(const Text& path, const NodeID& nodeID, _MTP_DEVICE_NODE* device,
                          _MTP_STORAGE_NODE* storageHead, bool* isDirectory);
    bool fileIsExists(const NodeID& nodeID, bool* isDirectory);
    bool checkNodeExist(_MTP_COMMON_NODE* node);
    [[nodiscard]] bool checkHiddenFolder(std::string_view name) const;
    [[nodiscard]] bool checkNoMedia(std::string_view name) const;

    // Folders (MTPControlFolders.cpp)
    _MTP_FOLDER_NODE* createFolder(_MTP_COMMON_NODE* parent, std::string_view name, std::uint32_t* error);
    bool createFolder(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead, const Text& path, NodeID* retNode,
                      std::uint32_t* error);
    bool createFolderInStorage(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* currentStorage, const Text& destination,
                               NodeID* retNode, std::uint32_t* error);
    _MTP_COMMON_NODE* checkCreateFolder(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE** storageHead, const Text& path,
                                        std::uint32_t* error);

    // Transfers (MTPControlTransfer.cpp). `data` is a content dictionary ("FilePath", "MediaType", metadata keys).
    bool sendMediaFileToMTPEx(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead, const NodeID& folderNode,
                              const platform::Dictionary* data, const Text& destination, MtpProgressCallback callback,
                              void* context, NodeID* retFileNode, std::uint32_t* error);
    bool sendMediaFileToMTP(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead, const NodeID& folderNode,
                            const platform::Dictionary* data, const Text& destination, MtpProgressCallback callback,
                            void* context, NodeID* retFileNode, std::uint32_t* error);
    bool downloadFileToMTPEx(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead, const NodeID& folderNode,
                             const Text& source, const Text& destination, MtpProgressCallback callback, void* context,
                             NodeID* retFileNode, std::uint32_t* error);
    bool downloadFileToMTP(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead, const NodeID& folderNode,
                           const Text& source, const Text& destination, MtpProgressCallback callback, void* context,
                           NodeID* retFileNode, std::uint32_t* error);
    bool uploadFileFromMTPEx(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead, const NodeID& fileNode,
                             const Text& source, const Text& destination, MtpProgressCallback callback, void* context,
                             std::uint32_t* error);
    bool uploadFileFromMTP(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead, const NodeID& fileNode,
                           const Text& source, const Text& destination, MtpProgressCallback callback, void* context,
                           std::uint32_t* error);
    bool transferFileToDevice(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* currentStorage, const NodeID& parentNode,
                              const platform::Dictionary* data, const Text& destination, MtpProgressCallback callback,
                              void* context, NodeID* retFileNode, std::uint32_t* error);
    bool transferFileFromDevice(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* currentStorage, const NodeID& nodeID,
                                const Text& source, const Text& destination, MtpProgressCallback callback,
                                void* context, std::uint32_t* error);

    // Single nodes (MTPControlNodes.cpp)
    bool deleteNode(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* currentStorage, const NodeID& nodeID,
                    const Text& destination, std::uint32_t* error);
    bool deleteItemAtPath(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead, const NodeID& fileNode,
                          const Text& path, std::uint32_t* error);
    bool renameItemAtPath(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead, const NodeID& nodeID,
                          const Text& source, const Text& toName, std::uint32_t* error);
    /// Bytes, 0 when there is no such file. *retFileNode becomes the fixed text "X".
    std::uint64_t fileSize(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead, const Text& filePath,
                           const NodeID& fileNode, NodeID* retFileNode);
    [[nodiscard]] bool isMatchFileExtension(const Text& fileName, const std::vector<std::string>& extension) const;

    // Metadata records (MTPControlMedia.cpp)
    /// The MTP object format code of a media type bit set.
    [[nodiscard]] std::uint16_t setMediaFileFormat(std::uint32_t mediaType) const;
    /// New records in record memory, zero but for what the dictionary gives; null when memory runs out. They go back
    /// through releaseMTPMediaFileInfo; the music record's description text alone stays the caller's (its pointer in
    /// the record is filled oddly): it is handed out in `description`, to be freed with mtpRecordFree.
    [[nodiscard]] _MTP_MEDIA_FILE_INFO* consistOfMusicData(const platform::Dictionary& data,
                                                           std::uint16_t** description);
    [[nodiscard]] _MTP_MEDIA_FILE_INFO* consistOfVideoData(const platform::Dictionary& data);
    [[nodiscard]] _MTP_MEDIA_FILE_INFO* consistOfImageData(const platform::Dictionary& data);
    /// The library's record of a device file, found by node ID or else by path; null when there is none. Goes back
    /// through releaseMTPMediaFileInfo. The file's own node ID is handed out in foundNode when that is given.
    _MTP_MEDIA_FILE_INFO* getMediaFileInfo(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead,
                                           const NodeID& fileNode, const Text& path, NodeID* foundNode = nullptr);
    /// A record as a dictionary of media-information keys; only what is known is in it. fileName may be missing (then
    /// the record's own name counts); nodeID is of the file's node, which a record does not hold.
    [[nodiscard]] std::optional<platform::Dictionary> mediaInfoContents(const _MTP_MEDIA_FILE_INFO* media,
                                                                        const Text& fileName, const Text& path,
                                                                        const NodeID& nodeID = std::nullopt) const;

    // Contents (MTPControlContents.cpp, ContentWalk.h): arrays of dictionaries with media-information keys, in the
    // device's order; the nodes that "NodeID" names are left fetched. Nothing when the folder is not there or the
    // device is gone ("Device disconnected" is logged). What is entered and told is in docs/browsing.md.
    /// The files directly in a folder, with their metadata. The folder is the node that the ID names, else the one that
    /// the path within the storage spells exactly.
    std::optional<platform::Array> enumeratorFiles(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* currentStorage,
                                                   const Text& folderpath, const NodeID& nodeID);
    /// The folders directly in a folder.
    std::optional<platform::Array> enumeratorFolders(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* currentStorage,
                                                     const Text& folderpath, const NodeID& nodeID);
    /// All files below the folder or storage `source` (a full device path) whose extension is listed, with their
    /// metadata; hidden folders and those with a ".nomedia" in them are left out.
    std::optional<platform::Array> enumeratorMediaFiles(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead,
                                                        const Text& source,
                                                        const std::vector<std::string>& fileExtension);
    /// The same files; only what the listing of their folder tells of them.
    std::optional<platform::Array> enumeratorMediaFileNames(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead,
                                                            const Text& source,
                                                            const std::vector<std::string>& fileExtension);
    /// All files below `source`, wherever they lie; only what the listing tells.
    std::optional<platform::Array> enumeratorBackupFiles(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead,
                                                         const Text& source);
    /// All folders and files of all listed storages; only what the listing tells.
    std::optional<platform::Array> enumeratorAllContents(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead);
    /// All folders and files below a folder or storage node whose path is given.
    std::optional<platform::Array> subpathsOfDirectoryAtNode(_MTP_COMMON_NODE* node, _MTP_STORAGE_NODE* atStorage,
                                                             const Text& path);
    /// The files directly in a folder or storage node whose path is given; only what the listing tells.
    std::optional<platform::Array> contentsOfFileAtNode(_MTP_COMMON_NODE* node, const Text& path);
    /// Puts what the listing tells of a folder into `contents` ("FileName", "NodeID"); false for null.
    bool makeFolderNode(const _MTP_FOLDER_NODE* folder, platform::Dictionary& contents) const;
    /// The full device path of a file whose path within its storage is given.
    Text makeMediaFilePath(_MTP_DEVICE_NODE* device, const _MTP_STORAGE_NODE* storageNode, const Text& mediaFilePath);
    /// The node of the file or folder that a full path, or a path within a storage, spells component by component, for
    /// those who must not take a namesake for it (the other walks are more forgiving); a path without folders means the
    /// storage. A live nodeID whose node bears the path's last name is taken without a search. Nothing when there is
    /// none.
    NodeID exactNode(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead, const NodeID& nodeID, const Text& path);
    NodeID exactNodeInStorage(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* currentStorage, const NodeID& nodeID,
                              const Text& path);

    // Playlists (MTPControlPlaylists.cpp). They are found by name, without regard to case and without the extension of
    // their file, or by their node ID; currentStorage is the node of the storage that holds them. All nodes belong to
    // the library and live until the playlist, the file or the storage list goes. What writes a playlist writes its
    // whole list and answers true with error 0; a playlist that is not there answers false with
    // DGSTATUS_NODE_IS_NOT_EXISTED, a missing device, storage or name with DGSTATUS_UNSUCCESSFUL, a device without
    // playlists with DGSTATUS_NOT_SUPPORT_OP.
    /// Names as strings; nothing when the library fails.
    std::optional<platform::Array> enumeratorPlaylistNames(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* currentStorage);
    /// A dictionary per playlist: "PlaylistName", "NodeID", "ObjectID", "FileCount", and, when the path of the playlist
    /// folder is given, "FilePath" (of the playlist's file).
    std::optional<platform::Array> enumeratorPlaylistNameInfo(_MTP_DEVICE_NODE* device,
                                                              _MTP_STORAGE_NODE* currentStorage, const Text& filePath);
    /// The dictionary of one playlist: as above without its "FilePath", and "children": a dictionary per file in order
    /// with "FileName", "NodeID", "ObjectID", "FileSize" (bytes), "IsReadOnly" and, when the storage's path is given,
    /// "FilePath". Nothing when there is no such playlist.
    std::optional<platform::Array> enumeratorPlaylistInfo(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* currentStorage,
                                                          const std::string& playlistName, const Text& storagePath);
    /// The files that the playlist refers to now, in order; those that are gone are left out. None also when the list
    /// cannot be read or there is no such playlist: `error` tells. A list that was not read whole must not be written
    /// back.
    std::vector<_MTP_FILE_NODE*> enumeratorFileNodeAtPlaylist(_MTP_DEVICE_NODE* device,
                                                              _MTP_STORAGE_NODE* currentStorage,
                                                              const std::string& playlistName, std::uint32_t* error);
    _MTP_PLAYLIST_NODE* searchPlaylistName(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* currentStorage,
                                           const std::string& playlistName);
    /// Makes a playlist in the folder (or storage) `parent`. A name that is there answers
    /// DGSTATUS_NODE_FILE_DUPNAME_EXISTED, changes nothing and hands out the playlist that has it. listNode may be
    /// null.
    DGSTATUS setPlayListInfo(_MTP_COMMON_NODE* parent, const std::string& listName, NodeList infoLists,
                             _MTP_PLAYLIST_NODE** listNode);
    bool updateMediaFileToPlaylist(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* currentStorage,
                                   const std::string& playlistName, NodeList nodeLists, std::uint32_t* error);
    /// Appends one file, found by ID or else by its device path.
    bool updateMediaFileToPlaylist(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* currentStorage,
                                   const std::string& playlistName, const NodeID& mediaFileID,
                                   const Text& mediaFilePath, std::uint32_t* error);
    /// The same for a playlist found by ID or else by name.
    bool updateMediaFileToPlaylist(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* currentStorage,
                                   const NodeID& playlistID, const std::string& playlistName, const NodeID& mediaFileID,
                                   const Text& mediaFilePath, std::uint32_t* error);
    /// Takes one file, found by ID or else by its device path, out of the playlist: its first entry. A file that is not
    /// in the list answers DGSTATUS_NOT_MATCHED_FILENODE.
    bool deleteMediaFileAtPlaylist(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* currentStorage,
                                   const std::string& playlistName, const NodeID& mediaFileID,
                                   const Text& mediaFilePath, std::uint32_t* error);
    /// The same for a playlist found by ID or else by name.
    bool deleteMediaFileAtPlaylist(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* currentStorage,
                                   const NodeID& playlistID, const std::string& playlistName, const NodeID& mediaFileID,
                                   const Text& mediaFilePath, std::uint32_t* error);
    void releaseMTPPlaylist(_MTP_PLAYLIST_NODE* head);

private:
    /// Where the folder above a path within the storage is cached. Paths in a hidden volume do not name their volume,
    /// so the storage's ID goes before the upper-cased path.
    [[nodiscard]] static std::string folderKey(const _MTP_STORAGE_NODE* storage, const std::string& path);
    /// The cached folder above a path within the storage, when that node still exists.
    _MTP_COMMON_NODE* cachedFolder(const _MTP_STORAGE_NODE* storage, const std::string& path);
    /// The folder that a file within a storage goes into: by ID, from the cache, else found or made and then cached.
    _MTP_COMMON_NODE* parentInStorage(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* currentStorage,
                                      const NodeID& parentNode, const std::string& destination, std::uint32_t* error);

    std::atomic<bool> _deviceConnected{false}; // read and written under no monitor
    /// Folder node IDs by folderKey().
    std::unordered_map<std::string, std::string> _folderNode;
};
