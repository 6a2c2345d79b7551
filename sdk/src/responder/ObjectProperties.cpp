// SPDX-License-Identifier: MIT
#include "responder/ObjectProperties.h"

#include "platform/Strings.h"

#include <algorithm>
#include <array>

namespace mtpsdk {

namespace {

using Code = ObjectPropertyCode;
using Kind = ObjectPropertyRow::Kind;

constexpr ObjectPropertyRow own(Code code, DataType type, bool writable = false, FormFlag form = FormFlag::none) {
    return {code, type, writable, Kind::ofEveryObject, form};
}

constexpr ObjectPropertyRow descriptive(Code code, DataType type, FormFlag form = FormFlag::none) {
    return {code, type, true, Kind::descriptive, form};
}

constexpr std::array rows = {
    own(Code::StorageID, DataType::UInt32),
    own(Code::ObjectFormat, DataType::UInt16),
    own(Code::ProtectionStatus, DataType::UInt16),
    own(Code::ObjectSize, DataType::UInt64),
    own(Code::ObjectFileName, DataType::String, true),
    own(Code::DateCreated, DataType::String, false, FormFlag::dateTime),
    own(Code::DateModified, DataType::String, false, FormFlag::dateTime),
    own(Code::ParentObject, DataType::UInt32),
    own(Code::PersistentUniqueObjectIdentifier, DataType::UInt128),
    descriptive(Code::Name, DataType::String),
    descriptive(Code::Artist, DataType::String),
    descriptive(Code::Description, DataType::ArrayUInt16, FormFlag::longString),
    descriptive(Code::Width, DataType::UInt32),
    descriptive(Code::Height, DataType::UInt32),
    descriptive(Code::Duration, DataType::UInt32),
    descriptive(Code::Rating, DataType::UInt16),
    descriptive(Code::Track, DataType::UInt16),
    descriptive(Code::Genre, DataType::String),
    descriptive(Code::UseCount, DataType::UInt32),
    descriptive(Code::SkipCount, DataType::UInt32),
    descriptive(Code::Composer, DataType::String),
    descriptive(Code::EffectiveRating, DataType::UInt16),
    descriptive(Code::OriginalReleaseDate, DataType::String, FormFlag::dateTime),
    descriptive(Code::AlbumName, DataType::String),
    descriptive(Code::AlbumArtist, DataType::String),
    descriptive(Code::DRMStatus, DataType::UInt16),
    descriptive(Code::TotalBitRate, DataType::UInt32),
    descriptive(Code::BitRateType, DataType::UInt16),
    descriptive(Code::SampleRate, DataType::UInt32),
    descriptive(Code::NumberOfChannels, DataType::UInt16),
    descriptive(Code::AudioWAVECodec, DataType::UInt32),
    descriptive(Code::AudioBitRate, DataType::UInt32),
    descriptive(Code::VideoFourCCCodec, DataType::UInt32),
    descriptive(Code::VideoBitRate, DataType::UInt32),
};
static_assert(std::ranges::is_sorted(rows, {}, &ObjectPropertyRow::code));

constexpr std::uint16_t readOnlyStatus = 1;

bool isChosen(const ObjectPropertyRow& row, const PropertyChoice& chosen) {
    return chosen.property == allProperties ||
           (chosen.property != 0 ? raw(row.code) == chosen.property : groupOf(row.code) == chosen.group);
}

} // namespace

std::span<const ObjectPropertyRow> objectProperties() {
    return rows;
}

const ObjectPropertyRow* findObjectProperty(std::uint32_t code) {
    const auto* const found = std::ranges::lower_bound(
        rows, code, {}, [](const ObjectPropertyRow& row) { return std::uint32_t{raw(row.code)}; });
    return found != rows.end() && raw(found->code) == code ? found : nullptr;
}

bool appliesTo(const ObjectPropertyRow& row, FormatCode format) {
    return row.kind == Kind::ofEveryObject || format != FormatCode::Association;
}

std::uint32_t groupOf(ObjectPropertyCode code) {
    switch (code) {
    case Code::StorageID:
    case Code::ObjectFormat:
    case Code::ObjectFileName:
    case Code::ParentObject:
        return namingGroup;
    default:
        return 0;
    }
}

std::u16string ObjectPropertyWriter::name(const StoreObject& object) const {
    const auto told = _lies.names.find(object.name);
    return told != _lies.names.end() ? told->second : platform::toUtf16(object.name);
}

std::uint64_t ObjectPropertyWriter::size(const StoreObject& object) const {
    const auto told = _lies.sizes.find(object.name);
    return told != _lies.sizes.end() ? told->second : object.size;
}

void ObjectPropertyWriter::writeOwn(ByteWriter& out, const StoreObject& object, Code code) {
    switch (code) {
    case Code::StorageID:
        return out.u32(object.storageId);
    case Code::ObjectFormat:
        return out.u16(raw(object.format));
    case Code::ProtectionStatus:
        return out.u16(object.readOnly ? readOnlyStatus : 0);
    case Code::ObjectSize:
        return out.u64(size(object));
    case Code::ObjectFileName:
        return out.string(name(object));
    case Code::DateCreated:
        return out.string(date(object.created));
    case Code::DateModified:
        return out.string(date(object.modified));
    case Code::ParentObject:
        return out.u32(object.parent);
    default:
        return out.u128({object.handle, _identity}); // the persistent identifier: this object of this device
    }
}

void ObjectPropertyWriter::writeValue(ByteWriter& out, const StoreObject& object, const ObjectPropertyRow& row) {
    if (row.kind == Kind::ofEveryObject) {
        writeOwn(out, object, row.code);
        return;
    }
    const StoreProperties::Entry entry = object.properties.find(raw(row.code));
    if (entry.type == raw(row.type)) {
        out.bytes(std::as_bytes(std::span(entry.value)));
    } else if (const auto zero = PropertyValue::zero(row.type)) {
        zero->write(out);
    }
}

void ObjectPropertyWriter::writeElement(ByteWriter& out, const StoreObject& object, const ObjectPropertyRow& row) {
    out.u32(object.handle);
    out.u16(raw(row.code));
    out.u16(raw(row.type));
    writeValue(out, object, row);
}

std::uint32_t ObjectPropertyWriter::writeElements(ByteWriter& out, const StoreObject& object,
                                                  const PropertyChoice& chosen) {
    if (chosen.property != 0 && chosen.property != allProperties) {
        const ObjectPropertyRow* const row = findObjectProperty(chosen.property);
        if (row == nullptr || !appliesTo(*row, object.format) || isWithheld(row->code)) {
            return 0;
        }
        writeElement(out, object, *row);
        return 1;
    }
    std::uint32_t count = 0;
    for (const ObjectPropertyRow& row : rows) {
        if (row.kind == Kind::ofEveryObject && isChosen(row, chosen) && !isWithheld(row.code)) {
            writeElement(out, object, row);
            ++count;
        }
    }
    if (chosen.group != 0) {
        return count; // no descriptive property is in a group
    }
    object.properties.forEach([&](const StoreProperties::Entry& entry) {
        if (isWithheld(static_cast<Code>(entry.code))) {
            return;
        }
        out.u32(object.handle);
        out.u16(entry.code);
        out.u16(entry.type);
        out.bytes(std::as_bytes(std::span(entry.value)));
        ++count;
    });
    return count;
}

} // namespace mtpsdk
