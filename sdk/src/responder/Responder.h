// SPDX-License-Identifier: MIT
#pragma once

#include "mtp/Codes.h"
#include "store/Store.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

namespace mtpsdk {

class FaultPlan;

/// The device side of MTP over a store: takes command containers, takes or gives data phases block by block, gives
/// response containers. It is driven by whoever owns the line (the loopback transport, a USB gadget), knows no threads
/// and holds no file in memory. All calls must come from one thread at a time; events are raised on the thread that
/// notices them.
class Responder {
public:
    /// The phase that follows.
    enum class Phase { dataOut, dataIn, response };
    using EventSink = std::function<void(std::span<const std::byte> container)>;

    explicit Responder(std::shared_ptr<Store> store, std::shared_ptr<FaultPlan> faults = nullptr);
    ~Responder();
    Responder(const Responder&) = delete;
    Responder& operator=(const Responder&) = delete;

    /// Where event containers go; may be called from the store's watcher thread.
    void setEventSink(EventSink sink);

    /// A whole command container arrived.
    [[nodiscard]] Phase command(std::span<const std::byte> container);
    /// Bytes of the initiator's data container, header included in the first block. May be called any number of times.
    void dataOut(std::span<const std::byte> block);
    /// The initiator's data phase ended; a response follows.
    void dataOutEnd();
    /// Fills `block` with the next bytes of the data container (header first); fewer than its size only at the end, a
    /// response follows then.
    [[nodiscard]] std::size_t dataIn(std::span<std::byte> block);
    /// The response container of the transaction.
    [[nodiscard]] std::vector<std::byte> response();

    /// Class requests. cancel: false when the device refuses; what was received so far is dropped.
    [[nodiscard]] bool cancel(std::uint32_t transactionId);
    void reset();

private:
    class Implementation;
    std::unique_ptr<Implementation> _implementation;
};

} // namespace mtpsdk
