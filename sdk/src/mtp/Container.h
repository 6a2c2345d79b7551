// SPDX-License-Identifier: MIT
#pragma once

#include "mtp/Codes.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>
#include <vector>

namespace mtpsdk {

inline constexpr std::size_t containerHeaderSize = 12;
inline constexpr std::size_t maximumParameters = 5;
/// A data container whose length does not fit its field: the phase ends where the line ends it.
inline constexpr std::uint32_t containerLengthUnknown = 0xFFFFFFFF;

/// The first twelve bytes of every container. `code` is an operation, response or event code by the type.
struct ContainerHeader {
    std::uint32_t length = 0; ///< bytes, header included
    ContainerType type = ContainerType::Command;
    std::uint16_t code = 0;
    std::uint32_t transactionId = 0;
};

/// A command, response or event: a header and up to five parameters.
struct ParameterContainer {
    ContainerType type = ContainerType::Command;
    std::uint16_t code = 0;
    std::uint32_t transactionId = 0;
    std::array<std::uint32_t, maximumParameters> parameters{}; ///< those not sent are 0
    std::size_t count = 0;
};

/// The header of a data container that carries `payload` bytes.
[[nodiscard]] std::array<std::byte, containerHeaderSize>
encodeDataHeader(std::uint16_t code, std::uint32_t transactionId, std::uint64_t payload);
[[nodiscard]] std::vector<std::byte> encodeContainer(ContainerType type, std::uint16_t code,
                                                     std::uint32_t transactionId,
                                                     std::span<const std::uint32_t> parameters);
[[nodiscard]] inline std::vector<std::byte> encodeContainer(ContainerType type, std::uint16_t code,
                                                            std::uint32_t transactionId,
                                                            std::initializer_list<std::uint32_t> parameters) {
    return encodeContainer(type, code, transactionId,
                           std::span<const std::uint32_t>(parameters.begin(), parameters.size()));
}

/// The header in front of `bytes`, or nothing when they are too few. The length is not compared with anything.
[[nodiscard]] std::optional<ContainerHeader> decodeHeader(std::span<const std::byte> bytes);
/// A whole command, response or event container. Nothing when its length field disagrees with the bytes that are
/// there, when it holds part of a parameter or more than five.
[[nodiscard]] std::optional<ParameterContainer> decodeContainer(std::span<const std::byte> bytes);

} // namespace mtpsdk
