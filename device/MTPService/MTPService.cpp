// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPService.h"

#include "device/MTPService/LiveServices.h"
#include "device/MTPService/MTPServicePrivate.h"

MTPService::MTPService()
    : _private(std::make_shared<MTPServicePrivate>()) {
    _private->init();
    liveServices::add(this, _private);
}

MTPService::MTPService(const Text& locationID)
    : _private(std::make_shared<MTPServicePrivate>()) {
    _private->initWithLocationID(locationID);
    liveServices::add(this, _private);
}

MTPService::~MTPService() {
    liveServices::remove(this);
    _private->tearDown();
}

void MTPService::setLocationID(const Text& locationID) {
    inside()->setLocationID(locationID);
}

MTPService::Text MTPService::locationID() const {
    return inside()->locationID();
}

MTPService::Text MTPService::getCurrentLocationId() const {
    return inside()->locationID();
}

MTPService::Text MTPService::modelName() const {
    return inside()->modelName();
}

std::uint8_t MTPService::getReleaseState() const {
    return inside()->getReleaseState();
}

bool MTPService::refreshDeviceList() {
    return inside()->refreshDeviceList();
}

void MTPService::releaseDeviceHeadNode() {
    inside()->releaseDeviceHeadNode();
}

bool MTPService::deviceNodeHeadExist() {
    return inside()->deviceNodeHeadExist();
}

void MTPService::disconnectDevice(const Text& locationID) {
    inside()->disconnectDevice(locationID);
}

bool MTPService::registerNotifyEvent() {
    return inside()->registerNotifyEvent(this);
}

void MTPService::setConfirmDelegate(const std::shared_ptr<VXDeviceConfirmDelegate>& delegate) {
    inside()->setConfirmDelegate(delegate);
}

std::int32_t MTPService::processCallbackEvent(std::uint32_t eventCode, _MTP_COMMON_NODE* targetNode, void* handle) {
    return inside()->processCallbackEvent(eventCode, targetNode, handle);
}

bool MTPService::copyContentsMacToDevice(std::uint32_t serviceID, const std::optional<platform::Array>& contents,
                                         std::uint32_t mediaType, std::uint32_t storageIndex) {
    return inside()->copyContentsMacToDevice(serviceID, contents, mediaType, storageIndex, std::nullopt);
}

bool MTPService::copyContentsMacToDevice(std::uint32_t serviceID, const std::optional<platform::Array>& contents,
                                         std::uint32_t mediaType, std::uint32_t storageIndex,
                                         const Text& playlistName) {
    return inside()->copyContentsMacToDevice(serviceID, contents, mediaType, storageIndex, playlistName);
}

bool MTPService::copyContentsDeviceToMac(std::uint32_t serviceID, const std::optional<platform::Array>& contents,
                                         const Text& destinationPath, std::uint32_t mediaType,
                                         const Text& playlistName) {
    return inside()->copyContentsDeviceToMac(serviceID, contents, destinationPath, mediaType, playlistName);
}

bool MTPService::copyContentsDeviceToDevice(std::uint32_t serviceID, const std::optional<platform::Array>& contents,
                                            const Text& srcLocationId, const Text& destLocationId,
                                            std::uint32_t mediaType, std::uint32_t destStorageIndex) {
    return inside()->copyContentsDeviceToDevice(serviceID, contents, srcLocationId, destLocationId, mediaType,
                                                destStorageIndex);
}

bool MTPService::deleteContents(std::uint32_t serviceID, const std::optional<platform::Array>& contents,
                                std::uint32_t mediaType, std::uint32_t diskIndex) {
    return inside()->deleteContents(serviceID, contents, mediaType, diskIndex);
}

bool MTPService::syncContents(std::uint32_t serviceID, const std::optional<platform::Array>& contents,
                              std::uint32_t mediaType, bool isStartInternal) {
    return inside()->syncContents(serviceID, contents, mediaType, isStartInternal);
}

bool MTPService::addContentsToPlaylist(std::uint32_t serviceID, const std::optional<platform::Array>& contents,
                                       std::uint32_t mediaType, const Text& playlistName) {
    return inside()->addContentsToPlaylist(serviceID, contents, mediaType, playlistName);
}

bool MTPService::deleteContentsAtPlaylist(std::uint32_t serviceID, const std::optional<platform::Array>& contents,
                                          std::uint32_t mediaType, const Text& playlistName) {
    return inside()->deleteContentsAtPlaylist(serviceID, contents, mediaType, playlistName);
}

