// SPDX-License-Identifier: MIT
#include "VirtualDevice.h"

#include "vemomtpsdk/Devices.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <stdlib.h>
#include <thread>

namespace mtpsdk::test {

TemporaryFolder::TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "virtual-device-XXXXXX").string();
    _path = ::mkdtemp(name.data());
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(_path, ignored);
}

VirtualDevice::VirtualDevice() {
    vemomtpsdk::VirtualDeviceDescription description;
    description.friendlyName = "Test Player";
    description.storages = {{"Phone", 1'000'000, "Internal memory", phone, false},
                            {"Card", 2'000, "", card, false},
                            {"Secret", 5'000, "", secret, true}};
    std::string error;
    EXPECT_TRUE(vemomtpsdk::createVirtualDevice(_folder.path(), description, error)) << error;
}

void VirtualDevice::drop(const std::string& path, std::string_view content) const {
    std::filesystem::create_directories(folder(path).parent_path());
    std::ofstream(folder(path), std::ios::binary) << content;
}

std::string VirtualDevice::content(const std::string& path) const {
    std::ostringstream text;
    text << std::ifstream(folder(path), std::ios::binary).rdbuf();
    return text.str();
}

void VirtualDevice::open() {
    std::string error;
    _store = Store::open(_folder.path(), error);
    ASSERT_NE(_store, nullptr) << error;
}

std::map<std::string, StoreObject> VirtualDevice::list(std::uint32_t storage, Handle parent) const {
    std::map<std::string, StoreObject> objects;
    (void) _store->visitBelow(storage, parent, 1, [&](const StoreObject& object) { objects[object.name] = object; });
    return objects;
}

Handle VirtualDevice::handle(std::uint32_t storage, const std::string& name, Handle parent) const {
    const auto objects = list(storage, parent);
    const auto found = objects.find(name);
    return found != objects.end() ? found->second.handle : 0;
}

Handle VirtualDevice::put(const NewStoreObject& object, std::string_view bytes) const {
    std::unique_ptr<IncomingObject> incoming;
    NewStoreObject sized = object;
    sized.size = bytes.size();
    if (_store->receive(sized, incoming) != StoreResult::ok || incoming->write(bytesOf(bytes)) != StoreResult::ok ||
        incoming->commit() != StoreResult::ok) {
        return 0;
    }
    return incoming->handle();
}

std::uint64_t VirtualDevice::used(std::uint32_t storage) const {
    const auto state = _store->storage(storage);
    return state ? state->used : 0;
}

std::vector<std::byte> Initiator::readData() {
    std::vector<std::byte> data;
    // An odd block size, so that headers and ends fall anywhere.
    std::array<std::byte, 1000> block{};
    std::size_t count = block.size();
    while (count == block.size()) {
        count = _responder.dataIn(block);
        data.insert(data.end(), block.begin(), block.begin() + static_cast<std::ptrdiff_t>(count));
    }
    const auto header = decodeHeader(data);
    EXPECT_TRUE(header && header->type == ContainerType::Data && header->transactionId == transactionId);
    data.erase(data.begin(), data.begin() + containerHeaderSize);
    return data;
}

Outcome Initiator::run(OperationCode code, std::initializer_list<std::uint32_t> parameters,
                       std::span<const std::byte> data) {
    transactionId = code == OperationCode::OpenSession ? 0 : transactionId + 1;
    Outcome outcome;
    const auto command = encodeContainer(ContainerType::Command, raw(code), transactionId, parameters);
    switch (_responder.command(command)) {
    case Responder::Phase::dataOut:
        _responder.dataOut(encodeDataHeader(raw(code), transactionId, data.size()));
        _responder.dataOut(data);
        _responder.dataOutEnd();
        break;
    case Responder::Phase::dataIn:
        outcome.data = readData();
        break;
    case Responder::Phase::response:
        break;
    }
    const auto response = decodeContainer(_responder.response());
    EXPECT_TRUE(response && response->type == ContainerType::Response && response->transactionId == transactionId);
    if (response) {
        outcome.code = static_cast<ResponseCode>(response->code);
        outcome.parameters = response->parameters;
    }
    return outcome;
}

Outcome Initiator::send(std::uint32_t storage, std::uint32_t parent, const std::u16string& name, std::string_view bytes,
                        FormatCode format) {
    const std::vector<ObjectPropElement> elements = {
        {0, raw(ObjectPropertyCode::ObjectFileName), PropertyValue::string(name)}};
    Outcome announced =
        run(OperationCode::SendObjectPropList,
            {storage, parent, raw(format), 0, static_cast<std::uint32_t>(bytes.size())}, encode(std::span(elements)));
    if (announced.code != ResponseCode::OK) {
        return announced;
    }
    announced.code = run(OperationCode::SendObject, {}, bytesOf(bytes)).code;
    return announced;
}

std::vector<std::byte> bytesOf(std::string_view text) {
    const auto bytes = std::as_bytes(std::span(text));
    return {bytes.begin(), bytes.end()};
}

std::string textOf(std::span<const std::byte> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

void EventLog::add(EventCode code, std::uint32_t parameter) {
    const std::lock_guard lock(_mutex);
    _events.emplace_back(code, parameter);
}

std::vector<std::pair<EventCode, std::uint32_t>> EventLog::all() {
    const std::lock_guard lock(_mutex);
    return _events;
}

bool EventLog::waitFor(EventCode code, std::uint32_t parameter) {
    return eventually([&] { return std::ranges::count(all(), std::pair(code, parameter)) != 0; });
}

Responder::EventSink EventLog::sink() {
    return [this](std::span<const std::byte> container) {
        const auto event = decodeContainer(container);
        ASSERT_TRUE(event && event->type == ContainerType::Event);
        add(static_cast<EventCode>(event->code), event->parameters[0]);
    };
}

bool eventually(const std::function<bool()>& holds) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!holds()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

} // namespace mtpsdk::test
