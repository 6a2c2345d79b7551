// SPDX-License-Identifier: MIT
#include "transport/usb/UsbLink.h"

#include "mtp/Bytes.h"
#include "transport/usb/UsbAdvice.h"
#include "transport/usb/UsbHolders.h"

#include <array>
#include <chrono>
#include <libusb.h>
#include <thread>
#include <utility>
#include <vector>

namespace mtpsdk {
namespace {

constexpr std::uint8_t cancelCode = 0x64;
constexpr std::uint8_t resetCode = 0x66;
constexpr std::uint8_t statusCode = 0x67;
constexpr std::uint8_t toInterface = std::uint8_t{LIBUSB_REQUEST_TYPE_CLASS} | std::uint8_t{LIBUSB_RECIPIENT_INTERFACE};
constexpr unsigned waitMilliseconds = 3000;
// Whoever had the device a moment ago may still be letting it go, our own last session before all; and the system may
// still be about to say who may use a device that was just plugged in.
constexpr auto readyLimit = std::chrono::seconds(2);
constexpr auto readyPause = std::chrono::milliseconds(20);

DGSTATUS statusOf(int result) {
    if (result >= 0) {
        return DGSTATUS_SUCCESS;
    }
    if (result == LIBUSB_ERROR_NO_DEVICE) {
        return DGSTATUS_NO_DEVICE_ATTACHED;
    }
    return result == LIBUSB_ERROR_TIMEOUT ? DGSTATUS_INTERNAL_DEVICE_NOT_RESPONSE : DGSTATUS_INTERNAL_DRIVER_READ_ERROR;
}

std::string reasonOf(int error, const UsbDevice& device) {
    const std::string name = nameInSentence(device.product, device.port);
    const std::filesystem::path node = usbNode(device.bus, device.address);
    switch (error) {
    case LIBUSB_ERROR_ACCESS:
        return permissionAdvice(name, {device.vendorId, device.productId}, node, isUdevRuleInstalled(udevRuleFolders()))
            .text();
    case LIBUSB_ERROR_BUSY:
        return heldAdvice(name, programsHolding(node)).text();
    case LIBUSB_ERROR_NO_DEVICE:
        return name + " was unplugged.";
    default:
        return silentAdvice(name, libusb_strerror(error)).text();
    }
}

/// Tries again as long as `isWorthIt` says so of the error, for readyLimit at most; answers the last error.
template <typename Attempt, typename IsWorthIt>
int tryUntilReady(const Attempt& attempt, const IsWorthIt& isWorthIt) {
    const auto end = std::chrono::steady_clock::now() + readyLimit;
    int error = attempt();
    while (error != LIBUSB_SUCCESS && isWorthIt(error) && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(readyPause);
        error = attempt();
    }
    return error;
}

int openOnceAllowed(const UsbDevice& device, libusb_device_handle*& handle) {
    return tryUntilReady([&] { return libusb_open(device.device.get(), &handle); },
                         [&](int error) { return error == LIBUSB_ERROR_ACCESS && timeAttached(device) < readyLimit; });
}

} // namespace

std::unique_ptr<UsbLink> UsbLink::open(const UsbDevice& device, DGSTATUS& status, std::string& reason) {
    device.context->startEvents();
    libusb_device_handle* handle = nullptr;
    int error = openOnceAllowed(device, handle);
    std::unique_ptr<UsbLink> link;
    if (error == LIBUSB_SUCCESS) {
        link.reset(new UsbLink(device, handle));
        error = link->claimOnceFree();
    }
    if (error == LIBUSB_SUCCESS) {
        status = DGSTATUS_SUCCESS;
        return link;
    }
    status = error == LIBUSB_ERROR_NO_DEVICE ? DGSTATUS_NO_DEVICE_ATTACHED : DGSTATUS_DEVICE_OPEN_FAILED;
    reason = reasonOf(error, device);
    return nullptr;
}

UsbLink::UsbLink(UsbDevice device, libusb_device_handle* handle)
    : _device(std::move(device))
    , _handle(handle) {}

UsbLink::~UsbLink() {
    if (_claimed) {
        (void) libusb_release_interface(_handle, interface().number);
    }
    libusb_close(_handle);
}

int UsbLink::claimOnceFree() {
    const std::filesystem::path node = usbNode(_device.bus, _device.address);
    return tryUntilReady([this] { return claim(); },
                         [&](int error) { return error == LIBUSB_ERROR_BUSY && programsHolding(node).empty(); });
}

int UsbLink::claim() {
    (void) libusb_set_auto_detach_kernel_driver(_handle, 1);
    int error = libusb_claim_interface(_handle, interface().number);
    _claimed = error == LIBUSB_SUCCESS;
    if (_claimed && interface().alternate != 0) {
        error = libusb_set_interface_alt_setting(_handle, interface().number, interface().alternate);
    }
    return error;
}

DGSTATUS UsbLink::cancelRequest(std::uint32_t transactionId) {
    constexpr std::uint16_t cancellation = 0x4001;
    ByteWriter writer;
    writer.u16(cancellation);
    writer.u32(transactionId);
    std::vector<std::byte> bytes = writer.take();
    return statusOf(libusb_control_transfer(_handle, LIBUSB_ENDPOINT_OUT | toInterface, cancelCode, 0,
                                            interface().number, reinterpret_cast<unsigned char*>(bytes.data()),
                                            static_cast<std::uint16_t>(bytes.size()), waitMilliseconds));
}

DGSTATUS UsbLink::resetRequest() {
    return statusOf(libusb_control_transfer(_handle, LIBUSB_ENDPOINT_OUT | toInterface, resetCode, 0,
                                            interface().number, nullptr, 0, waitMilliseconds));
}

DGSTATUS UsbLink::statusRequest(DeviceStatus& status) {
    std::array<std::byte, 64> bytes{};
    const int count =
        libusb_control_transfer(_handle, LIBUSB_ENDPOINT_IN | toInterface, statusCode, 0, interface().number,
                                reinterpret_cast<unsigned char*>(bytes.data()), bytes.size(), waitMilliseconds);
    if (count < 0) {
        return statusOf(count);
    }
    const std::span<const std::byte> all = bytes;
    ByteReader reader(all.first(static_cast<std::size_t>(count)));
    (void) reader.u16(); // the length, which the transfer tells as well
    status.code = reader.u16();
    status.parameters.clear();
    while (reader.remaining() >= sizeof(std::uint32_t)) {
        status.parameters.push_back(reader.u32());
    }
    return reader.failed() ? DGSTATUS_INTERNAL_INVALIDDATASET : DGSTATUS_SUCCESS;
}

void UsbLink::clearHalts() {
    (void) libusb_clear_halt(_handle, interface().bulkOut.address);
    (void) libusb_clear_halt(_handle, interface().bulkIn.address);
}

} // namespace mtpsdk
