// SPDX-License-Identifier: MIT
#pragma once

#include "mtp/Bytes.h"
#include "mtp/Container.h"
#include "mtp/Datasets.h"
#include "responder/FaultPlan.h"
#include "responder/Responder.h"
#include "store/Store.h"

#include <array>
#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace mtpsdk::test {

constexpr std::uint32_t phone = 0x00010001;
constexpr std::uint32_t card = 0x00020001;
constexpr std::uint32_t secret = 0x00AA0001; ///< hidden

/// A folder that goes with its owner.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    [[nodiscard]] const std::filesystem::path& path() const { return _path; }

private:
    std::filesystem::path _path;
};

/// A virtual device of 1,000,000 bytes on "Phone", 2,000 on "Card" and 5,000 on the hidden "Secret".
class VirtualDevice {
public:
    VirtualDevice();
    [[nodiscard]] std::filesystem::path folder(std::string_view path = {}) const { return _folder.path() / path; }
    /// Writes a file below the device's directory as a person would, making the folders above it.
    void drop(const std::string& path, std::string_view content) const;
    [[nodiscard]] std::string content(const std::string& path) const;
    [[nodiscard]] bool has(const std::string& path) const { return std::filesystem::exists(folder(path)); }

    /// Opens the store; fails the test when it cannot be.
    void open();
    void close() { _store.reset(); }
    void reopen() {
        close();
        open();
    }
    [[nodiscard]] const std::shared_ptr<Store>& shared() const { return _store; }
    Store* operator->() const { return _store.get(); }

    /// What lies directly in a folder, by name.
    [[nodiscard]] std::map<std::string, StoreObject> list(std::uint32_t storage, Handle parent = 0) const;
    [[nodiscard]] Handle handle(std::uint32_t storage, const std::string& name, Handle parent = 0) const;
    /// Puts an object there through the store; its handle, or 0.
    [[nodiscard]] Handle put(const NewStoreObject& object, std::string_view bytes) const;
    [[nodiscard]] std::uint64_t used(std::uint32_t storage) const;

private:
    TemporaryFolder _folder;
    std::shared_ptr<Store> _store;
};

/// What came back of one transaction.
struct Outcome {
    ResponseCode code = ResponseCode::Undefined;
    std::array<std::uint32_t, maximumParameters> parameters{};
    std::vector<std::byte> data;
};

/// An initiator at container level: speaks to a responder and checks the containers' form.
class Initiator {
public:
    explicit Initiator(Responder& responder)
        : _responder(responder) {}
    Outcome run(OperationCode code, std::initializer_list<std::uint32_t> parameters = {},
                std::span<const std::byte> data = {});
    void open() { (void) run(OperationCode::OpenSession, {1}); }
    /// Announces by property list and sends the bytes; the outcome of the step that failed, or of the last.
    Outcome send(std::uint32_t storage, std::uint32_t parent, const std::u16string& name, std::string_view bytes,
                 FormatCode format = FormatCode::Undefined);
    std::uint32_t transactionId = 0; ///< of the last transaction

private:
    std::vector<std::byte> readData();
    Responder& _responder;
};

[[nodiscard]] std::vector<std::byte> bytesOf(std::string_view text);
[[nodiscard]] std::string textOf(std::span<const std::byte> bytes);

/// Collects from other threads, and waits for what is expected.
class EventLog {
public:
    void add(EventCode code, std::uint32_t parameter);
    /// false when it has not come within some seconds.
    [[nodiscard]] bool waitFor(EventCode code, std::uint32_t parameter);
    [[nodiscard]] std::vector<std::pair<EventCode, std::uint32_t>> all();
    [[nodiscard]] Responder::EventSink sink();

private:
    std::mutex _mutex;
    std::vector<std::pair<EventCode, std::uint32_t>> _events;
};

/// Asks again and again until it holds; false after some seconds.
[[nodiscard]] bool eventually(const std::function<bool()>& holds);

} // namespace mtpsdk::test
