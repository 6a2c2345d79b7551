// SPDX-License-Identifier: MIT
#include "host/defaults/XmlProfileHandler.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <memory>

namespace host {
namespace {

constexpr std::uintmax_t kMaxProfileBytes = 1 << 20;
constexpr int kMaxDepth = 32;

struct DocumentDeleter {
    void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
};
using Document = std::unique_ptr<xmlDoc, DocumentDeleter>;

/// A name that stays inside the folder it is looked up in.
bool isPlainName(const std::string& name) {
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos &&
           name.find('\0') == std::string::npos;
}

Document parse(const std::string& file) {
    std::error_code error;
    const auto size = std::filesystem::file_size(file, error);
    if (error || size > kMaxProfileBytes) {
        return nullptr;
    }
    std::ifstream stream(file, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(stream), {}};
    return Document(xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr,
                                  XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING));
}

/// The element's own text. Entity references are left out, so nothing expands.
std::string ownText(const xmlNode* element) {
    std::string text;
    for (const xmlNode* child = element->children; child; child = child->next) {
        if ((child->type == XML_TEXT_NODE || child->type == XML_CDATA_SECTION_NODE) && child->content) {
            text += reinterpret_cast<const char*>(child->content);
        }
    }
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

void collect(const xmlNode* element, const std::string& parentPath, int depth,
             std::map<std::string, std::string>& entries) {
    for (; element && depth < kMaxDepth; element = element->next) {
        if (element->type != XML_ELEMENT_NODE) {
            continue;
        }
        const std::string name = reinterpret_cast<const char*>(element->name);
        const std::string path = parentPath.empty() ? name : parentPath + "/" + name;
        if (std::string value = folderValue(ownText(element)); !value.empty()) {
            entries.emplace(path, std::move(value));
        }
        collect(element->children, path, depth + 1, entries);
    }
}

} // namespace

XmlProfileHandler::XmlProfileHandler(std::vector<std::string> folders)
    : _folders(std::move(folders)) {
    xmlInitParser();
}

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
        const std::string file = folder + "/" + modelName + "/" + profile;
        std::error_code error;
        if (!std::filesystem::is_regular_file(file, error)) {
            continue;
        }
        if (const Document document = parse(file)) {
            collect(xmlDocGetRootElement(document.get()), "", 0, entries);
        }
        break;
    }
    return entries;
}

} // namespace host
