// SPDX-License-Identifier: MIT
#include "tree/NodeTree.h"

#include "tree/RecordTexts.h"

#include <gtest/gtest.h>
#include <optional>
#include <thread>

using namespace mtpsdk;

namespace {

constexpr std::uint16_t folderFormat = raw(FormatCode::Association);
constexpr std::uint16_t musicFormat = raw(FormatCode::MP3);

ObjectEntry entry(std::uint32_t handle, std::uint16_t format, std::uint64_t size = 0) {
    ObjectEntry made;
    made.handle = handle;
    made.format = format;
    made.size = size;
    return made;
}

class NodeTreeTest : public testing::Test {
protected:
    NodeTreeTest() {
        _tree.emplace(0x14100000);
        _call.emplace(*_tree);
        _storage = _tree->addStorage(0x10001, false);
        _tree->setStorageTexts(_storage, u"Card", u"Memory card");
    }
    ~NodeTreeTest() override {
        _call.reset();
        _tree.reset();
        EXPECT_EQ(mtpRecordBytesInUse(), _before);
    }

    NodeIndex folder(NodeIndex parent, std::uint32_t handle, const std::u16string& name) {
        return _tree->add(parent, entry(handle, folderFormat), name);
    }
    NodeIndex file(NodeIndex parent, std::uint32_t handle, const std::u16string& name) {
        return _tree->add(parent, entry(handle, musicFormat, handle), name);
    }
    std::vector<std::u16string> names(NodeIndex parent, NodeKind kind) {
        std::vector<std::u16string> found;
        for (NodeIndex node = _tree->first(parent, kind); node != 0; node = _tree->next(node)) {
            found.push_back(_tree->name(node));
        }
        return found;
    }
    const _MTP_FILE_NODE* record(NodeIndex node) { return _tree->record<_MTP_FILE_NODE>(node); }

