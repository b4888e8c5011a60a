#include "engine/PackRecords.hpp"
#include "engine/TemplateMark.hpp"
#include "platform/Error.hpp"
#include "platform/XmlDocument.hpp"
#include "tests/support/Throws.hpp"

#include <gmock/gmock.h>
#include <libxml/parser.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>

namespace {

using engine::deprecated;
using testing::HasSubstr;
using tests::messageOf;

std::string withFlags(const std::string& flags) {
    return "<a><template><flags>" + flags + "</flags></template></a>";
}

std::string markedWith(const std::string& flags) {
    return "<a>\n    <template>\n        <flags>" + flags + "</flags>\n    </template>\n</a>\n";
}

TEST(TemplateMarkTest, InsertsATemplateBeforeTheBuild) {
    EXPECT_EQ(deprecated("<a><b/><build/></a>"), "<a>\n    <b/>\n    <template>\n        <flags>2</flags>\n"
                                                 "    </template>\n    <build/>\n</a>\n");
}

TEST(TemplateMarkTest, InsertsATemplateFirstWithoutABuild) {
    EXPECT_EQ(deprecated("<a><x/></a>"),
              "<a>\n    <template>\n        <flags>2</flags>\n    </template>\n    <x/>\n</a>\n");
    EXPECT_EQ(deprecated("<a/>"), markedWith("2"));
}

TEST(TemplateMarkTest, AppendsFlagsToATemplateWithoutThem) {
    EXPECT_EQ(
        deprecated("<a><template><name>x</name></template></a>"),
        "<a>\n    <template>\n        <name>x</name>\n        <flags>2</flags>\n    </template>\n</a>\n");
}

TEST(TemplateMarkTest, ReturnsTheVeryBytesWhenTheMarkIsThere) {
    for (const char* flags : {"2", "3", "6", "+2", "-1", "0002", "9223372036854775807"}) {
        EXPECT_EQ(deprecated(withFlags(flags)), withFlags(flags));
        EXPECT_EQ(deprecated(withFlags(flags) + "\n\n"), withFlags(flags) + "\n\n");
    }
}

TEST(TemplateMarkTest, AddsTheMarkToOtherFlags) {
    EXPECT_EQ(deprecated(withFlags("0")), markedWith("2"));
    EXPECT_EQ(deprecated(withFlags("1")), markedWith("3"));
    EXPECT_EQ(deprecated(withFlags("4")), markedWith("6"));
    EXPECT_EQ(deprecated(withFlags("-4")), markedWith("-2"));
    EXPECT_EQ(deprecated(withFlags("<!-- one -->1")), markedWith("3"));
}

TEST(TemplateMarkTest, CountsFlagsThatAreNoNumberAsNone) {
    for (const char* flags :
         {"abc", "", " 3", "3 ", "2.0", "+-2", "--2", "+", "0x2", "9223372036854775808"}) {
        EXPECT_EQ(deprecated(withFlags(flags)), markedWith("2")) << flags;
    }
    EXPECT_EQ(deprecated("<a><template><flags/></template></a>"), markedWith("2"));
}

TEST(TemplateMarkTest, LooksAtChildrenOfTheRootOnly) {
    EXPECT_EQ(deprecated("<a><b><template><flags>2</flags></template></b></a>"),
              "<a>\n    <template>\n        <flags>2</flags>\n    </template>\n    <b>\n        <template>\n"
              "            <flags>2</flags>\n        </template>\n    </b>\n</a>\n");
}

TEST(TemplateMarkTest, TakesAPrefixedNameForAnother) {
    EXPECT_THAT(deprecated("<a xmlns:p=\"u\"><p:template/><p:build/></a>"),
                HasSubstr("    <template>\n        <flags>2</flags>\n    </template>\n    <p:template/>"));
}

TEST(TemplateMarkTest, KeepsEveryBlankOfATextWithElementsInIt) {
    const std::string mixed = "<t><b>x</b> <i>y</i> text</t>";
    const std::string section = "<t><![CDATA[x]]> <b/> </t>";
    const std::string reference = "<t><b/> &amp; <i> <u/> </i></t>";
    const std::string instruction = "<t><?x?> text</t>";
    for (const std::string& text : {mixed, section, reference, instruction}) {
        EXPECT_THAT(deprecated("<a>" + text + "</a>"), HasSubstr("\n    " + text + "\n"));
    }
}

TEST(TemplateMarkTest, LaysNothingOutWhereBlanksArePreserved) {
    const std::string kept = "<t xml:space=\"preserve\"><b/><c><d/></c></t>";
    EXPECT_THAT(deprecated("<a>" + kept + "</a>"), HasSubstr("\n    " + kept + "\n"));
    const std::string whole = "<a xml:space=\"preserve\"><b/></a>";
    EXPECT_THAT(deprecated(whole), HasSubstr("</template><b/></a>"));
}

TEST(TemplateMarkTest, LaysOutWhatIsLaidOutOtherwise) {
    const std::string expected = deprecated("<a><b><c/><!-- d --></b><build/></a>");
    EXPECT_EQ(deprecated("<a>\r\n\t<b>\n\n<c/>  <!-- d -->\n</b> <build/>\n   </a>"), expected);
}

TEST(TemplateMarkTest, KeepsAMarkedTemplateOnASecondRun) {
    const std::string once = deprecated("<a><build></build></a>");
    EXPECT_EQ(deprecated(once), once);
}

TEST(TemplateMarkTest, KeepsAllThatTheFileSays) {
    const std::string bytes =
        "<?xml version='1.0' encoding=\"UTF-8\" standalone=\"no\" ?>\n"
        "<!-- before --><!DOCTYPE ozxmlscene [<!ENTITY e \"value\">]>\n"
        "<ozml version=\"5.13\" z=\"1\" a=\"&e;&#10;é\">\n"
        "<?motion instruction?><!-- inside -->\n"
        "<scene><text><![CDATA[a < b]]>&e; &amp;</text><blank> </blank>"
        "<kept xml:space=\"preserve\"> <x/> </kept></scene><build></build></ozml>\n<!-- after -->";
    EXPECT_EQ(deprecated(bytes), "<?xml version='1.0' encoding=\"UTF-8\" standalone=\"no\" ?>\n"
                                 "<!-- before -->\n<!DOCTYPE ozxmlscene [\n<!ENTITY e \"value\">\n]>\n"
                                 "<ozml version=\"5.13\" z=\"1\" a=\"&e;&#10;é\">\n"
                                 "    <?motion instruction?>\n"
                                 "    <!-- inside -->\n"
                                 "    <scene>\n"
                                 "        <text><![CDATA[a < b]]>&e; &amp;</text>\n"
                                 "        <blank> </blank>\n"
                                 "        <kept xml:space=\"preserve\"> <x/> </kept>\n"
                                 "    </scene>\n"
                                 "    <template>\n        <flags>2</flags>\n    </template>\n"
                                 "    <build/>\n"
                                 "</ozml>\n<!-- after -->\n");
}

TEST(TemplateMarkTest, KeepsTheDocumentTypeWithoutASubset) {
    EXPECT_THAT(
        deprecated("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE ozxmlscene>\n\n<ozml/>"),
        testing::StartsWith("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE ozxmlscene>\n<ozml>\n"));
}

TEST(TemplateMarkTest, KeepsTheEncoding) {
    EXPECT_THAT(deprecated("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><a k=\"\xE9\"/>"),
                testing::StartsWith("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n<a k=\"\xE9\">"));
    EXPECT_THAT(deprecated("<a k=\"é\"/>"), testing::StartsWith("<a k=\"é\">"));
    EXPECT_THAT(deprecated("\xEF\xBB\xBF<a/>"), testing::StartsWith("\xEF\xBB\xBF<a>"));
}

/// ASCII in an encoding of so many bytes a character, the least significant one first or last.
std::string widened(const std::string& ascii, std::size_t bytes, bool isLittleEndian) {
    std::string text;
    for (const char character : ascii) {
        const std::string zeros(bytes - 1, '\0');
        text += isLittleEndian ? character + zeros : zeros + character;
    }
    return text;
}

/// The template must be readable once it is marked, and its element "v" must have this text.
void expectReadable(const std::string& bytes, const std::string& value) {
    const std::string marked = deprecated(bytes);
    EXPECT_NE(marked, bytes);
    EXPECT_EQ(deprecated(marked), marked);
    const platform::XmlDocument document(marked);
    EXPECT_EQ(document.root()->firstChild("template")->firstChild("flags")->text(), "2");
    EXPECT_EQ(document.root()->firstChild("v")->text(), value);
}

TEST(TemplateMarkTest, WritesWideEncodingsSoThatTheyCanBeRead) {
    for (const bool isLittleEndian : {true, false}) {
        for (const char* encoding : {"UTF-16", isLittleEndian ? "UTF-16LE" : "UTF-16BE"}) {
            const std::string bytes = widened(std::string("<?xml version=\"1.0\" encoding=\"") + encoding +
                                                  "\"?>\n<!DOCTYPE ozxmlscene>\n<a><v>x</v></a>",
                                              2, isLittleEndian);
            expectReadable(bytes, "x");
            expectReadable((isLittleEndian ? "\xFF\xFE" : "\xFE\xFF") + bytes, "x");
        }
        for (const char* declaration : {"<?xml version=\"1.0\"?>", ""}) {
            const std::string bytes =
                widened(std::string(declaration) + "<a><v>x</v></a>", 2, isLittleEndian);
            expectReadable((isLittleEndian ? "\xFF\xFE" : "\xFE\xFF") + bytes, "x");
        }
    }
    expectReadable(widened("<?xml version=\"1.0\" encoding=\"UCS-4\"?><a><v>x</v></a>", 4, false), "x");
}

TEST(TemplateMarkTest, WritesEbcdicSoThatItCanBeRead) {
    // <?xml version="1.0" encoding="IBM037"?><a><v>é</v></a>
    const std::string bytes =
        "\x4C\x6F\xA7\x94\x93\x40\xA5\x85\x99\xA2\x89\x96\x95\x7E\x7F\xF1\x4B\xF0\x7F\x40"
        "\x85\x95\x83\x96\x84\x89\x95\x87\x7E\x7F\xC9\xC2\xD4\xF0\xF3\xF7\x7F\x6F\x6E\x4C"
        "\x81\x6E\x4C\xA5\x6E\x51\x4C\x61\xA5\x6E\x4C\x61\x81\x6E";
    try {
        const platform::XmlDocument document(bytes);
    } catch (const platform::Error&) {
        GTEST_SKIP() << "libxml2 2.12 does not read EBCDIC";
    }
    expectReadable(bytes, "é");
}

TEST(TemplateMarkTest, WritesUtf8WhereTheDeclaredEncodingIsAnother) {
    for (const char* encoding : {"UTF-16", "UTF-16LE", "UCS-4", "IBM037"}) {
        const std::string bytes =
            std::string("<?xml version=\"1.0\" encoding=\"") + encoding + "\"?><a><v>é</v></a>";
        std::string marked;
        try {
            marked = deprecated(bytes);
        } catch (const platform::Error&) { // the parser may as well believe the declaration
            continue;
        }
        EXPECT_THAT(marked, testing::StartsWith("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"));
        expectReadable(bytes, "é");
    }
}

TEST(TemplateMarkTest, PrintsNothing) {
    testing::internal::CaptureStderr();
    for (const char* encoding : {"UCS-4", "UTF-16", "IBM037", "no-such"}) {
        try {
            deprecated(std::string("<?xml version=\"1.0\" encoding=\"") + encoding + "\"?><a>é</a>");
        } catch (const platform::Error&) { // NOLINT(bugprone-empty-catch)
        }
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(TemplateMarkTest, KeepsCharactersThatTheEncodingLacks) {
    expectReadable("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><a><v>&#8364;\xE9</v></a>", "€é");
    expectReadable("<?xml version=\"1.0\" encoding=\"US-ASCII\"?><a><v>&#233;</v></a>", "é");
    expectReadable("\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?><a><v>é</v></a>", "é");
}

TEST(TemplateMarkTest, ThrowsTheParsersErrorForWhatIsNoXml) {
    const std::string refusal = "Impossible de lire le XML : ce n’est pas du XML valide";
    EXPECT_THAT(messageOf<platform::Error>([] { deprecated(""); }), testing::StartsWith(refusal));
    for (const char* bytes : {"not xml", "<a><b></a>", "<a/><b/>", "\xFF"}) {
        EXPECT_THAT(messageOf<platform::Error>([&] { deprecated(bytes); }),
                    testing::StartsWith(refusal + " (ligne 1, colonne "))
            << bytes;
    }
    EXPECT_EQ(messageOf<platform::Error>([] { deprecated("<a>\n<b></a>", "/x.motr"); }),
              "Impossible de lire « /x.motr » : ce n’est pas du XML valide (ligne 2, colonne 8).");
}

TEST(TemplateMarkTest, LoadsNothingFromOutside) {
    const std::string bytes =
        "<!DOCTYPE a SYSTEM \"file:///no/such.dtd\" [<!ENTITY x SYSTEM \"file:///etc/hostname\">]>"
        "<a><b>&x;</b></a>";
    EXPECT_THAT(deprecated(bytes), HasSubstr("<b>&x;</b>"));
    EXPECT_THAT(deprecated(bytes), HasSubstr("<!DOCTYPE a SYSTEM \"file:///no/such.dtd\""));
}

TEST(TemplateMarkTest, RefusesEntitiesThatUnfoldWithoutBound) {
    EXPECT_EQ(messageOf<platform::Error>(
                  [] { deprecated("<!DOCTYPE a [<!ENTITY a \"ha\"><!ENTITY b \"&a;&a;\">]><a>&b;</a>"); }),
              "Impossible de lire le XML : le document déclare des entités imbriquées.");
    std::string references;
    for (int i = 0; i < 10000; ++i) {
        references += "&e;";
    }
    const std::string quadratic = "<!DOCTYPE a [<!ENTITY e \"" + std::string(100000, 'x') +
                                  "\">]><a><template><flags>" + references + "</flags></template></a>";
    EXPECT_THAT(
        messageOf<platform::Error>([&] { deprecated(quadratic); }),
        testing::AnyOf("Impossible de lire le XML : un texte est trop long.",
                       // since 2.12 the library refuses it by itself
                       testing::StartsWith("Impossible de lire le XML : ce n’est pas du XML valide")));
}

TEST(TemplateMarkTest, RefusesElementsThatNestWithoutBound) {
    std::string deep;
    for (int i = 0; i < 1001; ++i) {
        deep += "<a>";
    }
    EXPECT_EQ(messageOf<platform::Error>([&] { deprecated(deep); }),
              "Impossible de lire le XML : le document est imbriqué trop profondément.");
}

TEST(TemplateMarkTest, RefusesAnElementWithTooManyAttributes) {
    std::string attributes;
    std::string namespaces;
    for (int i = 0; i < 1000; ++i) {
        attributes += " a" + std::to_string(i) + "=\"\"";
        namespaces += " xmlns:a" + std::to_string(i) + "=\"u\"";
    }
    EXPECT_THAT(deprecated("<a><b" + attributes + "/></a>"), HasSubstr(" a999=\"\"/>"));
    EXPECT_THAT(deprecated("<a><b" + namespaces + "/></a>"), HasSubstr(" xmlns:a999=\"u\"/>"));
    for (const std::string& more : {attributes + " b=\"\"", namespaces + " xmlns:b=\"u\""}) {
        EXPECT_EQ(messageOf<platform::Error>([&] { deprecated("<a><b" + more + "/></a>"); }),
                  "Impossible de lire le XML : un élément a trop d’attributs.");
    }
}

TEST(TemplateMarkTest, TakesNoTimeForAnElementWithAHundredThousandAttributes) {
    for (const char* prefix : {" a", " xmlns:a"}) {
        std::string bytes = "<a";
        for (int i = 0; i < 100'000; ++i) {
            bytes += prefix + std::to_string(i) + "=\"u\"";
        }
        const auto start = std::chrono::steady_clock::now();
        EXPECT_THAT(messageOf<platform::Error>([&] { deprecated(bytes + "/>"); }),
                    testing::StartsWith("Impossible de lire le XML : "));
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    }
}

/// Makes one allocation of the XML library fail, or all from that one on.
class FailingMemory {
public:
    FailingMemory(int number, bool stays) {
        failing = number;
        isLasting = stays;
        xmlMemSetup(
            std::free, [](std::size_t size) { return fails() ? nullptr : std::malloc(size); },
            [](void* memory, std::size_t size) { return fails() ? nullptr : std::realloc(memory, size); },
            [](const char* text) { return fails() ? nullptr : ::strdup(text); });
    }
    ~FailingMemory() { xmlMemSetup(std::free, std::malloc, std::realloc, ::strdup); }
    FailingMemory(const FailingMemory&) = delete;
    FailingMemory& operator=(const FailingMemory&) = delete;

    static int left() { return failing; }

private:
    static bool fails() {
        --failing;
        return failing == 0 || (isLasting && failing < 0);
    }

    static inline int failing = 0;
    static inline bool isLasting = false;
};

void expectWhole(const std::string& marked) {
    EXPECT_THAT(marked, HasSubstr("\n<!DOCTYPE a [\n<!ENTITY e \"v\">\n]>\n<a x=\"1\" y=\"&e;\">\n"
                                  "    <b xml:space=\"preserve\"><c/></b>\n    <t>text &e; "));
    const platform::XmlDocument document(marked);
    EXPECT_EQ(document.root()->firstChild("t")->text(), "text v é");
    EXPECT_EQ(document.root()->firstChild("template")->firstChild("flags")->text(), "3");
}

TEST(TemplateMarkTest, LosesNothingWhenMemoryEnds) {
    const int version = std::atoi(xmlParserVersion);
    if (version < 20914 || (version >= 21200 && version < 21300)) {
        GTEST_SKIP() << "the end of memory is more than this libxml2 can take";
    }
    const std::string bytes =
        "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><!DOCTYPE a [<!ENTITY e \"v\">]>"
        "<a x=\"1\" y=\"&e;\"><b xml:space=\"preserve\"><c/></b><t>text &e; \xE9</t>"
        "<template><flags>1</flags></template></a>";
    for (const bool stays : {false, true}) {
        int left = 0;
        for (int number = 1; left <= 0; ++number) {
            std::optional<std::string> marked;
            try {
                const FailingMemory memory(number, stays);
                marked = deprecated(bytes);
            } catch (const std::bad_alloc&) { // NOLINT(bugprone-empty-catch): nothing else is said of it
            }
            left = FailingMemory::left();
            if (marked) {
                expectWhole(*marked);
            }
        }
    }
}

TEST(TemplateMarkTest, MarksATemplateWithATextOfFiftyMegabytes) {
    const std::string data(50'000'000, 'A');
    const std::string marked = deprecated(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE ozxmlscene>\n<ozml version=\"5.13\"><build>"
        "</build><scene><data>" +
        data + "</data></scene></ozml>");
    // Not EXPECT_EQ, which would print both.
    EXPECT_TRUE(marked ==
                "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE ozxmlscene>\n"
                "<ozml version=\"5.13\">\n    <template>\n        <flags>2</flags>\n    </template>\n"
                "    <build/>\n    <scene>\n        <data>" +
                    data + "</data>\n    </scene>\n</ozml>\n");
}

} // namespace
