// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Dates.h"
#include "platform/Export.h"

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <typeindex>
#include <utility>
#include <variant>
#include <vector>

namespace platform {

class Value;
class Dictionary;
using Array = std::vector<Value>;

/// A shared reference to an object of the application or the service, carried through a dictionary unchanged.
struct ObjectRef {
    std::shared_ptr<void> object;
    std::type_index type = typeid(void);
    bool operator==(const ObjectRef& other) const { return object == other.object; }
};

/// One value that crosses the application's border: null, bool, signed or unsigned integer, double, string, date,
/// array, dictionary or object reference.
///
/// Strings are UTF-8. Strings, arrays and dictionaries are shared between copies and immutable once inside a value (but
/// for ownDictionary), so copying and moving are cheap and values may be read from several threads at once.
/// Reading the wrong kind answers "missing" (nullopt or null), never an exception; reading a number accepts any
/// integer kind that holds it without loss, and a boolean as 0 or 1.
class MTPSERVICE_EXPORT Value {
public:
    enum class Kind { null, boolean, signedInteger, unsignedInteger, real, string, date, array, dictionary, object };

    Value() = default;
    Value(std::nullptr_t) {}
    Value(bool value);
    Value(int value);
    Value(long value);
    Value(long long value);
    Value(unsigned value);
    Value(unsigned long value);
    Value(unsigned long long value);
    Value(double value);
    Value(const char* value);
    Value(std::string_view value);
    Value(std::string value);
    Value(const Date& value);
    Value(Array value);
    Value(Dictionary value);
    template <typename T>
    Value(std::shared_ptr<T> object)
        : _value(std::make_shared<const ObjectRef>(ObjectRef{std::move(object), typeid(T)})) {}
    /// Other pointers would silently become booleans.
    template <typename T>
    requires(!std::is_same_v<std::remove_cv_t<T>, char>) Value(T* pointer)
    = delete;

    [[nodiscard]] Kind kind() const;
    [[nodiscard]] bool isNull() const { return kind() == Kind::null; }

    /// A boolean, or any integer as "not zero".
    [[nodiscard]] std::optional<bool> boolean() const;
    [[nodiscard]] std::optional<std::uint32_t> uint32() const;
    [[nodiscard]] std::optional<std::uint64_t> uint64() const;
    [[nodiscard]] std::optional<std::int64_t> int64() const;
    /// A real number, or any integer converted.
    [[nodiscard]] std::optional<double> real() const;
    /// The string, or null when this is none. Valid while this value (or a copy of it) lives.
    [[nodiscard]] const std::string* string() const;
    [[nodiscard]] std::optional<Date> date() const;
    [[nodiscard]] const Array* array() const;
    [[nodiscard]] const Dictionary* dictionary() const;
    /// The dictionary for changes, which only this value sees: one that copies share is copied first. Null when this is
    /// none. Not while another thread may copy this value or drop a copy.
    [[nodiscard]] Dictionary* ownDictionary();
    /// The object when the reference was made from a `std::shared_ptr<T>` of exactly this T, else null.
    template <typename T>
    [[nodiscard]] std::shared_ptr<T> object() const {
        const auto* stored = std::get_if<std::shared_ptr<const ObjectRef>>(&_value);
        return stored && (*stored)->type == typeid(T) ? std::static_pointer_cast<T>((*stored)->object) : nullptr;
    }

    /// Text for logs: plain for strings and numbers, "(a, b)" for arrays, "{key = value; …}" (keys sorted) for
    /// dictionaries, "(null)" for null.
    [[nodiscard]] std::string description() const;

    /// Equality by value; numbers (booleans as 0 and 1 among them) compare by number whatever their kind.
    bool operator==(const Value& other) const;

private:
    std::variant<std::monostate, bool, std::int64_t, std::uint64_t, double, std::shared_ptr<const std::string>, Date,
                 std::shared_ptr<const Array>, std::shared_ptr<Dictionary>, std::shared_ptr<const ObjectRef>>
        _value;
};

/// Case-sensitive string keys to values, in order of insertion. Keys are interned, so many dictionaries with the same
/// keys cost one pointer a key. Meant for tens of entries; lookups are linear.
class MTPSERVICE_EXPORT Dictionary {
public:
    using Entry = std::pair<const std::string*, Value>;

    Dictionary() = default;
    Dictionary(std::initializer_list<std::pair<std::string_view, Value>> entries);

    /// Adds or replaces. Setting a null value stores null; use remove to take an entry out.
    void set(std::string_view key, Value value);
    void remove(std::string_view key);
    void reserve(std::size_t count) { _entries.reserve(count); }
    /// Adds every entry of `other`, replacing equal keys.
    void merge(const Dictionary& other);

    /// The value under the key, or null when absent. Valid until the dictionary changes.
    [[nodiscard]] const Value* find(std::string_view key) const;
    [[nodiscard]] bool contains(std::string_view key) const { return find(key) != nullptr; }
    [[nodiscard]] std::size_t size() const { return _entries.size(); }
    [[nodiscard]] bool empty() const { return _entries.empty(); }

    /// Typed reads: nullopt (or null) when the key is absent or holds another kind.
    [[nodiscard]] std::optional<std::string> string(std::string_view key) const;
    [[nodiscard]] std::optional<std::uint32_t> uint32(std::string_view key) const;
    [[nodiscard]] std::optional<std::uint64_t> uint64(std::string_view key) const;
    [[nodiscard]] const Array* array(std::string_view key) const;
    [[nodiscard]] const Dictionary* dictionary(std::string_view key) const;
    template <typename T>
    [[nodiscard]] std::shared_ptr<T> object(std::string_view key) const {
        const Value* value = find(key);
        return value ? value->object<T>() : nullptr;
    }

    [[nodiscard]] auto begin() const { return _entries.begin(); }
    [[nodiscard]] auto end() const { return _entries.end(); }

    [[nodiscard]] std::string description() const;
    /// Same keys with equal values, in whatever order.
    bool operator==(const Dictionary& other) const;

private:
    std::vector<Entry> _entries;
};

} // namespace platform
