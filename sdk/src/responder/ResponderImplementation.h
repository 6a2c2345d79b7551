// SPDX-License-Identifier: MIT
#pragma once

#include "mtp/Container.h"
#include "mtp/Datasets.h"
#include "responder/FaultPlan.h"
#include "responder/ObjectProperties.h"
#include "responder/Responder.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace mtpsdk {

// What a command says in place of a number of levels, and of one object.
constexpr std::uint32_t everyDepth = std::numeric_limits<std::uint32_t>::max();
constexpr Handle allObjects = 0xFFFFFFFF;

/// The data phase that a responder gives: a dataset, or a part of a file.
struct OutgoingData {
    std::vector<std::byte> bytes; ///< the container's header, and the dataset if it is one
    std::size_t given = 0;
    int file = -1;
    std::uint64_t offset = 0;
    std::uint64_t fileBytes = 0; ///< still to come from the file
    std::uint64_t padding = 0;   ///< zeros behind it (a plan's lie)
};

/// The responder's state and its operations. An operation runs when its command is there, or when its data are; it ends
/// by succeed or fail, and may have given a dataset or opened a file for the data phase before.
///
/// Responder.cpp drives the phases; ResponderDevice.cpp, ResponderObjects.cpp, ResponderProperties.cpp and
/// ResponderSending.cpp hold the operations.
class Responder::Implementation {
public:
    Implementation(std::shared_ptr<Store> store, std::shared_ptr<FaultPlan> faults);
    ~Implementation();

    void setEventSink(EventSink sink);
    [[nodiscard]] Phase command(std::span<const std::byte> container);
    void dataOut(std::span<const std::byte> block);
    void dataOutEnd();
    [[nodiscard]] std::size_t dataIn(std::span<std::byte> block);
    [[nodiscard]] std::vector<std::byte> response();
    [[nodiscard]] bool cancel(std::uint32_t transactionId);
    void reset();

private:
    enum class Data { none, out, in };
    struct Row {
        OperationCode code;
        Data data;
        void (Implementation::*run)();
    };

    [[nodiscard]] static std::span<const Row> operations();
    [[nodiscard]] const Row* findOperation(OperationCode code) const;
    [[nodiscard]] std::optional<ResponseCode> refusal(const Row* row);
    [[nodiscard]] std::optional<ResponseCode> checkTransaction(OperationCode code);

    // How an operation ends.
    void succeed(std::initializer_list<std::uint32_t> parameters = {});
    void fail(ResponseCode code, std::initializer_list<std::uint32_t> parameters = {});
    void finish(StoreResult result);
    void give(std::vector<std::byte> dataset);
    void giveFile(int descriptor, std::uint64_t offset, std::uint64_t length, std::uint64_t padding);
    [[nodiscard]] static ResponseCode responseFor(StoreResult result);
    void endTransaction();
    void closeFile();
    [[nodiscard]] std::size_t fillFromFile(std::span<std::byte> block);
    [[nodiscard]] std::uint32_t parameter(std::size_t index) const { return _command.parameters[index]; }

    // Device and storages.
    void getDeviceInfo();
    void openSession();
    void closeSession();
    void getStorageIDs();
    void getStorageInfo();
    void getDevicePropDesc();
    void getDevicePropValue();
    void setDevicePropValue();
    void resetDevicePropValue();
    [[nodiscard]] std::optional<std::u16string> deviceProperty(std::uint32_t code) const;
    [[nodiscard]] bool setDeviceProperty(std::uint32_t code, const std::u16string& value);

    // Objects.
    [[nodiscard]] bool visitObjects(std::uint32_t storageId, std::uint32_t parent, FormatCode format,
                                    const Store::Visitor& visitor);
    [[nodiscard]] std::vector<std::uint32_t> shownStorages() const;
    void getNumObjects();
    void getObjectHandles();
    void getObjectInfo();
    void getObject();
    void getPartialObject();
    void getPartialObject64();
    void givePart(std::uint64_t offset, std::uint64_t length);
    [[nodiscard]] std::uint64_t deliveredSize(std::uint64_t size);
    void deleteObject();
    void moveObject();
    void getObjectReferences();
    void setObjectReferences();

    // Properties.
    [[nodiscard]] ObjectPropertyWriter propertyWriter() const { return {_store->identity(), _faults->lies()}; }
    void getObjectPropsSupported();
    void getObjectPropDesc();
    void getObjectPropValue();
    void setObjectPropValue();
    void getObjectPropList();
    void setObjectPropList();
    [[nodiscard]] bool visitListed(std::uint32_t handle, std::uint32_t depth, Look look, const Store::Visitor& visitor);
    [[nodiscard]] ResponseCode setProperty(Handle handle, std::uint32_t code, const PropertyValue& value);

    // Objects that arrive.
    void sendObjectInfo();
    void sendObjectPropList();
    void sendObject();
    void announceObject(const NewStoreObject& object, std::uint32_t parentTold);
    [[nodiscard]] ResponseCode takeProperty(NewStoreObject& object, const ObjectPropElement& element) const;
    [[nodiscard]] bool placeObject(NewStoreObject& object, std::uint32_t storageId, std::uint32_t parent);
    void receiveBytes(std::span<const std::byte> block);

    void raise(EventCode code, std::span<const std::uint32_t> parameters);
    void tell(const StoreEvent& event);

    std::shared_ptr<Store> _store;
    std::shared_ptr<FaultPlan> _faults; ///< never null

    bool _sessionOpen = false;
    std::uint32_t _sessionId = 0;
    std::uint32_t _lastTransaction = 0;

    // The transaction under way.
    const Row* _operation = nullptr; ///< whose data phase is going on
    ParameterContainer _command;
    FaultPlan::Answer _planned;
    bool _decided = false; ///< the response is known; data that still comes is dropped
    ResponseCode _responseCode = ResponseCode::OK;
    std::vector<std::uint32_t> _responseParameters;
    std::size_t _headerBytes = 0;      ///< of the incoming data container's header
    std::vector<std::byte> _collected; ///< an incoming dataset
    std::optional<OutgoingData> _outgoing;

    /// What SendObjectInfo or SendObjectPropList announced and SendObject may bring.
    std::unique_ptr<IncomingObject> _announced;

    std::mutex _sinkMutex;
    EventSink _sink;
    std::uint64_t _storeListener = 0;
    std::uint64_t _planRaiser = 0;
};

} // namespace mtpsdk
