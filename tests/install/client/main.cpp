// SPDX-License-Identifier: MIT
// An application as others write one: every installed header, a service, a virtual device in the folder given.
#include "device/MTPService/MTPService.h"
#include "host/DebugLevel.h"
#include "host/MediaLibrary.h"
#include "host/ProfileHandler.h"
#include "host/VXDeviceConfirmDelegate.h"
#include "platform/Dates.h"
#include "platform/Format.h"
#include "platform/Log.h"
#include "platform/NotificationCenter.h"
#include "platform/Paths.h"
#include "platform/UserDefaults.h"
#include "vemomtpsdk/Devices.h"

#include <cstdio>

int main(int argc, char** argv) {
    std::string error = "Where to?";
    vemomtpsdk::VirtualDeviceDescription description;
    description.friendlyName = "Client";
    description.storages.push_back({"Phone", 1ULL << 30, "", 0, false});
    if (argc != 2 || !vemomtpsdk::createVirtualDevice(argv[1], description, error)) {
        std::puts(error.c_str());
        return 1;
    }
    if (vemomtpsdk::addVirtualDevice(argv[1]) != DGSTATUS_SUCCESS || vemomtpsdk::attachedDevices().size() != 1) {
        return 1;
    }
    MTPService service;
    char location[9] = {};
    std::snprintf(location, sizeof location, "%X", vemomtpsdk::attachedDevices().front().locationId);
    service.setLocationID(location);
    const bool found = service.deviceNodeHeadExist();
    std::printf("%s %s\n", service.locationID().value_or("none").c_str(), found ? "found" : "not found");
    return found ? 0 : 1;
}
