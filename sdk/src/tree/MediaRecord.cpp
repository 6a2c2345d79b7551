// SPDX-License-Identifier: MIT
#include "tree/MediaRecord.h"

#include "mtp/Formats.h"
#include "tree/RecordTexts.h"

#include <algorithm>
#include <limits>

namespace mtpsdk {
namespace {

constexpr std::uint32_t millisecondsPerSecond = 1000;

using Text = std::optional<std::u16string>;

/// Sizes in a metadata record are one byte wide and wrap, so the text's end is its terminator.
Text textOf(RecordText text) {
    std::u16string read = readRecordText(text);
    return read.empty() ? Text() : Text(std::move(read));
}

template <typename Number>
std::optional<Number> numberOf(Number number) {
    return number == 0 ? std::nullopt : std::optional<Number>(number);
}

void readAudio(const _MTP_AUDIO_TRACK& track, MediaProperties& media) {
    media.artist = textOf(track.artist);
    media.composer = textOf(track.composer);
    media.albumArtist = textOf(track.albumArtist);
    media.album = textOf(track.album);
    media.genre = textOf(track.genre);
    media.releaseDate = textOf(track.releaseDate);
    // Senders store a one-byte size over the pointer's first byte and leave the real size 0: what the pointer names
    // then is not the text.
    media.description = track.descriptionSize == 0 ? Text() : textOf(track.description);
    media.durationMilliseconds = numberOf<std::uint32_t>(track.playLength);
    media.rating = numberOf<std::uint16_t>(track.rating);
    media.playCount = numberOf<std::uint32_t>(track.playCount);
    media.track = numberOf<std::uint16_t>(track.trackNumber);
    media.bitRate = numberOf<std::uint32_t>(track.bitRate);
}

/// A text of its own for a record with a one-byte size; texts of the protocol are short enough for it.
void put(const Text& text, RecordText& field, std::uint8_t& size) {
    constexpr std::size_t longest = std::numeric_limits<std::uint8_t>::max() - 1;
    if (!text || text->empty()) {
        return;
    }
    const std::u16string_view fitting = std::u16string_view(*text).substr(0, longest);
    field = newRecordText(fitting);
    size = field.get() == nullptr ? 0 : static_cast<std::uint8_t>(fitting.size() + 1);
}

void put(const std::u16string& text, RecordText& field, std::uint32_t& size) {
    if (!text.empty()) {
        field = newRecordText(text);
        size = field.get() == nullptr ? 0 : static_cast<std::uint32_t>(text.size() + 1);
    }
}

void writeAudio(const MediaProperties& media, _MTP_AUDIO_TRACK& track) {
    put(media.artist, track.artist, track.artistSize);
    put(media.composer, track.composer, track.composerSize);
    put(media.albumArtist, track.albumArtist, track.albumArtistSize);
    put(media.album, track.album, track.albumSize);
    put(media.genre, track.genre, track.genreSize);
    put(media.releaseDate, track.releaseDate, track.releaseDateSize);
    std::uint32_t size = 0;
    put(media.description.value_or(u""), track.description, size);
    track.descriptionSize = size;
    track.playLength = media.durationMilliseconds.value_or(0);
    track.rating = media.rating.value_or(0);
    track.playCount = media.playCount.value_or(0);
    track.trackNumber = media.track.value_or(0);
    track.bitRate = media.bitRate.value_or(0);
}

void writeFile(const NodeTree& tree, NodeIndex file, _MTP_FILE_NODE& copy) {
    const auto& node = tree.known<_MTP_FILE_NODE>(file);
    copy.header = node.header;
    copy.header.Id = tree.at(file).handle;
    copy.protection = node.protection;
    copy.size = node.size;
    std::uint32_t size = 0;
    put(tree.name(file), copy.name, size);
    copy.nameSize = size;
    size = 0;
    put(readRecordText(node.creationDate), copy.creationDate, size);
    copy.creationDateSize = size;
    size = 0;
    put(readRecordText(node.modificationDate), copy.modificationDate, size);
    copy.modificationDateSize = size;
}

} // namespace

MediaProperties readMediaRecord(const _MTP_MEDIA_FILE_INFO& record) {
    MediaProperties media;
    media.title = textOf(record.title);
    media.drm = numberOf<std::uint16_t>(record.drmProperty);
    switch (record.file.header.Signature) {
    case MTP_SIGNATURE_MUSIC_INFO:
        readAudio(record.audio, media);
        break;
    case MTP_SIGNATURE_VIDEO_INFO:
        if (const std::uint32_t seconds = record.video.playLength) {
            constexpr std::uint32_t longest = std::numeric_limits<std::uint32_t>::max() / millisecondsPerSecond;
            media.durationMilliseconds = std::min(seconds, longest) * millisecondsPerSecond;
        }
        break;
    case MTP_SIGNATURE_IMAGE_INFO:
        media.width = numberOf<std::uint32_t>(record.image.width);
        media.height = numberOf<std::uint32_t>(record.image.height);
        break;
    default:
        break;
    }
    return media;
}

_MTP_MEDIA_FILE_INFO* newMediaRecord(const NodeTree& tree, NodeIndex file, const MediaProperties& media) {
    auto* record = static_cast<_MTP_MEDIA_FILE_INFO*>(mtpRecordAllocate(sizeof(_MTP_MEDIA_FILE_INFO)));
    if (record == nullptr) {
        return nullptr;
    }
    writeFile(tree, file, record->file);
    record->format = tree.at(file).format;
    record->file.header.Signature = mediaSignature(record->format, tree.name(file));
    put(media.title, record->title, record->titleSize);
    record->drmProperty = media.drm.value_or(0);
    switch (record->file.header.Signature) {
    case MTP_SIGNATURE_MUSIC_INFO:
        writeAudio(media, record->audio);
        break;
    case MTP_SIGNATURE_VIDEO_INFO:
        record->video.playLength = media.durationMilliseconds.value_or(0) / millisecondsPerSecond;
        break;
    case MTP_SIGNATURE_IMAGE_INFO:
        record->image.width = media.width.value_or(0);
        record->image.height = media.height.value_or(0);
        break;
    default:
        break;
    }
    return record;
}

void freeMediaRecord(_MTP_MEDIA_FILE_INFO* record) {
    const auto release = [](RecordText text) { mtpRecordFree(text.get()); };
    release(record->file.name);
    release(record->file.creationDate);
    release(record->file.modificationDate);
    release(record->title);
    if (record->file.header.Signature == MTP_SIGNATURE_MUSIC_INFO) {
        const _MTP_AUDIO_TRACK& track = record->audio;
        for (const RecordText text :
             {track.artist, track.composer, track.albumArtist, track.album, track.genre, track.releaseDate}) {
            release(text);
        }
        // With size 0 the field does not name the description's text (see readAudio); whoever made it frees it.
        if (track.descriptionSize != 0) {
            release(track.description);
        }
    } else if (record->file.header.Signature == MTP_SIGNATURE_VIDEO_INFO) {
        const _MTP_VIDEO_TRACK& track = record->video;
        for (const RecordText text :
             {track.reservedText55, track.reservedText60, track.reservedText65, track.reservedText101}) {
            release(text);
        }
    }
    mtpRecordFree(record);
}

} // namespace mtpsdk
