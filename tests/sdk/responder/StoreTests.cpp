// SPDX-License-Identifier: MIT
#include "VirtualDevice.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace mtpsdk::test {
namespace {

namespace fs = std::filesystem;

class StoreTest : public ::testing::Test {
protected:
    static NewStoreObject object(const std::string& name, Handle parent = 0, std::uint32_t storage = phone) {
        NewStoreObject made;
        made.storageId = storage;
        made.parent = parent;
        made.name = name;
        made.format = FormatCode::MP3;
        return made;
    }
    Handle makeFolder(const std::string& name, Handle parent = 0) {
        Handle handle = 0;
        EXPECT_EQ(device->createFolder(object(name, parent), handle), StoreResult::ok);
        return handle;
    }
    VirtualDevice device;
};

TEST_F(StoreTest, HandlesPropertiesAndReferencesOutliveReopening) {
    device.open();
    const Handle music = makeFolder("Music");
    NewStoreObject song = object("song.mp3", music);
    song.properties.set(0xDC46, 0xFFFF, "artist");
    song.created = 1'000'000'000;
    song.modified = 1'100'000'000;
    const Handle file = device.put(song, "content");
    NewStoreObject list = object("list.pla", 0);
    list.format = FormatCode::AbstractAudioVideoPlaylist;
    const Handle playlist = device.put(list, "");
    ASSERT_NE(file, 0U);
    ASSERT_EQ(device->setReferences(playlist, {file, music, file}), StoreResult::ok);
    device->synchronize();
    EXPECT_EQ(device.content("Phone/list.pla"), "/Phone/Music/song.mp3\n/Phone/Music\n/Phone/Music/song.mp3\n");

    device.reopen();
    // By handle alone, before any folder was listed.
    StoreObject found;
    ASSERT_EQ(device->visitObject(file, [&](const StoreObject& each) { found = each; }), StoreResult::ok);
    EXPECT_EQ(found.name, "song.mp3");
    EXPECT_EQ(found.parent, music);
    EXPECT_EQ(found.format, FormatCode::MP3);
    EXPECT_EQ(found.size, 7U);
    EXPECT_EQ(found.created, 1'000'000'000);
    EXPECT_EQ(found.modified, 1'100'000'000);
    EXPECT_EQ(found.properties.find(0xDC46).value, "artist");

    std::vector<Handle> references;
    ASSERT_EQ(device->rename(file, "renamed.mp3"), StoreResult::ok);
    ASSERT_EQ(device->references(playlist, references), StoreResult::ok);
    EXPECT_EQ(references, (std::vector<Handle>{file, music, file}));
    ASSERT_EQ(device->remove(file), StoreResult::ok);
    ASSERT_EQ(device->references(playlist, references), StoreResult::ok);
    EXPECT_EQ(references, std::vector<Handle>{music});
    EXPECT_EQ(device->setReferences(playlist, {file}), StoreResult::badReference);
}

TEST_F(StoreTest, WhatAPersonDidWhileClosedShows) {
    device.drop("Phone/a/kept", "12345");
    device.drop("Phone/a/grows", "1");
    device.drop("Phone/a/goes", "123");
    device.drop("Phone/b/deep/file", "1234567");
    device.open();
    EXPECT_EQ(device.used(phone), 5U + 1 + 3 + 7);
    const Handle a = device.handle(phone, "a");
    const auto before = device.list(phone, a);
    device.close();

    fs::remove(device.folder("Phone/a/goes"));
    fs::remove_all(device.folder("Phone/b"));
    device.drop("Phone/a/grows", "12345678");
    device.drop("Phone/new/sub/file", "12");
    device.open();
    EXPECT_EQ(device.handle(phone, "a"), a);
    const auto after = device.list(phone, a);
    ASSERT_EQ(after.size(), 2U);
    EXPECT_EQ(after.at("kept").handle, before.at("kept").handle);
    EXPECT_EQ(after.at("grows").handle, before.at("grows").handle);
    EXPECT_EQ(after.at("grows").size, 8U);
    EXPECT_EQ(device.handle(phone, "b"), 0U);
    EXPECT_EQ(device.used(phone), 5U + 8 + 2);
    StoreObject gone;
    EXPECT_EQ(device->visitObject(before.at("goes").handle, [](const StoreObject&) {}), StoreResult::noSuchObject);
}

TEST_F(StoreTest, NamesAreToldWithoutALookAtTheFiles) {
    device.drop("Phone/a/grows", "1");
    device.drop("Phone/a/kept", "12345");
    device.drop("Phone/b/file", "123");
    for (const char* folder : {"Phone/a", "Phone/b", "Phone"}) { // or it was changed too lately for its time to be kept
        fs::last_write_time(device.folder(folder), fs::file_time_type::clock::now() - std::chrono::hours(1));
    }
    device.open();
    const Handle a = device.handle(phone, "a");
    const Handle b = device.handle(phone, "b");
    const auto before = device.list(phone, a);
    device->synchronize();
    device.close();

    device.drop("Phone/a/grows", "12345678"); // which no folder's time tells
    device.drop("Phone/b/new", "12");
    device.open();
    std::vector<StoreEvent> events;
    const std::uint64_t listener = device->addListener([&](const StoreEvent& event) { events.push_back(event); });
    const auto names = [&](Handle folder) {
        std::map<std::string, std::uint64_t> sizes;
        EXPECT_EQ(device->visitBelow(
                      phone, folder, 1, [&](const StoreObject& each) { sizes[each.name] = each.size; }, Look::names),
                  StoreResult::ok);
        return sizes;
    };
    EXPECT_EQ(names(a), (std::map<std::string, std::uint64_t>{{"grows", 1}, {"kept", 5}}));
    EXPECT_EQ(names(b), (std::map<std::string, std::uint64_t>{{"file", 3}, {"new", 2}}));

    StoreObject grown;
    const Handle grows = before.at("grows").handle;
    ASSERT_EQ(device->visitObject(grows, [&](const StoreObject& each) { grown = each; }), StoreResult::ok);
    EXPECT_EQ(grown.size, 8U);
    EXPECT_NE(grown.modified, 0);
    EXPECT_EQ(device.list(phone, a).at("kept").handle, before.at("kept").handle);
    EXPECT_EQ(device.list(phone, a).at("kept").modified, before.at("kept").modified);
    EXPECT_EQ(device.used(phone), 8U + 5 + 3 + 2);
    device->removeListener(listener);
    EXPECT_TRUE(events.empty()) << "nobody was told of a size that was wrong";
}

TEST_F(StoreTest, NamesFollowWhatOthersDo) {
    device.drop("Phone/a/kept", "12345");
    fs::last_write_time(device.folder("Phone/a"), fs::file_time_type::clock::now() - std::chrono::hours(1));
    device.open();
    const Handle a = device.handle(phone, "a");
    ASSERT_EQ(device.list(phone, a).size(), 1U);
    device->synchronize();
    device.reopen();
    std::vector<std::string> names;
    const auto list = [&] {
        names.clear();
        (void) device->visitBelow(
            phone, a, 1, [&](const StoreObject& each) { names.push_back(each.name); }, Look::names);
        return names;
    };
    ASSERT_EQ(list(), std::vector<std::string>{"kept"});
    fs::remove(device.folder("Phone/a/kept"));
    device.drop("Phone/a/new", "12");
    device->synchronize();
    EXPECT_EQ(list(), std::vector<std::string>{"new"});
    EXPECT_EQ(device.list(phone, a).at("new").size, 2U);
}

TEST_F(StoreTest, OnlyPlainFilesAndFoldersWithTellableNamesShow) {
    device.drop("Phone/plain", "x");
    device.drop("Phone/Case", "1");
    device.drop("Phone/case", "2");
    device.drop("Phone/.nomedia", "");
    device.drop("outside", "secret");
    const fs::path root = device.folder("Phone");
    fs::create_symlink(device.folder("outside"), root / "link");
    fs::create_directory_symlink("/", root / "linked folder");
    ASSERT_EQ(::mkfifo((root / "pipe").c_str(), 0600), 0);
    const std::string longest(254, 'n');
    device.drop("Phone/" + longest, "x");
    device.drop("Phone/" + longest + "n", "x");
    device.drop("Phone/bad\xff", "x");
    device.open();
    std::vector<std::string> names;
    for (const auto& [name, object] : device.list(phone)) {
        names.push_back(name);
    }
    EXPECT_EQ(names, (std::vector<std::string>{".nomedia", "Case", "case", longest, "plain"}));
    for (const auto& [name, object] : device.list(secret)) {
        ADD_FAILURE() << name;
    }
}

TEST_F(StoreTest, NamesThatCannotBeAreRefused) {
    device.open();
    ASSERT_NE(device.put(object("Taken"), "x"), 0U);
    struct Row {
        std::string name;
        StoreResult expected;
    };
    for (const Row& row :
         {Row{"..", StoreResult::badName}, Row{".", StoreResult::badName}, Row{"", StoreResult::badName},
          Row{"a/b", StoreResult::badName}, Row{std::string("a\0b", 3), StoreResult::badName},
          Row{"\xed\xa0\x80", StoreResult::badName}, Row{std::string(255, 'n'), StoreResult::badName},
          Row{"Taken", StoreResult::nameTaken}, Row{"TAKEN", StoreResult::ok}, Row{".hidden", StoreResult::ok},
          Row{"Ünïcode 🎵", StoreResult::ok}, Row{"line\nbreak", StoreResult::ok}}) {
        std::unique_ptr<IncomingObject> incoming;
        EXPECT_EQ(device->receive(object(row.name), incoming), row.expected) << row.name;
        Handle folder = 0;
        EXPECT_EQ(device->createFolder(object(row.name), folder), row.expected) << row.name;
    }
    std::unique_ptr<IncomingObject> incoming;
    EXPECT_EQ(device->receive(object("x", 0, 0x99), incoming), StoreResult::noSuchStorage);
    EXPECT_EQ(device->receive(object("x", 4711), incoming), StoreResult::noSuchParent);
    EXPECT_EQ(device->receive(object("x", device.handle(phone, "Taken")), incoming), StoreResult::noSuchParent);
    EXPECT_EQ(device->receive(object("x", device.handle(phone, ".hidden"), card), incoming), StoreResult::noSuchParent);
}

TEST_F(StoreTest, CapacityHolds) {
    device.open();
    NewStoreObject big = object("big", 0, card);
    big.size = 2'001;
    std::unique_ptr<IncomingObject> incoming;
    EXPECT_EQ(device->receive(big, incoming), StoreResult::full);
    const Handle first = device.put(object("first", 0, card), std::string(1'500, 'x'));
    ASSERT_NE(first, 0U);
    EXPECT_EQ(device.put(object("second", 0, card), std::string(501, 'x')), 0U);
    EXPECT_NE(device.put(object("fits", 0, card), std::string(500, 'x')), 0U);
    EXPECT_EQ(device->storage(card)->free(), 0U);
    ASSERT_EQ(device->remove(first), StoreResult::ok);
    EXPECT_EQ(device.used(card), 500U);

    NewStoreObject endless = object("endless", 0, card);
    endless.sizeKnown = false;
    ASSERT_EQ(device->receive(endless, incoming), StoreResult::ok);
    EXPECT_EQ(incoming->write(bytesOf(std::string(1'500, 'x'))), StoreResult::ok);
    EXPECT_EQ(incoming->write(bytesOf("x")), StoreResult::full);
    incoming.reset();
    device.reopen();
    EXPECT_EQ(device.used(card), 500U);
    // More than fits may be dropped by hand; nothing is free then, and nothing wraps.
    device.drop("Card/dropped", std::string(3'000, 'x'));
    EXPECT_EQ(device.handle(card, "dropped") != 0, true);
    EXPECT_EQ(device->storage(card)->free(), 0U);
}

TEST_F(StoreTest, UnfinishedObjectLeavesNothing) {
    device.open();
    NewStoreObject wanted = object("file");
    wanted.size = 10;
    std::unique_ptr<IncomingObject> incoming;
    ASSERT_EQ(device->receive(wanted, incoming), StoreResult::ok);
    ASSERT_EQ(incoming->write(bytesOf("12345")), StoreResult::ok);
    EXPECT_FALSE(device.has("Phone/file"));
    EXPECT_EQ(incoming->commit(), StoreResult::wrongSize);
    ASSERT_EQ(device->receive(wanted, incoming), StoreResult::ok);
    ASSERT_EQ(incoming->write(bytesOf("12345")), StoreResult::ok);
    EXPECT_EQ(incoming->write(bytesOf("123456")), StoreResult::wrongSize);
    incoming.reset();
    EXPECT_TRUE(device.list(phone).empty());
    EXPECT_TRUE(fs::is_empty(device.folder("Phone")));
    EXPECT_TRUE(fs::is_empty(device.folder(".mtp/arriving")));

    // What a killed process left is cleared at the next opening; a name taken meanwhile is not overwritten.
    device.close();
    device.drop(".mtp/arriving/77", "left");
    device.open();
    EXPECT_TRUE(fs::is_empty(device.folder(".mtp/arriving")));
    ASSERT_EQ(device->receive(wanted, incoming), StoreResult::ok);
    ASSERT_EQ(incoming->write(bytesOf("1234567890")), StoreResult::ok);
    device.drop("Phone/file", "theirs");
    EXPECT_EQ(incoming->commit(), StoreResult::nameTaken);
    EXPECT_EQ(device.content("Phone/file"), "theirs");
}

TEST_F(StoreTest, RenamingAndMoving) {
    device.open();
    const Handle folder = makeFolder("Folder");
    const Handle inner = makeFolder("Inner", folder);
    const Handle file = device.put(object("file", folder), "12345");
    const Handle other = device.put(object("other", folder), "1");
    EXPECT_EQ(device->rename(file, "other"), StoreResult::nameTaken);
    EXPECT_EQ(device->rename(file, "OTHER"), StoreResult::ok) << "the file system tells the two apart";
    EXPECT_EQ(device->rename(file, "FILE"), StoreResult::ok);
    EXPECT_EQ(device->rename(file, "../out"), StoreResult::badName);
    EXPECT_EQ(device->rename(folder, "Renamed"), StoreResult::ok);
    EXPECT_EQ(device->move(folder, phone, inner), StoreResult::noSuchParent);
    EXPECT_EQ(device->move(folder, card, 0), StoreResult::noSuchParent);
    EXPECT_EQ(device->move(file, card, 0), StoreResult::ok);
    EXPECT_EQ(device->move(other, phone, inner), StoreResult::ok);
    EXPECT_EQ(device.content("Card/FILE"), "12345");
    EXPECT_EQ(device.content("Phone/Renamed/Inner/other"), "1");
    EXPECT_EQ(device.used(phone), 1U);
    EXPECT_EQ(device.used(card), 5U);
    device.reopen();
    EXPECT_EQ(device.handle(card, "FILE"), file);
    EXPECT_EQ(device.handle(phone, "other", inner), other);
}

TEST_F(StoreTest, RemovingAFolderTakesAllOfItOrSaysSo) {
    device.drop("Phone/tree/a/b/c/file", "123");
    device.drop("Phone/tree/file", "1");
    device.drop("kept", "x");
    fs::create_symlink(device.folder("kept"), device.folder("Phone/tree/a/link"));
    device.drop("Phone/guarded/free", "x");
    device.drop("Phone/guarded/protected", "x");
    ::chmod(device.folder("Phone/guarded/protected").c_str(), 0444);
    device.open();
    EXPECT_EQ(device->remove(device.handle(phone, "tree")), StoreResult::ok);
    EXPECT_FALSE(device.has("Phone/tree"));
    EXPECT_TRUE(device.has("kept"));
    const Handle guarded = device.handle(phone, "guarded");
    EXPECT_EQ(device->remove(guarded), StoreResult::partly);
    EXPECT_FALSE(device.has("Phone/guarded/free"));
    EXPECT_TRUE(device.has("Phone/guarded/protected"));
    EXPECT_EQ(device->remove(device.handle(phone, "protected", guarded)), StoreResult::readOnly);
    EXPECT_EQ(device.used(phone), 1U);
}

TEST_F(StoreTest, FolderDeeperThanAnyPathIsListedAndRemoved) {
    device.open();
    Handle parent = 0;
    const std::string name(200, 'd');
    for (int level = 0; level < 100; ++level) {
        parent = makeFolder(name, parent);
        ASSERT_NE(parent, 0U);
    }
    ASSERT_NE(device.put(object("file", parent), "deep"), 0U);
    device.reopen();
    std::size_t count = 0;
    ASSERT_EQ(device->visitBelow(phone, 0, 1'000, [&count](const StoreObject&) { ++count; }), StoreResult::ok);
    EXPECT_EQ(count, 101U);
    EXPECT_EQ(device->remove(device.handle(phone, name)), StoreResult::ok);
    EXPECT_TRUE(fs::is_empty(device.folder("Phone")));
}

TEST_F(StoreTest, DamagedDatabaseIsSetAside) {
    device.drop("Phone/file", "x");
    device.open();
    device.close();
    device.drop(".mtp/objects.db", std::string(5'000, 'z'));
    device.open();
    EXPECT_NE(device.handle(phone, "file"), 0U);
    EXPECT_EQ(device.used(phone), 1U);
    EXPECT_TRUE(device.has(".mtp/objects.db.damaged"));
}

TEST_F(StoreTest, UnusableDirectoriesSaySo) {
    device.open();
    std::string error;
    EXPECT_EQ(Store::open(device.folder(), error), nullptr) << "a second opening of a device that is open";
    EXPECT_NE(error, "");
    device.close();
    EXPECT_EQ(Store::open(device.folder("nowhere"), error), nullptr);
    for (const std::string text :
         {"", "[]", "{", R"({"name":"x","storages":[]})", R"({"name":"x","storages":[7]})",
          R"({"name":"x","storages":[{"label":"../up","capacity":5}]})",
          R"({"name":"x","storages":[{"label":"a","capacity":5},{"label":"A","capacity":5}]})"}) {
        device.drop("device.json", text);
        EXPECT_EQ(Store::open(device.folder(), error), nullptr) << text;
        EXPECT_NE(error, "");
    }
}

TEST_F(StoreTest, PackedPropertiesAreChecked) {
    StoreProperties properties;
    properties.set(1, 2, "one");
    properties.set(3, 4, "three");
    properties.set(1, 2, "uno");
    properties.remove(99);
    const StoreProperties same = StoreProperties::fromPacked(properties.packed());
    EXPECT_EQ(same.find(1).value, "uno");
    EXPECT_EQ(same.find(3).value, "three");
    for (std::size_t size = 1; size < properties.packed().size(); ++size) {
        const auto cut = StoreProperties::fromPacked(properties.packed().substr(0, size));
        EXPECT_TRUE(cut.empty() || cut.find(3).value == "three") << size;
    }
}

} // namespace
} // namespace mtpsdk::test
