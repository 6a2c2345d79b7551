// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <vector>

/// Playlist files of the computer: .m3u and .m3u8.
namespace tool {

/// The entries of a playlist file in order, as UTF-8. Comments and empty lines are left out, as are a byte order mark
/// and blanks around an entry; lines may end in any of the usual ways. What is no UTF-8 is read as Latin-1.
[[nodiscard]] std::vector<std::string> parsePlaylist(std::string_view content);

/// The content of an .m3u8 file with these entries.
[[nodiscard]] std::string playlistText(const std::vector<std::string>& entries);

/// The names that an entry's path is made of, the last of them the file's: "/" and "\\" separate, "file://" and drive
/// letters go, "%20" is decoded in the former. Empty for an entry that names no file (a stream's address).
[[nodiscard]] std::vector<std::string> entryComponents(std::string_view entry);

/// Whether the path's extension says that it is a playlist file.
[[nodiscard]] bool isPlaylistFile(std::string_view path);

} // namespace tool
