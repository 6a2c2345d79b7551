// SPDX-License-Identifier: MIT
// The session against the virtual device: both sides of the protocol in one process.
#include "../responder/VirtualDevice.h"

#include "mtp/Session.h"
#include "responder/FaultPlan.h"
#include "transport/FaultyTransport.h"
#include "transport/LoopbackTransport.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace mtpsdk::test {
namespace {

class SessionLoopback : public ::testing::Test {
protected:
    void SetUp() override { device.open(); }
    void TearDown() override {
        session.reset();
        device.close();
    }

    [[nodiscard]] std::unique_ptr<Transport> line() {
        return std::make_unique<LoopbackTransport>(device.shared(), faults);
    }
    void open() { ASSERT_EQ(Session::open(line(), session), DGSTATUS_SUCCESS); }

    DGSTATUS send(const std::string& content, const std::u16string& name, std::uint32_t parent = 0,
                  const TransferProgress& progress = {}) {
        NewObject object;
        object.storageId = phone;
        object.parent = parent;
        object.format = raw(FormatCode::MP3);
        object.size = content.size();
        object.name = name;
        object.media = toSend;
        std::size_t offset = 0;
        const BlockSource source = [&content, offset](std::span<std::byte> block) mutable {
            const std::size_t size = std::min(block.size(), content.size() - offset);
            const auto bytes = std::as_bytes(std::span(content)).subspan(offset, size);
            std::ranges::copy(bytes, block.begin());
            offset += size;
            return static_cast<std::ptrdiff_t>(size);
        };
        return session->sendObject(object, source, progress, sent, media);
    }
    DGSTATUS get(const ObjectEntry& entry, std::string& content) {
        content.clear();
        const BlockSink sink = [&content](std::span<const std::byte> block) {
            content.append(reinterpret_cast<const char*>(block.data()), block.size());
            return true;
        };
        return session->getObject(entry.handle, entry.size, sink, {});
    }
    [[nodiscard]] std::vector<std::u16string> names(std::uint32_t storage, std::uint32_t parent = 0) {
        std::vector<ObjectEntry> entries;
        EXPECT_EQ(session->listFolder(storage, parent, entries), DGSTATUS_SUCCESS);
        std::vector<std::u16string> result;
        result.reserve(entries.size());
        for (const ObjectEntry& entry : entries) {
            result.push_back(entry.name);
        }
        std::ranges::sort(result);
        return result;
    }

