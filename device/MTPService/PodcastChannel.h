// SPDX-License-Identifier: MIT
#pragma once

#include "device/MTPService/FileSender.h"
#include "ui/VXUIPodcastXMLConverter.h"

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_set>

/// One channel's place on one storage while a job works on it: the folder, the document that will be written at the
/// end, and the episodes that it lists. Used on the job's thread; service and converter must outlive it.
class PodcastChannel {
public:
    /// The channel's folder name: its title without what no file name takes. Nothing for a podcast that has none, or
    /// one that would lead elsewhere.
    [[nodiscard]] static std::optional<std::string> folderName(const MTPServicePrivate& service,
                                                               const platform::Dictionary& podcast);
    /// An episode's local file name, which is its name on the device too; nothing when it names none.
    [[nodiscard]] static std::optional<std::string> fileName(const platform::Dictionary& episode);
    /// The bytes that an episode says it has; nothing when it does not.
    [[nodiscard]] static std::optional<std::int64_t> length(const platform::Dictionary& episode);

    /// `folder` is the device folder that holds the channel folders, `name` the channel's folder name.
    PodcastChannel(MTPServicePrivate& service, const VXUIPodcastXMLConverter& converter, const std::string& folder,
                   std::string name);

    /// Starts with the device's document, less the episodes whose files are gone; without one, with the fields of the
    /// podcast and no episodes.
    void open(const platform::Dictionary& podcast);
    /// Makes the channel's folder where it is missing. `parent` is the node of the folder around it; by path when
    /// missing. The library's status, which is not 0 when there is no folder afterwards.
    DGSTATUS createFolder(const std::optional<std::string>& parent);

    [[nodiscard]] const std::string& name() const { return _name; }
    [[nodiscard]] const std::string& path() const { return _path; }
    /// Takes the folder's node when the folder is there.
    void findFolder(const std::optional<std::string>& parent, const std::string& volumePath);
    /// The channel folder's node, once it is known.
    [[nodiscard]] const std::optional<std::string>& folderNode() const { return _folderNode; }
    [[nodiscard]] std::string documentPath() const;
    [[nodiscard]] std::string episodePath(const std::string& fileName) const;
    /// Whether the device had a document when the channel was opened.
    [[nodiscard]] bool hadDocument() const { return _hadDocument; }
    /// Whether an episode was added or taken out since.
    [[nodiscard]] bool isChanged() const { return _isChanged; }
    /// What the document says, each episode's "FilePath" as its full device path.
    [[nodiscard]] platform::Dictionary podcast() const;
    [[nodiscard]] bool hasEpisodes() const { return !_episodes.empty(); }
    /// Whether an episode of this one's "Url" is listed; never for one without.
    [[nodiscard]] bool lists(const platform::Dictionary& episode) const;

    /// Sends one episode; a name that the device does not take is made safe and tried once more, in `file` too.
    SendOutcome send(FileSender& sender, OutgoingFile& file) const;
    /// The episode's file is on the device: lists it, unless it is listed.
    void list(const platform::Dictionary& episode, const std::string& fileName);
    /// The episode's file is gone: takes what lists it off the list, by "Url" or else by the file.
    void strike(const platform::Dictionary& episode, const std::string& fileName);
    /// Gives the notifier the channel's name and what the document says now.
    void tell(QDMtpDeviceNotifier& notifier) const;
    /// The name of an episode's file on the device: as the document lists it, else as the episode names it.
    [[nodiscard]] std::optional<std::string> fileNameOf(const platform::Dictionary& episode) const;
    /// The bytes of a file in the channel's folder; nothing when there is none.
    [[nodiscard]] std::optional<std::uint64_t> sizeOnDevice(const std::string& fileName) const;
    /// Writes the document; false (logged) when the device does not have it afterwards.
    bool write(std::uint32_t serviceID);
    /// Deletes the document, and the folder when nothing else lies in it.
    void remove();

private:
    [[nodiscard]] bool isFolderEmpty() const;
    [[nodiscard]] platform::Array::const_iterator find(const platform::Dictionary& episode) const;
    void readEpisodes(const platform::Dictionary& podcast);
    void changed();

    MTPServicePrivate& _service;
    const VXUIPodcastXMLConverter& _converter;
    std::string _folder;
    std::string _name;
    std::string _path;
    std::optional<std::string> _folderNode;
    platform::XmlDocument _document;
    /// What reading the document back would give. Kept beside it, so that a long channel is not read again for each of
    /// its episodes.
    platform::Dictionary _fields;
    platform::Array _episodes;
    /// The episodes as the dictionary holds them, shared with those who were told of them, until they change.
    mutable platform::Value _told;
    std::unordered_multiset<std::string> _urls; // a device's document may list one twice
    bool _hadDocument = false;
    bool _isChanged = false;
};
