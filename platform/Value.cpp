// SPDX-License-Identifier: MIT
#include "platform/Value.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <mutex>
#include <shared_mutex>
#include <unordered_set>

namespace platform {

namespace {

struct TextHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const noexcept { return std::hash<std::string_view>{}(text); }
};

/// The keys of all dictionaries, each once. Never freed: dictionaries hold plain pointers into it, also during exit.
class KeyTable {
public:
    static KeyTable& instance() {
        static auto* const table = new KeyTable;
        return *table;
    }

    const std::string* intern(std::string_view key) {
        {
            const std::shared_lock lock(_mutex);
            const auto found = _keys.find(key);
            if (found != _keys.end()) {
                return &*found;
            }
        }
        const std::unique_lock lock(_mutex);
        return &*_keys.emplace(key).first;
    }

private:
    std::shared_mutex _mutex;
    std::unordered_set<std::string, TextHash, std::equal_to<>> _keys; // node based: addresses never change
};

/// The table's key for a text. What a thread asked for lately, it finds without the table: the same few keys are set in
/// one dictionary after the other.
const std::string* interned(std::string_view key) {
    constexpr std::size_t remembered = 64;
    thread_local std::array<const std::string*, remembered> recent{};
    const std::size_t last = key.empty() ? 0 : static_cast<unsigned char>(key.back());
    const std::size_t first = key.empty() ? 0 : static_cast<unsigned char>(key.front());
    const std::string*& slot = recent[(key.size() * 7 + first * 5 + last) % remembered];
    if (slot == nullptr || *slot != key) {
        slot = KeyTable::instance().intern(key);
    }
    return slot;
}

template <typename T, typename Stored>
std::optional<T> narrowed(const Stored& stored) {
    if (const auto* flag = std::get_if<bool>(&stored)) {
        return static_cast<T>(*flag);
    }
    if (const auto* number = std::get_if<std::int64_t>(&stored); number && std::in_range<T>(*number)) {
        return static_cast<T>(*number);
    }
    if (const auto* number = std::get_if<std::uint64_t>(&stored); number && std::in_range<T>(*number)) {
        return static_cast<T>(*number);
    }
    return std::nullopt;
}

/// The integer that a real number equals exactly, when there is one in the range of T.
template <typename T>
std::optional<T> exactInteger(double number) {
    // The upper limit is a power of two, so it is exact as a double where the maximum itself is not.
    const double limit = std::ldexp(1.0, std::numeric_limits<T>::digits);
    if (!(number >= static_cast<double>(std::numeric_limits<T>::min()) && number < limit) ||
        std::trunc(number) != number) {
        return std::nullopt;
    }
    return static_cast<T>(number);
}

bool isNumber(Value::Kind kind) {
    return kind == Value::Kind::boolean || kind == Value::Kind::signedInteger || kind == Value::Kind::unsignedInteger ||
           kind == Value::Kind::real;
}

bool equalNumbers(const Value& left, const Value& right) {
    if (left.kind() == Value::Kind::real && right.kind() == Value::Kind::real) {
        return left.real() == right.real();
    }
    if (left.kind() == Value::Kind::real) {
        return equalNumbers(right, left);
    }
    if (right.kind() == Value::Kind::real) {
        const double number = *right.real();
        const auto whole = left.uint64();
        return whole ? whole == exactInteger<std::uint64_t>(number)
                     : left.int64() == exactInteger<std::int64_t>(number);
    }
    // A number that no unsigned 64-bit integer holds is negative, and then a signed one holds it.
    return left.uint64() == right.uint64() && left.int64() == right.int64();
}

std::string arrayDescription(const Array& array) {
    std::string text = "(";
    const char* separator = "";
    for (const Value& value : array) {
        text += separator + value.description();
        separator = ", ";
    }
    return text + ")";
}

std::string objectDescription(const ObjectRef& reference) {
    return reference.object ? fmt::format("<object {}>", fmt::ptr(reference.object.get())) : std::string("(null)");
}

template <typename Entries>
auto entryForKey(Entries& entries, std::string_view key) {
    return std::find_if(entries.begin(), entries.end(), [key](const auto& entry) { return *entry.first == key; });
}

} // namespace

