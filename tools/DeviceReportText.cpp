// SPDX-License-Identifier: MIT
#include "tools/DeviceReportText.h"

#include "tools/DeviceSelection.h"
#include "tools/ScreenText.h"
#include "tools/Units.h"

#include <fmt/format.h>
#include <string>
#include <string_view>
#include <vector>

namespace tool {
namespace {

using platform::Array;
using platform::Dictionary;
using vemomtpsdk::DeviceReport;
using vemomtpsdk::NamedCode;
using vemomtpsdk::NamedText;

std::string codeText(const NamedCode& code) {
    return fmt::format("0x{:04X} {}", code.code, code.name);
}

Array codeArray(const std::vector<NamedCode>& codes) {
    Array array;
    for (const NamedCode& code : codes) {
        array.emplace_back(Dictionary{{"code", code.code}, {"name", code.name}});
    }
    return array;
}

Dictionary textDictionary(const std::vector<NamedText>& texts) {
    Dictionary dictionary;
    for (const NamedText& text : texts) {
        dictionary.set(text.name, text.text);
    }
    return dictionary;
}

/// Lines in two columns; the first names what the second says, and goes on below it.
class Sheet {
public:
    explicit Sheet(Console& console)
        : _console(console) {}

    void row(std::string_view name, std::string_view text) {
        constexpr int nameColumns = 20;
        _console.print("  " + paddedText(safeText(name), nameColumns, Align::left) + safeText(text));
    }
    void rows(std::string_view name, const std::vector<NamedCode>& codes) {
        std::string_view heading = name;
        for (const NamedCode& code : codes) {
            row(heading, codeText(code));
            heading = "";
        }
        if (codes.empty()) {
            row(name, "none");
        }
    }

private:
    Console& _console;
};

std::string propertyNames(const std::vector<NamedCode>& properties) {
    std::string names;
    for (const NamedCode& property : properties) {
        names += fmt::format("{}{}", names.empty() ? "" : ", ",
                             property.name == "Unknown" ? fmt::format("0x{:04X}", property.code) : property.name);
    }
    return names.empty() ? "" : ": " + names;
}

} // namespace

Dictionary deviceDictionary(const vemomtpsdk::AttachedDevice& device) {
    return Dictionary{{"locationId", locationText(device.locationId)},
                      {"name", device.friendlyName},
                      {"model", device.model},
                      {"manufacturer", device.manufacturer},
                      {"serialNumber", device.serialNumber},
                      {"kind", device.kind},
                      {"location", device.location}};
}

Dictionary reportDictionary(const DeviceReport& report) {
    Dictionary dictionary = deviceDictionary(report.device);
    dictionary.set("line", textDictionary(report.line));
    dictionary.set("identity", textDictionary(report.identity));
    Array quirks;
    for (const std::string& quirk : report.quirks) {
        quirks.emplace_back(quirk);
    }
    dictionary.set("quirks", std::move(quirks));
    dictionary.set("operations", codeArray(report.operations));
    dictionary.set("events", codeArray(report.events));
    dictionary.set("deviceProperties", codeArray(report.deviceProperties));
    dictionary.set("captureFormats", codeArray(report.captureFormats));
    Array formats;
    for (const auto& format : report.playbackFormats) {
        formats.emplace_back(Dictionary{
            {"code", format.format.code}, {"name", format.format.name}, {"properties", codeArray(format.properties)}});
    }
    dictionary.set("formats", std::move(formats));
    Array storages;
    for (const auto& storage : report.storages) {
        storages.emplace_back(Dictionary{{"storageId", storage.storageId},
                                         {"description", storage.description},
                                         {"volumeIdentifier", storage.volumeIdentifier},
                                         {"type", storage.type},
                                         {"filesystem", storage.filesystem},
                                         {"access", storage.access},
                                         {"capacity", storage.capacity},
                                         {"free", storage.free}});
    }
    dictionary.set("storages", std::move(storages));
    return dictionary;
}

void printReport(const DeviceReport& report, Console& console) {
    const auto& device = report.device;
    console.print(fmt::format("{} at {}, {} {}", safeText(device.friendlyName), locationText(device.locationId),
                              device.kind, safeText(device.location)));
    Sheet sheet(console);
    for (const NamedText& text : report.line) {
        sheet.row(text.name, text.text);
    }
    for (const NamedText& text : report.identity) {
        sheet.row(text.name, text.text);
    }
    sheet.row("quirks", report.quirks.empty() ? "none" : fmt::to_string(fmt::join(report.quirks, ", ")));
    for (const auto& storage : report.storages) {
        sheet.row(
            fmt::format("storage 0x{:08X}", storage.storageId),
            fmt::format("description \"{}\", volume identifier \"{}\"", storage.description, storage.volumeIdentifier));
        sheet.row("", fmt::format("{}, {}, {}; {} of {} free", storage.type, storage.filesystem, storage.access,
                                  sizeText(storage.free), sizeText(storage.capacity)));
    }
    sheet.rows("operations", report.operations);
    sheet.rows("events", report.events);
    sheet.rows("device properties", report.deviceProperties);
    sheet.rows("capture formats", report.captureFormats);
    std::string_view heading = "formats";
    for (const auto& format : report.playbackFormats) {
        sheet.row(heading, codeText(format.format) + propertyNames(format.properties));
        heading = "";
    }
}

} // namespace tool
