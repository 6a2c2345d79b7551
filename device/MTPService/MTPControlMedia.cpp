// SPDX-License-Identifier: MIT
#include "device/MTPService/MTPControl.h"
#include "device/MTPService/MTPControlPath.h"
#include "device/MTPService/MTPControlRecords.h"
#include "vemomtpsdk/Functions.h"

#include <algorithm>
#include <array>

using mtpcontrol::nodeText;
using platform::Dictionary;

namespace {

/// A media type and the MTP object format that it is sent as: one table for both directions.
struct FormatRow {
    std::uint32_t mediaType;
    std::uint16_t format;
};
constexpr std::array formats{
    FormatRow{0x1000001, 0x3009}, // MP3
    FormatRow{0x2000001, 0x300B}, // MPEG
    FormatRow{0x2000002, 0x300A}, // AVI
    FormatRow{0x2000008, 0xB981}, // WMV
    FormatRow{0x4000001, 0x3801}, // EXIF/JPEG
    FormatRow{0x4000002, 0x3804}, // BMP
    FormatRow{0x4000004, 0x3807}, // GIF
    FormatRow{0x4000008, 0x380B}, // PNG
};
constexpr std::uint16_t undefinedFormat = 0x3000;

/// The audio track's texts with a one-byte size, and the keys that fill them. The release date is one too, but goes
/// through a conversion.
struct AudioText {
    const char* key;
    RecordText _MTP_AUDIO_TRACK::*text;
    std::uint8_t _MTP_AUDIO_TRACK::*size;
};
constexpr std::array audioTexts{
    AudioText{"Artist", &_MTP_AUDIO_TRACK::artist, &_MTP_AUDIO_TRACK::artistSize},
    AudioText{"Composer", &_MTP_AUDIO_TRACK::composer, &_MTP_AUDIO_TRACK::composerSize},
    AudioText{"AlbumArtist", &_MTP_AUDIO_TRACK::albumArtist, &_MTP_AUDIO_TRACK::albumArtistSize},
    AudioText{"Album", &_MTP_AUDIO_TRACK::album, &_MTP_AUDIO_TRACK::albumSize},
    AudioText{"Genre", &_MTP_AUDIO_TRACK::genre, &_MTP_AUDIO_TRACK::genreSize},
};

// ---- dictionary to record

/// A number as the low 32 bits of its integer part; 0 when the key is missing or no number.
std::uint32_t numberOf(const Dictionary& data, const char* key) {
    const platform::Value* value = data.find(key);
    if (value == nullptr) {
        return 0;
    }
    if (const auto whole = value->uint64()) {
        return static_cast<std::uint32_t>(*whole);
    }
    if (const auto negative = value->int64()) {
        return static_cast<std::uint32_t>(*negative);
    }
    constexpr double limit = 4294967296.0;
    const double real = value->real().value_or(0);
    return real > 0 && real < limit ? static_cast<std::uint32_t>(real) : 0;
}

std::uint16_t shortNumberOf(const Dictionary& data, const char* key) {
    return static_cast<std::uint16_t>(numberOf(data, key));
}

/// Stores a text as a record holds it; an empty or missing one leaves the field as it is.
void storeText(const MtpControl& control, const std::optional<std::string>& value, RecordText& text,
               std::uint8_t& size) {
    std::uint16_t* buffer = nullptr;
    control.convertStringToMtpString(value.value_or(""), &buffer, &size);
    if (buffer != nullptr) {
        text = buffer;
    }
}

_MTP_MEDIA_FILE_INFO* newRecord(std::int32_t signature) {
    auto* record = static_cast<_MTP_MEDIA_FILE_INFO*>(mtpRecordAllocate(sizeof(_MTP_MEDIA_FILE_INFO)));
    if (record == nullptr) {
        QD_LOG(1, "Memory allocate for send Media File is failed.");
        return nullptr;
    }
    record->file.header.Signature = signature;
    return record;
}

/// The description's one-byte size lands on the first byte of the pointer to its text, and the real size field stays
/// 0. Devices have always been sent the record so; it is kept. The text is handed out, since the record can no longer
/// say where it is.
std::uint16_t* storeDescription(const MtpControl& control, const std::string& description, _MTP_AUDIO_TRACK& track) {
    std::uint16_t* buffer = nullptr;
    std::uint8_t size = 0;
    control.convertStringToMtpString(description, &buffer, &size);
    if (buffer != nullptr) {
        track.description = buffer;
        reinterpret_cast<std::uint8_t&>(track.description) = size;
    }
    return buffer;
}

// ---- record to dictionary

void setText(Dictionary& info, const char* key, const std::optional<std::string>& text) {
    if (text && !text->empty()) {
        info.set(key, *text);
    }
}

/// Numbers that a record does not know are 0 in it.
void setNumber(Dictionary& info, const char* key, std::uint32_t number) {
    if (number != 0) {
        info.set(key, number);
    }
}

std::optional<std::string> recordText(const MtpControl& control, const RecordText& text, std::uint32_t size) {
    const std::uint32_t length = control.wildcharLength(text.get(), size);
    return nodeText(text, length + 1);
}

void setDate(const MtpControl& control, Dictionary& info, const char* key, const std::optional<std::string>& text) {
    if (const auto date = text ? control.convertMtpToSystemDate(*text) : std::nullopt) {
        info.set(key, *date);
    }
}

/// The bit set that the format stands for; a format outside the table gives the kind alone.
std::uint32_t mediaTypeOf(const _MTP_MEDIA_FILE_INFO& media) {
    const auto* row = std::find_if(formats.begin(), formats.end(),
                                   [format = media.format](const FormatRow& each) { return each.format == format; });
    if (row != formats.end()) {
        return row->mediaType;
    }
    switch (media.file.header.Signature) {
    case MTP_SIGNATURE_MUSIC_INFO:
        return mtpcontrol::musicBit;
    case MTP_SIGNATURE_VIDEO_INFO:
        return mtpcontrol::videoBit;
    case MTP_SIGNATURE_IMAGE_INFO:
        return mtpcontrol::imageBit;
    default:
        return 0;
    }
}

void addAudio(const MtpControl& control, Dictionary& info, const _MTP_AUDIO_TRACK& track) {
    for (const AudioText& row : audioTexts) {
        setText(info, row.key, recordText(control, track.*row.text, track.*row.size));
    }
    setDate(control, info, "DateReleased", recordText(control, track.releaseDate, track.releaseDateSize));
    if (track.descriptionSize != 0) { // without a size the pointer is none, see storeDescription
        setText(info, "Description", recordText(control, track.description, track.descriptionSize));
    }
    setNumber(info, "PlayLength", track.playLength / 1000);
    setNumber(info, "Rating", track.rating);
    setNumber(info, "PlayCount", track.playCount);
    setNumber(info, "TrackNo", track.trackNumber);
    setNumber(info, "Bitrate", track.bitRate);
}

void addTrack(const MtpControl& control, Dictionary& info, const _MTP_MEDIA_FILE_INFO& media) {
    switch (media.file.header.Signature) {
    case MTP_SIGNATURE_MUSIC_INFO:
        addAudio(control, info, media.audio);
        break;
    case MTP_SIGNATURE_VIDEO_INFO:
        setNumber(info, "PlayLength", media.video.playLength);
        break;
    case MTP_SIGNATURE_IMAGE_INFO:
        setNumber(info, "Width", media.image.width);
        setNumber(info, "Height", media.image.height);
        break;
    default:
        break;
    }
}

} // namespace

