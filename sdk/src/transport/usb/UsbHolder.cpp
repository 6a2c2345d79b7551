// SPDX-License-Identifier: MIT
#include "transport/usb/UsbHolder.h"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <set>
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

std::string programsHolding(std::uint8_t bus, std::uint8_t address) {
    const std::filesystem::path file = fmt::format("/dev/bus/usb/{:03}/{:03}", bus, address);
    std::set<std::string> programs;
    std::error_code error;
    for (auto each = std::filesystem::directory_iterator("/proc", error);
         !error && each != std::filesystem::directory_iterator(); each.increment(error)) {
        const std::filesystem::path& process = each->path();
        const std::string id = process.filename().string();
        const bool isProcess = std::ranges::all_of(id, [](char unit) { return unit >= '0' && unit <= '9'; });
        if (!isProcess || id == std::to_string(::getpid()) || !hasOpen(process, file)) {
            continue;
        }
        std::string name;
        std::ifstream comm(process / "comm");
        std::getline(comm, name);
        programs.insert(fmt::format("{} (process {})", name, id));
    }
    return fmt::format("{}", fmt::join(programs, ", "));
}

} // namespace mtpsdk
