// SPDX-License-Identifier: MIT
#include "transport/usb/UsbHolders.h"

#include <algorithm>
#include <fmt/format.h>
#include <fstream>
#include <system_error>
#include <unistd.h>

namespace mtpsdk {
namespace {

bool hasOpen(const std::filesystem::path& process, const std::filesystem::path& file) {
    // Processes may end while they are looked at.
    std::error_code error;
    std::error_code gone;
    for (auto each = std::filesystem::directory_iterator(process / "fd", error);
         !error && each != std::filesystem::directory_iterator(); each.increment(error)) {
        if (std::filesystem::read_symlink(each->path(), gone) == file) {
            return true;
        }
    }
    return false;
}

} // namespace

std::filesystem::path usbNode(std::uint8_t bus, std::uint8_t address) {
    return fmt::format("/dev/bus/usb/{:03}/{:03}", bus, address);
}

std::vector<std::string> programsHolding(const std::filesystem::path& node, const std::filesystem::path& processes) {
    std::vector<std::string> programs;
    std::error_code error;
    for (auto each = std::filesystem::directory_iterator(processes, error);
         !error && each != std::filesystem::directory_iterator(); each.increment(error)) {
        const std::filesystem::path& process = each->path();
        const std::string id = process.filename().string();
        const bool isProcess = std::ranges::all_of(id, [](char unit) { return unit >= '0' && unit <= '9'; });
        if (!isProcess || id == std::to_string(::getpid()) || !hasOpen(process, node)) {
            continue;
        }
        std::string name;
        std::ifstream comm(process / "comm");
        std::getline(comm, name);
        programs.push_back(fmt::format("{} (process {})", name, id));
    }
    std::ranges::sort(programs);
    return programs;
}

} // namespace mtpsdk
