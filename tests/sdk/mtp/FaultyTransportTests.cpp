// SPDX-License-Identifier: MIT
#include "ScriptedDevice.h"

#include "transport/FaultyTransport.h"

#include <gtest/gtest.h>

namespace mtpsdk::test {
namespace {

using Call = TransportFault::Call;
using Kind = TransportFault::Kind;

constexpr std::size_t contentSize = 700'000;

class Faults : public ::testing::Test {
protected:
    Faults() {
        script.announce({OperationCode::GetObjectPropList});
        script.on[OperationCode::GetObjectPropList] = [](const ParameterContainer&, const Bytes&) {
            return Answer{ResponseCode::OK, {}, Rows().object(5, 0x10001, 7, FormatCode::MP3, 9, u"a").encoded()};
        };
        script.on[OperationCode::GetObject] = [this](const ParameterContainer&, const Bytes&) {
            return Answer{ResponseCode::OK, {}, content};
        };
    }
    [[nodiscard]] DGSTATUS open(const std::vector<TransportFault>& plan, std::uint32_t seed = 0) {
        session.reset();
        return Session::open(std::make_unique<FaultyTransport>(script.transport(), plan, seed), session);
    }
    [[nodiscard]] DGSTATUS get() {
        received.clear();
        return session->getObject(5, contentSize,
                                  [this](std::span<const std::byte> block) {
                                      received.insert(received.end(), block.begin(), block.end());
                                      return true;
                                  },
                                  {});
    }

    Script script;
    Bytes content = patternedBytes(contentSize);
    Bytes received;
    std::unique_ptr<Session> session;
};

TEST_F(Faults, EachKindHasItsStatusAndStrikesOnce) {
    const auto only = OperationCode::GetObject;
    const struct {
        TransportFault fault;
        DGSTATUS status;
        bool goesOn;
    } rows[] = {
        {{Kind::timeOut, Call::send, 1, only, 0}, DGSTATUS_INTERNAL_DEVICE_NOT_RESPONSE, true},
        {{Kind::timeOut, Call::receive, 1, only, 0}, DGSTATUS_INTERNAL_DEVICE_NOT_RESPONSE, true},
        {{Kind::timeOut, Call::receive, 2, only, 0}, DGSTATUS_INTERNAL_DEVICE_NOT_RESPONSE, true},
        {{Kind::truncate, Call::receive, 1, only, 5000}, DGSTATUS_INTERNAL_SIZE_MISMATCH, true},
        {{Kind::truncate, Call::receive, 2, only, 5}, DGSTATUS_INTERNAL_INVALIDDATASET, true},
        {{Kind::appendGarbage, Call::receive, 1, only, 17}, DGSTATUS_INTERNAL_SIZE_MISMATCH, true},
        {{Kind::appendGarbage, Call::receive, 2, only, 17}, DGSTATUS_INTERNAL_INVALIDDATASET, true},
        {{Kind::wrongTransaction, Call::receive, 2, only, 3}, DGSTATUS_INTERNAL_INVALIDTRANSACTIONID, true},
        {{Kind::leaveOut, Call::receive, 1, only, 9}, DGSTATUS_INTERNAL_SIZE_MISMATCH, true},
        {{Kind::repeat, Call::receive, 1, only, 0}, DGSTATUS_INTERNAL_INVALIDDATASET, true},
        {{Kind::repeat, Call::receive, 2, only, 0}, DGSTATUS_SUCCESS, true},
        {{Kind::delay, Call::receive, 1, only, 1}, DGSTATUS_SUCCESS, true},
        {{Kind::vanish, Call::send, 1, only, 0}, DGSTATUS_NO_DEVICE_ATTACHED, false},
        {{Kind::vanish, Call::receive, 1, only, 300'000}, DGSTATUS_NO_DEVICE_ATTACHED, false},
    };
    for (const auto& row : rows) {
        ASSERT_EQ(open({row.fault}), DGSTATUS_SUCCESS);
        const auto which = static_cast<int>(row.fault.kind) * 10 + static_cast<int>(row.fault.nth);
        EXPECT_EQ(get(), row.status) << which;
        EXPECT_EQ(session->connected(), row.goesOn) << which;
        EXPECT_EQ(get(), row.goesOn ? DGSTATUS_SUCCESS : DGSTATUS_NO_DEVICE_ATTACHED) << which;
        EXPECT_EQ(received == content, row.goesOn) << which;
    }
}

TEST_F(Faults, ARefusedCancelIsReportedAndTheSessionGoesOn) {
    ASSERT_EQ(open({{Kind::refuseCancel, Call::cancel, 1, std::nullopt, 0}}), DGSTATUS_SUCCESS);
    const BlockSink full = [](std::span<const std::byte>) { return false; };
    EXPECT_EQ(session->getObject(5, contentSize, full, {}), DGSTATUS_IO_CANCEL_FAILED);
    EXPECT_EQ(get(), DGSTATUS_SUCCESS);
    EXPECT_EQ(session->getObject(5, contentSize, full, {}), DGSTATUS_IO_CANCEL_SUCCESS);
}

TEST_F(Faults, TheSameSeedCorruptsTheSameBytes) {
    const std::vector<TransportFault> plan = {{Kind::corrupt, Call::receive, 1, OperationCode::GetObject, 40}};
    std::vector<Bytes> results;
    for (const std::uint32_t seed : {2U, 2U, 3U}) {
        ASSERT_EQ(open(plan, seed), DGSTATUS_SUCCESS);
        (void) get();
        results.push_back(received);
    }
    EXPECT_TRUE(results[0] == results[1]);
    EXPECT_FALSE(results[0] == results[2]);
}

TEST_F(Faults, WhateverHappensCallsEndAndASessionThatIsConnectedRecovers) {
    for (std::uint32_t seed = 0; seed < 60; ++seed) {
        const auto plan = FaultyTransport::randomPlan(seed, 6, 24);
        if (open(plan, seed) != DGSTATUS_SUCCESS) {
            continue;
        }
        std::vector<ObjectEntry> entries;
        for (int i = 0; i < 12; ++i) {
            (void) session->listFolder(0x10001, 7, entries);
            (void) get();
        }
        EXPECT_EQ(get(), session->connected() ? DGSTATUS_SUCCESS : DGSTATUS_NO_DEVICE_ATTACHED) << seed;
    }
}

} // namespace
} // namespace mtpsdk::test
