// SPDX-License-Identifier: MIT
// The far end of a bulk line as a host sees it: transfers in, transfers out.
#include "../responder/VirtualDevice.h"

#include "gadget/ResponderStream.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace mtpsdk::test {
namespace {

constexpr std::size_t packet = 64;
constexpr std::size_t blockSize = 4 * packet;
using Bytes = std::vector<std::byte>;

class ResponderStreamTest : public ::testing::Test {
protected:
    void SetUp() override {
        device.open();
        responder = std::make_unique<Responder>(device.shared());
        stream = std::make_unique<ResponderStream>(*responder);
        stream->setPacketSize(packet);
        command(OperationCode::OpenSession, {1});
        EXPECT_EQ(answered(), ResponseCode::OK);
    }

    void command(OperationCode code, std::initializer_list<std::uint32_t> parameters = {}) {
        transaction = code == OperationCode::OpenSession ? 0 : transaction + 1;
        EXPECT_TRUE(stream->arrived(encodeContainer(ContainerType::Command, raw(code), transaction, parameters), true));
    }

    /// A data container as a host sends it: in blocks, a packet without bytes behind whole packets.
    void send(OperationCode code, const Bytes& payload) {
        const auto header = encodeDataHeader(raw(code), transaction, payload.size());
        Bytes bytes(header.begin(), header.end());
        bytes.insert(bytes.end(), payload.begin(), payload.end());
        transfer(bytes);
    }
    void transfer(const Bytes& bytes) {
        for (std::size_t offset = 0; offset <= bytes.size(); offset += blockSize) {
            const auto part = std::span(bytes).subspan(offset, std::min(blockSize, bytes.size() - offset));
            if (!part.empty() || bytes.size() % packet == 0) {
                EXPECT_FALSE(stream->arrived(part, part.size() < blockSize));
            }
        }
    }

    void announce(const std::u16string& name, std::size_t size) {
        const std::vector<ObjectPropElement> elements = {
            {0, raw(ObjectPropertyCode::ObjectFileName), PropertyValue::string(name)}};
        command(OperationCode::SendObjectPropList,
                {phone, rootParent, raw(FormatCode::Undefined), 0, static_cast<std::uint32_t>(size)});
        send(OperationCode::SendObjectPropList, encode(std::span(elements)));
        EXPECT_EQ(answered(), ResponseCode::OK);
        command(OperationCode::SendObject);
    }

    /// All that the device has to say now, transfer by transfer.
    std::vector<Bytes> spoken() {
        std::vector<Bytes> transfers;
        Bytes buffer(blockSize);
        while (const auto length = stream->next(buffer)) {
            transfers.emplace_back(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(*length));
        }
        return transfers;
    }
    ResponseCode answered() { return codeOf(spoken()); }
    ResponseCode codeOf(const std::vector<Bytes>& transfers) {
        const auto response = transfers.empty() ? std::nullopt : decodeContainer(transfers.back());
        EXPECT_TRUE(response && response->type == ContainerType::Response);
        EXPECT_TRUE(!response || response->transactionId == transaction);
        return response ? static_cast<ResponseCode>(response->code) : ResponseCode::Undefined;
    }
    /// The device is in step: a file of some bytes goes onto it.
    void expectWorking() {
        announce(u"works.bin", 5);
        send(OperationCode::SendObject, bytesOf("works"));
        EXPECT_EQ(answered(), ResponseCode::OK);
        EXPECT_EQ(device.content("Phone/works.bin"), "works");
    }

