// SPDX-License-Identifier: MIT
#include "device/MTPService/PodcastChannel.h"

#include "platform/Log.h"
#include "platform/Paths.h"
#include "platform/Strings.h"

#include <algorithm>

using platform::Dictionary;
using platform::Synchronized;
using platform::Value;

namespace {

constexpr const char* childrenKey = "children";
constexpr const char* urlKey = "Url";

/// The episode's address where it lies; null when it has none.
const std::string* urlOf(const Value& episode) {
    const Value* url = episode.dictionary()->find(urlKey);
    return url == nullptr ? nullptr : url->string();
}

/// The key of an episode among the addresses. An empty element reads as null.
std::string addressOf(const Value& episode) {
    const std::string* url = urlOf(episode);
    return url == nullptr ? std::string() : *url;
}

} // namespace

std::optional<std::string> PodcastChannel::folderName(const MTPServicePrivate& service, const Dictionary& podcast) {
    const auto title = podcast.string("Title");
    std::string name = title ? service.convertAvailableFileName(*title) : std::string();
    if (name.empty() || name == "." || name == ".." || name.find('\0') != std::string::npos) {
        return std::nullopt;
    }
    return name;
}

std::optional<std::string> PodcastChannel::fileName(const Dictionary& episode) {
    const auto path = episode.string("FilePath");
    std::string name = path ? platform::lastPathComponent(*path) : std::string();
    if (name.empty() || name == "/" || name == "." || name == "..") {
        return std::nullopt;
    }
    return name;
}

std::optional<std::int64_t> PodcastChannel::length(const Dictionary& episode) {
    const Value* value = episode.find("Length");
    if (value == nullptr || value->isNull()) {
        return std::nullopt;
    }
    if (const std::string* text = value->string()) { // documents and feeds hold texts
        return static_cast<std::int64_t>(platform::decimalValue(*text));
    }
    return value->int64().value_or(0);
}

PodcastChannel::PodcastChannel(MTPServicePrivate& service, const VXUIPodcastXMLConverter& converter,
                               const std::string& folder, std::string name)
    : _service(service)
    , _converter(converter)
    , _folder(folder)
    , _name(std::move(name))
    , _path(platform::formatText("%@/%@", folder, _name)) {}

void PodcastChannel::open(const Dictionary& podcast) {
    const std::optional<Dictionary> present = _service.checkMtpXmlData(_path, _name, std::nullopt);
    _hadDocument = present.has_value();
    _document = _converter.makePodcastXMLFromPodcastDictionary(present ? *present : podcast, _hadDocument);
    if (auto read = _converter.makePodcastDictionaryFromXML(_document.prettyPrinted())) {
        _service.makeEpisodeFullPath(*read, _path);
        readEpisodes(*read);
        _fields = *std::move(read);
    }
}

void PodcastChannel::readEpisodes(const Dictionary& podcast) {
    if (const platform::Array* episodes = podcast.array(childrenKey)) {
        _episodes = *episodes;
    }
    for (const Value& episode : _episodes) {
        _urls.insert(addressOf(episode));
    }
}

DGSTATUS PodcastChannel::createFolder(const std::optional<std::string>& parent) {
    const Synchronized library(MtpControl::classMonitor());
    MtpControl& control = *_service._mtpControl;
    const auto create = [&] {
        std::uint32_t status = DGSTATUS_SUCCESS;
        _folderNode.reset();
        if (_MTP_COMMON_NODE* node = MtpControl::nodeFromText(parent)) {
            if (const _MTP_FOLDER_NODE* made = control.createFolder(node, _name, &status)) {
                _folderNode = MtpControl::nodeIDText(made);
            }
        } else {
            control.createFolder(_service._currentDeviceNode, _service._storageHeadNode, _path, &_folderNode, &status);
        }
        return static_cast<DGSTATUS>(status);
    };
    DGSTATUS status = create();
    if (status == DGSTATUS_FILE_INVALID_CHAR) {
        _name = _service.convertAvailableFileName(_name);
        _path = platform::formatText("%@/%@", _folder, _name);
        status = create();
    }
    if (!_folderNode) {
        return status == DGSTATUS_SUCCESS ? DGSTATUS_UNSUCCESSFUL : status;
    }
    _service.indexNode(_path, *_folderNode);
    return DGSTATUS_SUCCESS;
}

void PodcastChannel::findFolder(const std::optional<std::string>& parent, const std::string& volumePath) {
    _folderNode = _service.podcastEpisodeNodeWithDefaultNode(parent, volumePath, _name);
}

std::string PodcastChannel::documentPath() const {
    return platform::formatText("%@/%@.xml", _path, _name);
}

std::string PodcastChannel::episodePath(const std::string& fileName) const {
    return platform::formatText("%@/%@", _path, fileName);
}

