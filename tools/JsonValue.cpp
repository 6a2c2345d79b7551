// SPDX-License-Identifier: MIT
#include "tools/JsonValue.h"

#include <nlohmann/json.hpp>

namespace tool {
namespace {

using Json = nlohmann::ordered_json;

Json jsonObject(const platform::Dictionary& dictionary) {
    Json object = Json::object();
    for (const auto& [key, value] : dictionary) {
        object[*key] = jsonValue(value);
    }
    return object;
}

Json jsonArray(const platform::Array& values) {
    Json array = Json::array();
    for (const platform::Value& value : values) {
        array.push_back(jsonValue(value));
    }
    return array;
}

std::string line(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

} // namespace

Json jsonValue(const platform::Value& value) {
    using Kind = platform::Value::Kind;
    switch (value.kind()) {
    case Kind::boolean:
        return *value.boolean();
    case Kind::signedInteger:
        return *value.int64();
    case Kind::unsignedInteger:
        return *value.uint64();
    case Kind::real:
        return *value.real();
    case Kind::string:
        return *value.string();
    case Kind::date:
        return platform::dateDescription(*value.date());
    case Kind::array:
        return jsonArray(*value.array());
    case Kind::dictionary:
        return jsonObject(*value.dictionary());
    case Kind::null:
    case Kind::object:
        break;
    }
    return nullptr;
}

std::string jsonLine(const platform::Dictionary& dictionary) {
    return line(jsonObject(dictionary));
}

std::string jsonLine(const platform::Notification& notification) {
    Json object = Json::object();
    object["notification"] = notification.name;
    object["userInfo"] = jsonObject(notification.userInfo);
    return line(object);
}

} // namespace tool
