// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace host {

/// Reads a video or image and answers a JSON object on one line with what could be found: "Title", "Artist", "Album",
/// "Genre", "VCodec" (texts), "PlayLength" (seconds), "Bitrate" (bits per second), "Width", "Height" (pixels). Empty
/// for a file that cannot be read. May take long, crash or eat memory on a hostile file: for the helper process only.
[[nodiscard]] std::string mediaFileInformation(const std::string& path);

} // namespace host
