// SPDX-License-Identifier: MIT
#pragma once

#include "host/VXDeviceConfirmDelegate.h"
#include "tests/device/service/JobTest.h"
#include "ui/VXUIPodcastXMLConverter.h"

#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

namespace tests {

/// Lets every file be overwritten, and keeps what it was asked about.
class AlwaysOverwrite : public VXDeviceConfirmDelegate {
public:
    bool confirmOverwrite(const std::string& fileName, bool& /*isNotAsk*/) override {
        asked.push_back(fileName);
        return true;
    }
    std::shared_ptr<MTPService> getFileServiceObject(const std::string& /*locationID*/) override { return nullptr; }
    std::vector<std::string> asked;
};

/// A service on a virtual device, with podcasts to send and the device's documents to read.
class PodcastTest : public JobTest {
protected:
    using JobTest::JobTest;

    /// An episode "<url>" with a local file "<name>" of that size.
    platform::Dictionary episode(const std::string& url, const std::string& name, std::size_t size = 2000) {
        const std::string path = local(name, size, static_cast<unsigned>(name.size() + name.back()));
        return {{"Title", "About " + url}, {"Url", url}, {"Length", size}, {"FilePath", path}, {"Rating", 4}};
    }
    static platform::Dictionary podcast(const std::string& title, platform::Array children) {
        return {{"Title", title}, {"Author", "Host of " + title}, {"children", std::move(children)}};
    }
    void copyPodcasts(std::uint32_t id, const platform::Array& podcasts, std::uint32_t storage = 0) {
        waitUntilIdle();
        service->copyContentsMacToDevice(id, podcasts, 4, storage);
        waitUntilIdle();
    }
    void syncPodcasts(std::uint32_t id, const platform::Array& podcasts) {
        waitUntilIdle();
        service->syncContents(id, podcasts, 4, true);
        waitUntilIdle();
    }
    void deletePodcasts(std::uint32_t id, const platform::Array& podcasts) {
        waitUntilIdle();
        service->deleteContents(id, podcasts, 4, 0);
        waitUntilIdle();
    }
    [[nodiscard]] std::string place(const std::string& channel, const std::string& name = {},
                                    const std::string& storage = "Phone") const {
        return device->path(storage + "/Podcast/" + channel + (name.empty() ? "" : "/" + name));
    }
    /// The channel's document as the device has it.
    [[nodiscard]] std::optional<platform::Dictionary> document(const std::string& channel,
                                                               const std::string& storage = "Phone") const {
        std::ifstream file(place(channel, channel + ".xml", storage), std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(file), {}};
        return bytes.empty() ? std::nullopt : VXUIPodcastXMLConverter().makePodcastDictionaryFromXML(bytes);
    }
    using Listed = std::vector<std::string>;
    /// "<url>=<file>" of each listed episode; "(none)" without a document.
    [[nodiscard]] Listed listed(const std::string& channel, const std::string& storage = "Phone") const {
        const auto podcast = document(channel, storage);
        return podcast ? listedIn(*podcast) : Listed{"(none)"};
    }
    [[nodiscard]] static Listed listedIn(const platform::Dictionary& podcast) {
        Listed names;
        for (const platform::Value& entry : *podcast.array("children")) {
            names.push_back(entry.dictionary()->string("Url").value_or("-") + "=" +
                            entry.dictionary()->string("FilePath").value_or("-"));
        }
        return names;
    }
    /// Removes a file as another program on the device would, and lets the service hear of it.
    void removeBehind(const std::string& path, const std::string& devicePath) {
        std::filesystem::remove(path);
        EXPECT_TRUE(waitUntil([&] { return !service->fileExistsAtPath(devicePath, nullptr); }));
    }
};

} // namespace tests
