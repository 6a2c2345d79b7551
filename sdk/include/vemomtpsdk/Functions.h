// SPDX-License-Identifier: MIT
#pragma once

#include "vemomtpsdk/Callbacks.h"
#include "vemomtpsdk/Export.h"
#include "vemomtpsdk/Records.h"
#include "vemomtpsdk/Status.h"

#include <cstdint>

/// The library's function interface.
///
/// Threads: every function may be called from any thread; calls for one device wait for each other, and a call from
/// within a progress callback of the same device answers DGSTATUS_ABNORMAL_STATUS. Nodes given in are looked up first:
/// one that is not (or no longer) part of the library's trees answers DGSTATUS_NODE_IS_NOT_EXISTED, null answers
/// DGSTATUS_INVALID_PARAMETER. Out arguments are null (or untouched, where stated) unless the status says otherwise.
///
/// Ownership: lists belong to the library. Getting a device list or a storage list adds a reference to it, releasing
/// gives one back; the nodes die with the last reference. Folder and file lists are views of the cached tree: releasing
/// one forgets the cached level (with all below it), and the next listing asks the device again. A dead node's memory
/// is not used for another node while its device list lives.
///
/// Records may be read at any time without a call: what a node's record and its texts say changes only within calls of
/// the application's that hand nodes out or change the device, for whichever node. What the device reports by itself
/// shows from the next such call on (applying the event is one). mtpGetFile, mtpGetMediaFileInfo, the device properties
/// and libIsExist change no record, so a thread may fetch while another one reads records; threads that make other
/// calls at once take turns with those that read, by a lock of the application's. The record of a dead node stays as it
/// was when the device took the node away, and is emptied when the application itself gave the node up.
///
/// Lengths of paths are in UTF-16 code units, of all other texts in bytes, as stated with each function.
extern "C" {

// Devices. A list of all attached devices; the end of a list is status 0 with a null node.
VEMO_EXPORT DGSTATUS mtpGetConnectedDeviceListHead(_MTP_DEVICE_NODE** head);
VEMO_EXPORT DGSTATUS mtpGetNextDevice(_MTP_DEVICE_NODE* device, _MTP_DEVICE_NODE** next);
VEMO_EXPORT DGSTATUS mtpReleaseDeviceList(_MTP_DEVICE_NODE* head);
/// Looks again for devices; nodes of devices that are still there stay as they are.
VEMO_EXPORT DGSTATUS mtpRefreshDeviceList(void);

// Events. A callback replaces the one before from the next event on; a call of that one may still be under way. A null
// callback withdraws the registration, and the call returns when none is under way (unless it is made from within one).
VEMO_EXPORT DGSTATUS mtpRequestEventNotify(_MTP_DEVICE_NODE* device, MtpEventCallback callback, void* context);
VEMO_EXPORT DGSTATUS mtpRequestEventNotifyEx(_MTP_DEVICE_NODE* device, MtpEventCallbackEx callback, void* context);
/// Applies the event to the node tree and yields the parent and the added node (null for a removal).
VEMO_EXPORT DGSTATUS mtpApplyOperationNotification(void* handle, _MTP_COMMON_NODE** parent, _MTP_COMMON_NODE** updated);

// Storages. Asking again refreshes labels and capacities in place.
VEMO_EXPORT DGSTATUS mtpGetStorageListHead(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE** head);
VEMO_EXPORT DGSTATUS mtpGetNextStorageNode(_MTP_STORAGE_NODE* storage, _MTP_STORAGE_NODE** next);
/// Takes any storage of the list, also one that the device took away meanwhile.
VEMO_EXPORT DGSTATUS mtpReleaseStorageList(_MTP_STORAGE_NODE* head);
/// A storage that the device does not list, by its storage ID.
VEMO_EXPORT DGSTATUS mtpGetHiddenStorage(_MTP_DEVICE_NODE* device, std::uint32_t storageId,
                                         _MTP_STORAGE_NODE** storage);

// Folders and files. A null parent means the storage's root; the end of a list, and an empty one, is
// DGSTATUS_NO_MORE_DATA with a null node. The callback reports entries read so far; both may be null.
VEMO_EXPORT DGSTATUS mtpGetFolderListHead(_MTP_STORAGE_NODE* storage, _MTP_FOLDER_NODE* parent,
                                          _MTP_FOLDER_NODE** child, MtpProgressCallback callback, void* context);
VEMO_EXPORT DGSTATUS mtpGetNextSiblingFolderNode(_MTP_FOLDER_NODE* folder, _MTP_FOLDER_NODE** next);
VEMO_EXPORT DGSTATUS mtpReleaseFolderList(_MTP_FOLDER_NODE* head);
VEMO_EXPORT DGSTATUS mtpGetFileListHead(_MTP_COMMON_NODE* parent, _MTP_FILE_NODE** file, MtpProgressCallback callback,
                                        void* context);
VEMO_EXPORT DGSTATUS mtpGetNextFileNode(_MTP_FILE_NODE* file, _MTP_FILE_NODE** next);
VEMO_EXPORT DGSTATUS mtpReleaseFileList(_MTP_FILE_NODE* head);

/// While set, lists of folders and files ask a device that can tell names alone for no more: the records of such files
/// say nothing of size, protection and dates. Each is completed when the folder's files are listed again without this,
/// or when one of them is asked about, received or looked up by its handle. Off at first.
VEMO_EXPORT DGSTATUS mtpSetNameListing(_MTP_DEVICE_NODE* device, bool namesOnly);

/// nameBytes counts the terminator. A name that exists (without regard to case) answers the duplicate status of the
/// kind that is there (DGSTATUS_NODE_FOLDER_DUPNAME_EXISTED or DGSTATUS_NODE_FILE_DUPNAME_EXISTED) and hands out the
/// existing node; a name that no device takes answers DGSTATUS_FILE_INVALID_CHAR.
VEMO_EXPORT DGSTATUS mtpCreateFolderNode(_MTP_COMMON_NODE* parent, const std::uint16_t* name, std::uint32_t nameBytes,
                                         _MTP_FOLDER_NODE** folder);
/// While set, the names of new folders and files are the device's affair alone: one that differs from a name that is
/// there in upper and lower case only counts as free, and characters are refused only where no name can hold them. For
/// putting back what a device held; off at first.
VEMO_EXPORT DGSTATUS mtpSetVerbatimNames(_MTP_DEVICE_NODE* device, bool verbatim);
/// Deletes a file, a folder with all it holds, or a playlist.
VEMO_EXPORT DGSTATUS mtpDeleteNode(_MTP_COMMON_NODE* node);
VEMO_EXPORT DGSTATUS mtpRenameNode(_MTP_COMMON_NODE* node, const std::uint16_t* name, std::uint32_t nameBytes);

// Transfers. The path length counts the terminator; the new object is named by the path's last component. An existing
// name answers a duplicate status and hands out the existing node (null when several names differ from it only in
// case). Ex and plain differ in nothing but their name.
VEMO_EXPORT DGSTATUS mtpSendFile(const std::uint16_t* path, std::uint32_t pathLength, _MTP_COMMON_NODE* parent,
                                 _MTP_FILE_NODE** file, MtpProgressCallback callback, void* context);
VEMO_EXPORT DGSTATUS mtpSendFileEx(const std::uint16_t* path, std::uint32_t pathLength, _MTP_COMMON_NODE* parent,
                                   _MTP_FILE_NODE** file, MtpProgressCallback callback, void* context);
VEMO_EXPORT DGSTATUS mtpSendMediaFile(const std::uint16_t* path, std::uint32_t pathLength, _MTP_COMMON_NODE* parent,
                                      _MTP_MEDIA_FILE_INFO* media, _MTP_FILE_NODE** file, MtpProgressCallback callback,
                                      void* context);
VEMO_EXPORT DGSTATUS mtpSendMediaFileEx(const std::uint16_t* path, std::uint32_t pathLength, _MTP_COMMON_NODE* parent,
                                        _MTP_MEDIA_FILE_INFO* media, _MTP_FILE_NODE** file,
                                        MtpProgressCallback callback, void* context);
VEMO_EXPORT DGSTATUS mtpGetFile(_MTP_FILE_NODE* file, const std::uint16_t* path, std::uint32_t pathLength,
                                MtpProgressCallback callback, void* context);
VEMO_EXPORT DGSTATUS mtpGetFileEx(_MTP_FILE_NODE* file, const std::uint16_t* path, std::uint32_t pathLength,
                                  MtpProgressCallback callback, void* context);

// Metadata. A record handed out, or built by the caller from record memory, goes back through mtpReleaseMediaFileInfo,
// which frees its texts and sets the pointer to null.
VEMO_EXPORT DGSTATUS mtpGetMediaFileInfo(_MTP_FILE_NODE* file, _MTP_MEDIA_FILE_INFO** media);
VEMO_EXPORT DGSTATUS mtpSetMediaFileInfo(_MTP_FILE_NODE* file, _MTP_MEDIA_FILE_INFO* media);
VEMO_EXPORT DGSTATUS mtpReleaseMediaFileInfo(_MTP_MEDIA_FILE_INFO** media);

// Playlists: objects of their own with an ordered list of references, each a file of its own ("name.pla") in a folder
// as well. A playlist's name is its file's without the extension; mtpDeleteNode and mtpRenameNode take its node. All
// playlists of a storage make one list, which lives like a file list; the end of it, and an empty one, is
// DGSTATUS_NO_MORE_DATA. Lists are written whole, in order, an object named twice twice; null entries and nodes that
// are dead by now are ignored. A device without playlists answers DGSTATUS_NOT_SUPPORT_OP.
VEMO_EXPORT DGSTATUS mtpGetPlaylistHead(_MTP_STORAGE_NODE* storage, _MTP_PLAYLIST_NODE** head);
VEMO_EXPORT DGSTATUS mtpGetNextPlaylistNode(_MTP_PLAYLIST_NODE* playlist, _MTP_PLAYLIST_NODE** next);
/// The file at a place of the list (from 0 on). DGSTATUS_NO_MORE_DATA behind its end; DGSTATUS_NODE_IS_NOT_EXISTED for
/// an object that is gone, DGSTATUS_NOT_MATCHED_FILENODE for one that is no file: the places behind go on all the same.
VEMO_EXPORT DGSTATUS mtpGetPlaylistMediaFileInfo(_MTP_PLAYLIST_NODE* playlist, std::uint32_t index,
                                                 _MTP_FILE_NODE** file);
/// The path of that file with its storage ("/label/folder/name"), by two calls like the device properties.
VEMO_EXPORT DGSTATUS mtpGetPlaylistMediaFilePath(_MTP_PLAYLIST_NODE* playlist, std::uint32_t index, std::uint16_t* path,
                                                 std::uint32_t* pathBytes);
/// nameBytes counts the terminator. A name that exists answers as with mtpCreateFolderNode and hands out the playlist
/// that has it (null when another file or a folder has). Without its list no playlist stays behind.
VEMO_EXPORT DGSTATUS mtpSetNewPlaylist(_MTP_COMMON_NODE* parent, const std::uint16_t* name, std::uint32_t nameBytes,
                                       _MTP_FILE_NODE** files, std::uint32_t count, _MTP_PLAYLIST_NODE** playlist);
/// Ex and plain differ in nothing but their name.
VEMO_EXPORT DGSTATUS mtpUpdatePlaylist(_MTP_PLAYLIST_NODE* playlist, _MTP_FILE_NODE** files, std::uint32_t count);
VEMO_EXPORT DGSTATUS mtpUpdatePlaylistEx(_MTP_PLAYLIST_NODE* playlist, _MTP_FILE_NODE** files, std::uint32_t count);
VEMO_EXPORT DGSTATUS mtpReleasePlaylists(_MTP_PLAYLIST_NODE* head);

// Device properties, two calls: with a null buffer DGSTATUS_MORE_DATA and the size needed (bytes, terminator counted),
// then with the buffer. An absent property answers a status of its own (DGSTATUS_NO_DATA).
/// Never absent, since paths begin with it: without one the model's name stands in, without that "MTP device". What
/// cannot be part of a path is replaced. DGSTATUS_NO_FRIENDLYNAME is left to other implementations.
VEMO_EXPORT DGSTATUS mtpGetFriendlyName(_MTP_DEVICE_NODE* device, std::uint16_t* buffer, std::uint32_t* bytes);
VEMO_EXPORT DGSTATUS mtpGetModelName(_MTP_DEVICE_NODE* device, std::uint16_t* buffer, std::uint32_t* bytes);
VEMO_EXPORT DGSTATUS mtpGetManufacturerName(_MTP_DEVICE_NODE* device, std::uint16_t* buffer, std::uint32_t* bytes);
VEMO_EXPORT DGSTATUS mtpGetSerialNumber(_MTP_DEVICE_NODE* device, std::uint16_t* buffer, std::uint32_t* bytes);
VEMO_EXPORT DGSTATUS mtpGetSyncpartner(_MTP_DEVICE_NODE* device, std::uint16_t* buffer, std::uint32_t* bytes);
/// bytes does not count the terminator.
VEMO_EXPORT DGSTATUS mtpSetFriendlyName(_MTP_DEVICE_NODE* device, const std::uint16_t* text, std::uint32_t bytes);
VEMO_EXPORT DGSTATUS mtpSetSyncpartner(_MTP_DEVICE_NODE* device, const std::uint16_t* text, std::uint32_t bytes);

/// 1 when the node is part of a tree of the library and has this signature, else 0. Any pointer may be asked about.
VEMO_EXPORT std::uint8_t libIsExist(const _MTP_COMMON_NODE* node, std::int32_t signature);

/// The live node whose handle (its address as a record field holds it) this is, or null. The safe way from text that
/// came from outside to a node.
VEMO_EXPORT _MTP_COMMON_NODE* mtpNodeFromHandle(std::uint32_t handle);
/// The handle of a node: its address as a record field holds it.
inline std::uint32_t mtpNodeHandle(const void* node) {
    return node == nullptr ? 0
                           : static_cast<std::uint32_t>(static_cast<const std::byte*>(node) - mtpRecordMemoryBase());
}
}
