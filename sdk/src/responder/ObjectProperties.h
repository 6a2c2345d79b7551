// SPDX-License-Identifier: MIT
#pragma once

#include "mtp/Bytes.h"
#include "mtp/Codes.h"
#include "mtp/Datasets.h"
#include "responder/DateText.h"
#include "responder/FaultPlan.h"
#include "store/StoreTypes.h"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace mtpsdk {

/// One object property that the device knows: what every object has, or what describes a file's content.
struct ObjectPropertyRow {
    enum class Kind { ofEveryObject, descriptive };
    ObjectPropertyCode code;
    DataType type;
    bool writable;
    Kind kind;
    FormFlag form;
};

/// All object properties, in the order of their codes.
[[nodiscard]] std::span<const ObjectPropertyRow> objectProperties();
/// Null for one that the device does not know.
[[nodiscard]] const ObjectPropertyRow* findObjectProperty(std::uint32_t code);
/// Whether objects of this format may have it: folders have no descriptive ones.
[[nodiscard]] bool appliesTo(const ObjectPropertyRow& row, FormatCode format);

/// Writes the values of objects' properties, as the device tells them (lies of the plan included; `faults` may be
/// null).
class ObjectPropertyWriter {
public:
    ObjectPropertyWriter(std::uint64_t deviceIdentity, FaultPlan::Lies lies)
        : _identity(deviceIdentity)
        , _lies(std::move(lies)) {}

    /// The value alone; that of a descriptive property that was never set is zero or empty.
    void writeValue(ByteWriter& out, const StoreObject& object, const ObjectPropertyRow& row);
    /// The rows of a property list for one property of the object, or for all (allProperties), leaving out those that
    /// were never set. Answers how many.
    std::uint32_t writeElements(ByteWriter& out, const StoreObject& object, std::uint32_t property);

    [[nodiscard]] std::u16string name(const StoreObject& object) const;
    [[nodiscard]] std::uint64_t size(const StoreObject& object) const;
    [[nodiscard]] std::u16string date(std::int64_t seconds) { return _dates(seconds); }
    [[nodiscard]] bool isWithheld(ObjectPropertyCode code) const { return _lies.withheld.contains(code); }

private:
    void writeOwn(ByteWriter& out, const StoreObject& object, ObjectPropertyCode code);
    void writeElement(ByteWriter& out, const StoreObject& object, const ObjectPropertyRow& row);

    std::uint64_t _identity;
    FaultPlan::Lies _lies;
    DateTexts _dates;
};

} // namespace mtpsdk
