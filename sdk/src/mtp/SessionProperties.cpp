// SPDX-License-Identifier: MIT
// The properties of objects, as media players know them.
#include "mtp/SessionImplementation.h"

#include <algorithm>
#include <array>

namespace mtpsdk {
namespace {

struct TextRow {
    ObjectPropertyCode property;
    std::optional<std::u16string> MediaProperties::*field;
};
struct WordRow {
    ObjectPropertyCode property;
    std::optional<std::uint32_t> MediaProperties::*field;
};
struct HalfRow {
    ObjectPropertyCode property;
    std::optional<std::uint16_t> MediaProperties::*field;
};

constexpr std::array textRows = {
    TextRow{ObjectPropertyCode::Name, &MediaProperties::title},
    TextRow{ObjectPropertyCode::Artist, &MediaProperties::artist},
    TextRow{ObjectPropertyCode::Composer, &MediaProperties::composer},
    TextRow{ObjectPropertyCode::AlbumArtist, &MediaProperties::albumArtist},
    TextRow{ObjectPropertyCode::AlbumName, &MediaProperties::album},
    TextRow{ObjectPropertyCode::Genre, &MediaProperties::genre},
    TextRow{ObjectPropertyCode::OriginalReleaseDate, &MediaProperties::releaseDate},
    TextRow{ObjectPropertyCode::Description, &MediaProperties::description},
};
constexpr std::array wordRows = {
    WordRow{ObjectPropertyCode::Duration, &MediaProperties::durationMilliseconds},
    WordRow{ObjectPropertyCode::AudioBitRate, &MediaProperties::bitRate},
    WordRow{ObjectPropertyCode::UseCount, &MediaProperties::playCount},
    WordRow{ObjectPropertyCode::Width, &MediaProperties::width},
    WordRow{ObjectPropertyCode::Height, &MediaProperties::height},
};
constexpr std::array halfRows = {
    HalfRow{ObjectPropertyCode::Rating, &MediaProperties::rating},
    HalfRow{ObjectPropertyCode::Track, &MediaProperties::track},
    HalfRow{ObjectPropertyCode::DRMStatus, &MediaProperties::drm},
};

/// How a media property travels when it is asked for alone and does not say its type; nothing for other properties.
std::optional<DataType> mediaType(std::uint16_t property) {
    const auto is = [property](const auto& row) { return raw(row.property) == property; };
    if (std::ranges::any_of(textRows, is)) {
        return property == raw(ObjectPropertyCode::Description) ? DataType::ArrayUInt16 : DataType::String;
    }
    if (std::ranges::any_of(wordRows, is)) {
        return DataType::UInt32;
    }
    return std::ranges::any_of(halfRows, is) ? std::optional(DataType::UInt16) : std::nullopt;
}

template <typename Value, typename Row>
bool takeInteger(const ObjectPropElement& element, const Row& row, MediaProperties& media) {
    if (element.property != raw(row.property)) {
        return false;
    }
    if (const auto value = element.value.asInteger()) {
        media.*row.field = static_cast<Value>(*value);
    }
    return true;
}

/// A property that the device keeps but does not let anyone write is no failure.
bool isWriteRefusal(DGSTATUS status) {
    return isRefusal(status) || isValueRefusal(status) || status == DGSTATUS_INTERNAL_ACCESSDENIED ||
           status == DGSTATUS_INTERNAL_OBJECTWRITEPROTECTED;
}

} // namespace

bool isRefusal(DGSTATUS status) {
    switch (status) {
    case DGSTATUS_INTERNAL_OPERATIONNOTSUPPORTED:
    case DGSTATUS_INTERNAL_PARAMETERNOTSUPPORTED:
    case DGSTATUS_INTERNAL_NOSPECIFICATIONBYFORMAT:
    case DGSTATUS_INTERNAL_INVALIDPARAMETER:
    case DGSTATUS_INTERNAL_DESTINATIONUNSUPPORTED:
    case DGSTATUS_INTERNAL_INVALIDOBJECTPROPCODE:
    case DGSTATUS_INTERNAL_INVALIDDATASET:
    case DGSTATUS_NOT_SUPPORT_PARAM:
        return true;
    default:
        return false;
    }
}

bool isValueRefusal(DGSTATUS status) {
    return status == DGSTATUS_INTERNAL_INVALIDOBJECTPROPFORMAT || status == DGSTATUS_INTERNAL_INVALIDOBJECTPROPVALUE ||
           status == DGSTATUS_INTERNAL_INVALIDPROPFORMAT || status == DGSTATUS_INTERNAL_INVALIDPROPVALUE;
}

bool isSilentRefusal(DGSTATUS status) {
    return status == DGSTATUS_INTERNAL_GENERALERROR || status == DGSTATUS_INTERNAL_DRIVER_READ_ERROR ||
           status == DGSTATUS_INTERNAL_DEVICE_NOT_RESPONSE;
}

bool mayBeRefusal(DGSTATUS status) {
    return isRefusal(status) || isSilentRefusal(status);
}

bool isLineFailure(DGSTATUS status) {
    return status == DGSTATUS_NO_DEVICE_ATTACHED || status == DGSTATUS_INTERNAL_DEVICE_NOT_RESPONSE ||
           status == DGSTATUS_INTERNAL_DRIVER_READ_ERROR || status == DGSTATUS_IO_CANCEL_SUCCESS ||
           status == DGSTATUS_IO_CANCEL_FAILED;
}

bool takeIntoMedia(const ObjectPropElement& element, MediaProperties& media) {
    for (const TextRow& row : textRows) {
        if (element.property == raw(row.property)) {
            if (auto text = element.value.asText()) {
                media.*row.field = std::move(*text);
            }
            return true;
        }
    }
    return std::ranges::any_of(wordRows,
                               [&](const WordRow& row) { return takeInteger<std::uint32_t>(element, row, media); }) ||
           std::ranges::any_of(halfRows,
                               [&](const HalfRow& row) { return takeInteger<std::uint16_t>(element, row, media); });
}

std::vector<ObjectPropElement> mediaElements(const MediaProperties& media) {
    std::vector<ObjectPropElement> elements;
    const auto add = [&elements](ObjectPropertyCode property, PropertyValue value) {
        elements.push_back({0, raw(property), std::move(value)});
    };
    for (const TextRow& row : textRows) {
        if (const auto& text = media.*row.field) {
            const bool isLong = row.property == ObjectPropertyCode::Description;
            add(row.property, isLong ? PropertyValue::longText(*text) : PropertyValue::string(*text));
        }
    }
    for (const WordRow& row : wordRows) {
        if (const auto& value = media.*row.field) {
            add(row.property, PropertyValue::integer(DataType::UInt32, *value));
        }
    }
    for (const HalfRow& row : halfRows) {
        if (const auto& value = media.*row.field) {
            add(row.property, PropertyValue::integer(DataType::UInt16, *value));
        }
    }
    return elements;
}

const std::vector<std::uint16_t>& Session::Implementation::supportedProperties(std::uint16_t format) {
    const auto known = _supportedProperties.find(format);
    if (known != _supportedProperties.end()) {
        return known->second;
    }
    std::vector<std::uint16_t> properties;
    if (can(OperationCode::GetObjectPropsSupported)) {
        std::vector<std::byte> data;
        const DGSTATUS status = transactions.read(Request(OperationCode::GetObjectPropsSupported, {format}), data);
        if (status != DGSTATUS_SUCCESS || !decode(data, properties)) {
            properties.clear();
        }
        // What is listed is asked for one by one: nothing is twice, however long a list the device makes of it.
        std::ranges::sort(properties);
        properties.erase(std::unique(properties.begin(), properties.end()), properties.end());
    }
    return _supportedProperties[format] = std::move(properties);
}

DGSTATUS Session::Implementation::mediaProperties(std::uint32_t handle, std::uint16_t format, MediaProperties& media) {
    ObjectEntry entry;
    return readBack(handle, format, entry, media);
}

DGSTATUS Session::Implementation::readProperty(std::uint32_t handle, std::uint16_t property, DataType type,
                                               PropertyValue& value) {
    if (!can(OperationCode::GetObjectPropValue)) {
        return DGSTATUS_INTERNAL_OPERATIONNOTSUPPORTED;
    }
    std::vector<std::byte> data;
    const DGSTATUS status = transactions.read(Request(OperationCode::GetObjectPropValue, {handle, property}), data);
    if (status != DGSTATUS_SUCCESS) {
        return status;
    }
    return decode(data, type, value) ? DGSTATUS_SUCCESS : DGSTATUS_INTERNAL_INVALIDDATASET;
}

DGSTATUS Session::Implementation::setProperty(std::uint32_t handle, ObjectPropertyCode property,
                                              const PropertyValue& value) {
    if (!can(OperationCode::SetObjectPropValue)) {
        return DGSTATUS_INTERNAL_OPERATIONNOTSUPPORTED;
    }
    Reply reply;
    return transactions.write(Request(OperationCode::SetObjectPropValue, {handle, raw(property)}), encode(value),
                              reply);
}

void Session::Implementation::keepWritable(std::uint16_t format, std::vector<ObjectPropElement>& elements) {
    if (elements.empty() || !can(OperationCode::SetObjectPropValue)) {
        elements.clear();
        return;
    }
    const auto& supported = supportedProperties(format);
    std::erase_if(elements, [&supported](const ObjectPropElement& element) {
        return std::ranges::count(supported, element.property) == 0;
    });
}

DGSTATUS Session::Implementation::writeProperties(std::uint32_t handle, std::uint16_t format,
                                                  std::span<const ObjectPropElement> elements) {
    for (const ObjectPropElement& element : elements) {
        const DGSTATUS status = setProperty(handle, static_cast<ObjectPropertyCode>(element.property), element.value);
        const bool isRefusedInLists = _listLimits[format].refused.contains(element.property);
        if (isRefusal(status) || (isRefusedInLists && isWriteRefusal(status) && !isValueRefusal(status))) {
            // Some only read what they list; asking for every file costs time.
            std::erase(_supportedProperties[format], element.property);
        } else if (status != DGSTATUS_SUCCESS && !isWriteRefusal(status)) {
            return status;
        }
    }
    return DGSTATUS_SUCCESS;
}

DGSTATUS Session::Implementation::setMediaProperties(std::uint32_t handle, std::uint16_t format,
                                                     const MediaProperties& media) {
    auto elements = mediaElements(media);
    keepWritable(format, elements);
    return writeProperties(handle, format, elements);
}

DGSTATUS Session::Implementation::readBack(std::uint32_t handle, std::uint16_t format, ObjectEntry& entry,
                                           MediaProperties& media) {
    entry = {};
    media = {};
    DGSTATUS status = entryByProperties(handle, entry, &media);
    if (!mayBeRefusal(status)) {
        return status;
    }
    media = {};
    status = entryInstead(status, handle, entry);
    if (status != DGSTATUS_SUCCESS) {
        return status;
    }
    for (const std::uint16_t property : supportedProperties(format)) {
        const auto type = mediaType(property);
        if (!type) {
            continue;
        }
        ObjectPropElement element{handle, property, PropertyValue()};
        status = readProperty(handle, property, *type, element.value);
        if (isLineFailure(status)) {
            return status;
        }
        if (status == DGSTATUS_SUCCESS) {
            takeIntoMedia(element, media);
        }
    }
    return DGSTATUS_SUCCESS;
}

} // namespace mtpsdk
