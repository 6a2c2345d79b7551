// SPDX-License-Identifier: MIT
#include "host/defaults/MediaFileReader.h"

#include <MediaInfo/MediaInfo.h>
#include <cstdint>
#include <cstdlib>
#include <cwchar>
#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace host {
namespace {

using MediaInfoLib::MediaInfo;
using MediaInfoLib::stream_t;

constexpr std::size_t kBlockBytes = 256 << 10;
constexpr std::uint64_t kMaxBytesRead = 256 << 20;

class OpenFile {
public:
    explicit OpenFile(const std::string& path)
        // Not blocking, so that a pipe cannot hold the reader before it is recognised as none of ours.
        : _descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
        struct stat status {};
        if (_descriptor >= 0 && fstat(_descriptor, &status) == 0 && S_ISREG(status.st_mode)) {
            _size = static_cast<std::uint64_t>(status.st_size);
            _isRegular = true;
        }
    }
    ~OpenFile() {
        if (_descriptor >= 0) {
            close(_descriptor);
        }
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    [[nodiscard]] bool isRegular() const { return _isRegular; }
    [[nodiscard]] std::uint64_t size() const { return _size; }
    /// Bytes read at the offset; 0 at the end and on errors.
    [[nodiscard]] std::size_t readAt(std::uint64_t offset, std::vector<std::uint8_t>& block) const {
        const ssize_t count = pread(_descriptor, block.data(), block.size(), static_cast<off_t>(offset));
        return count > 0 ? static_cast<std::size_t>(count) : 0;
    }

private:
    int _descriptor;
    std::uint64_t _size = 0;
    bool _isRegular = false;
};

/// Hands the file to the reader block by block, so that the file's name means nothing to it: no image sequences, no
/// addresses, no names that its text conversion cannot hold.
void feed(const OpenFile& file, MediaInfo& info) {
    constexpr std::size_t kFinished = 0x08;
    std::vector<std::uint8_t> block(kBlockBytes);
    info.Open_Buffer_Init(file.size(), 0);
    std::uint64_t offset = 0;
    for (std::uint64_t total = 0; total < kMaxBytesRead;) {
        const std::size_t count = file.readAt(offset, block);
        if (count == 0) {
            break;
        }
        total += count;
        offset += count;
        if ((info.Open_Buffer_Continue(block.data(), count) & kFinished) != 0) {
            break;
        }
        const std::uint64_t next = info.Open_Buffer_Continue_GoTo_Get();
        if (next != static_cast<std::uint64_t>(-1)) {
            offset = next;
            info.Open_Buffer_Init(file.size(), offset);
        }
    }
    info.Open_Buffer_Finalize();
}

std::string toUtf8(const std::wstring& text) {
    std::string result;
    for (const wchar_t wide : text) {
        const auto code = static_cast<std::uint32_t>(wide); // NOLINT(bugprone-signed-char-misuse): wchar_t is no char
        const auto trail = [&](int shift) { return static_cast<char>(0x80 | ((code >> shift) & 0x3F)); };
        if (code < 0x80) {
            result += static_cast<char>(code);
        } else if (code < 0x800) {
            result += {static_cast<char>(0xC0 | (code >> 6)), trail(0)};
        } else if (code < 0x10000) {
            result += {static_cast<char>(0xE0 | (code >> 12)), trail(6), trail(0)};
        } else if (code < 0x110000) {
            result += {static_cast<char>(0xF0 | (code >> 18)), trail(12), trail(6), trail(0)};
        }
    }
    return result;
}

class Description {
public:
    explicit Description(MediaInfo& info)
        : _info(info) {}

    void addText(const char* key, stream_t stream, const wchar_t* parameter) {
        const std::wstring text = _info.Get(stream, 0, parameter);
        if (!text.empty()) {
            _json[key] = toUtf8(text);
        }
    }
    void addNumber(const char* key, stream_t stream, const wchar_t* parameter, double scale = 1) {
        const std::wstring text = _info.Get(stream, 0, parameter);
        const double number = text.empty() ? 0 : std::wcstod(text.c_str(), nullptr) * scale;
        if (number >= 1 && number < 4294967296.0) {
            _json[key] = static_cast<std::uint32_t>(number);
        }
    }
    [[nodiscard]] std::string line() const {
        return _json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    }

private:
    MediaInfo& _info;
    nlohmann::json _json = nlohmann::json::object();
};

} // namespace

std::string mediaFileInformation(const std::string& path) {
    using namespace MediaInfoLib;
    MediaInfo info;
    Description description(info);
    const OpenFile file(path);
    if (file.isRegular()) {
        feed(file, info);
        description.addText("Title", Stream_General, L"Title");
        description.addText("Artist", Stream_General, L"Performer");
        description.addText("Album", Stream_General, L"Album");
        description.addText("Genre", Stream_General, L"Genre");
        description.addText("VCodec", Stream_Video, L"Format");
        description.addNumber("PlayLength", Stream_General, L"Duration", 0.001);
        description.addNumber("Bitrate", Stream_General, L"OverallBitRate");
        const stream_t picture = info.Count_Get(Stream_Video) > 0 ? Stream_Video : Stream_Image;
        description.addNumber("Width", picture, L"Width");
        description.addNumber("Height", picture, L"Height");
    }
    return description.line();
}

} // namespace host
