// SPDX-License-Identifier: MIT
// Containers and every dataset. The first byte says which decoder reads the rest; whatever it accepts must come back
// the same when it is encoded and decoded again.
#include "mtp/Container.h"
#include "mtp/Datasets.h"

#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

namespace {

using namespace mtpsdk;

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

template <typename Dataset>
void roundTrip(std::span<const std::byte> bytes) {
    Dataset first{};
    if (!decode(bytes, first)) {
        return;
    }
    Dataset second{};
    require(decode(encode(first), second));
    require(first == second);
}

void roundTripList(std::span<const std::byte> bytes) {
    std::vector<ObjectPropElement> first;
    if (!decode(bytes, first)) {
        return;
    }
    std::vector<ObjectPropElement> second;
    require(decode(encode(std::span<const ObjectPropElement>(first)), second));
    require(first == second);
    for (const ObjectPropElement& element : first) {
        (void) element.value.asText();
        (void) element.value.asInteger();
    }
}

void roundTripValue(std::span<const std::byte> bytes) {
    if (bytes.size() < 2) {
        return;
    }
    const auto type = static_cast<DataType>(static_cast<unsigned>(bytes[0]) | static_cast<unsigned>(bytes[1]) << 8);
    PropertyValue first;
    if (!decode(bytes.subspan(2), type, first)) {
        return;
    }
    PropertyValue second;
    require(decode(encode(first), type, second));
    require(first == second);
}

void roundTripContainer(std::span<const std::byte> bytes) {
    const auto container = decodeContainer(bytes);
    if (!container) {
        return;
    }
    const auto encoded = encodeContainer(container->type, container->code, container->transactionId,
                                         std::span<const std::uint32_t>(container->parameters).first(container->count));
    require(std::equal(encoded.begin(), encoded.end(), bytes.begin(), bytes.end()));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const auto bytes = std::as_bytes(std::span(data, size)).subspan(1);
    constexpr void (*readers[])(std::span<const std::byte>) = {
        roundTrip<DeviceInfo>,
        roundTrip<StorageInfo>,
        roundTrip<ObjectInfo>,
        roundTripList,
        roundTrip<ObjectPropDesc>,
        roundTrip<DevicePropDesc>,
        roundTrip<std::vector<std::uint32_t>>,
        roundTrip<std::vector<std::uint16_t>>,
        roundTripValue,
        roundTripContainer,
    };
    readers[data[0] % std::size(readers)](bytes);
    return 0;
}
