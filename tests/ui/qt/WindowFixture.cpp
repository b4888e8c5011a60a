#include "tests/ui/qt/WindowFixture.hpp"

#include "engine/PackRecords.hpp"
#include "platform/Locations.hpp"
#include "tests/support/TemporaryFolder.hpp"

#include <QThreadPool>

namespace tests {
namespace {

const std::vector<std::string> elevenNames = {"Aube",    "Brume",       "Comète",      "Dérive",
                                              "Éclipse", "Flot",        "Galaxie",     "Halo",
                                              "Iris",    "Jour & Nuit", "Kaléidoscope"};

} // namespace

WindowFixture::WindowFixture()
    : delegate(toolkit, [this](const std::filesystem::path&, bool, const auto&) {
          std::future<std::string> result = outcome.get_future();
          return result.get();
      }) {
    writeCatalog(elevenNames);
    toolkit.setTerminationTest([this] {
        ended = delegate.applicationShouldTerminate();
        return ended;
    });
    delegate.applicationDidFinishLaunching();
    EXPECT_TRUE(QTest::qWaitForWindowActive(&window(), patience));
}

WindowFixture::~WindowFixture() {
    if (delegate.busy) {
        release("");
    }
    QThreadPool::globalInstance()->waitForDone();
    QCoreApplication::processEvents();
}

void WindowFixture::writeCatalog(const std::vector<std::string>& names) {
    std::string entries;
    for (const std::string& name : names) {
        entries += (entries.empty() ? "" : ",") + ("{\"name\":\"" + name + "\"}");
    }
    writeFile(platform::payloadFolder() / "catalog.json", "[" + entries + "]");
}

void WindowFixture::releaseWithError(const std::string& description) {
    outcome.set_exception(std::make_exception_ptr(engine::InstallError(description)));
}

ui::qt::AlertSheet* WindowFixture::sheet() {
    for (ui::qt::AlertSheet* sheet : children<ui::qt::AlertSheet>(&window())) {
        if (sheet->isVisible()) {
            return sheet;
        }
    }
    return nullptr;
}

bool WindowFixture::sheetIsDown() {
    return QTest::qWaitFor([this] { return sheet() != nullptr && panel().y() == 0; }, patience);
}

} // namespace tests

int main(int argc, char** argv) {
    // No screen is needed, so that the tests run anywhere and disturb nobody.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    testing::InitGoogleTest(&argc, argv);
    const QApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
