// SPDX-License-Identifier: MIT
#include "gadget/FunctionDescriptors.h"

#include "mtp/Bytes.h"

#include <linux/usb/functionfs.h>
#include <span>
#include <string_view>

namespace mtpsdk {
namespace {

constexpr std::uint8_t imageClass = 0x06;
constexpr std::uint8_t stillImageSubclass = 0x01;
constexpr std::uint8_t ptpProtocol = 0x01;
constexpr std::uint8_t nameString = 1;
constexpr std::uint16_t fullSpeedPacket = 64;
constexpr std::uint16_t highSpeedPacket = 512;
/// An event container with all its parameters fits.
constexpr std::uint16_t eventPacket = 28;
constexpr std::uint8_t eventInterval = 6;
constexpr std::uint32_t descriptorsPerSpeed = 4;

constexpr std::uint32_t compatibleIds = 4; ///< the kind of OS descriptor
constexpr std::uint16_t osDescriptorVersion = 0x0100;
constexpr std::uint16_t english = 0x0409;

void text(ByteWriter& writer, std::string_view value, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
        writer.u8(i < value.size() ? static_cast<std::uint8_t>(value[i]) : 0);
    }
}

void endpoint(ByteWriter& writer, std::uint8_t address, std::uint8_t kind, std::uint16_t packet,
              std::uint8_t interval) {
    writer.u8(USB_DT_ENDPOINT_SIZE);
    writer.u8(USB_DT_ENDPOINT);
    writer.u8(address);
    writer.u8(kind);
    writer.u16(packet);
    writer.u8(interval);
}

void interfaceWith(ByteWriter& writer, std::uint16_t bulkPacket) {
    writer.u8(USB_DT_INTERFACE_SIZE);
    writer.u8(USB_DT_INTERFACE);
    writer.u8(0); // its number, and below the setting's
    writer.u8(0);
    writer.u8(descriptorsPerSpeed - 1);
    writer.u8(imageClass);
    writer.u8(stillImageSubclass);
    writer.u8(ptpProtocol);
    writer.u8(nameString);
    endpoint(writer, USB_DIR_IN | 1, USB_ENDPOINT_XFER_BULK, bulkPacket, 0);
    endpoint(writer, USB_DIR_OUT | 2, USB_ENDPOINT_XFER_BULK, bulkPacket, 0);
    endpoint(writer, USB_DIR_IN | 3, USB_ENDPOINT_XFER_INT, eventPacket, eventInterval);
}

void compatibleId(ByteWriter& writer) {
    constexpr std::size_t idSize = 8;
    constexpr std::size_t reserved = 6;
    writer.u8(1); // interfaces are counted from one here, and from zero below
    writer.u32(sizeof(usb_os_desc_header) + sizeof(usb_ext_compat_desc));
    writer.u16(osDescriptorVersion);
    writer.u16(compatibleIds);
    writer.u8(1);
    writer.u8(0);
    writer.u8(0);
    writer.u8(1);
    text(writer, "MTP", idSize);
    text(writer, "", idSize + reserved);
}

/// The length that every block carries in its second word counts the block itself.
std::vector<std::byte> withHead(std::uint32_t magic, std::vector<std::byte> rest) {
    ByteWriter writer;
    writer.u32(magic);
    writer.u32(static_cast<std::uint32_t>(2 * sizeof(std::uint32_t) + rest.size()));
    writer.bytes(rest);
    return writer.take();
}

} // namespace

std::vector<std::byte> functionDescriptors(bool osDescriptor) {
    ByteWriter writer;
    writer.u32(FUNCTIONFS_HAS_FS_DESC | FUNCTIONFS_HAS_HS_DESC | (osDescriptor ? FUNCTIONFS_HAS_MS_OS_DESC : 0));
    writer.u32(descriptorsPerSpeed);
    writer.u32(descriptorsPerSpeed);
    if (osDescriptor) {
        writer.u32(1);
    }
    interfaceWith(writer, fullSpeedPacket);
    interfaceWith(writer, highSpeedPacket);
    if (osDescriptor) {
        compatibleId(writer);
    }
    return withHead(FUNCTIONFS_DESCRIPTORS_MAGIC_V2, writer.take());
}

std::vector<std::byte> functionStrings() {
    constexpr std::string_view name = "MTP";
    ByteWriter writer;
    writer.u32(1); // texts, and languages
    writer.u32(1);
    writer.u16(english);
    text(writer, name, name.size() + 1);
    return withHead(FUNCTIONFS_STRINGS_MAGIC, writer.take());
}

} // namespace mtpsdk
