// SPDX-License-Identifier: MIT
// Stands in for the helper that reads media files; what it does depends on the last component of the path it is asked.

#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>

int main() {
    std::string path;
    for (int character = 0; (character = std::getchar()) != EOF;) {
        if (character != '\0') {
            path += static_cast<char>(character);
            continue;
        }
        const std::string name = path.substr(path.find_last_of('/') + 1);
        if (name == "hang.mp4") {
            for (;;) {
                pause();
            }
        }
        if (name == "crash.mp4") {
            std::_Exit(1);
        }
        while (name == "flood.mp4") {
            std::fputs("endless", stdout);
        }
        if (name == "nonsense.mp4") {
            std::puts("[not an object");
        } else if (name == "wrong kinds.mp4") {
            std::puts(R"({"Title": 7, "Width": "wide", "Height": -3, "FilePath": "/etc/passwd"})");
        } else {
            std::puts(R"({"Title": "Probed", "PlayLength": 61, "Width": 640, "Height": 480})");
        }
        std::fflush(stdout);
        path.clear();
    }
    return 0;
}