void mtpcontrol::describeFile(const MtpControl& control, const _MTP_FILE_NODE& file, Dictionary& info) {
    info.set("FileSize", std::uint64_t{file.size});
    info.set("IsReadOnly", (file.protection & 0xFFU) != 0);
    const auto created = nodeText(file.creationDate, file.creationDateSize);
    const auto modified = nodeText(file.modificationDate, file.modificationDateSize);
    setDate(control, info, "DateCreated", created);
    // Most files were never changed.
    const platform::Value* known = created == modified ? info.find("DateCreated") : nullptr;
    if (known != nullptr) {
        info.set("DateModified", *known);
    } else {
        setDate(control, info, "DateModified", modified);
    }
}

std::uint16_t MtpControl::setMediaFileFormat(std::uint32_t mediaType) const {
    const auto* row = std::find_if(formats.begin(), formats.end(),
                                   [mediaType](const FormatRow& each) { return each.mediaType == mediaType; });
    return row == formats.end() ? undefinedFormat : row->format;
}

_MTP_MEDIA_FILE_INFO* MtpControl::consistOfMusicData(const Dictionary& data, std::uint16_t** description) {
    _MTP_MEDIA_FILE_INFO* record = newRecord(MTP_SIGNATURE_MUSIC_INFO);
    if (record == nullptr) {
        return nullptr;
    }
    _MTP_AUDIO_TRACK& track = record->audio;
    storeText(*this, data.string("Title"), record->title, record->titleSize);
    for (const AudioText& row : audioTexts) {
        storeText(*this, data.string(row.key), track.*row.text, track.*row.size);
    }
    if (const platform::Value* released = data.find("DateReleased")) {
        storeText(*this, convertSystemToMtpDate(released->description()), track.releaseDate, track.releaseDateSize);
    }
    *description = storeDescription(*this, data.string("Description").value_or(""), track);
    track.playLength = numberOf(data, "PlayLength") * 1000; // the track holds milliseconds
    track.rating = shortNumberOf(data, "Rating");
    track.playCount = numberOf(data, "PlayCount");
    track.trackNumber = shortNumberOf(data, "TrackNo");
    track.bitRate = numberOf(data, "Bitrate");
    record->drmProperty = shortNumberOf(data, "DRMProperty");
    return record;
}

