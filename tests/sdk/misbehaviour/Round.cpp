// SPDX-License-Identifier: MIT
#include "Round.h"

#include "CleanLine.h"
#include "platform/Strings.h"
#include "tree/RecordTexts.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <fstream>
#include <iterator>

namespace mtpsdk::test {
namespace {

using Kind = TransportFault::Kind;
constexpr std::array alteringKinds = {Kind::corrupt,          Kind::leaveOut, Kind::repeat,
                                      Kind::wrongTransaction, Kind::truncate, Kind::appendGarbage};
/// Around the sizes of packets, buffers and progress blocks, and some in between.
constexpr std::array sizes = {0U, 1U, 500U, 512U, 4084U, 65536U, 262132U, 262144U, 700000U};

std::vector<std::uint16_t> units(const std::string& text) {
    const std::u16string wide = platform::toUtf16(text);
    std::vector<std::uint16_t> copy(wide.begin(), wide.end());
    copy.push_back(0);
    return copy;
}
std::uint32_t length(const std::vector<std::uint16_t>& text) {
    return static_cast<std::uint32_t>(text.size());
}
std::uint32_t bytes(const std::vector<std::uint16_t>& text) {
    return length(text) * 2;
}

} // namespace

Round::Round(FaultySource& source, std::uint32_t seed, bool mayVanish, std::filesystem::path local,
             std::function<void()> beforeCall)
    : _source(source)
    , _local(std::move(local))
    , _beforeCall(std::move(beforeCall))
    , _random(seed) {
    constexpr unsigned mostFaults = 6;
    constexpr unsigned calls = 60;
    auto plan = FaultyTransport::randomPlan(seed, 1 + below(mostFaults), calls);
    std::erase_if(plan, [&](const TransportFault& fault) { return fault.kind == Kind::vanish && !mayVanish; });
    for (const TransportFault& fault : plan) {
        _alters = _alters || std::ranges::count(alteringKinds, fault.kind) != 0;
    }
    _source.plugIn(std::move(plan), seed);
}

Round::~Round() {
    _source.pullOut();
}

std::string Round::run() {
    constexpr std::array<Operation, 12> operations = {&Round::send,         &Round::send,       &Round::send,
                                                      &Round::receive,      &Round::receive,    &Round::listAll,
                                                      &Round::readMedia,    &Round::makeFolder, &Round::renameFile,
                                                      &Round::makePlaylist, &Round::readDevice, &Round::deleteFile};
    constexpr int count = 14;
    for (int i = 0; i < count && _problem.empty(); ++i) {
        _beforeCall();
        if (open()) {
            _beforeCall();
            (this->*operations[below(operations.size())])();
        }
    }
    checkLocal();
    _beforeCall();
    if (_head != nullptr) {
        (void) mtpReleaseDeviceList(_head);
    }
    return _problem;
}

/// The device's node and its storages, asked for again where that failed before.
bool Round::open() {
    if (_head == nullptr && mtpGetConnectedDeviceListHead(&_head) != DGSTATUS_SUCCESS) {
        complain("The devices are not listed");
        return false;
    }
    _device = _head;
    while (_device != nullptr && _device->header.LocationId != FaultySource::location) {
        (void) mtpGetNextDevice(_device, &_device);
    }
    if (_device == nullptr) {
        return false;
    }
    return _storage != nullptr || mtpGetStorageListHead(_device, &_storage) == DGSTATUS_SUCCESS;
}

_MTP_COMMON_NODE* Round::folder() {
    _MTP_FOLDER_NODE* node = nullptr;
    DGSTATUS status = mtpGetFolderListHead(_storage, nullptr, &node, nullptr, nullptr);
    while (status == DGSTATUS_SUCCESS && node != nullptr &&
           platform::toUtf8(readRecordText(node->name)) != workFolder) {
        status = mtpGetNextSiblingFolderNode(node, &node);
    }
    return status == DGSTATUS_SUCCESS && node != nullptr ? &node->header : nullptr;
}

_MTP_FILE_NODE* Round::anyFile() {
    _MTP_COMMON_NODE* const parent = folder();
    _MTP_FILE_NODE* node = nullptr;
    if (parent == nullptr || mtpGetFileListHead(parent, &node, nullptr, nullptr) != DGSTATUS_SUCCESS) {
        return nullptr;
    }
    for (std::uint32_t steps = below(4); steps > 0 && node != nullptr; --steps) {
        _MTP_FILE_NODE* next = nullptr;
        if (mtpGetNextFileNode(node, &next) != DGSTATUS_SUCCESS) {
            break;
        }
        node = next;
    }
    return node;
}

void Round::listAll() {
    if (_MTP_COMMON_NODE* const parent = folder()) {
        _MTP_FILE_NODE* node = nullptr;
        (void) mtpGetFileListHead(parent, &node, nullptr, nullptr);
        (void) mtpReleaseFileList(node); // so that the next one asks again
    }
}

void Round::makeFolder() {
    const auto name = units(fmt::format("folder{}", below(5)));
    _MTP_COMMON_NODE* const parent = folder();
    _MTP_FOLDER_NODE* made = nullptr;
    (void) mtpCreateFolderNode(parent, name.data(), bytes(name), &made);
}

void Round::send() {
    const std::string name = fileName(below(1000), sizes[below(sizes.size())]);
    const std::filesystem::path path = _local / name;
    std::ofstream(path, std::ios::binary) << contentOf(name).value_or("");
    const auto text = units(path.string());
    _MTP_FILE_NODE* file = nullptr;
    // Every other time the application stops in the middle.
    std::uint32_t calls = below(2) == 0 ? 0 : 1 + below(4);
    const auto progress = [](std::uint64_t, std::uint64_t, void* left) -> std::uint32_t {
        auto& count = *static_cast<std::uint32_t*>(left);
        return count > 0 && --count == 0 ? 1 : 0;
    };
    const DGSTATUS status = mtpSendFileEx(text.data(), length(text), folder(), &file, progress, &calls);
    count(status);
    if (status == DGSTATUS_SUCCESS && file != nullptr && !_alters && file->size != contentOf(name)->size()) {
        complain(fmt::format("\"{}\" was sent, and is {} bytes long", name, std::uint64_t{file->size}));
    }
    std::filesystem::remove(path);
}

void Round::receive() {
    _MTP_FILE_NODE* const file = anyFile();
    if (file == nullptr) {
        return;
    }
    const std::string name = platform::toUtf8(readRecordText(file->name));
    const std::uint64_t size = file->size;
    const std::string localName = fmt::format("received{}", _received++);
    const auto text = units((_local / localName).string());
    const DGSTATUS status = mtpGetFileEx(file, text.data(), length(text), nullptr, nullptr);
    count(status);
    if (status == DGSTATUS_SUCCESS) {
        _expected.push_back(localName);
        checkReceived(name, _local / localName, size);
    }
}

void Round::checkReceived(const std::string& name, const std::filesystem::path& path, std::uint64_t size) {
    std::ifstream file(path, std::ios::binary);
    const std::string content((std::istreambuf_iterator<char>(file)), {});
    const auto expected = contentOf(name);
    if (!expected) {
        return; // a playlist, whose text changes with its list
    }
    if (content.size() != size) {
        complain(fmt::format("\"{}\" of {} bytes was received with {}", name, size, content.size()));
    } else if (!_alters && content != *expected) {
        complain(fmt::format("\"{}\" was received with other bytes than it has", name));
    }
}

void Round::readMedia() {
    if (_MTP_FILE_NODE* const file = anyFile()) {
        _MTP_MEDIA_FILE_INFO* media = nullptr;
        (void) mtpGetMediaFileInfo(file, &media);
        if (media != nullptr) {
            (void) mtpReleaseMediaFileInfo(&media);
        }
    }
}

/// What a line that alters bytes says is another object's handle may be any object's: nothing is changed on its word.
void Round::renameFile() {
    _MTP_FILE_NODE* const file = _alters ? nullptr : anyFile();
    if (file != nullptr) {
        const std::string name = platform::toUtf8(readRecordText(file->name));
        const auto text = units(name.substr(0, name.find('.')) + fmt::format(".r{}.mp3", below(100)));
        (void) mtpRenameNode(&file->header, text.data(), bytes(text));
    }
}

void Round::deleteFile() {
    _MTP_FILE_NODE* const file = _alters ? nullptr : anyFile();
    if (file != nullptr) {
        (void) mtpDeleteNode(&file->header);
    }
}

void Round::makePlaylist() {
    _MTP_FILE_NODE* file = anyFile();
    const auto name = units(fmt::format("list{}", below(3)));
    _MTP_PLAYLIST_NODE* list = nullptr;
    (void) mtpSetNewPlaylist(folder(), name.data(), bytes(name), &file, file == nullptr ? 0 : 1, &list);
    (void) mtpGetPlaylistHead(_storage, &list);
}

void Round::readDevice() {
    std::uint32_t size = 0;
    (void) mtpGetFriendlyName(_device, nullptr, &size);
    _MTP_STORAGE_NODE* again = nullptr;
    if (mtpGetStorageListHead(_device, &again) == DGSTATUS_SUCCESS) {
        (void) mtpReleaseStorageList(again);
    }
}

/// Received files are there whole or not at all, and nothing else is.
void Round::checkLocal() {
    for (const auto& each : std::filesystem::directory_iterator(_local)) {
        const std::string name = each.path().filename().string();
        if (std::ranges::count(_expected, name) == 0) {
            complain(fmt::format("\"{}\" was left behind in the local folder", name));
        }
    }
}

void Round::count(DGSTATUS transfer) {
    ++_transfers;
    _failedTransfers += transfer == DGSTATUS_SUCCESS ? 0 : 1;
}

void Round::complain(const std::string& what) {
    if (_problem.empty()) {
        _problem = what;
    }
}

} // namespace mtpsdk::test
