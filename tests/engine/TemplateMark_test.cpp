#include "engine/PackRecords.hpp"
#include "engine/TemplateMark.hpp"
#include "platform/Error.hpp"
#include "tests/support/Throws.hpp"

#include <gmock/gmock.h>

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

TEST(TemplateMarkTest, ThrowsTheParsersErrorForWhatIsNoXml) {
    const std::string refusal = "Impossible de lire le XML : ce n’est pas du XML valide (ligne 1, colonne ";
    for (const char* bytes : {"", "not xml", "<a><b></a>", "<a/><b/>", "\xFF"}) {
        EXPECT_THAT(messageOf<platform::Error>([&] { deprecated(bytes); }), testing::StartsWith(refusal))
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
    EXPECT_EQ(messageOf<platform::Error>([&] { deprecated(quadratic); }),
              "Impossible de lire le XML : un texte est trop long.");
}

TEST(TemplateMarkTest, RefusesElementsThatNestWithoutBound) {
    std::string deep;
    for (int i = 0; i < 1001; ++i) {
        deep += "<a>";
    }
    EXPECT_EQ(messageOf<platform::Error>([&] { deprecated(deep); }),
              "Impossible de lire le XML : le document est imbriqué trop profondément.");
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