_MTP_MEDIA_FILE_INFO* MtpControl::consistOfVideoData(const Dictionary& data) {
    _MTP_MEDIA_FILE_INFO* record = newRecord(MTP_SIGNATURE_VIDEO_INFO);
    if (record != nullptr) {
        record->video.playLength = numberOf(data, "PlayLength"); // seconds, unlike the audio track
    }
    return record;
}

_MTP_MEDIA_FILE_INFO* MtpControl::consistOfImageData(const Dictionary& data) {
    _MTP_MEDIA_FILE_INFO* record = newRecord(MTP_SIGNATURE_IMAGE_INFO);
    if (record == nullptr) {
        return nullptr;
    }
    storeText(*this, data.string("Title"), record->title, record->titleSize);
    record->drmProperty = shortNumberOf(data, "DRMProperty");
    record->image.width = numberOf(data, "Width");
    record->image.height = numberOf(data, "Height");
    return record;
}

_MTP_MEDIA_FILE_INFO* MtpControl::getMediaFileInfo(_MTP_DEVICE_NODE* device, _MTP_STORAGE_NODE* storageHead,
                                                   const NodeID& fileNode, const Text& path, NodeID* foundNode) {
    mtpcontrol::StorageHead head(*this, storageHead);
    _MTP_COMMON_NODE* node = mtpcontrol::fileNode(*this, device, head.address(), fileNode, path);
    if (node == nullptr || node->Signature != MTP_SIGNATURE_FILE) {
        return nullptr;
    }
    _MTP_MEDIA_FILE_INFO* media = nullptr;
    if (getMTPMediaFileInfo(reinterpret_cast<_MTP_FILE_NODE*>(node), &media) != DGSTATUS_SUCCESS) {
        return nullptr;
    }
    if (foundNode != nullptr) {
        *foundNode = nodeIDText(node);
    }
    return media;
}

std::optional<Dictionary> MtpControl::mediaInfoContents(const _MTP_MEDIA_FILE_INFO* media, const Text& fileName,
                                                        const Text& path, const NodeID& nodeID) const {
    if (media == nullptr) {
        return std::nullopt;
    }
    constexpr std::size_t usualKeys = 8;
    Dictionary info;
    info.reserve(usualKeys);
    setText(info, "FileName", fileName ? fileName : nodeText(media->file.name, media->file.nameSize));
    setText(info, "FilePath", path);
    setText(info, "NodeID", nodeID);
    setText(info, "Title", recordText(*this, media->title, media->titleSize));
    addTrack(*this, info, *media);
    mtpcontrol::describeFile(*this, media->file, info);
    setNumber(info, "MediaType", mediaTypeOf(*media));
    setNumber(info, "DRMProperty", media->drmProperty);
    return info;
}
