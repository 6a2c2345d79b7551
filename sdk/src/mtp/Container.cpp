// SPDX-License-Identifier: MIT
#include "mtp/Container.h"

#include "mtp/Bytes.h"

#include <algorithm>

namespace mtpsdk {
namespace {

void writeHeader(ByteWriter& writer, const ContainerHeader& header) {
    writer.u32(header.length);
    writer.u16(raw(header.type));
    writer.u16(header.code);
    writer.u32(header.transactionId);
}

} // namespace

std::array<std::byte, containerHeaderSize> encodeDataHeader(std::uint16_t code, std::uint32_t transactionId,
                                                            std::uint64_t payload) {
    const bool fits = payload < containerLengthUnknown - containerHeaderSize;
    const auto length = fits ? static_cast<std::uint32_t>(payload + containerHeaderSize) : containerLengthUnknown;
    ByteWriter writer;
    writeHeader(writer, {length, ContainerType::Data, code, transactionId});
    std::array<std::byte, containerHeaderSize> header{};
    std::ranges::copy(writer.take(), header.begin());
    return header;
}

std::vector<std::byte> encodeContainer(ContainerType type, std::uint16_t code, std::uint32_t transactionId,
                                       std::span<const std::uint32_t> parameters) {
    parameters = parameters.first(std::min(parameters.size(), maximumParameters));
    ByteWriter writer;
    writeHeader(writer,
                {static_cast<std::uint32_t>(containerHeaderSize + parameters.size_bytes()), type, code, transactionId});
    for (const std::uint32_t parameter : parameters) {
        writer.u32(parameter);
    }
    return writer.take();
}

std::optional<ContainerHeader> decodeHeader(std::span<const std::byte> bytes) {
    ByteReader reader(bytes);
    ContainerHeader header;
    header.length = reader.u32();
    header.type = static_cast<ContainerType>(reader.u16());
    header.code = reader.u16();
    header.transactionId = reader.u32();
    if (reader.failed()) {
        return std::nullopt;
    }
    return header;
}

std::optional<ParameterContainer> decodeContainer(std::span<const std::byte> bytes) {
    const auto header = decodeHeader(bytes);
    if (!header || header->length != bytes.size()) {
        return std::nullopt;
    }
    ByteReader reader(bytes.subspan(containerHeaderSize));
    if (reader.remaining() % sizeof(std::uint32_t) != 0 ||
        reader.remaining() > maximumParameters * sizeof(std::uint32_t)) {
        return std::nullopt;
    }
    ParameterContainer container{header->type, header->code, header->transactionId, {}, 0};
    while (reader.remaining() > 0) {
        container.parameters[container.count++] = reader.u32();
    }
    return container;
}

} // namespace mtpsdk
