// SPDX-License-Identifier: MIT
#include "VirtualDevice.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

namespace mtpsdk::test {
namespace {

namespace fs = std::filesystem;

class Watching : public ::testing::Test {
protected:
    void SetUp() override {
        device.drop("Phone/Music/there.mp3", "123");
        device.open();
        music = device.handle(phone, "Music");
        there = device.handle(phone, "there.mp3", music);
        responder = std::make_unique<Responder>(device.shared());
        responder->setEventSink(log.sink());
    }
    [[nodiscard]] bool added(const std::string& name, Handle parent) {
        return eventually([&] {
            const Handle handle = device.handle(phone, name, parent);
            return handle != 0 && std::ranges::count(log.all(), std::pair(EventCode::ObjectAdded, handle)) == 1;
        });
    }
    VirtualDevice device;
    Handle music = 0;
    Handle there = 0;
    EventLog log;
    std::unique_ptr<Responder> responder;
};

TEST_F(Watching, ObjectsThatOthersAddAndRemoveRaiseEvents) {
    device.drop("Phone/Music/new.mp3", "12345");
    EXPECT_TRUE(added("new.mp3", music));
    fs::remove(device.folder("Phone/Music/there.mp3"));
    EXPECT_TRUE(log.waitFor(EventCode::ObjectRemoved, there));
    EXPECT_EQ(device.used(phone), 5U);

    const Handle renamed = device.handle(phone, "new.mp3", music);
    fs::rename(device.folder("Phone/Music/new.mp3"), device.folder("Phone/Music/other.mp3"));
    EXPECT_TRUE(log.waitFor(EventCode::ObjectRemoved, renamed));
    EXPECT_TRUE(added("other.mp3", music));

    device.drop("Phone/Music/other.mp3", "123456789");
    EXPECT_TRUE(log.waitFor(EventCode::ObjectInfoChanged, device.handle(phone, "other.mp3", music)));
    EXPECT_EQ(device.used(phone), 9U);
}

TEST_F(Watching, FileIsAnnouncedWhenItsWriterIsDone) {
    std::ofstream growing(device.folder("Phone/Music/growing"));
    growing << "half" << std::flush;
    device.drop("Phone/Music/mark", "");
    ASSERT_TRUE(added("mark", music));
    EXPECT_EQ(device.handle(phone, "growing", music), 0U);
    growing << " and half";
    growing.close();
    EXPECT_TRUE(added("growing", music));
    EXPECT_EQ(device.list(phone, music).at("growing").size, 13U);
}

TEST_F(Watching, WholeFolderThatIsMovedInIsKnownAtOnce) {
    device.drop("album/disc/one.mp3", "1");
    device.drop("album/two.mp3", "12");
    fs::last_write_time(device.folder("album/disc/one.mp3"), fs::file_time_type::clock::now() - std::chrono::hours(1));
    fs::last_write_time(device.folder("album/two.mp3"), fs::file_time_type::clock::now() - std::chrono::hours(1));
    fs::rename(device.folder("album"), device.folder("Phone/Music/album"));
    ASSERT_TRUE(added("album", music));
    const Handle album = device.handle(phone, "album", music);
    EXPECT_TRUE(added("two.mp3", album));
    EXPECT_TRUE(added("one.mp3", device.handle(phone, "disc", album)));
    EXPECT_EQ(device.used(phone), 6U);

    fs::rename(device.folder("Phone/Music/album"), device.folder("album"));
    EXPECT_TRUE(log.waitFor(EventCode::ObjectRemoved, album));
    EXPECT_EQ(device.used(phone), 3U);
}

TEST_F(Watching, FolderThatIsCopiedInShowsItsFilesInTheEnd) {
    device.drop("Phone/Music/album/disc/one.mp3", "1");
    EXPECT_TRUE(eventually([&] {
        const Handle album = device.handle(phone, "album", music);
        const Handle disc = album != 0 ? device.handle(phone, "disc", album) : 0;
        return disc != 0 && device.handle(phone, "one.mp3", disc) != 0;
    }));
}

TEST_F(Watching, OwnChangesRaiseNone) {
    Initiator initiator(*responder);
    initiator.open();
    const Outcome sent = initiator.send(phone, music, u"sent.mp3", "abc");
    ASSERT_EQ(sent.code, ResponseCode::OK);
    const auto name = encode(PropertyValue::string(u"renamed.mp3"));
    EXPECT_EQ(
        initiator
            .run(OperationCode::SetObjectPropValue, {sent.parameters[2], raw(ObjectPropertyCode::ObjectFileName)}, name)
            .code,
        ResponseCode::OK);
    EXPECT_EQ(initiator.run(OperationCode::DeleteObject, {there}).code, ResponseCode::OK);
    device.drop("Phone/Music/mark", "");
    ASSERT_TRUE(added("mark", music));
    EXPECT_EQ(log.all().size(), 1U);
}

TEST_F(Watching, EventsFromThePlanReachTheInitiator) {
    auto faults = std::make_shared<FaultPlan>();
    {
        Responder other(device.shared(), faults);
        other.setEventSink(log.sink());
        faults->raise(EventCode::StoreAdded, {card});
        faults->raise(EventCode::DeviceReset, {});
    }
    faults->raise(EventCode::StoreRemoved, {card}); // nobody is there any more
    const std::vector<std::pair<EventCode, std::uint32_t>> expected = {{EventCode::StoreAdded, card},
                                                                       {EventCode::DeviceReset, 0}};
    EXPECT_EQ(log.all(), expected);
}

} // namespace
} // namespace mtpsdk::test