Value::Value(bool value)
    : _value(std::in_place_type<bool>, value) {}
Value::Value(int value)
    : _value(std::in_place_type<std::int64_t>, value) {}
Value::Value(long value)
    : _value(std::in_place_type<std::int64_t>, value) {}
Value::Value(long long value)
    : _value(std::in_place_type<std::int64_t>, value) {}
Value::Value(unsigned value)
    : _value(std::in_place_type<std::uint64_t>, value) {}
Value::Value(unsigned long value)
    : _value(std::in_place_type<std::uint64_t>, value) {}
Value::Value(unsigned long long value)
    : _value(std::in_place_type<std::uint64_t>, value) {}
Value::Value(double value)
    : _value(std::in_place_type<double>, value) {}
Value::Value(const char* value) {
    if (value) {
        _value = std::make_shared<const std::string>(value);
    }
}
Value::Value(std::string_view value)
    : _value(std::make_shared<const std::string>(value)) {}
Value::Value(std::string value)
    : _value(std::make_shared<const std::string>(std::move(value))) {}
Value::Value(const Date& value)
    : _value(value) {}
Value::Value(Array value)
    : _value(std::make_shared<const Array>(std::move(value))) {}
Value::Value(Dictionary value)
    : _value(std::make_shared<Dictionary>(std::move(value))) {}

Value::Kind Value::kind() const {
    // Media dictionaries are made by the hundred thousand: rare, larger alternatives are kept outside.
    static_assert(sizeof(Value) <= sizeof(std::shared_ptr<void>) + sizeof(std::uint64_t));
    // The alternatives stand in the order of the kinds.
    static_assert(std::variant_size_v<decltype(_value)> == static_cast<std::size_t>(Kind::object) + 1);
    return static_cast<Kind>(_value.index());
}

std::optional<bool> Value::boolean() const {
    const auto number = int64();
    if (number) {
        return *number != 0;
    }
    return kind() == Kind::unsignedInteger ? std::optional(true) : std::nullopt;
}

std::optional<std::uint32_t> Value::uint32() const {
    return narrowed<std::uint32_t>(_value);
}

std::optional<std::uint64_t> Value::uint64() const {
    return narrowed<std::uint64_t>(_value);
}

std::optional<std::int64_t> Value::int64() const {
    return narrowed<std::int64_t>(_value);
}

std::optional<double> Value::real() const {
    if (const auto* number = std::get_if<double>(&_value)) {
        return *number;
    }
    if (const auto number = int64()) {
        return static_cast<double>(*number);
    }
    const auto number = uint64();
    return number ? std::optional(static_cast<double>(*number)) : std::nullopt;
}

const std::string* Value::string() const {
    const auto* text = std::get_if<std::shared_ptr<const std::string>>(&_value);
    return text ? text->get() : nullptr;
}

std::optional<Date> Value::date() const {
    const auto* date = std::get_if<Date>(&_value);
    return date ? std::optional(*date) : std::nullopt;
}

const Array* Value::array() const {
    const auto* array = std::get_if<std::shared_ptr<const Array>>(&_value);
    return array ? array->get() : nullptr;
}

const Dictionary* Value::dictionary() const {
    const auto* dictionary = std::get_if<std::shared_ptr<Dictionary>>(&_value);
    return dictionary ? dictionary->get() : nullptr;
}

Dictionary* Value::ownDictionary() {
    auto* dictionary = std::get_if<std::shared_ptr<Dictionary>>(&_value);
    if (dictionary == nullptr) {
        return nullptr;
    }
    if (dictionary->use_count() != 1) {
        *dictionary = std::make_shared<Dictionary>(**dictionary);
    }
    return dictionary->get();
}

