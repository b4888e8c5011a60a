#include "engine/Request.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "tests/support/Throws.hpp"

#include <gtest/gtest.h>

namespace {

using namespace engine;

struct RequestTest : testing::Test {
    tests::TemporaryFolder folder;
    PackInstaller installer{folder / "home", folder / "payload"};
    const std::string composed = "12 Fondu encha\u00EEn\u00E9";
    const std::string decomposed = "12 Fondu enchai\u0302ne\u0301";

    void writeCatalog(const std::string& json) const {
        tests::writeFile(folder / "payload/catalog.json", json);
    }

    Request make(const PackInstaller::Selection& selection) const {
        return makeRequest(installer, false, selection);
    }

    void expectRefused(const PackInstaller::Selection& selection) const {
        EXPECT_EQ(tests::messageOf<InstallError>([&] { (void)make(selection); }),
                  "Sélection de transitions invalide.");
    }
};

TEST_F(RequestTest, SelectsEverythingThatIsOfferedByDefault) {
    writeCatalog(R"([{"name":"A"},{"name":"B","retired":true},{"name":"C"}])");
    EXPECT_EQ(make(std::nullopt).selection, (std::set<std::string>{"A", "C"}));
}

TEST_F(RequestTest, RefusesWhatIsNotOffered) {
    writeCatalog(R"([{"name":"A"},{"name":"B","retired":true}])");
    expectRefused(std::set<std::string>{});
    expectRefused(std::set<std::string>{"A", "B"});
    expectRefused(std::set<std::string>{"a"});
    writeCatalog("[]");
    expectRefused(std::nullopt);
}

TEST_F(RequestTest, CountsFilesOfSelectedRenamedAndRetiredTransitions) {
    writeCatalog(R"([{"name":"10 Box Turn"},{"name":"09 Dye Bloom"},{"name":"B","retired":true}])");
    const Request request = make(std::set<std::string>{"10 Box Turn"});
    EXPECT_TRUE(request.selected("10 Box Turn/small.png"));
    EXPECT_TRUE(request.selected("11 Box Turn/small.png"));
    EXPECT_TRUE(request.selected("B/small.png"));
    EXPECT_FALSE(request.selected("09 Dye Bloom/small.png"));
    EXPECT_FALSE(request.selected("10 Dye Bloom/small.png"));
}

TEST_F(RequestTest, AllowsTheFilesOfBothPacksTitlesOnly) {
    writeCatalog(R"([{"name":"A"}])");
    const Request request = make(std::nullopt);
    EXPECT_TRUE(request.allows("A/A.motr"));
    EXPECT_TRUE(request.allows("12 Pane Burst/large.png"));
    for (const char* path : {"B/B.motr", "A/B.motr", "../A/A.motr", "A/../A/A.motr", "A", ""}) {
        EXPECT_FALSE(request.allows(path)) << path;
    }
}

TEST_F(RequestTest, ComparesTitlesHoweverTheirAccentsAreSpelled) {
    for (const auto& [catalog, other] : {std::pair(composed, decomposed), std::pair(decomposed, composed)}) {
        writeCatalog("[{\"name\":\"" + catalog + "\"}]");
        const Request request = make(std::set<std::string>{other});
        EXPECT_EQ(request.selection, std::set<std::string>{catalog}); // as the payload's folder is called
        EXPECT_TRUE(request.selected(other + "/small.png"));
        EXPECT_TRUE(request.allows(other + "/" + other + ".motr"));
    }
}

} // namespace
