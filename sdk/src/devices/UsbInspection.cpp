// SPDX-License-Identifier: MIT
#include "devices/UsbInspection.h"

#include "transport/usb/UsbAdvice.h"
#include "transport/usb/UsbHolders.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fmt/format.h>
#include <fstream>
#include <system_error>
#include <unistd.h>

namespace mtpsdk {
namespace {

using vemomtpsdk::Finding;
namespace fs = std::filesystem;

std::string line(const fs::path& path) {
    std::ifstream file(path);
    std::string text;
    std::getline(file, text);
    return text;
}

template <typename Number>
Number number(const fs::path& path, int base) {
    return static_cast<Number>(std::strtoul(line(path).c_str(), nullptr, base));
}

std::vector<fs::path> entriesOf(const fs::path& folder) {
    std::vector<fs::path> entries;
    std::error_code error;
    for (auto each = fs::directory_iterator(folder, error); !error && each != fs::directory_iterator();
         each.increment(error)) {
        entries.push_back(each->path());
    }
    std::ranges::sort(entries);
    return entries;
}

/// Takes what an interface's folder tells; false when it could not be MTP.
bool takeInterface(const fs::path& folder, UsbSuspect& suspect) {
    const std::string interfaceClass = line(folder / "bInterfaceClass");
    const bool isStillImage = interfaceClass == "06" && line(folder / "bInterfaceSubClass") == "01" &&
                              line(folder / "bInterfaceProtocol") == "01";
    suspect.isCertain = isStillImage || line(folder / "interface").find("MTP") != std::string::npos;
    // Of no class, but with the three endpoints that MTP takes.
    const bool isPossible = interfaceClass == "ff" && line(folder / "bNumEndpoints") == "03";
    std::error_code error;
    suspect.driver = fs::read_symlink(folder / "driver", error).filename().string();
    return suspect.isCertain || isPossible;
}

} // namespace

UsbSystem UsbSystem::here() {
    using Access = UsbSystem::Access;
    UsbSystem system;
    system.ruleFolders = udevRuleFolders();
    system.access = [](const fs::path& node) {
        if (::access(node.c_str(), R_OK | W_OK) == 0) {
            return Access::granted;
        }
        return errno == ENOENT ? Access::noFile : Access::refused;
    };
    return system;
}

std::vector<UsbSuspect> usbSuspects(const UsbSystem& system, std::size_t& deviceCount) {
    constexpr const char* hubClass = "09";
    std::vector<UsbSuspect> suspects;
    deviceCount = 0;
    const std::vector<fs::path> entries = entriesOf(system.devices);
    for (const fs::path& device : entries) {
        const std::string port = device.filename().string();
        if (port.find(':') != std::string::npos || line(device / "devnum").empty() ||
            line(device / "bDeviceClass") == hubClass) {
            continue;
        }
        ++deviceCount;
        UsbSuspect suspect;
        for (const fs::path& interface : entries) {
            if (interface.filename().string().starts_with(port + ":") && takeInterface(interface, suspect)) {
                suspect.port = port;
                suspect.name = nameInSentence(line(device / "product"), port);
                suspect.bus = number<std::uint8_t>(device / "busnum", 10);
                suspect.address = number<std::uint8_t>(device / "devnum", 10);
                suspect.id = {number<std::uint16_t>(device / "idVendor", 16),
                              number<std::uint16_t>(device / "idProduct", 16)};
                suspects.push_back(suspect);
                break;
            }
        }
    }
    return suspects;
}

std::vector<Finding> examine(const UsbSuspect& suspect, const UsbSystem& system) {
    constexpr const char* aProgram = "usbfs";
    const fs::path node = usbNode(suspect.bus, suspect.address);
    std::vector<Finding> findings;
    const auto add = [&](Finding::Kind kind, const Advice& advice) {
        findings.push_back({kind, advice.problem, advice.remedy});
    };
    const UsbSystem::Access access = system.access(node);
    if (access != UsbSystem::Access::granted) {
        const bool isRuleInstalled = isUdevRuleInstalled(system.ruleFolders);
        Advice advice = access == UsbSystem::Access::noFile
                            ? noNodeAdvice(suspect.name, node)
                            : permissionAdvice(suspect.name, suspect.id, node, isRuleInstalled);
        if (!suspect.isCertain) {
            advice.problem += " Whether it speaks MTP cannot be asked without.";
        }
        add(suspect.isCertain ? Finding::Kind::problem : Finding::Kind::note, advice);
    }
    const std::vector<std::string> programs = programsHolding(node, system.processes);
    if (suspect.driver == aProgram) {
        add(suspect.isCertain ? Finding::Kind::problem : Finding::Kind::note, heldAdvice(suspect.name, programs));
    } else if (!programs.empty()) {
        findings.push_back({Finding::Kind::note,
                            fmt::format("{} is open in {} too, which leaves its files alone.", suspect.name,
                                        fmt::join(programs, ", ")),
                            ""});
    }
    if (!suspect.driver.empty() && suspect.driver != aProgram) {
        findings.push_back({Finding::Kind::note,
                            fmt::format("The system's driver {} has {}; it steps aside while the device is in use.",
                                        suspect.driver, suspect.name),
                            ""});
    }
    return findings;
}

} // namespace mtpsdk