    VirtualDevice device;
    std::unique_ptr<Responder> responder;
    std::unique_ptr<ResponderStream> stream;
    std::uint32_t transaction = 0;
};

TEST_F(ResponderStreamTest, DataOfEveryLengthArriveAndLeaveWithTheirLastPacket) {
    for (const std::size_t total : {std::size_t{12}, std::size_t{13}, packet - 1, packet, packet + 1, blockSize - 1,
                                    blockSize, blockSize + 1, 3 * blockSize, 3 * blockSize + packet}) {
        const std::string content(total - containerHeaderSize, 'x');
        announce(u"file.bin", content.size());
        send(OperationCode::SendObject, bytesOf(content));
        ASSERT_EQ(answered(), ResponseCode::OK) << total;
        ASSERT_EQ(device.content("Phone/file.bin"), content) << total;

        const Handle handle = device.handle(phone, "file.bin");
        command(OperationCode::GetObject, {handle});
        const auto transfers = spoken();
        ASSERT_EQ(codeOf(transfers), ResponseCode::OK) << total;
        std::size_t received = 0;
        for (std::size_t i = 0; i + 1 < transfers.size(); ++i) {
            received += transfers[i].size();
            const bool isLast = i + 2 == transfers.size();
            EXPECT_EQ(transfers[i].empty() || transfers[i].size() % packet != 0, isLast) << total;
        }
        EXPECT_EQ(received, total);
        command(OperationCode::DeleteObject, {handle});
        ASSERT_EQ(answered(), ResponseCode::OK);
    }
}

TEST_F(ResponderStreamTest, AHeaderMayComeInAPacketOfItsOwn) {
    announce(u"split.bin", 3);
    const auto header = encodeDataHeader(raw(OperationCode::SendObject), transaction, 3);
    EXPECT_FALSE(stream->arrived(header, true));
    EXPECT_TRUE(spoken().empty());
    EXPECT_FALSE(stream->arrived(bytesOf("abc"), true));
    EXPECT_EQ(answered(), ResponseCode::OK);
    EXPECT_EQ(device.content("Phone/split.bin"), "abc");
}

TEST_F(ResponderStreamTest, DataThatNobodyAskedForAreDropped) {
    command(static_cast<OperationCode>(0x9999)); // not supported, so that nothing is known of its data
    EXPECT_EQ(answered(), ResponseCode::OperationNotSupported);
    send(static_cast<OperationCode>(0x9999), Bytes(3 * blockSize));
    EXPECT_TRUE(spoken().empty());
    EXPECT_FALSE(stream->isBusy());
    expectWorking();
}

TEST_F(ResponderStreamTest, ACancelledTransactionLeavesNothingAndIsNotAnswered) {
    announce(u"stopped.bin", 4 * blockSize);
    const auto header = encodeDataHeader(raw(OperationCode::SendObject), transaction, 4 * blockSize);
    EXPECT_FALSE(stream->arrived(header, true));
    EXPECT_FALSE(stream->arrived(Bytes(blockSize), false));
    EXPECT_TRUE(stream->isBusy());
    stream->cancel(transaction);
    EXPECT_FALSE(stream->isBusy());
    EXPECT_TRUE(spoken().empty());
    EXPECT_FALSE(stream->arrived(Bytes(packet), true)); // what was on its way
    EXPECT_FALSE(device.has("Phone/stopped.bin"));
    expectWorking();
}

TEST_F(ResponderStreamTest, AProgramThatIsKilledIsFollowedByAnother) {
    announce(u"torn.bin", 4 * blockSize);
    const auto header = encodeDataHeader(raw(OperationCode::SendObject), transaction, 4 * blockSize);
    Bytes torn(header.begin(), header.end());
    torn.resize(2 * packet);
    // The next one's command lands in the same read, right behind the last whole packet.
    const auto next = encodeContainer(ContainerType::Command, raw(OperationCode::OpenSession), 0, {1});
    torn.insert(torn.end(), next.begin(), next.end());
    EXPECT_TRUE(stream->arrived(torn, true));
    transaction = 0;
    EXPECT_EQ(answered(), ResponseCode::SessionAlreadyOpen);
    command(OperationCode::CloseSession);
    EXPECT_EQ(answered(), ResponseCode::OK);
    command(OperationCode::OpenSession, {1});
    EXPECT_EQ(answered(), ResponseCode::OK);
    expectWorking();
}

TEST_F(ResponderStreamTest, ACommandInPlaceOfAnAnswerThatNobodyTookBeginsAnew) {
    expectWorking();
    command(OperationCode::GetObject, {device.handle(phone, "works.bin")});
    command(OperationCode::GetStorageIDs); // nothing of the answer was taken
    EXPECT_EQ(answered(), ResponseCode::OK);
    EXPECT_TRUE(spoken().empty());
}

} // namespace
} // namespace mtpsdk::test
