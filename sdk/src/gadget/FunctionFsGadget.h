// SPDX-License-Identifier: MIT
#pragma once

#include "gadget/AsyncFiles.h"
#include "gadget/ResponderStream.h"
#include "platform/PosixFile.h"
#include "responder/Responder.h"
#include "vemomtpsdk/Gadget.h"

#include <atomic>
#include <cstddef>
#include <deque>
#include <linux/usb/functionfs.h>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace mtpsdk {

/// A responder on a USB port of this computer, through a mounted FunctionFS instance. One thread does it all: it waits
/// for the control endpoint, for transfers that have ended, for events of the device and for the word to stop.
class FunctionFsGadget {
public:
    /// Describes the function; the instance must be nobody else's. Null, and a sentence in `error`, when it fails.
    [[nodiscard]] static std::unique_ptr<FunctionFsGadget> open(const std::string& folder, std::shared_ptr<Store> store,
                                                                std::string& error);
    ~FunctionFsGadget();
    FunctionFsGadget(const FunctionFsGadget&) = delete;
    FunctionFsGadget& operator=(const FunctionFsGadget&) = delete;

    /// Serves whatever host comes and goes until `stop` is readable. false, and a sentence in `error`, when the
    /// instance is taken away.
    [[nodiscard]] bool serve(int stop, const vemomtpsdk::GadgetListener& listener, std::string& error);

private:
    FunctionFsGadget(const std::string& folder, std::unique_ptr<platform::Descriptor> control,
                     std::unique_ptr<AsyncQueue> queue, std::shared_ptr<Store> store);

    [[nodiscard]] bool handleControl();
    void connect();
    void disconnect();
    void setUp(const usb_ctrlrequest& request);
    void cancelRequest(std::size_t length);
    void answer(const std::vector<std::byte>& data, std::size_t limit);
    void stall(const usb_ctrlrequest& request);
    [[nodiscard]] std::vector<std::byte> deviceStatus() const;
    [[nodiscard]] std::vector<std::byte> extendedEvent() const;

    void flush();
    void forgetAnswer();
    void takeWhatArrived();
    void forgetWhatWasSent();
    void postReads();
    void sendWhatIsDue();
    void sendEvents();
    void queueEvent(std::span<const std::byte> container);

    std::unique_ptr<platform::Descriptor> _control;
    platform::Descriptor _eventRaised;
    std::unique_ptr<AsyncQueue> _queue;
    EndpointFile _toHost;
    EndpointFile _fromHost;
    EndpointFile _events;
    Responder _responder;
    ResponderStream _stream;
    std::atomic<bool> _connected = false;
    bool _told = false;                 ///< the listener was told that it is
    std::optional<std::size_t> _unsent; ///< bytes of the next buffer to the host that the kernel did not take yet
    std::vector<std::byte> _lastEvent;

    std::mutex _mutex; ///< of the queue of events, which the device's watcher fills
    std::deque<std::vector<std::byte>> _raised;
};

} // namespace mtpsdk
