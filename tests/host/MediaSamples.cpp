// SPDX-License-Identifier: MIT
#include "tests/host/MediaSamples.h"

#include <string_view>

namespace samples {
namespace {

std::string bigEndian(std::uint32_t value, int bytes) {
    std::string text;
    for (int shift = (bytes - 1) * 8; shift >= 0; shift -= 8) {
        text += static_cast<char>(value >> shift);
    }
    return text;
}

std::string littleEndian(std::uint32_t value, int bytes) {
    const std::string text = bigEndian(value, bytes);
    return {text.rbegin(), text.rend()};
}

std::string id3Frame(std::string_view id, std::string_view latin1) {
    return std::string(id) + bigEndian(static_cast<std::uint32_t>(latin1.size() + 1), 4) + std::string(3, '\0') +
           std::string(latin1);
}

std::string id3Size(std::uint32_t size) {
    return {static_cast<char>(size >> 21), static_cast<char>((size >> 14) & 0x7F),
            static_cast<char>((size >> 7) & 0x7F), static_cast<char>(size & 0x7F)};
}

std::uint32_t crc(std::string_view bytes) {
    std::uint32_t value = 0xFFFFFFFF;
    for (const unsigned char byte : bytes) {
        value ^= byte;
        for (int bit = 0; bit < 8; ++bit) {
            value = (value >> 1) ^ ((value & 1) != 0 ? 0xEDB88320 : 0);
        }
    }
    return ~value;
}

std::string pngChunk(const std::string& type, const std::string& data) {
    return bigEndian(static_cast<std::uint32_t>(data.size()), 4) + type + data + bigEndian(crc(type + data), 4);
}

} // namespace

std::string wav() {
    const std::string data(8000, '\x80');
    const std::string format = littleEndian(1, 2) + littleEndian(1, 2) + littleEndian(8000, 4) + littleEndian(8000, 4) +
                               littleEndian(1, 2) + littleEndian(8, 2);
    const std::string body = "WAVEfmt " + littleEndian(16, 4) + format + "data" + littleEndian(8000, 4) + data;
    return "RIFF" + littleEndian(static_cast<std::uint32_t>(body.size()), 4) + body;
}

std::string taggedMp3() {
    const std::string tags = id3Frame("TIT2", "T\xEFtle") + id3Frame("TPE1", "Artist") + id3Frame("TALB", "Album") +
                             id3Frame("TPE2", "Various") + id3Frame("TCOM", "Composer") + id3Frame("TRCK", "7/12") +
                             id3Frame("TYER", "1999") + id3Frame("TCON", "Jazz");
    std::string file = std::string("ID3\x03\0\0", 6) + id3Size(static_cast<std::uint32_t>(tags.size())) + tags;
    for (int frame = 0; frame < 40; ++frame) {
        file += "\xFF\xFB\x90\x64" + std::string(413, '\0');
    }
    return file;
}

std::string png(std::uint32_t width, std::uint32_t height) {
    const std::string header = bigEndian(width, 4) + bigEndian(height, 4) + std::string("\x08\x02\0\0\0", 5);
    return "\x89PNG\r\n\x1A\n" + pngChunk("IHDR", header) +
           pngChunk("IDAT", std::string("\x78\x9C\x03\0\0\0\0\x01", 8)) + pngChunk("IEND", "");
}

std::string jpeg(std::uint16_t width, std::uint16_t height) {
    const std::string frame = "\x08" + bigEndian(height, 2) + bigEndian(width, 2) + std::string("\x01\x01\x11\0", 4);
    return std::string("\xFF\xD8\xFF\xE0\0\x10JFIF\0\x01\x01\0\0\x01\0\x01\0\0", 20) + "\xFF\xC0" +
           bigEndian(static_cast<std::uint32_t>(frame.size() + 2), 2) + frame +
           std::string("\xFF\xDA\0\x08\x01\x01\0\0\x3F\0\0\xFF\xD9", 13);
}

} // namespace samples
