// SPDX-License-Identifier: MIT
#include "host/defaults/XmlProfileHandler.h"

#include "platform/Xml.h"

#include <filesystem>
#include <fstream>
#include <iterator>

namespace host {
namespace {

constexpr std::uintmax_t kMaxProfileBytes = 1 << 20;
constexpr int kMaxDepth = 32;

/// A name that stays inside the folder it is looked up in.
bool isPlainName(const std::string& name) {
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos &&
           name.find('\0') == std::string::npos;
}

std::optional<platform::XmlDocument> parse(const std::string& file) {
    std::error_code error;
    const auto size = std::filesystem::file_size(file, error);
    if (error || size > kMaxProfileBytes) {
        return std::nullopt;
    }
    std::ifstream stream(file, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(stream), {}};
    return platform::XmlDocument::parse(text, {.maxBytes = kMaxProfileBytes});
}

std::string trimmed(const std::string& text) {
    const auto first = text.find_first_not_of(" \t\r\n");
    const auto last = text.find_last_not_of(" \t\r\n");
    return first == std::string::npos ? std::string() : text.substr(first, last - first + 1);
}

/// The value as it can be appended to a storage's path: "/Music/Albums". Empty when the text names no folder below the
/// storage.
std::string folderValue(const std::string& text) {
    std::string value;
    for (const auto& component : std::filesystem::path(text).relative_path()) {
        if (component == "..") {
            return {};
        }
        if (!component.empty() && component != ".") {
            value += "/" + component.string();
        }
    }
    return value;
}

/// Values stand in the elements that hold no others.
void collect(const platform::XmlElement& element, const std::string& parentPath, int depth,
             std::map<std::string, std::string>& entries) {
    const std::string path = parentPath.empty() ? element.name() : parentPath + "/" + element.name();
    auto child = element.firstChild();
    if (!child) {
        if (std::string value = folderValue(trimmed(element.text().value_or(""))); !value.empty()) {
            entries.emplace(path, std::move(value));
        }
    }
    for (; child && depth < kMaxDepth; child = child->next()) {
        collect(*child, path, depth + 1, entries);
    }
}

} // namespace

XmlProfileHandler::XmlProfileHandler(std::vector<std::string> folders)
    : _folders(std::move(folders)) {}

std::optional<std::string> XmlProfileHandler::valueForModelName(const std::optional<std::string>& modelName,
                                                                const std::string& Profile,
                                                                const std::string& nodePath) {
    if (!modelName || !isPlainName(*modelName) || !isPlainName(Profile)) {
        return std::nullopt;
    }
    const std::lock_guard lock(_mutex);
    const auto key = std::pair(*modelName, Profile);
    auto profile = _profiles.find(key);
    if (profile == _profiles.end()) {
        profile = _profiles.emplace(key, readProfile(*modelName, Profile)).first;
    }
    const auto entry = profile->second.find(nodePath);
    return entry == profile->second.end() ? std::nullopt : std::optional(entry->second);
}

XmlProfileHandler::Entries XmlProfileHandler::readProfile(const std::string& modelName,
                                                          const std::string& profile) const {
    Entries entries;
    for (const std::string& folder : _folders) {
        const std::string file = (std::filesystem::path(folder) / modelName / profile).string();
        std::error_code error;
        if (!std::filesystem::is_regular_file(file, error)) {
            continue;
        }
        if (const auto document = parse(file)) {
            collect(*document->root(), "", 0, entries);
        }
        break;
    }
    return entries;
}

} // namespace host
