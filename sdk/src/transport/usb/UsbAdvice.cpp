// SPDX-License-Identifier: MIT
#include "transport/usb/UsbAdvice.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <string_view>
#include <system_error>

namespace mtpsdk {
namespace {

/// How programs that are known to take every phone are made to let go.
struct Holder {
    std::string_view program; ///< the beginning of its name
    const char* remedy;
};
constexpr std::array holders = {
    Holder{"gvfs", "The desktop's file manager took it: eject it there (or: gio mount -s mtp), and try again."},
    Holder{"kio", "The desktop's file manager has it: close the windows that show it, and try again."},
    Holder{"jmtpfs", "It is mounted as a folder: unmount that (fusermount -u FOLDER), and try again."},
    Holder{"simple-mtpfs", "It is mounted as a folder: unmount that (fusermount -u FOLDER), and try again."},
    Holder{"go-mtpfs", "It is mounted as a folder: unmount that (fusermount -u FOLDER), and try again."},
    Holder{"aft-mtp-mount", "It is mounted as a folder: unmount that (fusermount -u FOLDER), and try again."},
    Holder{"fwupd", "It looks for firmware and lets go by itself: try again in a moment."},
};

} // namespace

std::string nameInSentence(const std::string& product, const std::string& port) {
    return product.empty() ? "the device at USB port " + port : "\"" + product + "\"";
}

Advice permissionAdvice(const std::string& name, UsbId id, const std::filesystem::path& node, bool isRuleInstalled) {
    const std::string remedy =
        isRuleInstalled
            ? fmt::format("The udev rule is there, and gives devices of the usual kinds to whoever sits at this "
                          "computer: plug the device in again. Where that does not help, or logged in from elsewhere, "
                          "be root, or give the device to a group of yours by a rule of your own: "
                          R"(SUBSYSTEM=="usb", ATTR{{idVendor}}=="{:04x}", ATTR{{idProduct}}=="{:04x}", )"
                          R"(MODE="0660", GROUP="GROUP", TAG+="uaccess".)",
                          id.vendor, id.product)
            : "Install the udev rule that comes with mtpservice (copy 70-mtpservice.rules to /etc/udev/rules.d and run "
              "udevadm control --reload, both as root), then plug the device in again.";
    return {fmt::format("No permission to use {} ({}).", name, node.string()), remedy};
}

Advice noNodeAdvice(const std::string& name, const std::filesystem::path& node) {
    return {fmt::format("There is no {} through which {} could be used.", node.string(), name),
            "Where this runs in a container, give it the folder /dev/bus/usb."};
}

Advice heldAdvice(const std::string& name, const std::vector<std::string>& programs) {
    Advice advice;
    advice.problem =
        fmt::format("Another program is using {}: {}.", name,
                    programs.empty() ? "the system does not tell which" : fmt::to_string(fmt::join(programs, ", ")));
    advice.remedy = "Close it, or eject the device there, and try again.";
    for (const std::string& program : programs) {
        const auto known =
            std::ranges::find_if(holders, [&](const Holder& holder) { return program.starts_with(holder.program); });
        if (known != holders.end()) {
            advice.remedy = known->remedy;
        }
    }
    return advice;
}

Advice lockedAdvice(const std::string& name) {
    return {fmt::format("{} answers, but shows no storage.", name), unlockRemedy()};
}

Advice silentAdvice(const std::string& name, const std::string& why) {
    return {fmt::format("{} cannot be opened: {}.", name, why), unlockRemedy() + " Then plug it in again."};
}

std::string unlockRemedy() {
    return "Unlock its screen; tap the notification about the USB connection and choose \"File transfer\" (some call "
           "it "
           "\"Transfer files\" or \"Media device (MTP)\"); allow the access where it asks.";
}

std::vector<std::filesystem::path> udevRuleFolders() {
    return {"/etc/udev/rules.d", "/run/udev/rules.d", "/usr/local/lib/udev/rules.d", "/usr/lib/udev/rules.d",
            "/lib/udev/rules.d"};
}

bool isUdevRuleInstalled(const std::vector<std::filesystem::path>& folders) {
    return std::ranges::any_of(folders, [](const std::filesystem::path& folder) {
        std::error_code error;
        return std::filesystem::exists(folder / "70-mtpservice.rules", error);
    });
}

} // namespace mtpsdk
