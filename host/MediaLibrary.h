// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Export.h"
#include "platform/Value.h"

#include <memory>
#include <optional>
#include <string>

/// Metadata of local files, supplied by the application. Called on the service's worker thread, under no lock.
class MTPSERVICE_EXPORT MediaLibrary {
public:
    virtual ~MediaLibrary();

    /// The application's library; one that knows nothing until setSharedInstance is called.
    static std::shared_ptr<MediaLibrary> sharedInstance();
    static void setSharedInstance(std::shared_ptr<MediaLibrary> library);

    /// The media information of the file at `filePath`, or nothing when there is none to tell. The answer is sent in
    /// place of `info` (the caller's content dictionary), so it must hold "FilePath" and "MediaType" (the media type
    /// bit set: 0x1000001 MP3, 0x2000001 MPEG, 0x4000001 JPEG …) beside the metadata keys ("Title", "Artist", "Album",
    /// "Genre", "TrackNo", "PlayLength" in seconds, "Bitrate" in bits per second, "Width", "Height" in pixels …).
    [[nodiscard]] virtual std::optional<platform::Dictionary> getMediaInfo(const std::string& filePath,
                                                                           const platform::Dictionary& info) = 0;
};
