// SPDX-License-Identifier: MIT
#pragma once

#include "mtp/EventPump.h"
#include "mtp/Session.h"
#include "mtp/Transactions.h"

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace mtpsdk {

/// Progress is counted in blocks of this size, whatever the blocks are that the transport moves.
inline constexpr std::size_t progressBlock = std::size_t{256} << 10;

/// What a session knows of its device, and how each operation is done with what the device announces. All methods but
/// those of `transactions` that may be called from any thread want the caller to have its turn.
class Session::Implementation {
public:
    explicit Implementation(std::unique_ptr<Transport> line);
    ~Implementation();

    [[nodiscard]] DGSTATUS open(const QuirkTable& table);

    // Storages and objects (SessionListing.cpp).
    [[nodiscard]] DGSTATUS storageIds(std::vector<std::uint32_t>& ids);
    [[nodiscard]] DGSTATUS storageInfo(std::uint32_t storageId, StorageInfo& info);
    [[nodiscard]] DGSTATUS listFolder(std::uint32_t storageId, std::uint32_t parent, std::vector<ObjectEntry>& entries,
                                      Listing listing = Listing::complete, Listing* told = nullptr);
    [[nodiscard]] DGSTATUS objectEntry(std::uint32_t handle, ObjectEntry& entry);
    /// What a listing and a query of the metadata would tell, by one request where the device can.
    [[nodiscard]] DGSTATUS readBack(std::uint32_t handle, std::uint16_t format, ObjectEntry& entry,
                                    MediaProperties& media);

    // Properties (SessionProperties.cpp).
    [[nodiscard]] DGSTATUS mediaProperties(std::uint32_t handle, std::uint16_t format, MediaProperties& media);
    [[nodiscard]] DGSTATUS setMediaProperties(std::uint32_t handle, std::uint16_t format, const MediaProperties& media);
    /// One property of an object that is known to travel as this type.
    [[nodiscard]] DGSTATUS readProperty(std::uint32_t handle, std::uint16_t property, DataType type,
                                        PropertyValue& value);
    [[nodiscard]] DGSTATUS setProperty(std::uint32_t handle, ObjectPropertyCode property, const PropertyValue& value);
    /// Leaves the properties that the device lets be written of objects of a format.
    void keepWritable(std::uint16_t format, std::vector<ObjectPropElement>& elements);
    [[nodiscard]] DGSTATUS writeProperties(std::uint32_t handle, std::uint16_t format,
                                           std::span<const ObjectPropElement> elements);
    /// The properties of an object of a format that the device keeps; asked once a format.
    [[nodiscard]] const std::vector<std::uint16_t>& supportedProperties(std::uint16_t format);

    // Changes and transfers (SessionTransfer.cpp).
    [[nodiscard]] DGSTATUS createFolder(std::uint32_t storageId, std::uint32_t parent, const std::u16string& name,
                                        ObjectEntry& created);
    [[nodiscard]] DGSTATUS sendObject(const NewObject& object, const BlockSource& source,
                                      const TransferProgress& progress, ObjectEntry& sent, MediaProperties& media);
    [[nodiscard]] DGSTATUS getObject(std::uint32_t handle, std::uint64_t size, const BlockSink& sink,
                                     const TransferProgress& progress);

    /// What the device announces and no quirk forbids.
    [[nodiscard]] bool can(OperationCode operation) const;

    std::unique_ptr<Transport> transport;
    Transactions transactions;
    std::unique_ptr<EventPump> events;
    DeviceInfo device;
    Quirks quirks;

    std::mutex turn;
    std::atomic<std::thread::id> turnHolder{};

private:
    /// Whether lists of a kind have told of anything yet, of the roots and of folders apart. Until then one that tells
    /// of nothing proves nothing.
    struct ListProof {
        bool ofRoots = false;
        bool ofFolders = false;

        [[nodiscard]] bool& of(std::uint32_t parent) { return parent == 0 ? ofRoots : ofFolders; }
        /// What a list comes to that did not tell of any object: DGSTATUS_SUCCESS when that can be believed.
        [[nodiscard]] DGSTATUS ofEmptiness(DGSTATUS status, std::uint32_t parent);
        /// DGSTATUS_NO_DATA for a list whose emptiness cannot be believed.
        [[nodiscard]] DGSTATUS take(const std::vector<ObjectEntry>& entries, std::uint32_t parent);
    };

    // Listing.
    [[nodiscard]] bool listsByProperties(std::uint32_t storageId, std::uint32_t parent);
    [[nodiscard]] DGSTATUS listByProperties(std::uint32_t storageId, std::uint32_t parent,
                                            std::vector<ObjectEntry>& entries);
    [[nodiscard]] DGSTATUS listCompletely(std::uint32_t storageId, std::uint32_t parent,
                                          std::vector<ObjectEntry>& entries);
    /// Success only where the device gave name, format and place of each object there.
    [[nodiscard]] DGSTATUS listNames(std::uint32_t storageId, std::uint32_t parent, std::vector<ObjectEntry>& entries);
    /// The group of properties that holds the names of objects of every format; 0 when there is none. Asked once.
    [[nodiscard]] std::uint32_t nameGroup();
    [[nodiscard]] std::uint32_t groupOfName(std::uint16_t format);
    [[nodiscard]] DGSTATUS listByHandles(std::uint32_t storageId, std::uint32_t parent,
                                         std::vector<ObjectEntry>& entries);
    [[nodiscard]] DGSTATUS entryFromInfo(std::uint32_t handle, ObjectEntry& entry);
    [[nodiscard]] DGSTATUS entryByProperties(std::uint32_t handle, ObjectEntry& entry, MediaProperties* media);
    /// The older way, once the property list of the object has come to `listed`.
    [[nodiscard]] DGSTATUS entryInstead(DGSTATUS listed, std::uint32_t handle, ObjectEntry& entry);

    // Sending.
    /// What the device made of an announcement.
    struct Announcement {
        std::uint32_t handle = 0;              ///< not always the object's last
        std::vector<ObjectPropElement> unsent; ///< metadata that it did not hold
    };
    /// What the device does not take in the list that announces an object of a format, though it keeps it.
    struct ListLimit {
        bool isTotal = false; ///< no list at all
        bool nameAlone = false;
        std::set<std::uint16_t> refused;

        /// 0: the device does not say which property is to blame.
        void add(std::uint16_t property);
    };
    [[nodiscard]] std::uint16_t acceptedFormat(std::uint16_t format) const;
    [[nodiscard]] std::vector<ObjectPropElement> propertiesToSend(const NewObject& object,
                                                                  std::vector<ObjectPropElement>& unsent);
    [[nodiscard]] DGSTATUS announce(const NewObject& object, Announcement& announced);
    [[nodiscard]] DGSTATUS announceByList(const NewObject& object, Announcement& announced);
    [[nodiscard]] DGSTATUS announceByProperties(const NewObject& object, std::span<const ObjectPropElement> properties,
                                                Reply& reply);
    [[nodiscard]] DGSTATUS announceByInfo(const ObjectInfo& info, std::uint32_t& handle);
    [[nodiscard]] DGSTATUS sendBytes(const NewObject& object, const BlockSource& source,
                                     const TransferProgress& progress);
    /// `media` null: not asked for yet.
    [[nodiscard]] DGSTATUS confirm(const NewObject& object, std::uint32_t handle, ObjectEntry& sent,
                                   MediaProperties* media);
    [[nodiscard]] DGSTATUS complete(std::uint16_t format, std::span<const ObjectPropElement> unsent, ObjectEntry& sent,
                                    MediaProperties& media);
    [[nodiscard]] DGSTATUS findByName(std::uint32_t storageId, std::uint32_t parent, const std::u16string& name,
                                      ObjectEntry& entry);
    bool removePartial(const NewObject& object, std::uint32_t handle);

    std::optional<std::vector<std::uint32_t>> _listedStorages;
    std::map<std::uint16_t, std::vector<std::uint16_t>> _supportedProperties;
    // What the device announces but turned out not to do.
    bool _folderListsRefused = false;
    bool _rootListsRefused = false;
    bool _objectListsRefused = false;
    bool _nameListsRefused = false;
    ListProof _listProof;
    ListProof _nameListProof;
    std::optional<std::uint32_t> _nameGroup;
    bool _propertySendsRefused = false;
    std::map<std::uint16_t, ListLimit> _listLimits; ///< by format
};

/// Takes one row of a property list into what is known of the object; false for a property of another kind.
bool takeIntoEntry(const ObjectPropElement& element, ObjectEntry& entry);
bool takeIntoMedia(const ObjectPropElement& element, MediaProperties& media);
/// The rows that say what is present in `media`.
[[nodiscard]] std::vector<ObjectPropElement> mediaElements(const MediaProperties& media);
/// Whether the device answered that it does not do this, rather than that it did not work this time.
[[nodiscard]] bool isRefusal(DGSTATUS status);
/// Whether the device does not take this value of a property; it may take the next.
[[nodiscard]] bool isValueRefusal(DGSTATUS status);
/// Whether the device failed in a way that some choose for what they announce and do not do: a response that says
/// nothing, a stalled line, silence. It was a refusal if the older way works.
[[nodiscard]] bool isSilentRefusal(DGSTATUS status);
[[nodiscard]] bool mayBeRefusal(DGSTATUS status);

} // namespace mtpsdk
