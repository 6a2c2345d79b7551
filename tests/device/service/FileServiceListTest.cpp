// SPDX-License-Identifier: MIT
// Listings: what lies in a folder, and every file of a storage.
#include "device/MTPService/MTPServicePrivate.h"
#include "tests/device/service/VirtualService.h"

#include <gtest/gtest.h>

using platform::Array;
using platform::Dictionary;
using Text = std::optional<std::string>;
using Names = std::set<std::string>;

namespace {

class FileServiceListTest : public tests::VirtualService {
protected:
    /// A file on the device, before the service looks there.
    void put(const std::string& inside, const std::string& content) const {
        std::filesystem::create_directories(std::filesystem::path(device->path(inside)).parent_path());
        tests::writeFile(device->path(inside), content);
    }
    [[nodiscard]] Text indexed(const std::string& path) const {
        return service->callbackObject().object<MTPServicePrivate>()->indexedNode(path);
    }
};

Names values(const std::optional<Array>& entries, const char* key) {
    Names found;
    for (const auto& entry : entries.value_or(Array())) {
        found.insert(entry.dictionary()->string(key).value_or("(none)"));
    }
    return found;
}

} // namespace

TEST_F(FileServiceListTest, FilesAndFoldersOfAFolder) {
    put("Phone/Sounds/a.mp3", "song");
    put("Phone/Sounds/Ünïcode .txt", "");
    put("Phone/Sounds/.hidden", "x");
    put("Phone/Sounds/Album/inner.mp3", "x");
    put("Phone/Sounds/.thumbs/t.jpg", "x");
    put("Phone/top.txt", "top");

    const auto listed = service->fileLists("/Player/Phone/Sounds");
    EXPECT_EQ(values(listed, "FileName"), (Names{"a.mp3", "Ünïcode .txt", ".hidden"}));
    EXPECT_EQ(values(listed, "NodeID"), Names{"(none)"});
    EXPECT_EQ(values(service->folderLists("/Player/Phone/Sounds"), "FilePath"),
              (Names{"/Player/Phone/Sounds/Album", "/Player/Phone/Sounds/.thumbs"}));
    EXPECT_EQ(values(service->fileLists("/player/PHONE"), "FilePath"), Names{"/player/PHONE/top.txt"});
    EXPECT_EQ(service->fileLists("/Player/Phone/Sounds/Album")->size(), 1U);
    EXPECT_TRUE(indexed("/PLAYER/phone/sounds/A.mp3"));
    EXPECT_TRUE(indexed("/Player/Phone/Sounds/Album"));

    for (const Text& path : {Text(), Text(""), Text("/Player/Phone/Gone"), Text("/Player/Phone/Gone/Sounds"),
                             Text("/Player/Phone/Sounds/a.mp3"), Text("/Player/Nowhere"), Text("Other:")}) {
        EXPECT_EQ(service->fileLists(path), std::nullopt) << path.value_or("(none)");
        EXPECT_EQ(service->folderLists(path), std::nullopt) << path.value_or("(none)");
    }
    EXPECT_EQ(service->folderLists("/Player/Phone/Sounds/Album"), Array());
}
