// SPDX-License-Identifier: MIT
#pragma once

#include "vemomtpsdk/Functions.h"

#include <cstdint>
#include <deque>
#include <initializer_list>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

/// The library's functions over a small tree in memory, linked in place of the real library: it notes every call with
/// its arguments and answers statuses on request. One at a time; the newest object serves the calls.
class FakeLibrary {
public:
    FakeLibrary();
    ~FakeLibrary();
    FakeLibrary(const FakeLibrary&) = delete;
    FakeLibrary& operator=(const FakeLibrary&) = delete;
    static FakeLibrary& current();

    // The tree. Names are what calls are noted with.
    _MTP_DEVICE_NODE* addDevice(std::uint32_t locationId);
    _MTP_STORAGE_NODE* addStorage(const std::string& label, std::uint64_t capacity = 1000, std::uint64_t used = 400);
    _MTP_FOLDER_NODE* addFolder(void* parent, const std::string& name);
    _MTP_FILE_NODE* addFile(void* parent, const std::string& name, std::uint64_t size = 1);
    /// The node is gone from the tree; its memory stays readable, as the real library's does.
    void kill(void* node);
    [[nodiscard]] bool isLive(const void* node) const { return _live.contains(node); }

    /// Device texts by function name ("mtpGetFriendlyName"), UTF-8. One that is missing answers DGSTATUS_NO_DATA.
    std::map<std::string, std::string, std::less<>> properties;

    /// The next calls of the function answer these statuses and do nothing else.
    void answer(std::string_view function, std::initializer_list<DGSTATUS> statuses);
    /// The node that a send or a folder creation with a duplicate status hands out.
    void* duplicate = nullptr;

    /// "function(argument, …)" of every call since the last asking, in order. Nodes appear by name, texts as
    /// "text#count" with the length argument as it came.
    std::vector<std::string> takeCalls();
    /// Without calls that only look: existence, properties, lists.
    std::vector<std::string> takeChanges();

    // For the functions themselves.
    struct Children {
        std::vector<_MTP_FOLDER_NODE*> folders;
        std::vector<_MTP_FILE_NODE*> files;
    };
    /// Notes the call; true when a status was ordered for it.
    bool isAnswered(std::string_view function, const std::string& arguments, DGSTATUS& status);
    [[nodiscard]] std::string nameOf(const void* node) const;
    [[nodiscard]] Children& childrenOf(const void* parent) { return _children[parent]; }
    [[nodiscard]] const std::vector<_MTP_DEVICE_NODE*>& devices() const { return _devices; }
    [[nodiscard]] const std::vector<_MTP_STORAGE_NODE*>& storages() const { return _storages; }
    /// The bytes of the record that came with the last media send.
    std::vector<unsigned char> sentRecord;

    /// A text of the tree's, freed with it.
    std::uint16_t* text(const std::string& utf8, std::uint32_t& size);
    /// A zeroed record of the tree's, freed with it.
    template <typename Record>
    Record* record() {
        auto* made = static_cast<Record*>(mtpRecordAllocate(sizeof(Record)));
        _memory.push_back(made);
        return made;
    }

private:
    template <typename Node>
    Node* newNode(std::int32_t signature, const std::string& name);

    std::vector<void*> _memory;
    std::set<const void*> _live;
    std::map<const void*, std::string> _names;
    std::map<const void*, Children> _children;
    std::vector<_MTP_DEVICE_NODE*> _devices;
    std::vector<_MTP_STORAGE_NODE*> _storages;
    std::map<std::string, std::deque<DGSTATUS>, std::less<>> _answers;
    std::vector<std::string> _calls;
    std::uint32_t _nextId = 1;
};
