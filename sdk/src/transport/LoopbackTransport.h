// SPDX-License-Identifier: MIT
#pragma once

#include "responder/FaultPlan.h"
#include "responder/Responder.h"
#include "transport/Transport.h"

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace mtpsdk {

/// The line to a device in this process: every call drives the responder on the caller's own thread, so bytes go from
/// the sender's block straight into the device's file and back. Waits only where the fault plan says so.
class LoopbackTransport final : public Transport {
public:
    /// What is left of a line for those who may have to pull it: closes the transport, if it still is.
    class Plug {
    public:
        void pull();

    private:
        friend class LoopbackTransport;
        std::mutex _mutex;
        LoopbackTransport* _transport = nullptr;
    };

    LoopbackTransport(std::shared_ptr<Store> store, std::shared_ptr<FaultPlan> faults);
    ~LoopbackTransport() override;

    [[nodiscard]] std::shared_ptr<Plug> plug() const { return _plug; }

    [[nodiscard]] DGSTATUS send(std::span<const std::byte> header, std::uint64_t payloadLength,
                                const BlockSource& source) override;
    [[nodiscard]] DGSTATUS receive(const BlockSink& sink) override;
    [[nodiscard]] DGSTATUS cancel(std::uint32_t transactionId) override;
    [[nodiscard]] DGSTATUS reset() override;
    [[nodiscard]] DGSTATUS readEvent(std::vector<std::byte>& container, std::chrono::milliseconds timeout) override;
    void close() override;

private:
    struct alignas(4096) Page {
        std::array<std::byte, 4096> bytes;
    };

    [[nodiscard]] DGSTATUS sendCommand(std::span<const std::byte> container);
    [[nodiscard]] DGSTATUS sendData(std::span<const std::byte> header, std::uint64_t payloadLength,
                                    const BlockSource& source);
    [[nodiscard]] DGSTATUS receiveData(const BlockSink& sink);
    [[nodiscard]] DGSTATUS waitForDevice(std::chrono::milliseconds delay);
    /// Counts bytes of the data phase; false when the plan lets the device vanish with them.
    [[nodiscard]] bool pass(std::size_t bytes);
    [[nodiscard]] std::span<std::byte> payloadBlock();
    void queueEvent(std::span<const std::byte> container);

    std::shared_ptr<FaultPlan> _faults;
    std::shared_ptr<Plug> _plug = std::make_shared<Plug>();
    std::vector<Page> _pages; ///< a block of data, and before it the page that a header ends

    std::optional<Responder::Phase> _phase; ///< what the device expects or offers next
    std::optional<std::uint64_t> _vanishAfter;

    std::atomic<bool> _closed = false;
    std::mutex _mutex;
    std::condition_variable _changed;
    std::deque<std::vector<std::byte>> _events;

    Responder _responder; ///< last: its events end before the queue goes
};

} // namespace mtpsdk
