#include "platform/Error.hpp"
#include "platform/PropertyList.hpp"
#include "tests/platform/BinaryPropertyLists.hpp"
#include "tests/support/Throws.hpp"

#include <string>
#include <vector>

namespace {

using platform::parsePropertyList;
using tests::binaryList;
using tests::entry;
using tests::number;

void expectRefused(const std::string& bytes) {
    EXPECT_EQ(tests::messageOf<platform::Error>([&] { parsePropertyList(bytes, "p"); }),
              "Impossible de lire « p » : ce n’est pas une liste de propriétés valide.");
}

TEST(HostilePropertyListTest, ReadsBinaryStringsOfBothKinds) {
    const auto list = parsePropertyList(entry("\x55owner", std::string("\x62\0\xE9\0x", 5)), "p");
    EXPECT_TRUE(list.isDictionaryOfStrings);
    EXPECT_EQ(list.strings.at("owner"), "éx");
}

TEST(HostilePropertyListTest, ReadsBinaryStringsThatSayTheirLengthInANumber) {
    const std::string text(300, 'x');
    const auto list = parsePropertyList(entry("\x51k", "\x5F\x11" + number(300, 2) + text), "p");
    EXPECT_EQ(list.strings.at("k"), text);
}

TEST(HostilePropertyListTest, ReadsAPairOfSurrogatesAsOneCharacter) {
    EXPECT_EQ(parsePropertyList(entry("\x51k", "\x62\xD8\x3D\xDE\x42"), "p").strings.at("k"), "🙂");
}

TEST(HostilePropertyListTest, KeepsAZeroByteInAKey) {
    const std::string key("a\0b", 3);
    EXPECT_EQ(parsePropertyList(entry("\x53" + key, "\x51v"), "p").strings.at(key), "v");
}

TEST(HostilePropertyListTest, RefusesWhatLeadsOutOfTheBytes) {
    expectRefused(entry("\x5Fx", "\x51v"));
    expectRefused(entry("\x51k", "\x5F\x13" + number(UINT64_MAX, 8)));
    expectRefused(entry("\x51k", "\x6F\x13" + number(std::uint64_t{1} << 63U, 8)));
    expectRefused(binaryList({"\xDF\x13" + number(std::uint64_t{1} << 62U, 8)}));
    expectRefused(binaryList({"\xD1" + number(1, 4) + number(9, 4), "\x51k"}));
}

TEST(HostilePropertyListTest, RefusesOneLongStringNamedManyTimes) {
    const std::uint64_t entries = 1000;
    std::string dictionary = "\xDF\x11" + number(entries, 2);
    std::vector<std::string> keys;
    for (std::uint64_t index = 0; index < entries; ++index) {
        dictionary += number(index + 2, 4);
        keys.push_back("\x54" + std::to_string(1000 + index));
    }
    for (std::uint64_t index = 0; index < entries; ++index) {
        dictionary += number(1, 4);
    }
    std::vector<std::string> objects{dictionary, "\x5F\x12" + number(1 << 20, 4) + std::string(1 << 20, 'x')};
    objects.insert(objects.end(), keys.begin(), keys.end());
    expectRefused(binaryList(objects));
}

TEST(HostilePropertyListTest, RefusesXmlWithTooMuchText) {
    std::string entries;
    for (int index = 0; index < 20; ++index) {
        entries +=
            "<key>" + std::to_string(index) + "</key><string>" + std::string(1'000'000, 'x') + "</string>";
    }
    expectRefused("<?xml version=\"1.0\"?><plist version=\"1.0\"><dict>" + entries + "</dict></plist>");
}

TEST(HostilePropertyListTest, RefusesXmlThatNestsWithoutEnd) {
    std::string bytes = "<plist>";
    for (int depth = 0; depth < 200000; ++depth) {
        bytes += "<dict><key>a</key>";
    }
    expectRefused(bytes);
}

TEST(HostilePropertyListTest, RefusesXmlWhoseEntriesDoNotPair) {
    expectRefused("<plist><dict><key>a</key></dict></plist>");
    expectRefused("<plist><dict><string>a</string><key>a</key></dict></plist>");
    expectRefused("<plist><dict><key>a</key><unknown/></dict></plist>");
    expectRefused("<plist><dict/><dict/></plist>");
    expectRefused("<plist/>");
}

} // namespace
