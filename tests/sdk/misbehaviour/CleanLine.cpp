// SPDX-License-Identifier: MIT
#include "CleanLine.h"

#include "devices/DeviceRegistry.h"
#include "platform/Strings.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <fmt/format.h>
#include <thread>

namespace mtpsdk::test {
namespace {

/// The line to a device that may be on its way back.
DGSTATUS openLine(std::uint32_t locationId, std::unique_ptr<Transport>& transport) {
    constexpr auto patience = std::chrono::seconds(20);
    constexpr auto pause = std::chrono::milliseconds(100);
    const auto end = std::chrono::steady_clock::now() + patience;
    for (;;) {
        const DGSTATUS status = DeviceRegistry::shared().openTransport(locationId, transport);
        if (status != DGSTATUS_NO_DEVICE_ATTACHED || std::chrono::steady_clock::now() > end) {
            return status;
        }
        std::this_thread::sleep_for(pause);
    }
}

bool failed(DGSTATUS status, std::string_view what, std::string& problem) {
    if (status != DGSTATUS_SUCCESS) {
        problem = fmt::format("{} over a line that behaves: status 0x{:X}", what, static_cast<std::uint32_t>(status));
    }
    return status != DGSTATUS_SUCCESS;
}

std::optional<std::uint64_t> takeNumber(std::string_view& text) {
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return error == std::errc() ? std::optional(number) : std::nullopt;
}

} // namespace

std::string fileName(std::uint32_t number, std::uint64_t size) {
    return fmt::format("f{}-{}.mp3", number, size);
}

std::optional<std::string> contentOf(std::string_view name) {
    constexpr std::uint64_t largest = 16 << 20;
    if (!name.starts_with('f')) {
        return std::nullopt;
    }
    name.remove_prefix(1);
    const auto number = takeNumber(name);
    if (!number || !name.starts_with('-')) {
        return std::nullopt;
    }
    name.remove_prefix(1);
    const auto size = takeNumber(name);
    if (!size || *size > largest) {
        return std::nullopt;
    }
    std::string content(*size, '\0');
    std::uint32_t state = static_cast<std::uint32_t>(*number) * 2654435761U + 1;
    for (char& byte : content) {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<char>(state >> 24);
    }
    return content;
}

std::unique_ptr<CleanLine> CleanLine::open(std::uint32_t locationId, std::string& problem) {
    auto line = std::make_unique<CleanLine>();
    std::unique_ptr<Transport> transport;
    std::vector<std::uint32_t> storages;
    if (failed(openLine(locationId, transport), "The device does not open", problem) ||
        failed(Session::open(std::move(transport), line->_session), "No session opens", problem) ||
        failed(line->_session->storageIds(storages), "Storages are not listed", problem)) {
        return nullptr;
    }
    if (storages.empty()) {
        problem = "The device has no storage.";
        return nullptr;
    }
    line->_storage = storages.front();
    return line;
}

DGSTATUS CleanLine::findFolder(std::optional<ObjectEntry>& folder) {
    std::vector<ObjectEntry> entries;
    const DGSTATUS status = _session->listFolder(_storage, 0, entries);
    const auto found = std::ranges::find_if(
        entries, [](const ObjectEntry& entry) { return platform::toUtf8(entry.name) == workFolder; });
    folder = found == entries.end() ? std::nullopt : std::optional(*found);
    return status;
}

bool CleanLine::check(std::string& problem) {
    std::optional<ObjectEntry> folder;
    if (failed(findFolder(folder), "The root is not listed", problem)) {
        return false;
    }
    std::vector<ObjectEntry> entries;
    if (folder &&
        failed(_session->listFolder(_storage, folder->handle, entries), "The work folder is not listed", problem)) {
        return false;
    }
    return std::ranges::all_of(entries, [&](const ObjectEntry& entry) { return checkFile(entry, problem); });
}

bool CleanLine::checkFile(const ObjectEntry& entry, std::string& problem) {
    const std::string name = platform::toUtf8(entry.name);
    const auto expected = contentOf(name);
    if (!expected) {
        return true; // a folder or a playlist
    }
    std::string content;
    const BlockSink sink = [&content](std::span<const std::byte> block) {
        content.append(reinterpret_cast<const char*>(block.data()), block.size());
        return true;
    };
    if (failed(_session->getObject(entry.handle, entry.size, sink, {}), "Getting \"" + name + "\"", problem)) {
        return false;
    }
    if (content == *expected) {
        return true;
    }
    problem = fmt::format("\"{}\" on the device has {} bytes, and not what was sent", name, content.size());
    return false;
}

bool CleanLine::tidy(std::string& problem) {
    std::optional<ObjectEntry> folder;
    if (failed(findFolder(folder), "The root is not listed", problem)) {
        return false;
    }
    if (folder && failed(_session->deleteObject(folder->handle), "The work folder is not deleted", problem)) {
        return false;
    }
    ObjectEntry made;
    return !failed(_session->createFolder(_storage, 0, platform::toUtf16(std::string(workFolder)), made),
                   "The work folder is not made", problem);
}

} // namespace mtpsdk::test
