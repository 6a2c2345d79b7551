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

/// The group of what names an object and says where it lies: told without a look at the file itself.
inline constexpr std::uint32_t namingGroup = 1;
/// 0: in none.
[[nodiscard]] std::uint32_t groupOf(ObjectPropertyCode code);

/// What a property list is asked for: one property, or all (allProperties), or those of a group (property 0).
struct PropertyChoice {
    std::uint32_t property = 0;
    std::uint32_t group = 0;
};

/// Writes the values of objects' properties, as the device tells them (lies of the plan included; `faults` may be
/// null).
class ObjectPropertyWriter {
public:
    ObjectPropertyWriter(std::uint64_t deviceIdentity, FaultPlan::Lies lies)
        : _identity(deviceIdentity)
        , _lies(std::move(lies)) {}

    /// The value alone; that of a descriptive property that was never set is zero or empty.
    void writeValue(ByteWriter& out, const StoreObject& object, const ObjectPropertyRow& row);
    /// The rows of a property list for what is chosen of the object, leaving out what was never set unless it was
    /// asked for alone. Answers how many.
    std::uint32_t writeElements(ByteWriter& out, const StoreObject& object, const PropertyChoice& chosen);

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