    VirtualDevice device;
    std::shared_ptr<FaultPlan> faults = std::make_shared<FaultPlan>();
    std::unique_ptr<Session> session;
    MediaProperties toSend;
    ObjectEntry sent;
    MediaProperties media;
};

TEST_F(SessionLoopback, AFileGoesThereAndBackInThreeTransactionsAndOne) {
    open();
    const std::string content(600'000, 'm');
    toSend.artist = u"Artist";
    toSend.description = std::u16string(500, u'd');
    toSend.durationMilliseconds = 61'000;
    toSend.track = 7;
    ASSERT_EQ(send(content, u"first.mp3"), DGSTATUS_SUCCESS);
    const std::uint64_t before = session->transactionCount();
    ASSERT_EQ(send("abc", u"\u00E4 \U0001F3B5.mp3"), DGSTATUS_SUCCESS);
    EXPECT_EQ(session->transactionCount() - before, 3U);
    EXPECT_EQ(media.artist, toSend.artist);
    EXPECT_EQ(media.description, toSend.description);
    EXPECT_EQ(media.durationMilliseconds, toSend.durationMilliseconds);
    EXPECT_EQ(media.track, toSend.track);
    EXPECT_EQ(device.content("Phone/\u00E4 \U0001F3B5.mp3"), "abc");

    std::vector<ObjectEntry> entries;
    ASSERT_EQ(session->listFolder(phone, 0, entries), DGSTATUS_SUCCESS);
    const auto first = std::ranges::find(entries, u"first.mp3", &ObjectEntry::name);
    ASSERT_NE(first, entries.end());
    std::string received;
    EXPECT_EQ(get(*first, received), DGSTATUS_SUCCESS);
    EXPECT_TRUE(received == content);
}

TEST_F(SessionLoopback, FoldersHiddenStoragesRenamesAndDeletes) {
    device.drop("Secret/there.bin", "x");
    device.drop("Phone/Music/song.mp3", "song");
    device.drop("Card/on card.txt", "card");
    open();
    EXPECT_EQ(names(phone), (std::vector<std::u16string>{u"Music"}));
    EXPECT_EQ(names(card), (std::vector<std::u16string>{u"on card.txt"}));
    EXPECT_EQ(names(secret), (std::vector<std::u16string>{u"there.bin"}));

    ObjectEntry folder;
    ASSERT_EQ(session->createFolder(phone, 0, u"New", folder), DGSTATUS_SUCCESS);
    EXPECT_EQ(folder.format, raw(FormatCode::Association));
    EXPECT_TRUE(names(phone, folder.handle).empty());
    ASSERT_EQ(send("1", u"a.mp3", folder.handle), DGSTATUS_SUCCESS);
    EXPECT_EQ(session->renameObject(sent.handle, u"b.mp3"), DGSTATUS_SUCCESS);
    EXPECT_EQ(names(phone, folder.handle), (std::vector<std::u16string>{u"b.mp3"}));
    ObjectEntry empty;
    ASSERT_EQ(session->createFolder(phone, folder.handle, u"Empty", empty), DGSTATUS_SUCCESS);
    const std::uint64_t before = session->transactionCount();
    EXPECT_TRUE(names(phone, empty.handle).empty());
    EXPECT_EQ(session->transactionCount() - before, 1U);
    EXPECT_EQ(session->deleteObject(folder.handle), DGSTATUS_SUCCESS);
    EXPECT_FALSE(device.has("Phone/New"));
}

TEST_F(SessionLoopback, ACancelledSendLeavesNothingWhetherTheDeviceTakesItOrNot) {
    const std::string content(700'000, 'c');
    for (const bool refused : {false, true}) {
        faults->refuseCancel(refused);
        open();
        const TransferProgress stop = [](std::uint64_t, std::uint64_t) { return true; };
        EXPECT_EQ(send(content, u"partial.mp3", 0, stop),
                  refused ? DGSTATUS_IO_CANCEL_FAILED : DGSTATUS_IO_CANCEL_SUCCESS);
        EXPECT_TRUE(names(phone).empty());
        ASSERT_EQ(send(content, u"whole.mp3"), DGSTATUS_SUCCESS) << refused;
        EXPECT_EQ(session->deleteObject(sent.handle), DGSTATUS_SUCCESS);
        session.reset();
    }
}

TEST_F(SessionLoopback, AFullOrLyingDeviceGivesItsStatusAndKeepsNothing) {
    open();
    EXPECT_EQ(send(std::string(1'000'001, 'x'), u"too big.mp3"), DGSTATUS_INTERNAL_STOREFULL);
    faults->fullAfter(300'000);
    EXPECT_EQ(send(std::string(600'000, 'x'), u"full.mp3"), DGSTATUS_INTERNAL_STOREFULL);
    faults->clear();
    faults->tellSize("odd.mp3", 5);
    EXPECT_EQ(send("123456", u"odd.mp3"), DGSTATUS_INTERNAL_SIZE_MISMATCH);
    EXPECT_TRUE(names(phone).empty());
}

TEST_F(SessionLoopback, AnOlderDeviceDoesTheSameTheOlderWay) {
    faults->withhold(OperationCode::GetObjectPropList);
    faults->withhold(OperationCode::SendObjectPropList);
    device.drop("Phone/Music/song.mp3", "song");
    open();
    toSend.artist = u"Artist";
    ASSERT_EQ(send("abc", u"new.mp3"), DGSTATUS_SUCCESS);
    EXPECT_EQ(media.artist, u"Artist");
    EXPECT_EQ(names(phone), (std::vector<std::u16string>{u"Music", u"new.mp3"}));
    EXPECT_EQ(device.content("Phone/new.mp3"), "abc");
}

TEST_F(SessionLoopback, ASessionThatSomeoneElseLeftOpenIsTakenOver) {
    open();
    auto transport = line();
    ASSERT_EQ(transport->send(encodeContainer(ContainerType::Command, raw(OperationCode::OpenSession), 0, {9}), 0, {}),
              DGSTATUS_SUCCESS);
    std::unique_ptr<Session> second;
    EXPECT_EQ(Session::open(std::move(transport), second), DGSTATUS_SUCCESS);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(second->deviceInfo().model, session->deviceInfo().model);
}

TEST_F(SessionLoopback, WhateverTheLineDoesNoFileIsHarmedAndNoPartialOneShows) {
    const std::string kept(50'000, 'k');
    device.drop("Phone/kept.mp3", kept);
    const std::string content(400'000, 'n');
    for (std::uint32_t seed = 0; seed < 40; ++seed) {
        auto faulty = std::make_unique<FaultyTransport>(line(), FaultyTransport::randomPlan(seed, 4, 30), seed);
        if (Session::open(std::move(faulty), session) == DGSTATUS_SUCCESS) {
            std::vector<ObjectEntry> entries;
            for (int i = 0; i < 5; ++i) {
                (void) session->listFolder(phone, 0, entries);
                if (send(content, u"new.mp3") == DGSTATUS_SUCCESS) {
                    EXPECT_EQ(device.content("Phone/new.mp3"), content) << seed;
                    EXPECT_EQ(sent.size, content.size()) << seed;
                    (void) session->deleteObject(sent.handle);
                }
            }
        }
        session.reset();
        EXPECT_EQ(device.content("Phone/kept.mp3"), kept) << seed;
        const bool partial = device.has("Phone/new.mp3") && device.content("Phone/new.mp3") != content;
        EXPECT_FALSE(partial) << seed;
    }
}

} // namespace
} // namespace mtpsdk::test
