// SPDX-License-Identifier: MIT
#pragma once

#include "host/MediaLibrary.h"
#include "host/defaults/MediaProbe.h"

#include <chrono>
#include <functional>
#include <mutex>
#include <string>

namespace host {

/// Media information of local files: music is read in process, videos and images in a helper process, both with a time
/// limit.
/// The answer always holds "FilePath", "FileName", "MediaType" and a "Title" (the name without extension when the file
/// has none), so that every file can be sent, with whatever else could be read. Thread-safe.
class LocalMediaLibrary : public MediaLibrary {
public:
    /// Told the path of a file that is sent without metadata and why, in words for a person. On the asking thread.
    using Warning = std::function<void(const std::string& filePath, const std::string& reason)>;
    struct Options {
        bool readsMetadata = true; ///< false: nothing is opened
        std::string probe;         ///< the helper program; see findProbe
        /// For one file, whoever reads it.
        std::chrono::milliseconds readingLimit = std::chrono::seconds(10);
        Warning warning;
    };

    explicit LocalMediaLibrary(Options options);

    [[nodiscard]] std::optional<platform::Dictionary> getMediaInfo(const std::string& filePath,
                                                                   const platform::Dictionary& info) override;

    /// The helper program of this installation: beside the running program, or in the libexec folder next to its own.
    [[nodiscard]] static std::string findProbe();

private:
    void addProbedInformation(const std::string& filePath, platform::Dictionary& answer);
    void warn(const std::string& filePath, const std::string& reason);

    const Options _options;
    std::mutex _mutex;
    MediaProbe _probe;
    bool _saidUnavailable = false;
};

} // namespace host
