// SPDX-License-Identifier: MIT
// The text that names the hidden volumes ("HVID") and paths into them, of any shape.
#include "device/MTPService/MTPServicePrivate.h"
#include "tests/device/control/FakeLibrary.h"

#include <cstdlib>
#include <fuzzer/FuzzedDataProvider.h>

namespace {

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

void checkPath(MTPServicePrivate& service, const std::string& path) {
    _MTP_STORAGE_NODE* storage = nullptr;
    const std::optional<std::string> relative = service.checkHiddenVolume(path, &storage);
    require(relative.has_value() || storage == nullptr);
    const std::size_t colon = path.find(':');
    require(!relative || (colon != std::string::npos && *relative == path.substr(colon + 1)));

    _MTP_STORAGE_NODE* sameStorage = nullptr;
    const std::optional<std::string> full = service.convertHiddenVolumePathToFullPath(path, &sameStorage);
    require(full.has_value() == relative.has_value());
    require(sameStorage == storage);
    require(!full || full->starts_with("/My Phone/"));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t length) {
    FuzzedDataProvider input(data, length);
    FakeLibrary library;
    library.properties["mtpGetFriendlyName"] = "My Phone";
    MTPServicePrivate service; // not started: these questions need no worker
    service._hiddenVolumeLists.set(platform::Dictionary());
    service._currentDeviceNode = library.addDevice(1);
    library.addStorage("Vault");
    for (int round = 0; round < 3 && input.remaining_bytes() > 0; ++round) {
        if (input.ConsumeBool()) {
            require(service.hiddenVolumeInfo(input.ConsumeRandomLengthString(60)));
        } else {
            service.setDeviceInformation(
                platform::Dictionary{{"MN", "M"}, {"HVID", input.ConsumeRandomLengthString(60)}});
        }
        const std::optional<platform::Dictionary> table = service._hiddenVolumeLists.get();
        for (const auto& entry : *table) {
            require(entry.second.string() != nullptr || entry.second.uint32().value_or(0) != 0);
        }
        checkPath(service, input.ConsumeRandomLengthString(60));
        service.releaseHiddenStorage();
    }
    return 0;
}
