// SPDX-License-Identifier: MIT
#include "VirtualDevice.h"

#include "mtp/Session.h"
#include "transport/LoopbackTransport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <future>

namespace mtpsdk::test {
namespace {

/// A session over the loopback line, as the library opens it.
class Loopback : public ::testing::Test {
protected:
    void SetUp() override {
        device.open();
        connect();
    }
    void connect() {
        session.reset();
        auto line = std::make_unique<LoopbackTransport>(device.shared(), faults);
        plug = line->plug();
        ASSERT_EQ(Session::open(std::move(line), session), DGSTATUS_SUCCESS);
    }
    DGSTATUS send(const std::u16string& name, const std::string& content, const TransferProgress& progress = {}) {
        NewObject object;
        object.storageId = phone;
        object.format = raw(FormatCode::MP3);
        object.size = content.size();
        object.name = name;
        object.media.title = u"Title";
        object.media.description = u"A long text";
        std::size_t offset = 0;
        const BlockSource source = [&](std::span<std::byte> block) {
            const std::size_t count = std::min(block.size(), content.size() - offset);
            std::copy_n(std::as_bytes(std::span(content)).begin() + static_cast<std::ptrdiff_t>(offset), count,
                        block.begin());
            offset += count;
            return static_cast<std::ptrdiff_t>(count);
        };
        return session->sendObject(object, source, progress, sent, media);
    }
    std::string get(const ObjectEntry& entry, DGSTATUS& status) {
        std::string content;
        status = session->getObject(entry.handle, entry.size,
                                    [&content](std::span<const std::byte> block) {
                                        content += textOf(block);
                                        return true;
                                    },
                                    {});
        return content;
    }

    VirtualDevice device;
    std::shared_ptr<FaultPlan> faults = std::make_shared<FaultPlan>();
    std::shared_ptr<LoopbackTransport::Plug> plug;
    std::unique_ptr<Session> session;
    ObjectEntry sent;
    MediaProperties media;
};

TEST_F(Loopback, FileGoesInThreeTransactionsAndComesBackWhole) {
    std::string content(3'000'00, 'x');
    content.back() = 'y';
    ASSERT_EQ(send(u"warm up.mp3", "1"), DGSTATUS_SUCCESS);
    const std::uint64_t before = session->transactionCount();
    ASSERT_EQ(send(u"Grüße 🎵.mp3", content), DGSTATUS_SUCCESS);
    EXPECT_LE(session->transactionCount() - before, 3U);
    EXPECT_EQ(device.content("Phone/Grüße 🎵.mp3"), content);
    EXPECT_EQ(sent.size, content.size());
    EXPECT_EQ(media.title, u"Title");
    EXPECT_EQ(media.description, u"A long text");

    std::vector<ObjectEntry> entries;
    ASSERT_EQ(session->listFolder(phone, 0, entries), DGSTATUS_SUCCESS);
    ASSERT_EQ(entries.size(), 2U);
    EXPECT_EQ(entries[1].name, u"Grüße 🎵.mp3");
    DGSTATUS status = DGSTATUS_SUCCESS;
    EXPECT_EQ(get(entries[1], status), content);
    EXPECT_EQ(status, DGSTATUS_SUCCESS);
    EXPECT_EQ(session->deleteObject(entries[1].handle), DGSTATUS_SUCCESS);
    EXPECT_FALSE(device.has("Phone/Grüße 🎵.mp3"));
}

} // namespace
} // namespace mtpsdk::test
