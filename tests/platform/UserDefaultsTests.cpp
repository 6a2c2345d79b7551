// SPDX-License-Identifier: MIT
#include "platform/UserDefaults.h"
#include "tests/platform/TemporaryFolder.h"

#include <thread>
#include <vector>

namespace {

using platform::UserDefaults;
using tests::readFile;
using tests::writeFile;

TEST(UserDefaults, valuesLastAndForeignKeysAreKept) {
    const tests::TemporaryFolder folder;
    const std::string file = folder.path("deep/er/defaults.json");
    UserDefaults first(file);
    UserDefaults second(file);
    EXPECT_FALSE(first.boolForKey("Overwrite"));
    EXPECT_FALSE(second.boolForKey("Overwrite"));
    first.setBool(true, "Overwrite");
    EXPECT_TRUE(first.boolForKey("Overwrite")) << "before it is written";
    EXPECT_FALSE(std::filesystem::exists(file));
    EXPECT_TRUE(first.synchronize());

    second.setBool(true, "NotAsk");
    EXPECT_TRUE(second.synchronize());
    EXPECT_TRUE(second.boolForKey("Overwrite")) << "what others wrote is seen after synchronize";
    EXPECT_TRUE(UserDefaults(file).boolForKey("Overwrite"));
    EXPECT_TRUE(UserDefaults(file).boolForKey("NotAsk"));

    first.removeKey("Overwrite");
    EXPECT_TRUE(first.synchronize());
    EXPECT_FALSE(UserDefaults(file).boolForKey("Overwrite"));
    EXPECT_EQ(readFile(file), "{\n    \"NotAsk\": true\n}\n");
}

TEST(UserDefaults, otherContentIsKeptAsItIs) {
    const tests::TemporaryFolder folder;
    const std::string file = folder.path("defaults.json");
    writeFile(file, R"({"z": [1, {"x": null}], "number": 1, "text": "true", "yes": true})");
    UserDefaults defaults(file);
    EXPECT_TRUE(defaults.boolForKey("yes"));
    for (const char* key : {"z", "number", "text", "missing", ""}) {
        EXPECT_FALSE(defaults.boolForKey(key)) << key;
    }
    const auto before = std::filesystem::last_write_time(file);
    EXPECT_TRUE(defaults.synchronize());
    EXPECT_EQ(std::filesystem::last_write_time(file), before) << "nothing changed, nothing written";
    defaults.setBool(false, "a\xFF");
    EXPECT_TRUE(defaults.synchronize());
    const std::string content = readFile(file);
    EXPECT_LT(content.find("\"z\""), content.find("\"number\""));
    EXPECT_NE(content.find("\"x\": null"), std::string::npos);
    EXPECT_NE(content.find("\"a\uFFFD\": false"), std::string::npos);
}

TEST(UserDefaults, aDamagedFileIsSetAside) {
    for (const char* damaged : {"", "{\"yes\": tr", "[true]", "\xFF\xFE{}", "{\"n\": 1e999999}"}) {
        const tests::TemporaryFolder folder;
        const std::string file = folder.path("defaults.json");
        writeFile(file, damaged);
        UserDefaults defaults(file);
        EXPECT_FALSE(defaults.boolForKey("yes"));
        EXPECT_EQ(folder.names(), std::set<std::string>{"defaults.json.damaged"});
        EXPECT_EQ(readFile(file + ".damaged"), damaged);
        defaults.setBool(true, "yes");
        EXPECT_TRUE(defaults.synchronize());
        EXPECT_TRUE(UserDefaults(file).boolForKey("yes"));
    }
}

TEST(UserDefaults, whatCannotBeWrittenIsNotLost) {
    const tests::TemporaryFolder folder;
    writeFile(folder.path("config"), "a file where a folder should be");
    UserDefaults defaults(folder.path("config/defaults.json"));
    defaults.setBool(true, "yes");
    EXPECT_FALSE(defaults.synchronize());
    EXPECT_TRUE(defaults.boolForKey("yes"));
    std::filesystem::remove(folder.path("config"));
    EXPECT_TRUE(defaults.synchronize());
    EXPECT_TRUE(UserDefaults(folder.path("config/defaults.json")).boolForKey("yes"));

    std::filesystem::create_directory(folder.path("folder.json"));
    UserDefaults unreadable(folder.path("folder.json"));
    EXPECT_FALSE(unreadable.boolForKey("yes"));
    unreadable.setBool(true, "yes");
    EXPECT_FALSE(unreadable.synchronize());
    EXPECT_TRUE(std::filesystem::is_directory(folder.path("folder.json"))) << "unreadable is not damaged";
}

TEST(UserDefaults, manyWritersLoseNothing) {
    const tests::TemporaryFolder folder;
    const std::string file = folder.path("defaults.json");
    UserDefaults shared(file);
    {
        std::vector<std::jthread> threads;
        threads.reserve(4);
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&, i] {
                UserDefaults own(file);
                for (int n = 0; n < 10; ++n) {
                    const std::string key = std::to_string(i) + "." + std::to_string(n);
                    own.setBool(true, "own" + key);
                    EXPECT_TRUE(own.synchronize());
                    shared.setBool(true, "shared" + key);
                    EXPECT_TRUE(shared.synchronize());
                }
            });
        }
    }
    const UserDefaults result(file);
    for (int i = 0; i < 40; ++i) {
        const std::string key = std::to_string(i / 10) + "." + std::to_string(i % 10);
        EXPECT_TRUE(result.boolForKey("own" + key)) << key;
        EXPECT_TRUE(result.boolForKey("shared" + key)) << key;
    }
}

TEST(UserDefaults, standardDefaultsLieInTheConfigurationFolder) {
    static const tests::TemporaryFolder folder; // the process's defaults keep their file, also when tests repeat
    const tests::ScopedEnvironment configuration("XDG_CONFIG_HOME", folder.path().c_str());
    UserDefaults& defaults = UserDefaults::standardUserDefaults();
    defaults.setBool(true, "yes");
    EXPECT_TRUE(defaults.synchronize());
    EXPECT_EQ(readFile(folder.path("mtpservice/defaults.json")), "{\n    \"yes\": true\n}\n");
}

} // namespace