    std::size_t _before = mtpRecordBytesInUse();
    std::optional<NodeTree> _tree;
    std::optional<NodeTree::OwnCall> _call; ///< of the application; none while only events come
    NodeIndex _storage = 0;
};

using Names = std::vector<std::u16string>;

TEST_F(NodeTreeTest, laysRecordsOutAsApplicationsReadThem) {
    ObjectEntry song = entry(7, musicFormat, 0x123456789A);
    song.protection = 1;
    song.created = u"20090115T134501.0";
    song.modified = u"20100115T134501";
    const NodeIndex node = _tree->add(_storage, song, u"Träume.mp3");
    const auto* bytes = reinterpret_cast<const std::byte*>(record(node));
    const auto number = [&](std::size_t offset, std::size_t width) {
        std::uint64_t value = 0;
        std::memcpy(&value, bytes + offset, width);
        return value;
    };
    const auto text = [&](std::size_t offset) {
        const auto units = static_cast<std::size_t>(number(offset + 4, 4));
        const auto* start = reinterpret_cast<const char16_t*>(mtpRecordMemoryBase() + number(offset, 4));
        EXPECT_EQ(start[units - 1], 0);
        return std::u16string(start, units - 1);
    };
    EXPECT_EQ(number(0, 4), 7U);
    EXPECT_EQ(number(4, 4), 4U);
    EXPECT_EQ(number(8, 4), 0x14100000U);
    EXPECT_EQ(number(12, 4), 1U);
    EXPECT_EQ(number(16, 8), 0x123456789AU);
    EXPECT_EQ(text(24), u"Träume.mp3");
    EXPECT_EQ(text(32), u"20090115T134501.0");
    EXPECT_EQ(text(40), u"20100115T134501");

    ObjectEntry dateless = entry(8, musicFormat);
    dateless.modified = song.modified;
    const auto* other = record(_tree->add(_storage, dateless, u"x"));
    EXPECT_EQ(other->creationDate.get(), nullptr);
    EXPECT_EQ(+other->creationDateSize, 0U);
    EXPECT_EQ(readRecordText(other->modificationDate), song.modified);
}

TEST_F(NodeTreeTest, findsNamesWithoutRegardToCaseAndKeepsTheOrder) {
    file(_storage, 1, u"Ärger.mp3");
    folder(_storage, 2, u"Music");
    file(_storage, 3, u"straße.mp3");
    folder(_storage, 4, u"Alben");
    EXPECT_EQ(names(_storage, NodeKind::folder), (Names{u"Music", u"Alben"}));
    EXPECT_EQ(names(_storage, NodeKind::file), (Names{u"Ärger.mp3", u"straße.mp3"}));
    EXPECT_EQ(_tree->at(_tree->child(_storage, u"MUSIC")).handle, 2U);
    EXPECT_EQ(_tree->at(_tree->child(_storage, u"A\u0308RGER.MP3")).handle, 1U);
    EXPECT_EQ(_tree->at(_tree->child(_storage, u"STRASSE.mp3")).handle, 3U);
    EXPECT_EQ(_tree->child(_storage, u"music", NodeTree::Match::exact), 0U);
    EXPECT_EQ(_tree->child(_storage, u"Musi"), 0U);
    EXPECT_EQ(_tree->child(_tree->object(2), u"Music"), 0U);
}

TEST_F(NodeTreeTest, removesFromAnywhereAndForgetsAllBelow) {
    const NodeIndex music = folder(_storage, 2, u"Music");
    const NodeIndex inner = folder(music, 3, u"Rock");
    for (std::uint32_t handle = 10; handle < 110; ++handle) {
        const std::string name = "Song " + std::to_string(handle);
        file(inner, handle, std::u16string(name.begin(), name.end()));
    }
    for (std::uint32_t handle = 10; handle < 110; handle += 3) {
        _tree->remove(_tree->object(handle), NodeTree::Texts::freed);
    }
    std::size_t left = 0;
    for (NodeIndex node = _tree->first(inner, NodeKind::file); node != 0; node = _tree->next(node)) {
        EXPECT_EQ(_tree->child(inner, _tree->name(node)), node);
        EXPECT_NE(_tree->at(node).handle % 3, 1U);
        ++left;
    }
    EXPECT_EQ(left, 66U);
    const auto* stale = record(_tree->object(11));
    _tree->remove(music, NodeTree::Texts::kept);
    EXPECT_EQ(_tree->object(11), 0U);
    EXPECT_EQ(_tree->nodeOf(stale), 0U);
    EXPECT_EQ(_tree->first(_storage, NodeKind::folder), 0U);
}

TEST_F(NodeTreeTest, neverGivesAStaleRecordToAnotherNode) {
    const NodeIndex first = file(_storage, 5, u"a.mp3");
    const auto* stale = record(first);
    _tree->remove(first, NodeTree::Texts::freed);
    for (std::uint32_t handle = 5; handle < 2000; ++handle) {
        const NodeIndex node = file(_storage, handle, u"a.mp3");
        ASSERT_NE(record(node), stale);
        _tree->remove(node, NodeTree::Texts::freed);
    }
    EXPECT_EQ(_tree->nodeOf(stale), 0U);
    // The same handle on a new record does not revive the old one either.
    file(_storage, 5, u"b.mp3");
    EXPECT_EQ(_tree->nodeOf(stale), 0U);
}

TEST_F(NodeTreeTest, refusesWhatAHostileDeviceMakesUp) {
    const NodeIndex outer = folder(_storage, 2, u"Outer");
    EXPECT_EQ(folder(outer, 2, u"Itself"), 0U);
    EXPECT_EQ(file(outer, 2, u"Twice"), 0U);
    EXPECT_EQ(file(outer, 0, u"No handle"), 0U);
    EXPECT_EQ(file(outer, 0xFFFFFFFF, u"Root"), 0U);
    NodeIndex deepest = outer;
    unsigned depth = 1;
    for (std::uint32_t handle = 100; NodeIndex next = folder(deepest, handle, u"down"); ++handle, ++depth) {
        deepest = next;
        ASSERT_LE(depth, NodeTree::greatestDepth);
    }
    EXPECT_EQ(_tree->depth(deepest), depth);
}

TEST_F(NodeTreeTest, renamesInPlace) {
    const NodeIndex node = file(_storage, 5, u"a.mp3");
    file(_storage, 6, u"b.mp3");
    const auto* before = record(node);
    _tree->rename(node, u"A longer name than before.mp3");
    EXPECT_EQ(record(node), before);
    EXPECT_EQ(+before->nameSize, 30U);
    EXPECT_EQ(names(_storage, NodeKind::file), (Names{u"A longer name than before.mp3", u"b.mp3"}));
    EXPECT_EQ(_tree->child(_storage, u"a.mp3"), 0U);
    EXPECT_EQ(_tree->child(_storage, u"a LONGER name than before.mp3"), node);
}

TEST_F(NodeTreeTest, knowsWhatRecordsDoNotSayBeforeTheNextCall) {
    const NodeIndex node = file(_storage, 5, u"a.mp3");
    const NodeIndex gone = file(_storage, 6, u"gone.mp3");
    const NodeIndex list = _tree->addPlaylist(_storage, 7, u"List");
    _call.reset();
    ObjectEntry fresh = entry(5, musicFormat, 500);
    fresh.modified = u"20200115T134501";
    _tree->update(node, fresh, u"renamed.mp3");
    _tree->update(gone, entry(6, musicFormat, 600), u"going.mp3");
    _tree->setPlaylistName(list, u"Another");
    _tree->edited<_MTP_PLAYLIST_NODE>(list).fileCount = 3;
    EXPECT_EQ(+_tree->known<_MTP_FILE_NODE>(node).size, 500U);
    EXPECT_EQ(_tree->child(_storage, u"renamed.mp3"), node);
    EXPECT_EQ(_tree->child(_storage, u"a.mp3"), 0U);
    EXPECT_EQ(_tree->name(list), u"Another");
    const auto* goingRecord = record(gone);
    _tree->remove(gone, NodeTree::Texts::kept);
    const NodeIndex come = file(_storage, 8, u"come.mp3"); // nobody can be reading it yet
    EXPECT_EQ(readRecordText(record(come)->name), u"come.mp3");
    EXPECT_EQ(+record(come)->size, 8U);

    const auto* listRecord = _tree->record<_MTP_PLAYLIST_NODE>(list);
    EXPECT_EQ(readRecordText(record(node)->name), u"a.mp3");
    EXPECT_EQ(+record(node)->size, 5U);
    EXPECT_EQ(record(node)->modificationDate.get(), nullptr);
    EXPECT_EQ(+listRecord->fileCount, 0U);
    EXPECT_EQ(readRecordText(goingRecord->name), u"gone.mp3");
    _call.emplace(*_tree);
    EXPECT_EQ(readRecordText(record(node)->name), u"renamed.mp3");
    EXPECT_EQ(+record(node)->nameSize, 12U);
    EXPECT_EQ(+record(node)->size, 500U);
    EXPECT_EQ(readRecordText(record(node)->modificationDate), u"20200115T134501");
    EXPECT_EQ(+listRecord->fileCount, 3U);
    EXPECT_EQ(readRecordText(listRecord->name), u"Another");
    EXPECT_EQ(readRecordText(goingRecord->name), u"gone.mp3");
}

TEST_F(NodeTreeTest, takesAnyPointerForAQuestion) {
    const NodeIndex node = file(_storage, 5, u"a.mp3");
    EXPECT_EQ(_tree->nodeOf(record(node)), node);
    EXPECT_EQ(_tree->nodeOf(_tree->record<void>(_storage)), _storage);
    EXPECT_EQ(_tree->nodeOf(nullptr), 0U);
    EXPECT_EQ(_tree->nodeOf(this), 0U);
    EXPECT_EQ(_tree->nodeOf(reinterpret_cast<const std::byte*>(record(node)) + 16), 0U);
    EXPECT_EQ(_tree->nodeOf(record(node)->name.get()), 0U);
    // An application that writes into a node's record confuses only itself.
    _tree->record<_MTP_FILE_NODE>(node)->header.Id = 4711;
    EXPECT_EQ(_tree->nodeOf(record(node)), 0U);
}

TEST_F(NodeTreeTest, answersWhileAnotherThreadChangesIt) {
    const NodeIndex kept = file(_storage, 5, u"kept.mp3");
    const auto* record = this->record(kept);
    std::thread reader([&] {
        for (int round = 0; round < 2000; ++round) {
            ASSERT_EQ(_tree->nodeOf(record), kept);
        }
    });
    for (std::uint32_t handle = 10; handle < 1000; ++handle) {
        file(_storage, handle, u"x");
        _tree->remove(_tree->object(handle), NodeTree::Texts::kept);
    }
    reader.join();
}

TEST_F(NodeTreeTest, staysSmall) {
    constexpr std::uint32_t count = 10000;
    const std::size_t before = mtpRecordBytesInUse();
    for (std::uint32_t handle = 1; handle <= count; ++handle) {
        ObjectEntry song = entry(handle, musicFormat, 1);
        song.created = song.modified = u"20090115T134501.0";
        const std::string name = "Track " + std::to_string(handle) + ".mp3";
        _tree->add(_storage, song, std::u16string(name.begin(), name.end()));
    }
    const std::size_t records = (mtpRecordBytesInUse() - before) / count;
    // Beside the record: the node, its two index places (four bytes each, at worst every third one used) and what
    // record memory rounds up and keeps of two blocks.
    const std::size_t aside = sizeof(Node) + 2 * 3 * sizeof(std::uint32_t) + 2 * (8 + 2);
    EXPECT_LT(records + aside, 200U);
}

} // namespace
