#include "platform/Error.hpp"
#include "platform/PropertyList.hpp"
#include "tests/support/Throws.hpp"

namespace {

using platform::parsePropertyList;

std::string xml(const std::string& contents) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST "
           "1.0//EN\" "
           "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist version=\"1.0\">" +
           contents + "</plist>";
}

TEST(PropertyListTest, ReadsADictionaryOfStrings) {
    const auto list = parsePropertyList(xml("<dict><key>owner</key><string>é</string></dict>"), "p");
    EXPECT_TRUE(list.isDictionaryOfStrings);
    EXPECT_EQ(list.strings.at("owner"), "é");
}

TEST(PropertyListTest, ReadsABinaryList) {
    const std::string bytes("bplist00\xD1\x01\x02Qa\xA0\x08\x0B\x0D\0\0\0\0\0\0\x01\x01\0\0\0\0\0\0\0\x03"
                            "\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\x0E",
                            49);
    const auto list = parsePropertyList(bytes, "p");
    EXPECT_FALSE(list.isDictionaryOfStrings); // its one value is an array
    EXPECT_TRUE(list.strings.empty());
}

TEST(PropertyListTest, TellsADictionaryWithOtherValuesApart) {
    const auto list =
        parsePropertyList(xml("<dict><key>a</key><string>x</string><key>b</key><true/></dict>"), "p");
    EXPECT_FALSE(list.isDictionaryOfStrings);
    EXPECT_EQ(list.strings.at("a"), "x");
}

TEST(PropertyListTest, TellsAListThatIsNoDictionaryApart) {
    EXPECT_FALSE(parsePropertyList(xml("<array><string>x</string></array>"), "p").isDictionaryOfStrings);
}

TEST(PropertyListTest, RefusesWhatIsNoPropertyList) {
    for (const char* bytes : {"", "<plist><dict><key>a</dict></plist>", "<html/>"}) {
        EXPECT_EQ(tests::messageOf<platform::Error>([&] { parsePropertyList(bytes, "p"); }),
                  "Impossible de lire « p » : ce n’est pas une liste de propriétés valide.")
            << bytes;
    }
}

} // namespace