Dictionary PodcastChannel::podcast() const {
    Dictionary podcast = _fields;
    if (_told.isNull()) {
        _told = _episodes;
    }
    podcast.set(childrenKey, _told);
    return podcast;
}

void PodcastChannel::changed() {
    _isChanged = true;
    _told = Value();
}

bool PodcastChannel::lists(const Dictionary& episode) const {
    const auto url = episode.string(urlKey);
    return url && _urls.contains(*url);
}

SendOutcome PodcastChannel::send(FileSender& sender, OutgoingFile& file) const {
    SendOutcome outcome = sender.send(file);
    if (outcome.status == DGSTATUS_FILE_INVALID_CHAR) {
        file.target = episodePath(_service.convertAvailableFileName(platform::lastPathComponent(file.target)));
        outcome = sender.send(file);
    }
    return outcome;
}

void PodcastChannel::list(const Dictionary& episode, const std::string& fileName) {
    Dictionary listed = episode;
    listed.set("FilePath", fileName); // the document holds names only
    if (lists(episode)) {
        _converter.addPodcastEpisode(listed, &_document); // which says so
        return;
    }
    Dictionary read = VXUIPodcastXMLConverter::episodeFromPost(_converter.appendPodcastEpisode(listed, _document));
    read.set("FilePath", episodePath(fileName));
    _urls.insert(addressOf(_episodes.emplace_back(std::move(read))));
    changed();
}

void PodcastChannel::strike(const Dictionary& episode, const std::string& fileName) {
    auto found = find(episode);
    if (found == _episodes.end()) {
        found = std::ranges::find_if(_episodes, [&](const Value& listed) {
            return platform::equalIgnoringCase(PodcastChannel::fileName(*listed.dictionary()).value_or(""), fileName);
        });
    }
    if (found == _episodes.end()) {
        return;
    }
    // Its own "Url", which a file that lay under another one is listed with.
    _converter.removePodcastEpisode(*found->dictionary(), &_document);
    _urls.extract(addressOf(*found)); // one of them
    _episodes.erase(found);
    changed();
}

void PodcastChannel::tell(QDMtpDeviceNotifier& notifier) const {
    notifier.setChannelName(_name);
    notifier.setPodcastXmlData(podcast());
}

std::optional<std::string> PodcastChannel::fileNameOf(const Dictionary& episode) const {
    const auto found = find(episode);
    const auto listed = found == _episodes.end() ? std::nullopt : fileName(*found->dictionary());
    return listed ? listed : fileName(episode);
}

std::optional<std::uint64_t> PodcastChannel::sizeOnDevice(const std::string& fileName) const {
    const Synchronized library(MtpControl::classMonitor());
    const std::string path = episodePath(fileName);
    const auto node = _service.podcastFileNode(path);
    return node ? std::optional(_service._mtpControl->fileSize(_service._currentDeviceNode, _service._storageHeadNode,
                                                               path, node, nullptr))
                : std::nullopt;
}

platform::Array::const_iterator PodcastChannel::find(const Dictionary& episode) const {
    const auto wanted = episode.string(urlKey);
    return std::ranges::find_if(_episodes, [&](const Value& listed) {
        const std::string* url = urlOf(listed);
        return wanted && url != nullptr && *url == *wanted;
    });
}

bool PodcastChannel::write(std::uint32_t serviceID) {
    if (!_service.sendMtpXmlData(serviceID, &_document, _path, _name, _folderNode)) {
        QD_LOG(3, "Podcast XML Data send is failed.");
        return false;
    }
    return true;
}

void PodcastChannel::remove() {
    const Synchronized library(MtpControl::classMonitor());
    if (_hadDocument) { // one that could not be read may list what is there
        _service.deleteAtDevice(documentPath(), nullptr);
    }
    if (isFolderEmpty()) {
        _service.deleteAtDevice(_path, nullptr);
    }
}

bool PodcastChannel::isFolderEmpty() const {
    auto* node = MtpControl::nodeFromText(_service.exactNodeAtDevice(_path));
    if (node == nullptr || node->Signature != MTP_SIGNATURE_FOLDER) {
        return false;
    }
    _MTP_FILE_NODE* file = nullptr;
    _MTP_FOLDER_NODE* folder = nullptr;
    MtpControl& control = *_service._mtpControl;
    return control.getMTPFileListHead(node, &file, nullptr, nullptr) == DGSTATUS_NO_MORE_DATA &&
           control.getMTPFolderListHead(reinterpret_cast<_MTP_FOLDER_NODE*>(node), _service.currentStorageNode(_path),
                                        &folder, nullptr, nullptr) == DGSTATUS_NO_MORE_DATA;
}
