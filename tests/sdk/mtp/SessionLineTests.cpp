// SPDX-License-Identifier: MIT
// The session on a line that does not behave, and its life from opening to the end.
#include "ScriptedDevice.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>

namespace mtpsdk::test {
namespace {

constexpr std::uint32_t storage = 0x10001;

void answerStorageInfo(Script& script) {
    script.on[OperationCode::GetStorageInfo] = [](const ParameterContainer&, const Bytes&) {
        return Answer{ResponseCode::OK, {}, encode(StorageInfo{3, 2, 0, 100, 50, 7, u"Internal", u"Label"})};
    };
}

DGSTATUS openStatus(Script& script) {
    std::unique_ptr<Session> session;
    return Session::open(script.transport(), session);
}

TEST(SessionOpening, TheFirstTransactionHasNumberZeroAndTheDeviceIsAskedOnce) {
    Script script;
    std::unique_ptr<Session> session;
    ASSERT_EQ(Session::open(script.transport(), session), DGSTATUS_SUCCESS);
    EXPECT_EQ(script.operations(), (std::vector{OperationCode::OpenSession, OperationCode::GetDeviceInfo}));
    EXPECT_EQ(script.commands[0].transactionId, 0U);
    EXPECT_EQ(script.commands[1].transactionId, 1U);
    EXPECT_EQ(session->deviceInfo().model, u"Scripted");
    EXPECT_EQ(session->transactionCount(), 2U);
    session.reset();
    EXPECT_EQ(script.operations().back(), OperationCode::CloseSession);
}

TEST(SessionOpening, ASessionThatIsOpenIsTakenOver) {
    for (const bool closes : {true, false}) {
        Script script;
        bool isOpen = true;
        script.on[OperationCode::OpenSession] = [&](const ParameterContainer&, const Bytes&) {
            return Answer{isOpen ? ResponseCode::SessionAlreadyOpen : ResponseCode::OK, {1}, {}};
        };
        script.on[OperationCode::CloseSession] = [&](const ParameterContainer&, const Bytes&) {
            isOpen = !closes;
            return Answer{closes ? ResponseCode::OK : ResponseCode::GeneralError, {}, {}};
        };
        EXPECT_EQ(openStatus(script), DGSTATUS_SUCCESS) << closes;
    }
}

TEST(SessionOpening, LeftOversOfAnotherInitiatorAreClearedByAReset) {
    Script script;
    script.mangle[OperationCode::OpenSession] = [&](std::vector<Bytes>& phases) {
        if (script.resets == 0) {
            phases.insert(phases.begin(), encodeContainer(ContainerType::Response, 0x2001, 77, {}));
        }
    };
    EXPECT_EQ(openStatus(script), DGSTATUS_SUCCESS);
    EXPECT_EQ(script.resets, 1U);
}

TEST(SessionOpening, ADeviceThatDescribesItselfBadlyIsRefused) {
    Script script;
    script.on[OperationCode::GetDeviceInfo] = [](const ParameterContainer&, const Bytes&) {
        return Answer{ResponseCode::OK, {}, bytesOf({1, 2, 3})};
    };
    EXPECT_EQ(openStatus(script), DGSTATUS_INTERNAL_INVALIDDATASET);
    EXPECT_EQ(script.operations().back(), OperationCode::CloseSession);
}

TEST(SessionClosing, OpensNoOther) {
    const std::function<void(std::vector<Bytes>&)> silent = [](std::vector<Bytes>& phases) { phases.clear(); };
    for (const bool answers : {true, false}) {
        SCOPED_TRACE(answers);
        Script script;
        auto session = script.open();
        script.on[OperationCode::CloseSession] = [](const ParameterContainer&, const Bytes&) {
            return Answer{ResponseCode::SessionNotOpen, {}, {}};
        };
        if (!answers) {
            script.mangle[OperationCode::CloseSession] = silent;
            script.cancelAnswers = {DGSTATUS_INTERNAL_DEVICE_NOT_RESPONSE};
        }
        session.reset();
        EXPECT_EQ(script.operations(), (std::vector{OperationCode::CloseSession}));
    }
}

/// One kind of answer that is not as it should be, and what comes of it.
struct OddAnswer {
    const char* what;
    std::function<void(std::vector<Bytes>& phases)> mangle;
    DGSTATUS status;
};

void addToId(Bytes& container, int amount) {
    container[8] = static_cast<std::byte>(static_cast<int>(container[8]) + amount);
}

std::vector<OddAnswer> oddAnswers() {
    const Bytes stale = encodeContainer(ContainerType::Response, 0x2001, 0, {});
    return {
        {"left-overs of earlier transactions are passed over",
         [stale](auto& phases) {
             phases.insert(phases.begin(), {stale, Bytes(), stale});
         },
         DGSTATUS_SUCCESS},
        {"data of an earlier transaction is not taken for ours", [](auto& phases) { addToId(phases[0], -1); },
         DGSTATUS_INTERNAL_INVALIDDATASET},
        {"data of another transaction", [](auto& phases) { addToId(phases[0], 1); },
         DGSTATUS_INTERNAL_INVALIDTRANSACTIONID},
        {"the response of a later transaction", [](auto& phases) { addToId(phases[1], 1); },
         DGSTATUS_INTERNAL_INVALIDTRANSACTIONID},
        {"nothing but an earlier response", [](auto& phases) { addToId(phases[1], -1); },
         DGSTATUS_INTERNAL_INVALIDTRANSACTIONID},
        {"a container of a type that does not exist", [](auto& phases) { phases[0][4] = std::byte{9}; },
         DGSTATUS_INTERNAL_INVALIDDATASET},
        {"an event in the bulk stream", [](auto& phases) { phases[0][4] = std::byte{4}; },
         DGSTATUS_INTERNAL_INVALIDDATASET},
        {"less than a header", [](auto& phases) { phases[0].resize(7); }, DGSTATUS_INTERNAL_INVALIDDATASET},
        {"a length that is too small", [](auto& phases) { phases[0][0] = std::byte{13}; },
         DGSTATUS_INTERNAL_SIZE_MISMATCH},
        {"a length that is too large", [](auto& phases) { phases[0][2] = std::byte{1}; },
         DGSTATUS_INTERNAL_SIZE_MISMATCH},
        {"a length that is not said", [](auto& phases) { std::fill_n(phases[0].begin(), 4, std::byte{0xFF}); },
         DGSTATUS_SUCCESS},
        {"the same data twice", [](auto& phases) { phases.insert(phases.begin(), phases[0]); },
         DGSTATUS_INTERNAL_INVALIDDATASET},
        {"no data", [](auto& phases) { phases.erase(phases.begin()); }, DGSTATUS_INTERNAL_INVALIDDATASET},
        {"half a dataset",
         [](auto& phases) {
             phases[0].resize(20);
             phases[0][0] = std::byte{20};
         },
         DGSTATUS_INTERNAL_INVALIDDATASET},
        {"a response that is longer than it says", [](auto& phases) { phases[1].resize(16); },
         DGSTATUS_INTERNAL_INVALIDDATASET},
        {"a response with a stray byte that it counts",
         [](auto& phases) {
             phases[1].resize(13);
             phases[1][0] = std::byte{13};
         },
         DGSTATUS_SUCCESS},
        {"a response of endless length", [](auto& phases) { phases[1].resize(100000); },
         DGSTATUS_INTERNAL_INVALIDDATASET},
        {"no response", [](auto& phases) { phases.pop_back(); }, DGSTATUS_INTERNAL_DEVICE_NOT_RESPONSE},
        {"babble", [stale](auto& phases) { phases.assign(100, stale); }, DGSTATUS_INTERNAL_INVALIDDATASET},
    };
}

TEST(SessionLine, OddAnswersEndInAStatusAndTheSessionGoesOn) {
    for (const OddAnswer& odd : oddAnswers()) {
        Script script;
        answerStorageInfo(script);
        const auto session = script.open();
        script.mangle[OperationCode::GetStorageInfo] = odd.mangle;
        StorageInfo info;
        EXPECT_EQ(session->storageInfo(storage, info), odd.status) << odd.what;
        script.mangle.clear();
        // Whatever is left on the line belongs to the transaction before; one more brings it to its end at the latest.
        for (int i = 0; i < 20 && session->storageInfo(storage, info) != DGSTATUS_SUCCESS; ++i) {
        }
        EXPECT_EQ(session->storageInfo(storage, info), DGSTATUS_SUCCESS) << odd.what;
        EXPECT_EQ(info.volumeIdentifier, u"Label") << odd.what;
    }
}

TEST(SessionLine, DataThatNobodyAskedForIsAFault) {
    Script script;
    script.on[OperationCode::DeleteObject] = [](const ParameterContainer&, const Bytes&) {
        return Answer{ResponseCode::OK, {}, bytesOf({1, 2, 3})};
    };
    const auto session = script.open();
    EXPECT_EQ(session->deleteObject(1), DGSTATUS_INTERNAL_INVALIDDATASET);
}

TEST(SessionLine, ADeviceWithoutReferencesSaysSoWhetherItAnnouncesThemOrNot) {
    for (const bool announces : {true, false}) {
        Script script;
        if (announces) {
            script.announce({OperationCode::GetObjectReferences, OperationCode::SetObjectReferences});
        }
        const auto session = script.open();
        std::vector<std::uint32_t> handles;
        EXPECT_EQ(session->references(5, handles), DGSTATUS_NOT_SUPPORT_OP);
        EXPECT_EQ(session->setReferences(5, {1}), DGSTATUS_NOT_SUPPORT_OP);
        EXPECT_EQ(script.commands.size(), announces ? 2U : 0U);
    }
}

TEST(SessionLine, ASessionThatTheDeviceDroppedIsOpenedAnew) {
    Script script;
    answerStorageInfo(script);
    const auto session = script.open();
    const auto answer = script.on[OperationCode::GetStorageInfo];
    script.on[OperationCode::GetStorageInfo] = [&](const ParameterContainer& command, const Bytes& data) {
        const bool reopened = script.count(OperationCode::OpenSession) > 0;
        return reopened ? answer(command, data) : Answer{ResponseCode::SessionNotOpen, {}, {}};
    };
    StorageInfo info;
    EXPECT_EQ(session->storageInfo(storage, info), DGSTATUS_INTERNAL_SESSIONNOTOPEN);
    EXPECT_EQ(session->storageInfo(storage, info), DGSTATUS_SUCCESS);
}

TEST(SessionLine, CallsFromWithinATransferAreRefusedRatherThanWaitingForThemselves) {
    Script script;
    script.on[OperationCode::GetObject] = [](const ParameterContainer&, const Bytes&) {
        return Answer{ResponseCode::OK, {}, patternedBytes(10)};
    };
    const auto session = script.open();
    DGSTATUS inner = DGSTATUS_SUCCESS;
    const BlockSink sink = [&](std::span<const std::byte>) {
        inner = session->deleteObject(1);
        return true;
    };
    EXPECT_EQ(session->getObject(1, 10, sink, {}), DGSTATUS_SUCCESS);
    EXPECT_EQ(inner, DGSTATUS_ABNORMAL_STATUS);
}

TEST(SessionLine, DisconnectingEndsATransferOfAnotherThread) {
    Script script;
    script.on[OperationCode::GetObject] = [](const ParameterContainer&, const Bytes&) {
        return Answer{ResponseCode::OK, {}, patternedBytes(10)};
    };
    const auto session = script.open();
    std::promise<void> inSink;
    std::promise<void> disconnected;
    auto transfer = std::async(std::launch::async, [&] {
        return session->getObject(1, 10,
                                  [&](std::span<const std::byte>) {
                                      inSink.set_value();
                                      disconnected.get_future().wait();
                                      return true;
                                  },
                                  {});
    });
    inSink.get_future().wait();
    session->disconnect();
    disconnected.set_value();
    EXPECT_EQ(transfer.get(), DGSTATUS_NO_DEVICE_ATTACHED);
    EXPECT_FALSE(session->connected());
    std::vector<std::uint32_t> ids;
    EXPECT_EQ(session->storageIds(ids), DGSTATUS_NO_DEVICE_ATTACHED);
}

TEST(SessionLine, CallsOfManyThreadsTakeTurns) {
    Script script;
    answerStorageInfo(script);
    const auto session = script.open();
    std::vector<std::future<int>> threads;
    threads.reserve(4);
    for (int i = 0; i < 4; ++i) {
        threads.push_back(std::async(std::launch::async, [&] {
            int good = 0;
            for (int call = 0; call < 50; ++call) {
                StorageInfo info;
                good += session->storageInfo(storage, info) == DGSTATUS_SUCCESS ? 1 : 0;
            }
            return good;
        }));
    }
    for (auto& thread : threads) {
        EXPECT_EQ(thread.get(), 50);
    }
    EXPECT_EQ(session->transactionCount(), 202U);
}

} // namespace
} // namespace mtpsdk::test
