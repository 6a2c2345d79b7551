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

TEST_F(Loopback, CancelledTransfersLeaveNothingAndTheSessionGoesOn) {
    const std::string content(900'000, 'x');
    const TransferProgress stop = [](std::uint64_t, std::uint64_t) { return true; };
    EXPECT_EQ(send(u"cancelled", content, stop), DGSTATUS_IO_CANCEL_SUCCESS);
    EXPECT_FALSE(device.has("Phone/cancelled"));
    EXPECT_EQ(device->storage(phone)->used, 0U);
    ASSERT_EQ(send(u"whole", content), DGSTATUS_SUCCESS);
    EXPECT_EQ(session->getObject(sent.handle, sent.size, [](std::span<const std::byte>) { return false; }, {}),
              DGSTATUS_IO_CANCEL_SUCCESS);
    DGSTATUS status = DGSTATUS_SUCCESS;
    EXPECT_EQ(get(sent, status), content);
}

TEST_F(Loopback, DeviceVanishesInTheMiddle) {
    faults->vanish({OperationCode::SendObject}, 300'000);
    EXPECT_EQ(send(u"lost", std::string(900'000, 'x')), DGSTATUS_NO_DEVICE_ATTACHED);
    EXPECT_FALSE(session->connected());
    connect();
    EXPECT_FALSE(device.has("Phone/lost"));
    ASSERT_EQ(send(u"there", std::string(900'000, 'x')), DGSTATUS_SUCCESS);
    faults->vanish({OperationCode::GetObject}, 300'000);
    DGSTATUS status = DGSTATUS_SUCCESS;
    EXPECT_LT(get(sent, status).size(), 900'000U);
    EXPECT_EQ(status, DGSTATUS_NO_DEVICE_ATTACHED);
}

TEST_F(Loopback, SlowDeviceIsWaitedForAndPullingItEndsTheWait) {
    std::vector<ObjectEntry> entries;
    faults->delay({OperationCode::GetObjectPropList}, std::chrono::milliseconds(20));
    EXPECT_EQ(session->listFolder(phone, 0, entries), DGSTATUS_SUCCESS);
    faults->setPatience(std::chrono::milliseconds(10));
    faults->delay({OperationCode::GetObjectPropList}, std::chrono::hours(1));
    faults->delay({OperationCode::GetObjectHandles}, std::chrono::hours(1)); // the older way, which is tried then
    EXPECT_EQ(session->listFolder(phone, 0, entries), DGSTATUS_INTERNAL_DEVICE_NOT_RESPONSE);
    EXPECT_EQ(session->listFolder(phone, 0, entries), DGSTATUS_SUCCESS);

    faults->setPatience(std::chrono::hours(1));
    faults->delay({OperationCode::GetObjectPropList}, std::chrono::hours(1));
    auto listing = std::async(std::launch::async, [&] { return session->listFolder(phone, 0, entries); });
    plug->pull();
    ASSERT_EQ(listing.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    EXPECT_EQ(listing.get(), DGSTATUS_NO_DEVICE_ATTACHED);
}

TEST_F(Loopback, DeviceThatLacksTheNewerOperationsStillTakesAndGivesFiles) {
    for (const auto code : {OperationCode::GetObjectPropList, OperationCode::SendObjectPropList,
                            OperationCode::GetObjectPropsSupported, OperationCode::SetObjectPropValue}) {
        faults->withhold(code);
    }
    connect();
    ASSERT_EQ(send(u"older.mp3", "content"), DGSTATUS_SUCCESS);
    std::vector<ObjectEntry> entries;
    ASSERT_EQ(session->listFolder(phone, 0, entries), DGSTATUS_SUCCESS);
    ASSERT_EQ(entries.size(), 1U);
    DGSTATUS status = DGSTATUS_SUCCESS;
    EXPECT_EQ(get(entries[0], status), "content");
}

TEST_F(Loopback, DataThatNobodyAskedForStallsTheLine) {
    LoopbackTransport line(device.shared(), faults);
    const BlockSink ignore = [](std::span<const std::byte>) { return true; };
    EXPECT_EQ(line.receive(ignore), DGSTATUS_INTERNAL_DEVICE_NOT_RESPONSE);
    EXPECT_EQ(line.send(encodeContainer(ContainerType::Command, 0x9999, 1, {1}), 0, {}), DGSTATUS_SUCCESS);
    EXPECT_EQ(line.send(encodeDataHeader(0x9999, 1, 0), 0, {}), DGSTATUS_INTERNAL_DRIVER_READ_ERROR);
    EXPECT_EQ(line.receive(ignore), DGSTATUS_SUCCESS);
    std::vector<std::byte> event;
    EXPECT_EQ(line.readEvent(event, std::chrono::milliseconds(1)), DGSTATUS_NO_DATA);
    faults->raise(EventCode::StoreAdded, {card});
    EXPECT_EQ(line.readEvent(event, std::chrono::milliseconds(0)), DGSTATUS_SUCCESS);
}

} // namespace
} // namespace mtpsdk::test
