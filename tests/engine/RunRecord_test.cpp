#include "engine/RunRecord.hpp"
#include "platform/Error.hpp"

#include <gtest/gtest.h>

namespace {

using namespace engine;

const RunRecord example{
    "B-1",
    "Staging-1",
    true,
    {{"Movies", 0755}, {"Movies/x", std::nullopt}},
    {{"Movies/x/é \n.motr", "Templates/é.motr", true}, {"Applications/A.app", "A.app", false}},
    true};

TEST(RunRecordTest, ReadsWhatItWrites) {
    const RunRecord read = decodeRunRecord(encodeRunRecord(example), "j");
    EXPECT_EQ(read.backup, "B-1");
    EXPECT_EQ(read.staging, "Staging-1");
    EXPECT_TRUE(read.legacyHidden);
    EXPECT_TRUE(read.unregisters);
    ASSERT_EQ(read.folders.size(), 2U);
    EXPECT_EQ(read.folders.at("Movies"), 0755U);
    EXPECT_EQ(read.folders.at("Movies/x"), std::nullopt);
    ASSERT_EQ(read.places.size(), 2U);
    EXPECT_EQ(read.places[0].path, "Movies/x/é \n.motr");
    EXPECT_EQ(read.places[0].saved, "Templates/é.motr");
    EXPECT_TRUE(read.places[0].existed);
    EXPECT_FALSE(read.places[1].existed);
}

TEST(RunRecordTest, RefusesPathsThatLeadOut) {
    for (const char* path : {"../x", "/etc/x", "a/../../x", "", "a/", ".", "a/./b"}) {
        RunRecord record = example;
        record.places[0].path = path;
        EXPECT_THROW(decodeRunRecord(encodeRunRecord(record), "j"), platform::Error) << path;
        record = example;
        record.places[0].saved = path;
        EXPECT_THROW(decodeRunRecord(encodeRunRecord(record), "j"), platform::Error) << path;
        record = example;
        record.folders.emplace(path, 0755U);
        EXPECT_THROW(decodeRunRecord(encodeRunRecord(record), "j"), platform::Error) << path;
    }
}

TEST(RunRecordTest, RefusesAStagingFolderThatIsNone) {
    for (const char* name : {"Backups", "Staging-/..", "Staging-1/x", ""}) {
        RunRecord record = example;
        record.staging = name;
        EXPECT_THROW(decodeRunRecord(encodeRunRecord(record), "j"), platform::Error) << name;
    }
}

TEST(RunRecordTest, RefusesPermissionsThatAreNone) {
    const std::string head = encodeRunRecord({"B", "Staging-1", false, {}, {}});
    const auto decode = [&](const std::string& permissions) {
        return decodeRunRecord(head + "{\"folder\":\"a\",\"permissions\":" + permissions + "}\n", "j");
    };
    EXPECT_EQ(decode("4095").folders.at("a"), 07777U);
    EXPECT_EQ(decode("null").folders.at("a"), std::nullopt);
    for (const char* permissions : {"4096", "-1", "1.5", "2e69", "4294967296", "true", "\"7\"", "[]"}) {
        EXPECT_THROW(decode(permissions), platform::Error) << permissions;
    }
}

TEST(RunRecordTest, RefusesWhatIsNoRecord) {
    for (const char* text : {"", "{}", "[]", "x", "{\"place\":1}", "{\"backup\":\"b\"}", "null", "\n"}) {
        EXPECT_THROW(decodeRunRecord(text, "j"), platform::Error) << text;
    }
}

} // namespace