MTPService::Text MTPService::copyContentToPlay(std::uint32_t serviceID, std::uint32_t diskIndex,
                                               std::uint32_t mediaType, const platform::Dictionary& fileInformation) {
    return inside()->copyContentToPlay(serviceID, diskIndex, mediaType, fileInformation);
}

void MTPService::cancelFileAction(std::uint32_t serviceID) {
    inside()->cancelFileAction(serviceID);
}

void MTPService::emptyQueue() {
    inside()->emptyQueue();
}

bool MTPService::emptyQueue(std::uint32_t serviceID) {
    return inside()->emptyQueue(serviceID);
}

bool MTPService::isCancelServiceId(std::uint32_t serviceID) const {
    return inside()->isCancelServiceId(serviceID);
}

bool MTPService::removeCancelServiceId(std::uint32_t serviceID) {
    return inside()->removeCancelServiceId(serviceID);
}

bool MTPService::exitServiceThread() {
    return inside()->exitServiceThread();
}

bool MTPService::isIdle() const {
    return inside()->isIdle();
}

void MTPService::setDeviceInformation(const std::optional<platform::Dictionary>& information) {
    inside()->setDeviceInformation(information);
}

std::optional<platform::Array> MTPService::storageInfoLists() {
    return inside()->storageInfoLists();
}

std::optional<platform::Array> MTPService::diskInformation() {
    return inside()->diskInformation();
}

std::optional<platform::Array> MTPService::storageInformation() const {
    return inside()->storageInformation();
}

void MTPService::addDiskInformation(const std::optional<platform::Dictionary>& information) {
    inside()->addDiskInformation(information);
}

void MTPService::removeDiskInformation(const std::optional<platform::Dictionary>& information) {
    inside()->removeDiskInformation(information);
}

std::uint64_t MTPService::totalSpace(unsigned long /*unused*/, std::uint32_t diskIndex) {
    return inside()->totalSpace(diskIndex);
}

std::uint64_t MTPService::freeSpace(unsigned long /*unused*/, std::uint32_t diskIndex) {
    return inside()->freeSpace(diskIndex);
}

std::uint64_t MTPService::storageTotalSpace(const Text& volumePath) const {
    return inside()->storageTotalSpace(volumePath);
}

std::uint64_t MTPService::storageUsedSpace(const Text& volumePath) const {
    return inside()->storageUsedSpace(volumePath);
}

void MTPService::setStorageTotalSpace(const Text& volumePath, std::uint64_t totalSize) {
    inside()->setStorageTotalSpace(volumePath, totalSize);
}

void MTPService::setStorageUsedSpace(const Text& volumePath, std::uint64_t usedSize) {
    inside()->setStorageUsedSpace(volumePath, usedSize);
}

MTPService::Text MTPService::storagePath(unsigned long diskIndex) const {
    return inside()->storagePath(diskIndex);
}

MTPService::Text MTPService::storagePathWithOption(bool isInternal, std::uint32_t* index) const {
    return inside()->storagePathWithOption(isInternal, index);
}

bool MTPService::hiddenVolumeInfo(const Text& volumeID) {
    return inside()->hiddenVolumeInfo(volumeID);
}

_MTP_STORAGE_NODE* MTPService::hiddenStorageInfo(std::uint32_t storageID) {
    return inside()->hiddenStorageInfo(storageID);
}

void MTPService::releaseHiddenStorage() {
    inside()->releaseHiddenStorage();
}

std::uint64_t MTPService::volumeFreeSpace(const Text& path) const {
    return inside()->volumeFreeSpace(path);
}

void MTPService::setDefaultMediaInfo(const platform::Array& storages) {
    inside()->setDefaultMediaInfo(storages);
}

MTPService::Text MTPService::defaultMediaPath(std::uint32_t diskIndex, std::uint32_t mediaType) const {
    return inside()->defaultMediaPath(diskIndex, mediaType);
}

MTPService::Text MTPService::defaultMediaID(const Text& path, std::uint32_t mediaType) const {
    return inside()->defaultMediaID(path, mediaType);
}

void MTPService::setDefaultMediaID(const Text& path, std::uint32_t mediaType, const Text& defaultID) {
    inside()->setDefaultMediaID(path, mediaType, defaultID);
}