std::string Value::description() const {
    switch (kind()) {
    case Kind::null:
        break;
    case Kind::boolean:
        return std::get<bool>(_value) ? "1" : "0";
    case Kind::signedInteger:
        return fmt::format("{}", std::get<std::int64_t>(_value));
    case Kind::unsignedInteger:
        return fmt::format("{}", std::get<std::uint64_t>(_value));
    case Kind::real:
        return fmt::format("{}", std::get<double>(_value));
    case Kind::string:
        return *string();
    case Kind::date:
        return dateDescription(std::get<Date>(_value));
    case Kind::array:
        return arrayDescription(*array());
    case Kind::dictionary:
        return dictionary()->description();
    case Kind::object:
        return objectDescription(*std::get<std::shared_ptr<const ObjectRef>>(_value));
    }
    return "(null)";
}

bool Value::operator==(const Value& other) const {
    if (isNumber(kind()) && isNumber(other.kind())) {
        return equalNumbers(*this, other);
    }
    if (_value.index() != other._value.index()) {
        return false;
    }
    switch (kind()) {
    case Kind::string:
        return *string() == *other.string();
    case Kind::array:
        return array() == other.array() || *array() == *other.array();
    case Kind::dictionary:
        return dictionary() == other.dictionary() || *dictionary() == *other.dictionary();
    case Kind::object:
        return *std::get<std::shared_ptr<const ObjectRef>>(_value) ==
               *std::get<std::shared_ptr<const ObjectRef>>(other._value);
    default:
        return _value == other._value;
    }
}

Dictionary::Dictionary(std::initializer_list<std::pair<std::string_view, Value>> entries) {
    _entries.reserve(entries.size());
    for (const auto& [key, value] : entries) {
        set(key, value);
    }
}

void Dictionary::set(std::string_view key, Value value) {
    const auto found = entryForKey(_entries, key);
    if (found != _entries.end()) {
        found->second = std::move(value);
    } else {
        _entries.emplace_back(interned(key), std::move(value));
    }
}

void Dictionary::remove(std::string_view key) {
    const auto found = entryForKey(_entries, key);
    if (found != _entries.end()) {
        _entries.erase(found);
    }
}

void Dictionary::merge(const Dictionary& other) {
    if (this == &other) {
        return;
    }
    if (_entries.empty()) {
        _entries.insert(_entries.end(), other._entries.begin(), other._entries.end());
        return;
    }
    for (const Entry& entry : other._entries) {
        const auto found = entryForKey(_entries, *entry.first);
        if (found != _entries.end()) {
            found->second = entry.second;
        } else {
            _entries.push_back(entry);
        }
    }
}

const Value* Dictionary::find(std::string_view key) const {
    const auto found = entryForKey(_entries, key);
    return found != _entries.end() ? &found->second : nullptr;
}

std::optional<std::string> Dictionary::string(std::string_view key) const {
    const Value* value = find(key);
    const std::string* text = value ? value->string() : nullptr;
    return text ? std::optional(*text) : std::nullopt;
}

std::optional<std::uint32_t> Dictionary::uint32(std::string_view key) const {
    const Value* value = find(key);
    return value ? value->uint32() : std::nullopt;
}

std::optional<std::uint64_t> Dictionary::uint64(std::string_view key) const {
    const Value* value = find(key);
    return value ? value->uint64() : std::nullopt;
}

const Array* Dictionary::array(std::string_view key) const {
    const Value* value = find(key);
    return value ? value->array() : nullptr;
}

const Dictionary* Dictionary::dictionary(std::string_view key) const {
    const Value* value = find(key);
    return value ? value->dictionary() : nullptr;
}

std::string Dictionary::description() const {
    std::vector<const Entry*> sorted;
    sorted.reserve(_entries.size());
    for (const Entry& entry : _entries) {
        sorted.push_back(&entry);
    }
    std::sort(sorted.begin(), sorted.end(),
              [](const Entry* left, const Entry* right) { return *left->first < *right->first; });
    std::string text = "{";
    const char* separator = "";
    for (const Entry* entry : sorted) {
        text += separator + *entry->first + " = " + entry->second.description();
        separator = "; ";
    }
    return text + "}";
}

bool Dictionary::operator==(const Dictionary& other) const {
    return _entries.size() == other._entries.size() &&
           std::all_of(_entries.begin(), _entries.end(), [&other](const Entry& entry) {
               const Value* value = other.find(*entry.first);
               return value && *value == entry.second;
           });
}

} // namespace platform
