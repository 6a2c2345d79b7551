// SPDX-License-Identifier: MIT
// An application as others write one: every installed header, the log and the dates, a service, a virtual device in the
// folder given.
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

namespace {

/// What the application logs goes the way that the service's own lines go.
bool logs() {
    std::string logged;
    SET_QD_DEBUG_LEVEL(3);
    platform::setLogLevelSource(GET_QD_DEBUG_LEVEL);
    platform::setLogSink([&logged](const std::string& line) { logged += line; });
    QD_LOG(3, "%@ of %08x", platform::Value("text"), 0xABCU);
    QD_LOG(5, "not asked for");
    platform::setLogSink({});
    SET_QD_DEBUG_LEVEL(0);
    return logged.starts_with("[main.cpp:logs-(") && logged.ends_with(" text of 00000abc") &&
           logged.find("asked") == std::string::npos;
}

bool readsDatesAndPaths() {
    const std::optional<platform::Date> date = platform::parseDateDescription("2009-01-05 07:08:09 +0000");
    return date && platform::dateFromLocalCalendar(platform::localCalendarFromDate(*date)) == date &&
           platform::dateDescription(*date) == "2009-01-05 07:08:09 +0000" &&
           platform::pathComponents("/Music/a.mp3").size() == 3 && platform::pathExtension("a.mp3") == "mp3" &&
           platform::deletingLastPathComponent("/Music/a.mp3") == "/Music" && platform::expandingTilde("~") != "~";
}

} // namespace

int main(int argc, char** argv) {
    if (!logs() || !readsDatesAndPaths()) {
        std::puts("What the headers declare does not work.");
        return 1;
    }
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
