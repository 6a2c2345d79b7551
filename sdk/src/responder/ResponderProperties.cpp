// SPDX-License-Identifier: MIT
#include "responder/ResponderImplementation.h"

#include "platform/Strings.h"
#include "store/StoreNames.h"

#include <algorithm>

namespace mtpsdk {

namespace {

/// The longest description that is kept, in UTF-16 units.
constexpr std::uint32_t longestText = 0x7000;

} // namespace

void Responder::Implementation::getObjectPropsSupported() {
    std::vector<std::uint16_t> codes;
    const ObjectPropertyWriter writer = propertyWriter();
    for (const ObjectPropertyRow& row : objectProperties()) {
        if (appliesTo(row, static_cast<FormatCode>(parameter(0))) && !writer.isWithheld(row.code)) {
            codes.push_back(raw(row.code));
        }
    }
    give(encode(codes));
}

void Responder::Implementation::getObjectPropDesc() {
    const ObjectPropertyRow* const row = findObjectProperty(parameter(0));
    if (row == nullptr || propertyWriter().isWithheld(row->code) ||
        !appliesTo(*row, static_cast<FormatCode>(parameter(1)))) {
        fail(ResponseCode::ObjectPropNotSupported);
        return;
    }
    ObjectPropDesc description;
    description.property = raw(row->code);
    description.type = row->type;
    description.writable = row->writable;
    description.group = groupOf(row->code);
    description.defaultValue = PropertyValue::zero(row->type).value_or(PropertyValue());
    description.form.flag = row->form;
    description.form.length = row->form == FormFlag::longString ? longestText : 0;
    give(encode(description));
}

void Responder::Implementation::getObjectPropValue() {
    const ObjectPropertyRow* const row = findObjectProperty(parameter(1));
    if (row == nullptr || propertyWriter().isWithheld(row->code)) {
        fail(ResponseCode::ObjectPropNotSupported);
        return;
    }
    ObjectPropertyWriter writer = propertyWriter();
    ByteWriter value;
    const StoreResult result =
        _store->visitObject(parameter(0), [&](const StoreObject& object) { writer.writeValue(value, object, *row); });
    result == StoreResult::ok ? give(value.take()) : fail(responseFor(result));
}

void Responder::Implementation::setObjectPropValue() {
    const ObjectPropertyRow* const row = findObjectProperty(parameter(1));
    PropertyValue value;
    if (row == nullptr) {
        fail(ResponseCode::ObjectPropNotSupported);
    } else if (!decode(_collected, row->type, value)) {
        fail(ResponseCode::InvalidObjectPropFormat);
    } else {
        const ResponseCode code = setProperty(parameter(0), parameter(1), value);
        code == ResponseCode::OK ? succeed() : fail(code);
    }
}

ResponseCode Responder::Implementation::setProperty(Handle handle, std::uint32_t code, const PropertyValue& value) {
    const ObjectPropertyRow* const row = findObjectProperty(code);
    if (row == nullptr || propertyWriter().isWithheld(row->code)) {
        return ResponseCode::ObjectPropNotSupported;
    }
    if (!row->writable) {
        return ResponseCode::AccessDenied;
    }
    if (value.type() != row->type) {
        return ResponseCode::InvalidObjectPropFormat;
    }
    if (row->code == ObjectPropertyCode::ObjectFileName) {
        const StoreResult result = _store->rename(handle, fileNameFrom(value.asText().value_or(u"")));
        return result == StoreResult::nameTaken ? ResponseCode::InvalidObjectPropValue : responseFor(result);
    }
    FormatCode format = FormatCode::Undefined;
    const StoreResult found =
        _store->visitObject(handle, [&format](const StoreObject& object) { format = object.format; });
    if (found == StoreResult::ok && !appliesTo(*row, format)) {
        return ResponseCode::ObjectPropNotSupported;
    }
    const std::vector<std::byte> bytes = encode(value);
    const bool isEmpty = value.asText() && value.asText()->empty();
    StoreProperties properties;
    properties.set(raw(row->code), raw(row->type),
                   isEmpty ? std::string_view()
                           : std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
    return responseFor(_store->setProperties(handle, properties));
}

/// The objects that a property list is asked for; false when the operation has failed.
bool Responder::Implementation::visitListed(std::uint32_t handle, std::uint32_t depth, Look look,
                                            const Store::Visitor& visitor) {
    if (handle == allObjects || (handle == 0 && depth == 0)) {
        // All there is; or, asked for the root itself: the root is no object, so those within it are meant.
        return visitObjects(allStorages, handle == allObjects ? 0 : rootParent, FormatCode{}, visitor);
    }
    if (handle == 0) {
        for (const std::uint32_t storageId : shownStorages()) {
            (void) _store->visitBelow(storageId, 0, depth, visitor, look);
        }
        return true;
    }
    std::uint32_t storageId = 0;
    bool isFolder = false;
    const auto visit = [&](const StoreObject& object) {
        storageId = object.storageId;
        isFolder = object.isFolder();
        if (depth == 0 || depth == everyDepth) {
            visitor(object);
        }
    };
    const StoreResult result = _store->visitObject(handle, visit, look);
    if (result != StoreResult::ok) {
        fail(responseFor(result));
        return false;
    }
    if (isFolder && depth != 0) {
        (void) _store->visitBelow(storageId, handle, depth, visitor, look);
    }
    return true;
}

void Responder::Implementation::getObjectPropList() {
    const PropertyChoice chosen{parameter(2), parameter(2) == 0 ? parameter(3) : 0};
    if (chosen.property == 0 && chosen.group != namingGroup) {
        fail(chosen.group == 0 ? ResponseCode::ParameterNotSupported : ResponseCode::SpecificationByGroupUnsupported);
        return;
    }
    if (chosen.property != 0 && chosen.property != allProperties && findObjectProperty(chosen.property) == nullptr) {
        fail(ResponseCode::ObjectPropNotSupported);
        return;
    }
    const auto format = static_cast<FormatCode>(parameter(1));
    ObjectPropertyWriter writer = propertyWriter();
    ByteWriter list;
    std::uint32_t count = 0;
    list.u32(count); // known at the end
    const Look look = chosen.group == namingGroup ? Look::names : Look::files;
    const bool visited = visitListed(parameter(0), parameter(4), look, [&](const StoreObject& object) {
        if (raw(format) == allFormats || object.format == format) {
            count += writer.writeElements(list, object, chosen);
        }
    });
    if (!visited) {
        return;
    }
    std::vector<std::byte> bytes = list.take();
    ByteWriter known;
    known.u32(count);
    std::ranges::copy(known.take(), bytes.begin());
    give(std::move(bytes));
}

void Responder::Implementation::setObjectPropList() {
    std::vector<ObjectPropElement> elements;
    if (!decode(_collected, elements)) {
        fail(ResponseCode::InvalidDataset, {0});
        return;
    }
    for (std::size_t i = 0; i < elements.size(); ++i) {
        const ResponseCode code = setProperty(elements[i].handle, elements[i].property, elements[i].value);
        if (code != ResponseCode::OK) {
            fail(code, {static_cast<std::uint32_t>(i)});
            return;
        }
    }
    succeed();
}

} // namespace mtpsdk