MTPService::Text MTPService::mediaDefaultNode(const Text& path, std::uint32_t mediaType) {
    return inside()->mediaDefaultNode(path, mediaType);
}

MTPService::Text MTPService::createDefaultMediaFolder(const Text& path) {
    return inside()->createDefaultMediaFolder(path);
}

std::optional<platform::Dictionary> MTPService::mediaFileInfoFromDevice(const Text& /*unused*/,
                                                                        const Text& destinationPath) {
    return inside()->mediaFileInfoFromDevice(destinationPath);
}

void MTPService::mediaFileInfo(const Text& path, const Text& fileNode, std::optional<platform::Dictionary>& info) {
    inside()->mediaFileInfo(path, fileNode, info);
}

bool MTPService::isExistContentFromMac(std::uint32_t /*serviceID*/, std::uint32_t /*diskIndex*/,
                                       std::uint32_t /*mediaType*/, const platform::Dictionary& fileInformation,
                                       Text* returnNode) {
    return inside()->isExistContentFromMac(fileInformation, returnNode);
}

bool MTPService::readFileFromDevice(const FileInformation& fileInformation, const Text& destinationPath,
                                    std::uint32_t /*diskIndex*/, std::uint32_t /*mediaType*/, bool isOverWrite,
                                    const platform::Value& callbackObject, const platform::Value& context,
                                    std::uint32_t* error) {
    return inside()->readFileFromDevice(fileInformation, destinationPath, isOverWrite, callbackObject, context, error);
}

bool MTPService::writeFileToDevice(const FileInformation& fileInformation, const Text& destinationPath,
                                   std::uint32_t /*diskIndex*/, std::uint32_t /*mediaType*/, bool isOverWrite,
                                   const platform::Value& callbackObject, const platform::Value& context,
                                   std::uint32_t* error) {
    return inside()->writeFileToDevice(fileInformation, destinationPath, isOverWrite, callbackObject, context, error);
}

bool MTPService::syncWriteFileToDevice(const FileInformation& fileInformation, const Text& subFolderName,
                                       std::uint32_t diskIndex, std::uint32_t mediaType, bool isOverWrite,
                                       const platform::Value& callbackObject, const platform::Value& context,
                                       std::uint32_t* error) {
    return inside()->syncWriteFileToDevice(fileInformation, subFolderName, diskIndex, mediaType, isOverWrite,
                                           callbackObject, context, error);
}

bool MTPService::deletefileAtDevice(const Text& path, std::uint32_t* error) {
    return inside()->deletefileAtDevice(path, error);
}

bool MTPService::createFolder(const Text& folderPath) {
    return inside()->createFolder(folderPath);
}

bool MTPService::fileExistsAtPath(const Text& path, bool* isDirectory) {
    return inside()->fileExistsAtPath(path, isDirectory);
}

MTPService::Bytes MTPService::readFileData(const Text& path) {
    return inside()->readFileData(path);
}

bool MTPService::writeFileData(const Text& path, const Bytes& data) {
    return inside()->writeFileData(path, data);
}

std::uint64_t MTPService::fileSizeAtDevice(const Text& path) {
    return inside()->fileSizeAtDevice(path);
}

std::optional<platform::Array> MTPService::fileLists(const Text& path) {
    return inside()->fileLists(path);
}

std::optional<platform::Array> MTPService::folderLists(const Text& path) {
    return inside()->folderLists(path);
}

std::optional<platform::Array> MTPService::subpathsAtDisk(const Text& /*unused*/, std::uint32_t diskIndex) {
    return inside()->subpathsAtDisk(diskIndex);
}

bool MTPService::fileBackup(const std::optional<platform::Array>& files, const Text& destinationFolder,
                            const StopTest& isStopped) {
    return inside()->fileBackup(files, destinationFolder, isStopped);
}

bool MTPService::fileRestore(const std::optional<platform::Array>& files, const StopTest& isStopped) {
    return inside()->fileRestore(files, isStopped);
}

bool MTPService::renameContent(std::uint32_t serviceID, const Text& path, const Text& newName) {
    return inside()->renameContent(serviceID, path, newName);
}

std::optional<platform::Array> MTPService::fileInformationList(const Text& /*unused*/, std::uint32_t mediaType,
                                                               std::uint32_t diskIndex) {
    return inside()->fileInformationList(mediaType, diskIndex);
}

