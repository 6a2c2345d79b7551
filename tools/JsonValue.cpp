// SPDX-License-Identifier: MIT
#include "tools/JsonValue.h"

#include "platform/Paths.h"

#include <nlohmann/json.hpp>

#include <algorithm>

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

/// The podcast with no episode but the one whose file bears the name.
platform::Dictionary withEpisodeOf(const platform::Dictionary& podcast, const std::string& name) {
    platform::Array own;
    const auto isOwn = [end = "/" + name](const platform::Value& entry) {
        const auto* episode = entry.dictionary();
        const auto* path = episode == nullptr ? nullptr : episode->find("FilePath");
        return path != nullptr && path->string() != nullptr && path->string()->ends_with(end);
    };
    if (const platform::Array* episodes = podcast.array("children")) {
        std::ranges::copy_if(*episodes, std::back_inserter(own), isOwn);
    }
    platform::Dictionary reduced = podcast;
    reduced.set("children", std::move(own));
    return reduced;
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
    platform::Dictionary info = notification.userInfo;
    if (const platform::Dictionary* podcast = notification.userInfo.dictionary("PodcastXmlInfo")) {
        info.set("PodcastXmlInfo",
                 withEpisodeOf(*podcast, platform::lastPathComponent(info.string("FilePath").value_or(""))));
    }
    Json object = Json::object();
    object["notification"] = notification.name;
    object["userInfo"] = jsonObject(info);
    return line(object);
}

} // namespace tool
