// SPDX-License-Identifier: MIT
#pragma once

#include "mtp/Codes.h"
#include "mtp/Datasets.h"
#include "mtp/Quirks.h"
#include "transport/Transport.h"
#include "vemomtpsdk/Status.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace mtpsdk {

/// The metadata of a media object; what the device does not know (or the sender does not say) is absent.
struct MediaProperties {
    std::optional<std::u16string> title, artist, composer, albumArtist, album, genre, releaseDate, description;
    std::optional<std::uint32_t> durationMilliseconds, bitRate, playCount, width, height;
    std::optional<std::uint16_t> rating, track, drm;
};

/// What a listing tells of one object. Names are as the device sent them: untrusted.
struct ObjectEntry {
    std::uint32_t handle = 0;
    std::uint32_t storageId = 0;
    std::uint32_t parent = 0; ///< 0: the storage's root
    std::uint16_t format = 0;
    std::uint16_t protection = 0;
    std::uint64_t size = 0; ///< bytes
    std::u16string name;
    std::u16string created;  ///< MTP date text, may be empty
    std::u16string modified; ///< MTP date text, may be empty
    /// What a property list told along with the rest; null when the entry comes from elsewhere, or is one of names,
    /// which stay small without it.
    std::shared_ptr<MediaProperties> media;
    /// Only its place, format and name are told.
    bool isBrief = false;
};

/// How much a listing asks for: everything, or names alone where the device can leave out the rest.
enum class Listing { complete, names };

/// An object about to be sent.
struct NewObject {
    std::uint32_t storageId = 0;
    std::uint32_t parent = 0; ///< 0: the storage's root
    std::uint16_t format = 0;
    std::uint64_t size = 0;
    std::u16string name;
    std::u16string modified; ///< MTP date text, may be empty
    MediaProperties media;
};

/// Bytes moved so far and their total; true means stop.
using TransferProgress = std::function<bool(std::uint64_t current, std::uint64_t total)>;

/// An MTP session as the initiator: one device, over a transport. Transactions run one at a time; every method may be
/// called from any thread and waits for its turn. Capabilities are asked once, at opening; what the device does not
/// announce is done the older way. All that is received is checked: short, overlong and lying datasets end in a status.
/// Response codes map one to one to statuses (statusFromResponse in Codes.h).
class Session {
public:
    struct Event {
        EventCode code{};
        std::uint32_t parameters[3] = {};
    };
    /// Called on the session's event thread.
    using EventHandler = std::function<void(const Event&)>;

    /// Opens a session (takes over one that is open) and asks for the device's description.
    [[nodiscard]] static DGSTATUS open(std::unique_ptr<Transport> transport, std::unique_ptr<Session>& session,
                                       const QuirkTable& table = QuirkTable::shared());
    /// Closes the session and ends the event thread.
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    [[nodiscard]] const DeviceInfo& deviceInfo() const;
    /// What is done another way with this model.
    [[nodiscard]] Quirks quirks() const;
    /// Events before the first call are kept and delivered then. An empty handler pauses delivery; the call returns
    /// when none is under way (unless made from within).
    void setEventHandler(EventHandler handler);
    /// Makes all calls under way and to come answer DGSTATUS_NO_DEVICE_ATTACHED.
    void disconnect();
    [[nodiscard]] bool connected() const;
    /// Transactions run so far (for measuring what an operation costs on the wire).
    [[nodiscard]] std::uint64_t transactionCount() const;

    [[nodiscard]] DGSTATUS storageIds(std::vector<std::uint32_t>& ids);
    [[nodiscard]] DGSTATUS storageInfo(std::uint32_t storageId, StorageInfo& info);

    /// The objects directly in a folder (parent 0: the storage's root): one property-list request where the device has
    /// it, else handles and one object info each. Order is the device's. Names alone come as brief entries, complete
    /// ones where the device does not list by group; `told` (may be null) says which list it was.
    [[nodiscard]] DGSTATUS listFolder(std::uint32_t storageId, std::uint32_t parent, std::vector<ObjectEntry>& entries,
                                      Listing listing = Listing::complete, Listing* told = nullptr);
    [[nodiscard]] DGSTATUS objectEntry(std::uint32_t handle, ObjectEntry& entry);
    /// All objects of one format on a storage, however deep they lie, with one request. DGSTATUS_NOT_SUPPORT_OP when
    /// the device cannot pick by format.
    [[nodiscard]] DGSTATUS objectsOfFormat(std::uint32_t storageId, std::uint16_t format,
                                           std::vector<std::uint32_t>& handles);
    [[nodiscard]] DGSTATUS mediaProperties(std::uint32_t handle, std::uint16_t format, MediaProperties& media);
    /// What the objects of a format keep; empty where the device does not tell.
    [[nodiscard]] std::vector<std::uint16_t> supportedProperties(std::uint16_t format);
    /// Writes the properties that are present and that the device allows to be set.
    [[nodiscard]] DGSTATUS setMediaProperties(std::uint32_t handle, std::uint16_t format, const MediaProperties& media);

    [[nodiscard]] DGSTATUS createFolder(std::uint32_t storageId, std::uint32_t parent, const std::u16string& name,
                                        ObjectEntry& created);
    /// Sends an object in two transactions and reads its properties back in a third: `sent` and `media` hold what the
    /// device says. A size that differs from the one announced deletes the object and answers
    /// DGSTATUS_INTERNAL_SIZE_MISMATCH. A source that fails (answers negative) or a progress that stops it cancels the
    /// transaction, removes what the device may have kept and answers DGSTATUS_IO_CANCEL_SUCCESS or
    /// DGSTATUS_IO_CANCEL_FAILED; the caller knows its source's own error.
    [[nodiscard]] DGSTATUS sendObject(const NewObject& object, const BlockSource& source,
                                      const TransferProgress& progress, ObjectEntry& sent, MediaProperties& media);
    /// Receives an object of `size` bytes (as listed). More or fewer bytes answer DGSTATUS_INTERNAL_SIZE_MISMATCH; of
    /// sizeUnknown bytes, which is what some devices say of all larger files, fewer only. A sink that answers false
    /// cancels like a progress that stops.
    [[nodiscard]] DGSTATUS getObject(std::uint32_t handle, std::uint64_t size, const BlockSink& sink,
                                     const TransferProgress& progress);
    [[nodiscard]] DGSTATUS deleteObject(std::uint32_t handle);
    [[nodiscard]] DGSTATUS renameObject(std::uint32_t handle, const std::u16string& name);

    /// The list of a playlist. DGSTATUS_NOT_SUPPORT_OP from a device that keeps none.
    [[nodiscard]] DGSTATUS references(std::uint32_t handle, std::vector<std::uint32_t>& handles);
    [[nodiscard]] DGSTATUS setReferences(std::uint32_t handle, const std::vector<std::uint32_t>& handles);

    /// String device properties (friendly name, sync partner). DGSTATUS_INTERNAL_OPERATIONNOTSUPPORTED when absent.
    [[nodiscard]] DGSTATUS deviceProperty(DevicePropertyCode code, std::u16string& value);
    [[nodiscard]] DGSTATUS setDeviceProperty(DevicePropertyCode code, const std::u16string& value);

private:
    class Implementation;
    explicit Session(std::unique_ptr<Implementation> implementation);
    std::unique_ptr<Implementation> _implementation;
};

/// Whether the line or the device failed, so that asking further or another way makes no sense.
[[nodiscard]] bool isLineFailure(DGSTATUS status);

} // namespace mtpsdk