std::optional<platform::Array> MTPService::fileNameList(const Text& /*unused*/, std::uint32_t mediaType,
                                                        std::uint32_t diskIndex) {
    return inside()->fileNameList(mediaType, diskIndex);
}

std::optional<platform::Array> MTPService::fileInformationListForAllMediaType(const Text& /*unused*/) {
    return inside()->fileInformationListForAllMediaType();
}

std::optional<platform::Dictionary>
MTPService::backupRestoreMediaFileScan(const std::optional<platform::Dictionary>& fileExtensions,
                                       bool includeOtherMedia, const Text& otherMediaExceptionFolder) {
    return inside()->backupRestoreMediaFileScan(fileExtensions, includeOtherMedia, otherMediaExceptionFolder);
}

std::string MTPService::convertAvailableFileName(const std::string& name) const {
    return inside()->convertAvailableFileName(name);
}

std::string MTPService::convertAvailableString(const std::string& path) const {
    return inside()->convertAvailableString(path);
}

std::uint64_t MTPService::getLocalFileSize(const Text& path) const {
    return inside()->getLocalFileSize(path);
}

std::uint64_t MTPService::totalMediaFileSize(const std::optional<platform::Array>& contents) const {
    return inside()->totalMediaFileSize(contents);
}

std::uint32_t MTPService::checkMediaType(const Text& name) const {
    return inside()->checkMediaType(name);
}

bool MTPService::createPlaylist(const Text& name, std::uint32_t mediaType,
                                const std::optional<platform::Array>& contents) {
    return inside()->createPlaylist(name, mediaType, contents);
}

bool MTPService::deletePlaylist(const Text& name, std::uint32_t mediaType) {
    return inside()->deletePlaylist(name, mediaType);
}

bool MTPService::renamePlaylist(const Text& name, const Text& destPlaylistName, std::uint32_t mediaType) {
    return inside()->renamePlaylist(name, destPlaylistName, mediaType);
}

std::optional<platform::Array> MTPService::playlistNameInformation(std::uint32_t /*unused*/, std::uint32_t mediaType) {
    return inside()->playlistNameInformation(mediaType);
}

std::optional<platform::Array> MTPService::playlistInformationList(std::uint32_t /*unused*/, std::uint32_t mediaType,
                                                                   const Text& playlistName) {
    return inside()->playlistInformationList(mediaType, playlistName);
}

bool MTPService::readPlaylistFromDevice(const Text& name, const Text& destFolder, std::uint32_t mediaType) {
    return inside()->readPlaylistFromDevice(name, destFolder, mediaType);
}

bool MTPService::syncPlaylistContents(const std::optional<platform::Array>& contents, std::uint32_t mediaType,
                                      bool isDelete) {
    return inside()->syncPlaylistContents(contents, mediaType, isDelete);
}

bool MTPService::transferProgressInfoEx(const std::shared_ptr<QDMtpDeviceNotifier>& notifier,
                                        std::uint64_t maxTransferSize, std::uint64_t currentTransferSize) {
    return inside()->transferProgressInfoEx(notifier, maxTransferSize, currentTransferSize);
}

bool MTPService::transferProgressInfo(const std::shared_ptr<QDMtpDeviceNotifier>& notifier,
                                      std::uint32_t maxTransferSize, std::uint32_t currentTransferSize) {
    return inside()->transferProgressInfo(notifier, maxTransferSize, currentTransferSize);
}

void MTPService::sendMtpTransferEvent(std::uint32_t serviceID, const Text& locationId, std::uint32_t mediaType,
                                      std::uint32_t currentTransfer, std::uint32_t maxTransfer,
                                      std::uint32_t failTransfer, const Text& fileName, const Text& deviceName,
                                      std::uint32_t currentProgress, std::uint32_t maxProgress,
                                      std::uint32_t transferStatus) {
    inside()->sendMtpTransferEvent(serviceID, locationId, mediaType, currentTransfer, maxTransfer, failTransfer,
                                   fileName, deviceName, currentProgress, maxProgress, transferStatus);
}

void MTPService::sendCancelProgressEvent(std::uint32_t serviceID, const Text& locationId, std::uint32_t mediaType,
                                         std::uint32_t currentFile, std::uint32_t maxFile,
                                         std::uint32_t transferStatus) {
    inside()->sendCancelProgressEvent(serviceID, locationId, mediaType, currentFile, maxFile, transferStatus);
}

platform::Value MTPService::callbackObject() const {
    return inside();
}
