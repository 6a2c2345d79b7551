// SPDX-License-Identifier: MIT
// Events as they come from the interrupt endpoint, packet by packet.
#include "mtp/Container.h"
#include "transport/usb/EventAssembly.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace mtpsdk {
namespace {

using Bytes = std::vector<std::byte>;
using Events = std::vector<Bytes>;

/// An event of so many parameters, all of them `number`.
Bytes event(std::size_t parameters, std::uint32_t number = 7) {
    const std::vector<std::uint32_t> values(parameters, number);
    return encodeContainer(ContainerType::Event, raw(EventCode::ObjectAdded), number, values);
}

/// What the assembly makes of bytes that a device sends as one transfer without a zero-length packet.
Events sent(EventAssembly& assembly, std::size_t packetSize, std::span<const std::byte> bytes) {
    Events events;
    while (!bytes.empty()) {
        const std::size_t size = std::min(packetSize, bytes.size());
        if (auto whole = assembly.take(bytes.first(size))) {
            events.push_back(std::move(*whole));
        }
        bytes = bytes.subspan(size);
    }
    return events;
}

TEST(EventAssembly, EndsAnEventWhereItsLengthSaysWhateverThePacketSize) {
    for (const std::size_t packetSize : {4U, 5U, 8U, 12U, 16U, 24U, 28U, 64U, 1024U}) {
        SCOPED_TRACE(packetSize);
        EventAssembly assembly(packetSize);
        for (const std::size_t parameters : {0U, 1U, 2U, 3U, 5U}) {
            EXPECT_EQ(sent(assembly, packetSize, event(parameters)), Events{event(parameters)}) << parameters;
            EXPECT_EQ(assembly.take({}), std::nullopt) << "a zero-length packet, where a device sends one";
        }
    }
}

TEST(EventAssembly, LeavesOutWhatAPacketIsFilledUpWith) {
    for (const std::size_t packetSize : {8U, 16U, 64U}) {
        SCOPED_TRACE(packetSize);
        EventAssembly assembly(packetSize);
        Bytes padded = event(1);
        padded.resize(64);
        EXPECT_EQ(sent(assembly, packetSize, padded), Events{event(1)});
        EXPECT_EQ(sent(assembly, packetSize, padded), Events{event(1)});
    }
}

TEST(EventAssembly, FindsTheNextEventBehindNonsense) {
    constexpr std::size_t packetSize = 8;
    Bytes tooLong = event(3);
    tooLong[0] = std::byte{64};
    Bytes tooShort = event(3);
    tooShort[0] = std::byte{11};
    Bytes noEvent = event(3);
    noEvent[4] = std::byte{1};
    Bytes cut = event(3);
    cut.resize(10);
    const Bytes tiny(3, std::byte{1});
    for (const Bytes& nonsense : {tooLong, tooShort, noEvent, cut, tiny, Bytes(40, std::byte{0xFF})}) {
        EventAssembly assembly(packetSize);
        EXPECT_TRUE(sent(assembly, packetSize, nonsense).empty());
        EXPECT_EQ(sent(assembly, packetSize, event(2)), Events{event(2)});
    }
    const Bytes whole = event(3);
    EventAssembly assembly(packetSize);
    EXPECT_EQ(assembly.take(std::span(whole).first(packetSize)), std::nullopt);
    assembly.reset(); // the line failed
    EXPECT_EQ(sent(assembly, packetSize, whole), Events{whole});
}

} // namespace
} // namespace mtpsdk
